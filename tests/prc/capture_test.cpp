// PRC scenes through the exported interface: captures of the third-party files, their built
// triangle counts, kept pictures, and files that must fail cleanly.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "host/capture_library.h"
#include "prc/PrcFileBuilder.h"

namespace {

using namespace KestrumCaptureTest;

std::string PrcFile(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/prc/" + name; }

constexpr uint32_t kWhite = 0xFFFFFF;
constexpr int32_t kWidth = 160, kHeight = 120;
// The default camera frames the scene: its solid part covers a good share of the picture,
// round the centre.
constexpr int kMinCoverage = 1500;
constexpr double kMaxCentreOffset = 0.12;  // of the picture's side
// Lit: some covered pixels are bright, and brightness varies over the surface.
constexpr int kMinPeakBrightness = 120;
constexpr int kMinBrightnessRange = 40;

struct Scene {
    const char* file;
    const char* triangles;  // the statistics line of the built scene
};

class PrcCapture : public CaptureTest, public testing::WithParamInterface<Scene> {
protected:
    Answer Take() {
        Request r = Request::File(PrcFile(GetParam().file));
        r.width = kWidth;
        r.height = kHeight;
        r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
        return Capture(r);
    }
    void ExpectShown(const Answer& a) {
        ASSERT_TRUE(a.answered);
        ASSERT_EQ(a.success, 1);
        ASSERT_EQ(a.pixels.size(), size_t(kWidth) * kHeight * 4);
        const SceneShot s = MeasureScene(FromAnswer(a), kWhite);
        EXPECT_GE(s.coverage, kMinCoverage);
        EXPECT_NEAR(s.centreX, 0.5, kMaxCentreOffset);
        EXPECT_NEAR(s.centreY, 0.5, kMaxCentreOffset);
        EXPECT_GE(s.brightest, kMinPeakBrightness);
        EXPECT_GE(s.brightest - s.darkest, kMinBrightnessRange);
    }
};

TEST_P(PrcCapture, FromAFileShowsItsSceneLitAndCentred) {
    ExpectShown(Take());
    EXPECT_TRUE(lib.LogSaw(GetParam().triangles)) << GetParam().triangles;
}

INSTANTIATE_TEST_SUITE_P(
    ThirdParty, PrcCapture,
    testing::Values(Scene{"mesh1.prc", "Triangles: 8)"}, Scene{"mesh2.prc", "Triangles: 3200)"},
                    Scene{"grid_big.prc", "Triangles: 125000)"}, Scene{"torus_mesh.prc", "Triangles: 2316)"},
                    Scene{"cube_tess.prc", "Triangles: 24)"}, Scene{"plain_cube.prc", "Triangles: 12)"},
                    Scene{"sw_cylinder.prc", "Triangles: 94)"}, Scene{"hc_sphere.prc", "Triangles: 1984)"}),
    [](const testing::TestParamInfo<Scene>& info) {
        const std::string name = info.param.file;
        return name.substr(0, name.find('.'));
    });

// A CAD exporter writes 0 for the alphas of opaque materials: the single flat triangle must
// still be drawn, opaque, not blended away.
TEST_F(CaptureTest, ExporterTriangleWithZeroMaterialAlphasIsOpaque) {
    Request r = Request::File(PrcFile("sw_triangle.prc"));
    r.width = kWidth;
    r.height = kHeight;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    ASSERT_EQ(a.success, 1);
    const SceneShot s = MeasureScene(FromAnswer(a), kWhite);
    EXPECT_GE(s.coverage, kMinCoverage);
    EXPECT_NEAR(s.centreX, 0.5, kMaxCentreOffset);
}

// A capture whose built-in camera keeps the whole scene in sight, as `kestrum capture` takes
// it: 45 degrees on the shorter side of the picture.
Answer CaptureWholeScene(const Request& r) {
    constexpr float kFieldOfView = 45.0f;
    constexpr uint32_t kScaleShorterSide = 2;
    std::u16string path16;
    const std::u16string output16 = Utf16(r.outputPath), camera16 = Utf16(r.camera);
    Kestrum::CaptureParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load = FlatLoad(r, path16);
    parameters.view.flags = r.viewFlags;
    parameters.view.backgroundColor = r.background;
    parameters.view.lightingScheme = r.lighting;
    parameters.view.cameraName = camera16.c_str();
    parameters.view.fieldOfView = kFieldOfView;
    parameters.view.projectionScaling = kScaleShorterSide;
    parameters.captureFlags = r.captureFlags;
    parameters.outputPath = output16.c_str();
    parameters.width = r.width;
    parameters.height = r.height;
    Pending::Get().Reset();
    Velmora::Test::ExportedLibrary::Get().CaptureScene(0, parameters, OnCapture);
    return Pending::Get().Wait();
}

// Kept pictures, looked at by a person; compared with a tolerance, never byte for byte.
class PrcPictures : public CaptureTest, public testing::WithParamInterface<const char*> {};

TEST_P(PrcPictures, MatchTheKeptPicture) {
    const std::string stem = GetParam();
    Request r = Request::File(PrcFile(stem + ".prc"));
    r.width = 200;
    r.height = 150;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = CaptureWholeScene(r);
    ASSERT_EQ(a.success, 1);
    ExpectKeptPicture(FromAnswer(a), "prc", stem);
}

INSTANTIATE_TEST_SUITE_P(Kept, PrcPictures, testing::Values("mesh2", "torus_mesh"),
                         [](const testing::TestParamInfo<const char*>& info) { return std::string(info.param); });

using PrcCaptureCases = CaptureTest;

TEST_F(PrcCaptureCases, ExactGeometryOnlyFailsWithItsReason) {
    Request r = Request::File(PrcFile("teapot.prc"));
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 0);
    EXPECT_TRUE(a.pixels.empty());
    EXPECT_TRUE(lib.LogSaw("PRC file does not contain valid renderable objects"));
}

TEST_F(PrcCaptureCases, ItemOnAMissingTessellationBecomesAnInvisibleModel) {
    Velmora::Test::BuiltTree tree;
    tree.parts = {{0}, {6}};
    Velmora::Test::BuiltOccurrence root, good, bad;
    root.sons = {1, 2};
    good.part = 0;
    bad.part = 1;
    tree.occurrences = {root, good, bad};
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data = Velmora::Test::BuildTreeFile(tree);
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 1);
    EXPECT_TRUE(lib.LogSaw("Cannot find/create renderable mesh"));
    EXPECT_TRUE(lib.LogSaw("creating invisible model instead"));
    EXPECT_TRUE(lib.LogSaw("Triangles: 1)"));
}

TEST_F(PrcCaptureCases, WireTessellationIsDrawnAsLines) {
    Velmora::Test::PrcFileBuilder builder;
    // One wire through three points: two segments.
    builder.tessellation = [](Velmora::Test::PrcBitWriter& w) {
        Velmora::Test::PrcFileBuilder::Base(w, 305);
        w.Unsigned(1);
        w.Unsigned(175);
        w.Bit(0);
        w.Unsigned(9);
        for (double v : {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0, 1.0, 0.0}) w.Double(v);
        w.Unsigned(0);
        w.NoUserData();
    };
    Velmora::Test::BuiltTree tree;
    tree.parts = {{0}};
    tree.occurrences.resize(1);
    tree.occurrences[0].part = 0;
    builder.tree = [tree](Velmora::Test::PrcBitWriter& w) { Velmora::Test::WriteTree(w, tree); };
    builder.modelFile = Velmora::Test::RootModelFile(builder.fileStructureWord3, tree.root);
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data = builder.Build();
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    EXPECT_EQ(a.success, 1);
    ASSERT_TRUE(lib.LogSaw("Lines: 2, Triangles: 0)"));
    EXPECT_FALSE(lib.LogSaw("creating invisible model instead", 0));
}

}  // namespace
