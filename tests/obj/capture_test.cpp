// OBJ scenes through the exported interface, as a host sees them: captured to memory and to
// file, centred, covering a fair part of the picture and lit; diffuse maps beside the MTL show
// on the surface; loads from memory are refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "host/capture_library.h"
#include "obj/obj_test_support.h"
#include "rendering/Image.h"
#include "rendering/image_test_support.h"

namespace {

using namespace KestrumCaptureTest;
using ObjTest::DataFile;
using ObjTest::ScratchFolder;

constexpr uint32_t kDarkBackground = 0x203040;

Answer CaptureFile(const std::string& path, int width = 200, int height = 150) {
    Request r = Request::File(path);
    r.width = width;
    r.height = height;
    r.background = kDarkBackground;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    return Capture(r);
}

// Centred, a fair share of the picture, and shaded: a lit surface shows a range of
// brightness, an unlit or black one does not.
void ExpectCentredAndLit(const Picture& p, double minimumShare) {
    const SceneShot m = MeasureScene(p, kDarkBackground);
    EXPECT_GT(m.coverage, int(minimumShare * p.width * p.height));
    EXPECT_NEAR(m.centreX, 0.5, 0.1);
    EXPECT_NEAR(m.centreY, 0.5, 0.1);
    EXPECT_GT(m.brightest, 120);
    EXPECT_GT(m.brightest - m.darkest, 60);
}

class ObjCapture : public CaptureTest {};

TEST_F(ObjCapture, HeadMatchesTheKeptPicture) {
    const Answer a = CaptureFile(DataFile("head.obj"));
    ASSERT_EQ(a.success, 1);
    const Picture captured = FromAnswer(a);
    ExpectCentredAndLit(captured, 0.08);
    EXPECT_TRUE(lib.LogSaw("Primitives: 117694 (Points: 0, Lines: 0, Triangles: 117694)"));
    ExpectKeptPicture(captured, "obj", "head_default");
}

class ObjFileCapture : public CaptureTest, public testing::WithParamInterface<const char*> {};

// Captured to a file, the other way out of the library.
TEST_P(ObjFileCapture, IsCentredAndLit) {
    ScratchFolder folder;
    Request r = Request::File(DataFile(GetParam()));
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_FILE | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    r.outputPath = folder.path + "/scene.png";
    r.background = kDarkBackground;
    ASSERT_EQ(Capture(r).success, 1);
    Picture p;
    ASSERT_TRUE(ReadPng(r.outputPath, p));
    ExpectCentredAndLit(p, 0.05);
}

INSTANTIATE_TEST_SUITE_P(TestData, ObjFileCapture, testing::Values("propeller.obj", "r01.obj", "r02.obj", "r03.obj"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             return std::string(info.param).substr(0, std::string(info.param).size() - 4);
                         });

// A square facing the camera, its material's diffuse map a picture of one colour.
std::string WriteTexturedSquare(const ScratchFolder& folder, const std::string& map) {
    folder.Write("square.mtl",
                 "newmtl painted\nKa 0.2 0.2 0.2\nKd 1 1 1\n" + (map.empty() ? std::string() : "map_Kd " + map + "\n"));
    return folder.Write("square.obj",
                        "mtllib square.mtl\nv -1 -1 0\nv 1 -1 0\nv 1 1 0\nv -1 1 0\n"
                        "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nusemtl painted\nf 1/1 2/2 3/3 4/4\n");
}

// Pixels in which green leads red and blue by a clear margin.
int GreenPixels(const Picture& p) {
    int n = 0;
    for (int32_t y = 0; y < p.height; ++y)
        for (int32_t x = 0; x < p.width; ++x) {
            const uint8_t* c = p.At(x, y);
            n += c[1] > c[0] + 60 && c[1] > c[2] + 60 ? 1 : 0;
        }
    return n;
}

TEST_F(ObjCapture, DiffuseMapsBesideTheLibraryShowOnTheSurface) {
    constexpr uint32_t kSide = 8;
    std::vector<uint8_t> green(kSide * kSide * 4, 0);
    for (size_t i = 0; i < green.size(); i += 4) green[i + 1] = green[i + 3] = 255;
    ScratchFolder folder;
    ASSERT_EQ(Velmora::Rendering::Image::EncodeToFile(Velmora::Rendering::ImageFormat::PNG, folder.path + "/green.png",
                                                      green.data(), kSide, kSide, kSide * 4,
                                                      Velmora::Rendering::PixelLayout::RGBA, false, false),
              Velmora::Rendering::ImageStatus::Ok);
    const std::vector<uint8_t> bmp = image_test::MakeBmp(green, kSide, kSide);
    folder.Write("green.bmp", std::string(bmp.begin(), bmp.end()));
    for (const std::string map : {"green.png", "green.bmp"}) {
        const Answer a = CaptureFile(WriteTexturedSquare(folder, map));
        ASSERT_EQ(a.success, 1) << map;
        EXPECT_GT(GreenPixels(FromAnswer(a)), 200 * 150 / 10) << map;
    }
    // Without the map, or with a map that is missing, the square is plain.
    for (const std::string map : {"", "absent.png"}) {
        const Answer a = CaptureFile(WriteTexturedSquare(folder, map));
        ASSERT_EQ(a.success, 1) << map;
        EXPECT_EQ(GreenPixels(FromAnswer(a)), 0) << map;
        EXPECT_GT(SolidCoverage(FromAnswer(a), kDarkBackground), 200 * 150 / 10) << map;
    }
    // Without its library the material is unknown and the default one stands in.
    std::filesystem::remove(folder.path + "/square.mtl");
    ASSERT_EQ(CaptureFile(folder.path + "/square.obj").success, 1);
    EXPECT_TRUE(lib.LogSaw("cannot find material 'painted', falling back to default"));
}

TEST_F(ObjCapture, LoadsFromMemoryAreRefused) {
    const std::string text = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data.assign(text.begin(), text.end());
    const Answer a = Load(r);
    EXPECT_EQ(a.success, 0);
    EXPECT_TRUE(lib.LogSaw("Loading OBJ from memory not supported"));
}

}  // namespace
