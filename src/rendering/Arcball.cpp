#include "rendering/Arcball.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Rendering::Arcball {

using namespace MathUtil;

Vec3 MapToSphere(float x, float y, float width, float height, float radiusPixels) {
    if (!(radiusPixels > 0.0f)) return {0.0f, 0.0f, 1.0f};
    float px = (x - width * 0.5f) / radiusPixels;
    float py = (y - height * 0.5f) / radiusPixels;
    const float lengthSquared = px * px + py * py;
    if (lengthSquared > 1.0f) {
        const float scale = 1.0f / std::sqrt(lengthSquared);
        return {px * scale, py * scale, 0.0f};
    }
    return {px, py, lengthSquared < 1.0f ? std::sqrt(1.0f - lengthSquared) : 0.0f};
}

bool RotationBetween(const Vec3& a, const Vec3& b, Vec3& axis, float& angleDegrees) {
    if (a == b) return false;
    axis = Normalize(Cross(a, b));
    if (IsZero(axis)) return false;
    angleDegrees = std::acos(std::min(Dot(a, b), 1.0f)) * kRadToDeg;
    return true;
}

Mat4 CrosshairMatrix(const Vec3& spherePoint, float scaleX, float scaleY) {
    // Arc circle centre to the origin: the arcs now meet at the sphere's pole (0, 0, 1).
    Mat4 m = Translation({0.0f, 0.0f, 1.0f});
    const Vec3 pole{0.0f, 0.0f, 1.0f};
    Vec3 axis;
    float angle = 0.0f;
    if (RotationBetween(pole, spherePoint, axis, angle)) m = Multiply(Rotation(angle, axis), m);
    // Window y grows downwards and z towards the viewer; clip space has y up and z away.
    m = Multiply(Scale({1.0f, -1.0f, -1.0f}), m);
    return Multiply(Scale({scaleX, scaleY, std::min(scaleX, scaleY)}), m);
}

}  // namespace Velmora::Rendering::Arcball
