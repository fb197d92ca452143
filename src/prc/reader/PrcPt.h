#pragma once
// A point or direction in double precision, for the predictions of the compressed mesh walk:
// they must come out exactly as the writer computed them, so nothing is narrowed on the way.

namespace Velmora::PRC {

struct PrcPt {
    // Below this length a direction has no usable orientation (the float epsilon).
    static constexpr double kMinLength = 1.1920928955078125e-07;

    double x = 0.0, y = 0.0, z = 0.0;

    PrcPt operator+(const PrcPt& o) const { return {x + o.x, y + o.y, z + o.z}; }
    PrcPt operator-(const PrcPt& o) const { return {x - o.x, y - o.y, z - o.z}; }
    PrcPt operator*(double s) const { return {x * s, y * s, z * s}; }
    PrcPt operator/(double s) const { return {x / s, y / s, z / s}; }
    bool operator==(const PrcPt& o) const = default;
    double Dot(const PrcPt& o) const { return x * o.x + y * o.y + z * o.z; }
    PrcPt Cross(const PrcPt& o) const { return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x}; }

    double Length() const;
    // 0 on success; non-zero, leaving the point as it was, when it is too short to have a direction.
    int Unitize();
    // A right-handed frame from a Z and an X direction; false when Z or the resulting Y fail.
    static bool MakeOrthoRep(PrcPt& sX, PrcPt& sY, PrcPt& sZ);
    static double AngleBetween(const PrcPt& a, const PrcPt& b);
};

}  // namespace Velmora::PRC
