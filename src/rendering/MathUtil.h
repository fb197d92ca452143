#pragma once
// Small vector and matrix arithmetic of the renderer, in OpenGL's conventions.
//
// Mat4 is 16 floats, column major: element (row r, column c) is m[c * 4 + r] and a translation
// sits in elements 12 to 14. Mat3 is 9 floats, column major as well. A camera orientation is
// not a Mat3 but three row vectors (right, up, forward), see CameraInfo.
//
// Angles given in degrees are turned into radians with the renderer's own constant
// 0.017453292 (and back with 57.295776), as f32, so that results agree to the last bit with the
// rest of the system.

#include <array>
#include <cmath>

namespace Velmora::Rendering {

using Mat4 = std::array<float, 16>;  // column major, translation in elements 12..14
using Mat3 = std::array<float, 9>;   // column major
using Vec3 = std::array<float, 3>;
using Vec4 = std::array<float, 4>;

namespace MathUtil {

inline constexpr float kDegToRad = 0.017453292f;
inline constexpr float kRadToDeg = 57.295776f;

constexpr Mat4 Identity4() { return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}; }

inline Vec3 Add(const Vec3& a, const Vec3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vec3 Sub(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vec3 Mul(const Vec3& a, float s) { return {a[0] * s, a[1] * s, a[2] * s}; }
inline float Dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Vec3 Cross(const Vec3& a, const Vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline float Length(const Vec3& a) { return std::sqrt(Dot(a, a)); }
inline bool IsZero(const Vec3& a) { return a[0] == 0.0f && a[1] == 0.0f && a[2] == 0.0f; }

// Unit vector of a; a zero (or non-finite) length gives the zero vector, so callers test the
// result with IsZero instead of receiving NaNs.
Vec3 Normalize(const Vec3& a);

// a * b, both column major.
Mat4 Multiply(const Mat4& a, const Mat4& b);
// m * (v, w), the homogeneous result.
Vec4 Transform(const Mat4& m, const Vec4& v);

Mat4 Translation(const Vec3& t);
Mat4 Scale(const Vec3& s);
// Rotation by angleDegrees about a unit axis (Rodrigues form), counter-clockwise when the axis
// points at the viewer.
Mat4 Rotation(float angleDegrees, const Vec3& axis);

// gluLookAt: f = normalize(center - eye), s = normalize(cross(f, up)), u = cross(s, f); the
// rows of the rotation are s, u and -f, followed by the translation -eye in that frame.
Mat4 LookAt(const Vec3& eye, const Vec3& center, const Vec3& up);
// glFrustum and glOrtho.
Mat4 Frustum(float left, float right, float bottom, float top, float nearClip, float farClip);
Mat4 Ortho(float left, float right, float bottom, float top, float nearClip, float farClip);

}  // namespace MathUtil
}  // namespace Velmora::Rendering
