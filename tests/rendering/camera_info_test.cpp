// Validation of camera records and the math helpers the cameras stand on.

#include <gtest/gtest.h>

#include <cmath>

#include "camera_fake_scene.h"
#include "rendering/Arcball.h"
#include "rendering/CameraInfo.h"
#include "rendering/MathUtil.h"
#include "support/LogCapture.h"

namespace kestrum_test {
namespace {

using namespace cam;
using Velmora::Test::LogCapture;

CameraInfo ValidInfo() {
    CameraInfo info;
    info.type = CameraType::Orbit;
    info.name = "Cam";
    return info;
}

TEST(CameraInfoValidation, DefaultsAreValidOnceNamed) {
    LogCapture capture;
    CameraInfo info;
    EXPECT_FALSE(info.IsValid());  // a record without a name is not a camera
    EXPECT_TRUE(capture.Has("CameraInfo: Invalid name", 1));
    info.name = "A";
    EXPECT_TRUE(info.IsValid());
}

TEST(CameraInfoValidation, EachFaultHasItsMessage) {
    struct Case {
        void (*spoil)(CameraInfo&);
        const char* message;
    };
    const Case cases[] = {
        {[](CameraInfo& i) { i.type = 0; }, "CameraInfo: Invalid type"},
        {[](CameraInfo& i) { i.type = 4; }, "CameraInfo: Invalid type"},
        {[](CameraInfo& i) { i.fieldOfView = 0.99f; }, "CameraInfo: Invalid FOV"},
        {[](CameraInfo& i) { i.fieldOfView = 180.5f; }, "CameraInfo: Invalid FOV"},
        {[](CameraInfo& i) { i.fieldOfView = NAN; }, "CameraInfo: Invalid FOV"},
        {[](CameraInfo& i) { i.orientation[0] = {0, 0, 0}; }, "CameraInfo: Invalid orientation matrix[0]"},
        {[](CameraInfo& i) { i.orientation[1] = {0, 0, 0}; }, "CameraInfo: Invalid orientation matrix[1]"},
        {[](CameraInfo& i) { i.orientation[2] = {0, 0, 0}; }, "CameraInfo: Invalid orientation matrix[2]"},
        {[](CameraInfo& i) { i.eye = i.target; }, "CameraInfo: Invalid target cam settings"},
    };
    for (const Case& c : cases) {
        LogCapture capture;
        CameraInfo info = ValidInfo();
        c.spoil(info);
        EXPECT_FALSE(info.IsValid()) << c.message;
        EXPECT_TRUE(capture.Has(c.message, 1)) << c.message;
    }
}

TEST(CameraInfoValidation, FieldOfViewBoundsAreInclusive) {
    CameraInfo info = ValidInfo();
    info.fieldOfView = 1.0f;
    EXPECT_TRUE(info.IsValid());
    info.fieldOfView = 180.0f;
    EXPECT_TRUE(info.IsValid());
}

TEST(MathUtil, LookAtMatchesGluConvention) {
    // Eye on +z looking at the origin: the view is a pure translation by -z.
    const Mat4 view = MathUtil::LookAt({0, 0, 5}, {0, 0, 0}, {0, 1, 0});
    const Vec4 origin = MathUtil::Transform(view, {0, 0, 0, 1});
    EXPECT_NEAR(origin[2], -5.0f, 1e-6f);
    // A point to the world's right stays on the camera's right.
    const Vec4 right = MathUtil::Transform(view, {1, 0, 0, 1});
    EXPECT_NEAR(right[0], 1.0f, 1e-6f);
    // Eye on +x looking at the origin: screen right is world -z, so world +z lies to the left.
    const Mat4 side = MathUtil::LookAt({5, 0, 0}, {0, 0, 0}, {0, 1, 0});
    EXPECT_NEAR(MathUtil::Transform(side, {0, 0, 1, 1})[0], -1.0f, 1e-6f);
}

TEST(MathUtil, RotationIsCounterClockwiseAndOrthonormal) {
    const Mat4 r = MathUtil::Rotation(90.0f, {0, 0, 1});
    const Vec4 x = MathUtil::Transform(r, {1, 0, 0, 0});
    EXPECT_NEAR(x[0], 0.0f, 1e-6f);
    EXPECT_NEAR(x[1], 1.0f, 1e-6f);
    const Mat4 q = MathUtil::Rotation(37.0f, MathUtil::Normalize({1, 2, 3}));
    const Mat4 qq = MathUtil::Multiply(q, MathUtil::Rotation(-37.0f, MathUtil::Normalize({1, 2, 3})));
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(qq[i], MathUtil::Identity4()[i], 1e-5f);
}

TEST(Arcball, MapsCentreRimAndOutside) {
    // 200 x 100 viewport, radius 45 pixels.
    Vec3 p = Arcball::MapToSphere(100, 50, 200, 100, 45);
    EXPECT_EQ(p, (Vec3{0, 0, 1}));
    p = Arcball::MapToSphere(100 + 45, 50, 200, 100, 45);
    EXPECT_NEAR(p[0], 1.0f, 1e-6f);
    EXPECT_NEAR(p[2], 0.0f, 1e-6f);
    // Far outside: pulled onto the rim in the same direction.
    p = Arcball::MapToSphere(100 + 300, 50 + 400, 200, 100, 45);
    EXPECT_NEAR(p[0], 0.6f, 1e-6f);
    EXPECT_NEAR(p[1], 0.8f, 1e-6f);
    EXPECT_EQ(p[2], 0.0f);
    // Inside: on the unit sphere.
    p = Arcball::MapToSphere(110, 40, 200, 100, 45);
    EXPECT_NEAR(MathUtil::Length(p), 1.0f, 1e-6f);
    EXPECT_LT(p[1], 0.0f);  // above the centre in the window is negative y
}

TEST(Arcball, RotationBetweenSkipsEqualAndParallelPoints) {
    Vec3 axis;
    float angle = 0.0f;
    EXPECT_FALSE(Arcball::RotationBetween({0, 0, 1}, {0, 0, 1}, axis, angle));
    ASSERT_TRUE(Arcball::RotationBetween({1, 0, 0}, {0, 1, 0}, axis, angle));
    EXPECT_NEAR(angle, 90.0f, 1e-4f);
    EXPECT_NEAR(axis[2], 1.0f, 1e-6f);
}

TEST(Arcball, CrosshairSitsOnTheSpherePoint) {
    // The arcs meet at the mesh origin; the matrix must carry it to the sphere point, with
    // window y flipped into clip space and the aspect scale applied.
    const Vec3 p = MathUtil::Normalize({0.3f, 0.4f, 0.8f});
    const Mat4 m = Arcball::CrosshairMatrix(p, 0.45f, 0.9f);
    const Vec4 c = MathUtil::Transform(m, {0, 0, 0, 1});
    EXPECT_NEAR(c[0], p[0] * 0.45f, 1e-5f);
    EXPECT_NEAR(c[1], -p[1] * 0.9f, 1e-5f);
    EXPECT_LE(std::fabs(c[2]), 1.0f);
}

}  // namespace
}  // namespace kestrum_test
