// View dictionaries applied to scenes built from code: camera choice, projection rules and the
// picture an explicit camera matrix gives.

#include "format/PDFHelper.h"
#include "u3d/U3DSceneDescription.h"
#include "util/SceneParameters.h"
#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

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
    float ActiveFov(CaptureView& view) {
        return view->GetCameraController().GetActiveCamera().GetInfo().fieldOfView;
    }
};

TEST_F(ViewDescriptionTest, ViewWithoutMatrixOrViewNodeFails) {
    CaptureView view("desc-none", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    U3DSceneDescription d = Parse("/XN (Lost) /3DB [0 0 160 120]");
    EXPECT_FALSE(d.ApplyToScene(handle, true, view.get()));
    EXPECT_TRUE(log_->Has("Cannot find view node name, and also not using explicit matrix", 1));

    U3DSceneDescription missing = Parse("/XN (V) /3DB [0 0 160 120] /MS /U3D /U3DPath (NoSuchCamera)");
    EXPECT_FALSE(missing.ApplyToScene(handle, true, view.get()));
    EXPECT_TRUE(log_->Has("U3DSceneDescription::ApplyToScene: Cannot find view node 'NoSuchCamera'", 1));
}

TEST_F(ViewDescriptionTest, SameViewTwiceLeavesOneCamera) {
    CaptureView view("desc-twice", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    const std::string text = "/XN (Side) /3DB [0 0 160 120] /MS /M /C2W [0 0 -1 0 1 0 1 0 0 -6 0 0] "
                             "/P << /Subtype /P /FOV 30 /PS /H >> /LS << /Subtype /CAD >>";
    U3DSceneDescription d = Parse(text);
    ASSERT_TRUE(d.ApplyToScene(handle, true, view.get()));
    ASSERT_TRUE(d.ApplyToScene(handle, true, view.get()));
    EXPECT_EQ(Scene(handle)->GetCameras().count("Side"), 1u);
    EXPECT_EQ(view->GetCameraController().GetCameras().count("Side"), 1u);
    EXPECT_EQ(view->GetCameraController().GetActiveCamera().GetInfo().name, "Side");
    EXPECT_EQ(Scene(handle)->GetResources().lightingSchemeManager.GetActiveScheme(), 10u);

    // A view that starts from a scene camera gives the same camera however often it is applied.
    U3DSceneDescription corrected = Parse("/XN (D) /3DB [0 0 160 120] /MS /U3D /U3DPath (___DefaultCamera)");
    ASSERT_TRUE(corrected.ApplyToScene(handle, true, view.get()));
    const float first = ActiveFov(view);
    ASSERT_TRUE(corrected.ApplyToScene(handle, true, view.get()));
    EXPECT_FLOAT_EQ(ActiveFov(view), first);

    // From a view file the camera keeps apart from the scene's own.
    ASSERT_TRUE(d.ApplyToScene(handle, false, view.get()));
    EXPECT_EQ(Scene(handle)->GetCameras().count("Side [ViewFile]"), 1u);
}

TEST_F(ViewDescriptionTest, ProjectionScalingRules) {
    CaptureView view("desc-fov", 200, 100);  // wider than tall
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    const std::string head = "/XN (F) /3DB [0 0 200 100] /MS /M /C2W [1 0 0 0 1 0 0 0 1 0 0 -8] ";
    U3DSceneDescription min = Parse(head + "/P << /Subtype /P /FOV 40 /PS /Min >>");
    ASSERT_TRUE(min.ApplyToScene(handle, true, view.get()));
    EXPECT_FLOAT_EQ(ActiveFov(view), 40.0f);  // /Min on a wide view keeps the field of view

    U3DSceneDescription width = Parse(head + "/P << /Subtype /P /FOV 40 /PS /W >>");
    ASSERT_TRUE(width.ApplyToScene(handle, true, view.get()));
    const float expected = 2.0f * std::atan(50.0f / (100.0f / std::tan(20.0f * 0.017453292f))) * 57.295776f;
    EXPECT_NEAR(ActiveFov(view), expected, 1e-3);
    EXPECT_LT(ActiveFov(view), 40.0f);

    // 180 is out of the open range: the base camera's 45 degrees widened to the view's shape.
    U3DSceneDescription wide = Parse(head + "/P << /Subtype /P /FOV 180 /PS /H >>");
    ASSERT_TRUE(wide.ApplyToScene(handle, true, view.get()));
    EXPECT_TRUE(log_->Has("No projection dictionary, correcting FOV", 2));
    const float corrected = std::atan(200.0f / (100.0f / std::tan(45.0f * 0.017453292f))) * 57.295776f;
    EXPECT_NEAR(ActiveFov(view), corrected, 1e-3);
}

TEST_F(ViewDescriptionTest, ExplicitMatrixPutsTheObjectWhereItSays) {
    CaptureView view("desc-matrix", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
    // Eye on the +x axis looking back at the origin (forward row -x): the box is centred.
    U3DSceneDescription centred =
        Parse("/XN (C) /3DB [0 0 160 120] /BG << /C [0 0 0] >> /MS /M /C2W [0 0 -1 0 1 0 -1 0 0 8 0 0] "
              "/P << /Subtype /P /FOV 30 /PS /H >> /LS << /Subtype /White >>");
    ASSERT_TRUE(centred.ApplyToScene(handle, true, view.get()));
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    auto extent = picture.Extent(kBlack);
    ASSERT_GE(extent[0], 0);
    EXPECT_NEAR((extent[0] + extent[2]) / 2.0, 80.0, 3.0);
    EXPECT_NEAR((extent[1] + extent[3]) / 2.0, 60.0, 3.0);

    // Same direction, eye moved along its right row: the box moves across the picture.
    U3DSceneDescription shifted =
        Parse("/XN (S) /3DB [0 0 160 120] /BG << /C [0 0 0] >> /MS /M /C2W [0 0 -1 0 1 0 -1 0 0 8 0 1.5] "
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
