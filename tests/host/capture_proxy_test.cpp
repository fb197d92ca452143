// Captures through the library: pictures of kept and third-party scenes, and damaged input.

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <sstream>
#include <string>

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
    ExpectKeptPicture(FromAnswer(a), "host", ref.name);
}

INSTANTIATE_TEST_SUITE_P(Scenes, CaptureImages, testing::ValuesIn(References()),
                         [](const testing::TestParamInfo<Reference>& info) { return std::string(info.param.name); });

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
    EXPECT_GE(SolidCoverage(FromAnswer(a), 0xFFFFFF), 40);
}

INSTANTIATE_TEST_SUITE_P(TestData, ClodFileCapture, testing::ValuesIn(ClodFiles()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param.substr(0, info.param.size() - 4);
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

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
    const Picture p = FromAnswer(a);
    EXPECT_GE(Dominant(p, 1), 30);
    EXPECT_GE(Dominant(p, 2), 30);
}

struct Tally {
    int loaded = 0;
    int failed = 0;
};

// Loads the bytes from memory, captures a small picture and unloads in one request.
// Returns false only when the library did not answer.
bool CaptureBytes(const std::vector<uint8_t>& bytes, Tally& tally) {
    Request r;
    r.loadFlags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    r.data = bytes;
    r.width = 32;
    r.height = 24;
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    if (!a.answered) return false;
    if (a.validFields & Kestrum::KESTRUM_CAPTURE_VALID_SCENE_HANDLE) {
        ++tally.loaded;
        // A scene that loaded is drawn like any other.
        EXPECT_EQ(a.success, 1);
        EXPECT_EQ(a.pixelBytes, 32u * 24u * 4u);
    } else {
        ++tally.failed;
        EXPECT_EQ(a.success, 0);
    }
    return true;
}

class CaptureMalformed : public CaptureTest {
protected:
    // After a batch nothing may be left; an unload of everything is still answered.
    void ExpectNothingLoaded() {
        Settle();
        EXPECT_TRUE(UnloadAll(300));
    }
};

TEST_F(CaptureMalformed, TruncatedFilesLoadWhatTheyCanOrFailWithAMessage) {
    for (const std::string& path : {SourceFile("scenes/sample.u3d"), TestFile("box_ta.u3d"), TestFile("shading.u3d")}) {
        const std::vector<uint8_t> whole = ReadBytes(path);
        ASSERT_GT(whole.size(), 64u) << path;
        Tally tally;
        const size_t step = std::max<size_t>(1, whole.size() / 50);
        for (size_t length = 1; length < whole.size(); length += length < 40 ? 3 : step) {
            SCOPED_TRACE(path + " cut at " + std::to_string(length));
            ASSERT_TRUE(CaptureBytes(std::vector<uint8_t>(whole.begin(), whole.begin() + length), tally));
        }
        EXPECT_GT(tally.failed, 0) << path;
        ExpectNothingLoaded();
    }
}

TEST_F(CaptureMalformed, FlippedBytesNeverCrash) {
    std::mt19937 random(20261121);
    for (const std::string& path :
         {SourceFile("scenes/sample.u3d"), TestFile("TextureLayers.u3d"), TestFile("sphere_ta_subdivmod.u3d"),
          TestFile("lineset.u3d"), TestFile("pointset.u3d")}) {
        const std::vector<uint8_t> whole = ReadBytes(path);
        ASSERT_FALSE(whole.empty()) << path;
        Tally tally;
        for (int round = 0; round < 40; ++round) {
            std::vector<uint8_t> bytes = whole;
            const int flips = 1 + round % 8;
            for (int f = 0; f < flips; ++f) bytes[4 + random() % (bytes.size() - 4)] ^= uint8_t(1 + random() % 255);
            SCOPED_TRACE(path + " round " + std::to_string(round));
            ASSERT_TRUE(CaptureBytes(bytes, tally));
        }
        EXPECT_EQ(tally.loaded + tally.failed, 40);
        ExpectNothingLoaded();
    }
}

}  // namespace
