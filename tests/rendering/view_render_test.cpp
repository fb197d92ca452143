// Render views end to end on the software renderer: a scene built from code, drawn through the
// framebuffer (single and multisampled), read back and checked pixel by pixel.

#include <epoxy/gl.h>

#include <filesystem>

#include "rendering/Renderer.h"
#include "rendering/Image.h"
#include "scene_test_support.h"
#include "util/Paths.h"

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

TEST_F(ViewRender, CreateNeedsRunningRendererAndValidInfo) {
    RenderViewCreationInfo info;
    info.name = "";
    info.window = 0x80000000u;
    EXPECT_EQ(RenderView::Create(info), nullptr);
    EXPECT_TRUE(log_->Has("Failed to initialize RenderView, invalid CreationInfo!", 1));
    EXPECT_TRUE(log_->Has("RenderView::Create: failed to initialize!", 1));

    log_->Clear();
    info.name = "no window";
    info.window = 0x12345;  // no live window carries this handle
    EXPECT_EQ(RenderView::Create(info), nullptr);
    EXPECT_TRUE(log_->Has("No valid device context for window found, cannot create OpenGL context!", 1));
}

TEST_F(ViewRender, CreateRefusesWithoutRenderer) {
    kestrum_test::ResetGLContext();
    RenderViewCreationInfo info;
    info.name = "early";
    info.window = 0x80000000u;
    EXPECT_EQ(RenderView::Create(info), nullptr);
    EXPECT_TRUE(log_->Has("RenderView::Create: Renderer not initialized!", 1));
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
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
    // The four corners and the margins are the clear colour, exactly.
    for (auto [x, y] : {std::pair{0u, 0u}, {299u, 0u}, {0u, 199u}, {299u, 199u}, {10u, 100u}, {150u, 5u}})
        EXPECT_EQ(picture.At(x, y), kBlack) << x << "," << y;
    ExpectCentredCube(picture, "single sample");
    EXPECT_TRUE(kestrum_test::TakeGLError().empty());
}

TEST_F(ViewRender, ClearColourIsTheBackground) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("clear", 64, 48);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    view->SetClearColor({0.2f, 0.4f, 0.6f});
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    const auto corner = picture.At(0, 0);
    EXPECT_NEAR(corner[0], 51, 1);
    EXPECT_NEAR(corner[1], 102, 1);
    EXPECT_NEAR(corner[2], 153, 1);
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
    EXPECT_TRUE(log_->Has("Renderer::SetFBOAAModeExplicitely switched to 0 coverage and 4 color samples", 3));
    EXPECT_EQ(view->GetColorSamples(), 4u);
    EXPECT_NE(view->GetMultisampleFramebuffer(), 0u);
    ASSERT_TRUE(view.Capture(multi));
    ExpectCentredCube(multi, "four samples");

    // Differences only where a pixel has a neighbour of another colour in the one-sample picture.
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

    // Back to one sample: the picture is the first one again, bit for bit.
    ASSERT_TRUE(view->SetFBOAAModeExplicitely(0, 0));
    EXPECT_EQ(view->GetMultisampleFramebuffer(), 0u);
    Picture again;
    ASSERT_TRUE(view.Capture(again));
    EXPECT_EQ(again.bgra, single.bgra);
}

TEST_F(ViewRender, UnsupportedSampleModeIsRefusedAndKeepsTheOld) {
    CaptureView view("aa", 32, 32);
    ASSERT_TRUE(view);
    EXPECT_FALSE(view->SetFBOAAModeExplicitely(3, 0));
    EXPECT_TRUE(log_->Has("Renderer::SupportsFBOAAMode - unsupported CSAA mode", 1));
    EXPECT_EQ(view->GetColorSamples(), 0u);
}

TEST_F(ViewRender, RescaledScenesLookTheSameAsUnitScenes) {
    // Whatever the size rule does to the units, the default camera frames the cube alike.
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

TEST_F(ViewRender, OffCentreSceneIsMovedToTheMiddle) {
    const SceneHandle handle = BoxScene({40, -7, 3}, {42, -5, 5});
    CaptureView view("offcentre", 100, 100);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    ExpectCentredCube(picture, "off centre");
}

TEST_F(ViewRender, ViewportChangeRecreatesTheFramebuffer) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("resize", 64, 64);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));

    EXPECT_FALSE(view->SetViewport({0, 0, 0, 50}));
    EXPECT_TRUE(log_->Has("Trying to set viewport to 0x50 - IGNORED!", 2));
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

TEST_F(ViewRender, RenderToMemoryNeedsAVisibleScene) {
    CaptureView view("empty", 32, 32);
    ASSERT_TRUE(view);
    std::vector<uint8_t> pixels;
    uint32_t size = 0;
    EXPECT_FALSE(view->RenderToMemory(pixels, size, false));
    EXPECT_TRUE(log_->Has("Cannot render scene to file, no scene loaded, or scene set invisible!", 1));

    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    Scene(handle)->SetVisible(false);
    log_->Clear();
    EXPECT_FALSE(view->RenderToMemory(pixels, size, false));
    EXPECT_TRUE(log_->Has("Cannot render scene to file, no scene loaded, or scene set invisible!", 1));
}

TEST_F(ViewRender, HiddenSceneKeepsThePreviousFrame) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("hidden", 48, 48);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    view->Render(1000);
    std::vector<uint8_t> before, after;
    uint32_t size = 0;
    ASSERT_TRUE(view->ReadFramebuffer(before, size, false));

    Scene(handle)->SetVisible(false);
    view->SetClearColor({1.0f, 1.0f, 1.0f});
    view->Render(1016);
    ASSERT_TRUE(view->ReadFramebuffer(after, size, false));
    EXPECT_EQ(before, after);
}

TEST_F(ViewRender, AnisotropyZeroMeansOneAndBadValuesAreRefused) {
    CaptureView view("aniso", 16, 16);
    ASSERT_TRUE(view);
    EXPECT_TRUE(view->SetAnisotropy(0));
    EXPECT_EQ(view->GetAnisotropy(), 1u);
    EXPECT_TRUE(log_->Has("Anisotropic filtering set to 1", 3));
    EXPECT_FALSE(view->SetAnisotropy(3));
    EXPECT_TRUE(log_->Has("RenderView::SetAnisotropy with invalid setting: 3", 1));
    const uint32_t tooMany = Renderer::Instance().MaxAnisotropy() * 2;
    EXPECT_FALSE(view->SetAnisotropy(tooMany));
    EXPECT_EQ(view->GetAnisotropy(), 1u);

    // A valid value reaches the texture table of every scene.
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    ASSERT_TRUE(view->SetAnisotropy(4));
    EXPECT_EQ(Scene(handle)->GetResources().textureManager.GetAnisotropy(), 4u);
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

TEST_F(ViewRender, RendererDrawsRegisteredViews) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("listed", 40, 40);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    ASSERT_TRUE(Renderer::Instance().AddRenderView(view.shared()));
    Renderer::Instance().RenderAllViews(5000);
    Renderer::Instance().RemoveRenderView(view.shared());
    // The frame went through the framebuffer: its centre holds the front face.
    Picture picture;
    picture.width = picture.height = 40;
    uint32_t size = 0;
    ASSERT_TRUE(view->ReadFramebuffer(picture.bgra, size, false));
    EXPECT_EQ(picture.At(20, 20), (std::array<int, 3>{0, 0, 255}));
    EXPECT_FALSE(view->IsFrameDirty());
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

    // The file holds the frame: decoded, its centre is the blue front face, its corner black.
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

TEST_F(ViewRender, ScreenshotWithoutPathGoesToTheScreenshotsFolder) {
    const SceneHandle handle = BoxScene({-1, -1, -1}, {1, 1, 1});
    CaptureView view("autoshot", 20, 20);
    ASSERT_TRUE(view);
    ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    const std::string folder = Velmora::Utility::GetModulePath() + "/screenshots";
    const auto before = Velmora::Utility::FindFilesInFolder(folder, "Screenshot_*.jpeg");
    view->Screenshot("", 2);
    ASSERT_TRUE(view->TakeScreenshot());
    const auto after = Velmora::Utility::FindFilesInFolder(folder, "Screenshot_*.jpeg");
    ASSERT_EQ(after.size(), before.size() + 1);
    for (const auto& name : after) {
        if (std::find(before.begin(), before.end(), name) == before.end()) std::filesystem::remove(folder + "/" + name);
    }
}

TEST_F(ViewRender, ScreenshotOfNothingFailsAndStaysPending) {
    CaptureView view("noshot", 20, 20);
    ASSERT_TRUE(view);
    view->Screenshot(::testing::TempDir() + "never.png", 1);
    view->Render(10);
    EXPECT_TRUE(log_->Has("Failed to render scene to file!", 1));
    EXPECT_TRUE(view->IsScreenshotPending());
}

}  // namespace
}  // namespace kestrum_test::scene
