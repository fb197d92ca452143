// Captures compared with the pictures the project keeps in tests/host/images. The pictures
// were written by this test (KESTRUM_WRITE_REFERENCE_IMAGES=1) and checked by eye; a change of
// the renderer that moves more than a few edge pixels shows up here.

#include <cstdlib>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

struct Reference {
    const char* name;  // file stem in tests/host/images
    std::string scene;
    const char* camera;
    int32_t width, height;
    uint32_t background;
    uint32_t lighting;
};

std::vector<Reference> References() {
    return {
        {"sample_front", SourceFile("scenes/sample.u3d"), "Front", 200, 150, 0xFFFFFF, 1},
        {"sample_top_day", SourceFile("scenes/sample.u3d"), "Top", 160, 120, 0x202840, 3},
        {"box_default", TestFile("box.u3d"), "DefaultView", 160, 120, 0xFFFFFF, 1},
        {"texturelayers_default", TestFile("TextureLayers.u3d"), "DefaultView", 200, 150, 0xFFFFFF, 1},
        {"views_view2", TestFile("views.u3d"), "View2", 160, 120, 0xE0E0E0, 1},
        {"shading_cad", TestFile("shading.u3d"), "DefaultView", 200, 150, 0xFFFFFF, 10},
    };
}

class CaptureImages : public CaptureTest, public testing::WithParamInterface<Reference> {};

TEST_P(CaptureImages, MatchesTheKeptPicture) {
    const Reference& ref = GetParam();
    Request r = Request::File(ref.scene);
    r.camera = ref.camera;
    r.width = ref.width;
    r.height = ref.height;
    r.background = ref.background;
    r.lighting = ref.lighting;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    const Picture captured = FromAnswer(a);
    const std::string path = SourceFile(std::string("tests/host/images/") + ref.name + ".png");

    const char* write = std::getenv("KESTRUM_WRITE_REFERENCE_IMAGES");
    if (write && *write == '1') {
        ASSERT_TRUE(WritePng(path, captured)) << path;
        GTEST_SKIP() << "wrote " << path;
    }

    Picture kept;
    ASSERT_TRUE(ReadPng(path, kept)) << path;
    ASSERT_EQ(kept.width, ref.width);
    ASSERT_EQ(kept.height, ref.height);
    // Rasterisation may move single edge pixels; colours may wander a little.
    const double share = DifferentShare(captured, kept, 12);
    EXPECT_LT(share, 0.01) << ref.name;
    if (share >= 0.01) WritePng("/tmp/" + std::string(ref.name) + "_actual.png", captured);
}

INSTANTIATE_TEST_SUITE_P(Scenes, CaptureImages, testing::ValuesIn(References()),
                         [](const testing::TestParamInfo<Reference>& info) { return std::string(info.param.name); });

// The comparison itself must see a real difference: a picture against its own negative and
// against the same picture with one block of pixels changed.
TEST(PictureComparison, SeesChangedAreasAndIgnoresSmallNoise) {
    Picture a{10, 10, std::vector<uint8_t>(400, 100)};
    Picture b = a;
    EXPECT_EQ(DifferentShare(a, b, 12), 0.0);
    for (size_t i = 0; i < b.bgra.size(); ++i) b.bgra[i] = static_cast<uint8_t>(b.bgra[i] + (i % 3 == 0 ? 8 : 0));
    EXPECT_EQ(DifferentShare(a, b, 12), 0.0);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) b.bgra[(size_t(y) * 10 + x) * 4 + 1] = 200;
    EXPECT_DOUBLE_EQ(DifferentShare(a, b, 12), 0.09);
    Picture small{5, 5, std::vector<uint8_t>(100, 100)};
    EXPECT_EQ(DifferentShare(a, small, 12), 1.0);
    // A line one pixel wide has no solid pixel; a 3x3 block touching it has two: its centre
    // and the middle of its edge on the line.
    Picture line{10, 10, std::vector<uint8_t>(400, 255)};
    for (int x = 0; x < 10; ++x) std::memset(line.bgra.data() + (5 * 10 + x) * 4, 0, 4);
    EXPECT_EQ(SolidCoverage(line, 0xFFFFFF), 0);
    for (int y = 2; y < 5; ++y)
        for (int x = 2; x < 5; ++x) std::memset(line.bgra.data() + (size_t(y) * 10 + x) * 4, 0, 4);
    EXPECT_EQ(SolidCoverage(line, 0xFFFFFF), 2);
}

}  // namespace
