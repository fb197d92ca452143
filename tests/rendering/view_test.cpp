// Render views: pictures of coded scenes, cameras seen through a view, views from descriptions.

#include <epoxy/gl.h>

#include <filesystem>

#include "format/PDFHelper.h"
#include "rendering/Image.h"
#include "rendering/LightingSchemeManager.h"
#include "rendering/Renderer.h"
#include "scene_test_support.h"
#include "u3d/U3DSceneDescription.h"
#include "util/Paths.h"
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

TEST_F(ViewRender, ViewportChangeRecreatesTheFramebuffer) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("resize", 64, 64);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    EXPECT_FALSE(view->SetViewport({0, 0, 0, 50}));
    EXPECT_EQ(view->GetWidth(), 64u);
    ASSERT_TRUE(view->SetViewport({0, 0, 200, 100}));
    EXPECT_EQ(view->GetWidth(), 200u);
    EXPECT_EQ(view->GetCameraController().GetViewport().width, 200u);
    EXPECT_NE(view->GetColorTexture(), 0u);
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    EXPECT_EQ(picture.bgra.size(), 200u * 100u * 4u);
    ExpectCentredCube(picture, "after resize");
}

TEST_F(ViewRender, FlippedReadBackReversesRows) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("flip", 40, 30);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    view->SetClearColor({0.0f, 0.0f, 0.0f});
    std::vector<uint8_t> plain, flipped;
    uint32_t size = 0;
    ASSERT_TRUE(view->RenderToMemory(plain, size, false));
    ASSERT_TRUE(view->RenderToMemory(flipped, size, true));
    ASSERT_EQ(plain.size(), flipped.size());
    const size_t row = 40 * 4;
    for (size_t y = 0; y < 30; ++y)
        EXPECT_TRUE(std::equal(plain.begin() + long(y * row), plain.begin() + long((y + 1) * row),
                               flipped.begin() + long((29 - y) * row)));
}

TEST_F(ViewRender, LineModeDrawsOnlyTheEdges) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("lines", 100, 100);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    view->SetPolygonMode(GL_LINE);
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    view->SetPolygonMode(GL_FILL);
    EXPECT_EQ(picture.At(50, 50), kBlack);  // the face is hollow
    const auto e = picture.Extent(kBlack);
    ASSERT_GE(e[0], 0);
    EXPECT_NEAR(e[0], 99 - e[2], 1);
    Picture filled;
    ASSERT_TRUE(view.Capture(filled));
    EXPECT_EQ(filled.At(50, 50), (std::array<int, 3>{0, 0, 255}));
}

TEST_F(ViewRender, ScreenshotWritesTheFrameAsAnImage) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("shot", 80, 60);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    const std::string path = ::testing::TempDir() + "kestrum_view_shot.png";
    std::filesystem::remove(path);
    view->Screenshot(path, 1);
    EXPECT_TRUE(view->IsScreenshotPending());
    view->Render(2000);
    EXPECT_FALSE(view->IsScreenshotPending());
    ASSERT_TRUE(std::filesystem::exists(path));
    ImageBuffer image;
    ASSERT_EQ(Image::DecodeFile(path, image, PixelLayout::BGRA, true), ImageStatus::Ok);
    ASSERT_EQ(image.width, 80u);
    ASSERT_EQ(image.height, 60u);
    Picture decoded;
    decoded.width = 80;
    decoded.height = 60;
    decoded.bgra.assign(image.pixels.get(), image.pixels.get() + 80 * 60 * 4);
    EXPECT_EQ(decoded.At(40, 30), (std::array<int, 3>{0, 0, 255}));
    EXPECT_EQ(decoded.At(0, 0), kBlack);
    std::filesystem::remove(path);
}

}  // namespace
}  // namespace kestrum_test::scene

namespace kestrum_test::scene {
namespace {

class ViewCamera : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        handle_ = BoxScene({-1, -1, -1}, {1, 1, 1});
        ASSERT_NE(handle_, 0u);
        view_ = std::make_unique<CaptureView>("camera", 200, 200);
        ASSERT_TRUE(*view_);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle_, view_->get()));
    }
    void TearDown() override {
        view_.reset();
        SceneTest::TearDown();
    }
    CameraController& Controller() { return (*view_)->GetCameraController(); }
    Picture Shot() {
        Picture picture;
        EXPECT_TRUE(view_->Capture(picture));
        return picture;
    }
    // A camera on +z looking at the origin, in the default camera's frame.
    static CameraInfo FrontCamera(const std::string& name) {
        CameraInfo info;
        info.type = CameraType::Orbit;
        info.name = name;
        info.eye = {0, 0, 4};
        info.target = {0, 0, 0};
        info.orientation[0] = {-1, 0, 0};
        info.orientation[1] = {0, 1, 0};
        info.orientation[2] = {0, 0, -1};
        info.nearClip = 0.01f;
        info.farClip = 100.0f;
        return info;
    }

    SceneHandle handle_ = 0;
    std::unique_ptr<CaptureView> view_;
};

TEST_F(ViewCamera, OrthographicAndPerspectiveGiveDifferentPictures) {
    const Picture perspective = Shot();
    CameraInfo ortho = FrontCamera("ortho");
    ortho.orthographic = true;
    ortho.orthoZoom = 1.0f;
    ortho.orthoViewHeightFactor = 0.02f;  // 200 pixels high: a view four units high
    ASSERT_TRUE(Controller().AddCamera(ortho));
    ASSERT_TRUE(Controller().ActivateCamera("ortho"));
    const Picture orthographic = Shot();
    EXPECT_GT(perspective.CountDifferent(orthographic, 0), 1000u);
    const auto e = orthographic.Extent(kBlack);
    EXPECT_NEAR(e[2] - e[0] + 1, 100, 1);
    EXPECT_NEAR(e[3] - e[1] + 1, 100, 1);
    EXPECT_NEAR(e[0], 199 - e[2], 1);
    const auto p = perspective.Extent(kBlack);
    EXPECT_GT(p[2] - p[0] + 1, 120);
    ASSERT_TRUE(Controller().ActivateCamera(kDefaultCameraName));
    EXPECT_EQ(Shot().bgra, perspective.bgra);
}

TEST_F(ViewCamera, ArcballOrbitKeepsTheTargetCentred) {
    const Picture before = Shot();
    SceneCamera& camera = Controller().GetActiveCamera();
    const float distance = camera.GetDistance();
    Controller().OnPrimaryDown(100, 100);
    EXPECT_TRUE(Controller().IsRotating());
    Controller().OnPrimaryMove(130, 100);
    Controller().OnPrimaryMove(160, 100);
    Controller().OnPrimaryUp();
    EXPECT_FALSE(Controller().IsRotating());
    const Vec3 target = camera.GetTarget();
    EXPECT_NEAR(target[0], 0.0f, 1e-4f);
    EXPECT_NEAR(target[1], 0.0f, 1e-4f);
    EXPECT_NEAR(target[2], 0.0f, 1e-4f);
    const Vec3 eye = camera.GetEye();
    EXPECT_NEAR(std::sqrt(eye[0] * eye[0] + eye[1] * eye[1] + eye[2] * eye[2]), distance, distance * 1e-4f);
    EXPECT_GT(std::abs(eye[0]), 0.1f * distance) << "the camera did not move sideways";
    EXPECT_NEAR(eye[1], 0.0f, 1e-3f * distance);
    const Picture after = Shot();
    EXPECT_GT(before.CountDifferent(after, 0), 1000u);
    bool side = false;
    for (uint32_t x = 0; x < after.width; ++x) {
        const auto c = after.At(x, 100);
        if (c == std::array<int, 3>{255, 0, 0} || c == std::array<int, 3>{0, 255, 255}) side = true;
    }
    EXPECT_TRUE(side);
    const auto e = after.Extent(kBlack);
    EXPECT_NEAR(e[1], 199 - e[3], 1);
    EXPECT_NEAR((e[0] + e[2]) / 2.0, 99.5, 8.0);
    EXPECT_NE(after.At(100, 100), kBlack);
}

}  // namespace
}  // namespace kestrum_test::scene

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

TEST_F(ViewDescriptionTest, ExplicitMatrixPutsTheObjectWhereItSays) {
    CaptureView view("desc-matrix", 160, 120);
    SceneHandle handle = 0;
    ASSERT_TRUE(Show(view, &handle));
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

namespace kestrum_test::scene {
namespace {

// Sphere rows expanded to three of their own per face: the unindexed form of the same surface.
std::shared_ptr<Mesh> FlatCopy(SceneHandle handle, const std::string& name, const Mesh& indexed) {
    // The export's read-back refuses indexed rows, so the shared rows come straight from the VBO.
    const DrawInfo* draw = indexed.GetDrawInfo(0);
    glBindBuffer(GL_COPY_READ_BUFFER, draw->vbo);
    GLint64 bytes = 0;
    glGetBufferParameteri64v(GL_COPY_READ_BUFFER, GL_BUFFER_SIZE, &bytes);
    std::vector<float> shared(size_t(bytes) / sizeof(float));
    glGetBufferSubData(GL_COPY_READ_BUFFER, 0, bytes, shared.data());
    glBindBuffer(GL_COPY_READ_BUFFER, 0);
    auto indices = indexed.GetIndexDataForSubObject(0);
    std::vector<float> flat;
    flat.reserve(size_t(indices->Count()) * kRowFloats);
    for (uint32_t i = 0; i < indices->Count(); ++i) {
        const float* row = shared.data() + size_t(indices->Data()[i]) * kRowFloats;
        flat.insert(flat.end(), row, row + kRowFloats);
    }
    return UploadMesh(handle, name, flat, {});
}

class ViewBatchedDraw : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        savedLimit_ = Mesh::DrawBatchLimit();
        handle_ = NewScene();
        ASSERT_NE(handle_, 0u);
        auto root = InvisibleModel::Create(handle_, "___TEST_ROOT");
        const uint32_t lit = ShaderFlags::FrontFaces | ShaderFlags::Lighting;
        auto sphereMesh = MakeSphere(handle_, "sphereMesh", 1.0f, 60, 120, {0.9f, 0.8f, 0.6f, 1.0f});
        ASSERT_NE(sphereMesh, nullptr);
        auto flatMesh = FlatCopy(handle_, "flatMesh", *sphereMesh);
        ASSERT_NE(flatMesh, nullptr);
        auto sphere = MakeModel(handle_, "sphere", sphereMesh, lit);
        auto flat = MakeModel(handle_, "flat", flatMesh, lit);
        ASSERT_TRUE(root && sphere && flat);
        // The flat copy sits half inside the indexed sphere, so depth decides along their seam.
        flat->SetMatrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.8f, 0.3f, 0.2f, 1});
        ASSERT_TRUE(root->AddChild(sphere, "") && root->AddChild(flat, ""));
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = info.gridVisible = true;
        ASSERT_TRUE(Scene(handle_)->Init(info));
        ASSERT_TRUE(Scene(handle_)->GetResources().lightingSchemeManager.ActivateScheme(LightingScheme::CAD));
        view_ = std::make_unique<CaptureView>("batched", 160, 120);
        ASSERT_TRUE(*view_);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle_, view_->get()));
    }
    void TearDown() override {
        Mesh::SetDrawBatchLimit(savedLimit_);
        view_.reset();
        SceneTest::TearDown();
    }
    Picture Shot(uint32_t batchLimit) {
        Mesh::SetDrawBatchLimit(batchLimit);
        Picture picture;
        EXPECT_TRUE(view_->Capture(picture));
        return picture;
    }

    SceneHandle handle_ = 0;
    std::unique_ptr<CaptureView> view_;
    uint32_t savedLimit_ = 0;
};

TEST_F(ViewBatchedDraw, BatchesReadBackLikeWholeDraws) {
    for (uint32_t samples : {0u, 4u}) {
        SCOPED_TRACE("samples " + std::to_string(samples));
        ASSERT_TRUE((*view_)->SetFBOAAModeExplicitely(samples, 0));
        const Picture whole = Shot(0);
        ASSERT_GT(whole.Extent(kBlack)[0], -1) << "nothing drawn";
        for (uint32_t limit : {997u, 4096u}) {
            SCOPED_TRACE("limit " + std::to_string(limit));
            EXPECT_EQ(Shot(limit).bgra, whole.bgra);
        }
    }
}

}  // namespace
}  // namespace kestrum_test::scene
