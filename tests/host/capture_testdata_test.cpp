// Third-party U3D files captured through the exports: every file with CLOD meshes shows its
// scene, textures reach the picture, and the views a file names can be chosen by name.

#include <sstream>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

// Files of faces.tsv that declare at least one CLOD mesh.
std::vector<std::string> ClodFiles() {
    std::vector<std::string> files;
    std::ifstream in(TestFile("faces.tsv"));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string name, size, faces, declarations;
        if (std::getline(fields, name, '\t') && std::getline(fields, size, '\t') && std::getline(fields, faces, '\t') &&
            std::getline(fields, declarations, '\t') && name.size() > 4 && declarations != "0" &&
            std::isdigit(static_cast<unsigned char>(declarations[0])))
            files.push_back(name);
    }
    return files;
}

class ClodFileCapture : public CaptureTest, public testing::WithParamInterface<std::string> {};

TEST_P(ClodFileCapture, ShowsItsScene) {
    Request r = Request::File(TestFile(GetParam()));
    r.width = 128;
    r.height = 96;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_TRUE(a.answered);
    ASSERT_EQ(a.success, 1);
    ASSERT_EQ(a.pixels.size(), 128u * 96u * 4u);
    // Solid areas only: the helper grid and axes alone would not count.
    EXPECT_GE(SolidCoverage(FromAnswer(a), 0xFFFFFF), 40);
}

INSTANTIATE_TEST_SUITE_P(TestData, ClodFileCapture, testing::ValuesIn(ClodFiles()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param.substr(0, info.param.size() - 4);
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

TEST(ClodFileList, HoldsTheConvertersSamples) {
    const std::vector<std::string> files = ClodFiles();
    EXPECT_GE(files.size(), 50u);
    EXPECT_NE(std::find(files.begin(), files.end(), "head.u3d"), files.end());
}

using CaptureTestData = CaptureTest;

// Pixels in which one channel leads both others by a clear margin: 0 red, 1 green, 2 blue.
int Dominant(const Picture& p, int channel) {
    static const int kBgraIndex[3] = {2, 1, 0};
    int count = 0;
    for (int32_t y = 0; y < p.height; ++y)
        for (int32_t x = 0; x < p.width; ++x) {
            const uint8_t* px = p.At(x, y);
            const int lead = px[kBgraIndex[channel]];
            const int a = px[kBgraIndex[(channel + 1) % 3]], b = px[kBgraIndex[(channel + 2) % 3]];
            count += lead > a + 40 && lead > b + 40 ? 1 : 0;
        }
    return count;
}

TEST_F(CaptureTestData, TextureLayersShowsItsTextures) {
    Request r = Request::File(TestFile("TextureLayers.u3d"));
    r.camera = "DefaultView";
    r.width = 320;
    r.height = 240;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    ASSERT_EQ(a.success, 1);
    EXPECT_FALSE(lib.LogSaw("Cannot find view node", 200));
    const Picture p = FromAnswer(a);
    // The box's material is a plain colour; the words "RED", "GREEN" and "BLUE" of its texture
    // layers are what bring pixels led by green and by blue into the picture.
    EXPECT_GE(Dominant(p, 1), 30);
    EXPECT_GE(Dominant(p, 2), 30);
}

TEST_F(CaptureTestData, ViewsOfAFileAreChosenByName) {
    // Each view on a scene of its own: a view applied to a scene becomes one of its cameras.
    auto capture = [](const std::string& view) {
        Request r = Request::File(TestFile("views.u3d"));
        r.camera = view;
        r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
        const Answer a = Capture(r);
        EXPECT_EQ(a.success, 1) << view;
        return FromAnswer(a);
    };
    std::vector<Picture> pictures;
    for (const char* view : {"DefaultView", "View1", "View2", "View3", "View1"}) {
        pictures.push_back(capture(view));
        EXPECT_GE(SolidCoverage(pictures.back(), 0xFFFFFF), 40) << view;
    }
    EXPECT_FALSE(lib.LogSaw("Cannot find view node", 200));
    // The same view gives the same picture; the file's views are not all one.
    EXPECT_LT(DifferentShare(pictures[1], pictures[4], 2), 0.001);
    EXPECT_GT(DifferentShare(pictures[1], pictures[2], 8), 0.01);
    // The built-in camera is not one of them.
    EXPECT_GT(DifferentShare(capture(""), pictures[1], 8), 0.01);
}

TEST_F(CaptureTestData, SampleSceneViewsShowTheShapesFromTheirSides) {
    const Answer loaded = Load(Request::File(SourceFile("scenes/sample.u3d")));
    ASSERT_EQ(loaded.success, 1);
    Request front = Request::ByHandle(loaded.handle);
    front.camera = "Front";
    front.width = 200;
    front.height = 150;
    const Answer a = Capture(front);
    ASSERT_EQ(a.success, 1);
    const Picture p = FromAnswer(a);
    // A red cube and a blue pyramid, lit by the file's own lights.
    EXPECT_GE(Dominant(p, 0), 500);
    EXPECT_GE(Dominant(p, 2), 500);
    Request top = front;
    top.camera = "Top";
    const Answer b = Capture(top);
    ASSERT_EQ(b.success, 1);
    EXPECT_GT(DifferentShare(FromAnswer(b), p, 8), 0.05);
    EXPECT_FALSE(lib.LogSaw("Cannot find view node", 200));
}

}  // namespace
