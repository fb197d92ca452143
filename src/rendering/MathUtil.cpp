#include "rendering/MathUtil.h"

namespace Velmora::Rendering::MathUtil {

Vec3 Normalize(const Vec3& a) {
    const float length = Length(a);
    if (!(length > 0.0f) || !std::isfinite(length)) return {0.0f, 0.0f, 0.0f};
    return Mul(a, 1.0f / length);
}

Mat4 Multiply(const Mat4& a, const Mat4& b) {
    Mat4 r{};
    for (int c = 0; c < 4; ++c)
        for (int row = 0; row < 4; ++row) {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k) sum += a[k * 4 + row] * b[c * 4 + k];
            r[c * 4 + row] = sum;
        }
    return r;
}

Vec4 Transform(const Mat4& m, const Vec4& v) {
    Vec4 r{};
    for (int row = 0; row < 4; ++row)
        r[row] = m[row] * v[0] + m[4 + row] * v[1] + m[8 + row] * v[2] + m[12 + row] * v[3];
    return r;
}

Mat4 Translation(const Vec3& t) {
    Mat4 m = Identity4();
    m[12] = t[0];
    m[13] = t[1];
    m[14] = t[2];
    return m;
}

Mat4 Scale(const Vec3& s) {
    Mat4 m = Identity4();
    m[0] = s[0];
    m[5] = s[1];
    m[10] = s[2];
    return m;
}

Mat4 Rotation(float angleDegrees, const Vec3& axis) {
    const float radians = angleDegrees * kDegToRad;
    const float c = std::cos(radians);
    const float s = std::sin(radians);
    const float t = 1.0f - c;
    const float x = axis[0], y = axis[1], z = axis[2];
    Mat4 m = Identity4();
    m[0] = t * x * x + c;
    m[1] = t * x * y + s * z;
    m[2] = t * x * z - s * y;
    m[4] = t * x * y - s * z;
    m[5] = t * y * y + c;
    m[6] = t * y * z + s * x;
    m[8] = t * x * z + s * y;
    m[9] = t * y * z - s * x;
    m[10] = t * z * z + c;
    return m;
}

Mat4 LookAt(const Vec3& eye, const Vec3& center, const Vec3& up) {
    const Vec3 f = Normalize(Sub(center, eye));
    const Vec3 s = Normalize(Cross(f, up));
    const Vec3 u = Cross(s, f);
    Mat4 m = Identity4();
    m[0] = s[0];
    m[4] = s[1];
    m[8] = s[2];
    m[1] = u[0];
    m[5] = u[1];
    m[9] = u[2];
    m[2] = -f[0];
    m[6] = -f[1];
    m[10] = -f[2];
    m[12] = -Dot(s, eye);
    m[13] = -Dot(u, eye);
    m[14] = Dot(f, eye);
    return m;
}

Mat4 Frustum(float left, float right, float bottom, float top, float nearClip, float farClip) {
    Mat4 m{};
    m[0] = 2.0f * nearClip / (right - left);
    m[5] = 2.0f * nearClip / (top - bottom);
    m[8] = (right + left) / (right - left);
    m[9] = (top + bottom) / (top - bottom);
    m[10] = -(farClip + nearClip) / (farClip - nearClip);
    m[11] = -1.0f;
    m[14] = -2.0f * farClip * nearClip / (farClip - nearClip);
    return m;
}

Mat4 Ortho(float left, float right, float bottom, float top, float nearClip, float farClip) {
    Mat4 m = Identity4();
    m[0] = 2.0f / (right - left);
    m[5] = 2.0f / (top - bottom);
    m[10] = -2.0f / (farClip - nearClip);
    m[12] = -(right + left) / (right - left);
    m[13] = -(top + bottom) / (top - bottom);
    m[14] = -(farClip + nearClip) / (farClip - nearClip);
    return m;
}

}  // namespace Velmora::Rendering::MathUtil
