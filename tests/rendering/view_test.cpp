// Render views: pictures of scenes built in code, and cameras from view descriptions.

#include <epoxy/gl.h>

#include "rendering/Renderer.h"
#include "scene_test_support.h"
#include "u3d/U3DSceneDescription.h"
#include "util/SceneParameters.h"

namespace kestrum_test::scene {
namespace {

class ViewRender : public SceneTest {};

// Front face of a cube of edge s, seen by the default camera from 2s away through a 45 degree
// field: its half edge over the visible half height at 1.5s.
double ExpectedFrontFacePixels(uint32_t height) {
    const double halfHeight = 1.5 * std::tan(22.5 * 3.14159265358979 / 180.0);
    return 0.5 / halfHeight * height;
}

void ExpectCentredCube(const Picture& picture, const char* what) {
    SCOPED_TRACE(what);
    const auto e = picture.Extent(kBlack);
    ASSERT_GE(e[0], 0) << "nothing drawn";
    const double width = e[2] - e[0] + 1, height = e[3] - e[1] + 1;
    const double expected = ExpectedFrontFacePixels(picture.height);
    EXPECT_NEAR(width, expected, 2.0);
    EXPECT_NEAR(height, expected, 2.0);
    // Centred: the margins left and right (top and bottom) agree to a pixel.
    EXPECT_NEAR(e[0], double(picture.width) - 1 - e[2], 1.0);
    EXPECT_NEAR(e[1], double(picture.height) - 1 - e[3], 1.0);
    // The camera looks down -z: the +z face (blue) faces it, unlit, exactly its colour.
    EXPECT_EQ(picture.At(picture.width / 2, picture.height / 2), (std::array<int, 3>{0, 0, 255}));
}

TEST_F(ViewRender, ColouredCubeIsCentredOnExactBackground) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    ASSERT_NE(handle, 0u);
    CaptureView view("cube", 300, 200);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->GetColorSamples(), 0u);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    EXPECT_TRUE(view->HasScreenQuad());
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    EXPECT_EQ(picture.bgra.size(), 300u * 200u * 4u);
    for (auto [x, y] : {std::pair{0u, 0u}, {299u, 0u}, {0u, 199u}, {299u, 199u}, {10u, 100u}, {150u, 5u}})
        EXPECT_EQ(picture.At(x, y), kBlack) << x << "," << y;
    ExpectCentredCube(picture, "single sample");
    EXPECT_TRUE(kestrum_test::TakeGLError().empty());
}

TEST_F(ViewRender, FourSamplesMatchOneSampleExceptAtEdges) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("msaa", 160, 120);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    Picture single, multi;
    ASSERT_TRUE(view.Capture(single));
    ASSERT_TRUE(Renderer::Instance().SupportsAntiAliasingMode(4, 0));
    ASSERT_TRUE(view->SetFBOAAModeExplicitely(4, 0));
    EXPECT_EQ(view->GetColorSamples(), 4u);
    EXPECT_NE(view->GetMultisampleFramebuffer(), 0u);
    ASSERT_TRUE(view.Capture(multi));
    ExpectCentredCube(multi, "four samples");
    size_t edgeDifferences = 0;
    for (uint32_t y = 1; y + 1 < single.height; ++y) {
        for (uint32_t x = 1; x + 1 < single.width; ++x) {
            if (single.At(x, y) == multi.At(x, y)) continue;
            bool edge = false;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx)
                    if (single.At(x + dx, y + dy) != single.At(x, y)) edge = true;
            EXPECT_TRUE(edge) << "interior pixel changed at " << x << "," << y;
            if (edge) ++edgeDifferences;
        }
    }
    EXPECT_GT(edgeDifferences, 0u) << "multisampling left the edges as they were";
    ASSERT_TRUE(view->SetFBOAAModeExplicitely(0, 0));
    EXPECT_EQ(view->GetMultisampleFramebuffer(), 0u);
    Picture again;
    ASSERT_TRUE(view.Capture(again));
    EXPECT_EQ(again.bgra, single.bgra);
}

TEST_F(ViewRender, RescaledScenesLookTheSameAsUnitScenes) {
    for (float size : {2.0f, 2500.0f, 0.005f}) {
        const SceneHandle handle = BoxScene({-size / 2, -size / 2, -size / 2}, {size / 2, size / 2, size / 2});
        ASSERT_NE(handle, 0u) << size;
        CaptureView view("sized", 120, 120);
        ASSERT_TRUE(view);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
        Picture picture;
        ASSERT_TRUE(view.Capture(picture));
        ExpectCentredCube(picture, std::to_string(size).c_str());
    }
}

// The polygon mode is state of the one context that all views share: a view in line mode must
// not leave the next view it is drawn beside hollow.
TEST_F(ViewRender, LineModeOfOneViewLeavesAnotherFilled) {
    const SceneHandle first = BoxScene({-1, -1, -1}, {1, 1, 1});
    const SceneHandle second = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView lines("lines", 100, 100), filled("filled", 100, 100);
    ASSERT_TRUE(lines);
    ASSERT_TRUE(filled);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(first, lines.get()));
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(second, filled.get()));
    lines->SetPolygonMode(GL_LINE);
    Picture hollow, solid;
    ASSERT_TRUE(filled.Capture(solid));
    ASSERT_TRUE(lines.Capture(hollow));
    lines->SetPolygonMode(GL_FILL);
    EXPECT_EQ(solid.At(50, 50), (std::array<int, 3>{0, 0, 255}));
    EXPECT_EQ(hollow.At(50, 50), kBlack);  // the face is hollow, its edges centred
    const auto e = hollow.Extent(kBlack);
    ASSERT_GE(e[0], 0);
    EXPECT_NEAR(e[0], 99 - e[2], 1);
    ASSERT_TRUE(lines.Capture(solid));
    EXPECT_EQ(solid.At(50, 50), (std::array<int, 3>{0, 0, 255}));
}

using Velmora::U3D::CreateDictionaryFromViewParams;
using Velmora::U3D::U3DSceneDescription;
using Velmora::U3D::ViewportRect;

class ViewDescriptionTest : public SceneTest {
protected:
    // A box scene shown in a linked capture view of the given size.
    bool Show(CaptureView& view, SceneHandle* handle) {
        *handle = BoxScene({-1, -1, -1}, {1, 1, 1});
        return *handle != 0 && view && SceneManager::Instance().LinkSceneToRenderView(*handle, view.get());
    }
    static U3DSceneDescription Parse(const std::string& text) {
        U3DSceneDescription description;
        EXPECT_TRUE(description.CreateFromString(text)) << text;
        return description;
    }
};

TEST_F(ViewDescriptionTest, ExplicitMatrixPutsTheObjectWhereItSays) {
    CaptureView view("desc-matrix", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    U3DSceneDescription centred = Parse(
        "/XN (C) /3DB [0 0 160 120] /BG << /C [0 0 0] >> /MS /M /C2W [0 0 -1 0 1 0 -1 0 0 8 0 0] "
        "/P << /Subtype /P /FOV 30 /PS /H >> /LS << /Subtype /White >>");
    ASSERT_TRUE(centred.ApplyToScene(handle, true, view.get()));
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    auto extent = picture.Extent(kBlack);
    ASSERT_GE(extent[0], 0);
    EXPECT_NEAR((extent[0] + extent[2]) / 2.0, 80.0, 3.0);
    EXPECT_NEAR((extent[1] + extent[3]) / 2.0, 60.0, 3.0);
    U3DSceneDescription shifted = Parse(
        "/XN (S) /3DB [0 0 160 120] /BG << /C [0 0 0] >> /MS /M /C2W [0 0 -1 0 1 0 -1 0 0 8 0 1.5] "
        "/P << /Subtype /P /FOV 30 /PS /H >> /LS << /Subtype /White >>");
    ASSERT_TRUE(shifted.ApplyToScene(handle, true, view.get()));
    Picture moved;
    ASSERT_TRUE(view.Capture(moved));
    auto movedExtent = moved.Extent(kBlack);
    ASSERT_GE(movedExtent[0], 0);
    EXPECT_GT(std::abs((movedExtent[0] + movedExtent[2]) / 2.0 - 80.0), 15.0);
    EXPECT_NEAR((movedExtent[1] + movedExtent[3]) / 2.0, 60.0, 3.0);
}

TEST_F(ViewDescriptionTest, ViewParametersRoundTripGivesTheSameCamera) {
    CaptureView view("desc-params", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    Velmora::Utility::ViewParameters params;
    params.flags = Velmora::Utility::ViewParameters::ExplicitMatrix;
    const float c2w[12] = {0, 0, -1, 0, 1, 0, -1, 0, 0, 8, 0, 0};
    std::copy(c2w, c2w + 12, params.cameraToWorld);
    params.viewName = "Generated";
    params.fieldOfView = 35.0f;
    params.projectionScaling = 1;  // /H
    params.lightingScheme = 2;
    Velmora::FormatGlue::Dictionary dictionary;
    ASSERT_TRUE(CreateDictionaryFromViewParams(params, ViewportRect{0, 0, 160, 120}, &dictionary));
    U3DSceneDescription fromParams;
    ASSERT_TRUE(fromParams.Create(dictionary));
    ASSERT_TRUE(fromParams.ApplyToScene(handle, true, view.get()));
    CameraInfo a = view->GetCameraController().GetActiveCamera().GetInfo();
    U3DSceneDescription byHand = Parse(
        "<< /Type /3DView /XN (Generated) /3DB [0 0 160 120] /BG << /C [0 0 0] >> /CO 0 "
        "/LS << /Subtype /White >> /P << /Subtype /P /FOV 35 /PS /H /CS /ANF >> "
        "/MS /M /C2W [0 0 -1 0 1 0 -1 0 0 8 0 0] >>");
    ASSERT_TRUE(byHand.ApplyToScene(handle, true, view.get()));
    CameraInfo b = view->GetCameraController().GetActiveCamera().GetInfo();
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.fieldOfView, b.fieldOfView);
    EXPECT_EQ(a.eye, b.eye);
    EXPECT_EQ(a.target, b.target);
    EXPECT_EQ(a.nearClip, b.nearClip);
    EXPECT_EQ(a.farClip, b.farClip);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(a.orientation[i], b.orientation[i]);
}

}  // namespace
}  // namespace kestrum_test::scene
