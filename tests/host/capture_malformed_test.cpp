// Broken scene files through the capture exports: truncated, with flipped bytes, with absurd
// counts, and the fuzzer's regression inputs. Each one either loads what it can and captures,
// or fails with its message; none may crash, hang or leave a scene behind.

#include <filesystem>
#include <random>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

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
    // After a batch nothing may be left: the proxy has let go, so an unload goes unanswered.
    void ExpectNothingLoaded() {
        Settle();
        EXPECT_FALSE(UnloadAll(300));
    }
};

TEST_F(CaptureMalformed, TruncatedFilesLoadWhatTheyCanOrFailWithAMessage) {
    for (const std::string& path : {SourceFile("scenes/sample.u3d"), TestFile("box_ta.u3d"), TestFile("shading.u3d")}) {
        const std::vector<uint8_t> whole = ReadBytes(path);
        ASSERT_GT(whole.size(), 64u) << path;
        Tally tally;
        // Every length inside the header, then about fifty points through the file.
        const size_t step = std::max<size_t>(1, whole.size() / 50);
        for (size_t length = 1; length < whole.size(); length += length < 40 ? 3 : step) {
            SCOPED_TRACE(path + " cut at " + std::to_string(length));
            ASSERT_TRUE(CaptureBytes(std::vector<uint8_t>(whole.begin(), whole.begin() + length), tally));
        }
        EXPECT_GT(tally.failed, 0) << path;
        ExpectNothingLoaded();
    }
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::LoadScene: Failed to create SceneGraph!"));
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
            // Past the first four bytes: a file without its signature is not taken for U3D at all.
            for (int f = 0; f < flips; ++f) bytes[4 + random() % (bytes.size() - 4)] ^= uint8_t(1 + random() % 255);
            SCOPED_TRACE(path + " round " + std::to_string(round));
            ASSERT_TRUE(CaptureBytes(bytes, tally));
        }
        EXPECT_EQ(tally.loaded + tally.failed, 40);
        ExpectNothingLoaded();
    }
}

TEST_F(CaptureMalformed, AbsurdCountsAtEveryWordOfTheSampleScene) {
    // The sample file is small enough to try every aligned word as a count, a size or an
    // index: all ones and a large positive value in turn.
    const std::vector<uint8_t> whole = ReadBytes(SourceFile("scenes/sample.u3d"));
    ASSERT_FALSE(whole.empty());
    Tally tally;
    for (size_t offset = 4; offset + 4 <= whole.size(); offset += 4) {
        std::vector<uint8_t> bytes = whole;
        const uint32_t value = (offset / 4) % 2 ? 0xFFFFFFFFu : 0x7FFFFFF0u;
        std::memcpy(bytes.data() + offset, &value, 4);
        SCOPED_TRACE("word at " + std::to_string(offset));
        ASSERT_TRUE(CaptureBytes(bytes, tally));
    }
    // Some words are colours or coordinates and change nothing that matters; block sizes and
    // counts make whole blocks fail.
    EXPECT_GT(tally.loaded, 0);
    EXPECT_GT(tally.failed, 0);
    ExpectNothingLoaded();
}

TEST_F(CaptureMalformed, FuzzerRegressionInputs) {
    const std::string folder = SourceFile("tests/u3d/regressions");
    Tally tally;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (!entry.is_regular_file() || entry.path().filename().string()[0] == '.') continue;
        SCOPED_TRACE(entry.path().string());
        ASSERT_TRUE(CaptureBytes(ReadBytes(entry.path().string()), tally));
    }
    ExpectNothingLoaded();
}

TEST_F(CaptureMalformed, EmptyAndTinyFilesFailCleanly) {
    char pattern[] = "/tmp/kestrum_malformed_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string folder = pattern;
    const std::string empty = folder + "/empty.u3d", header = folder + "/header.u3d";
    std::ofstream(empty).close();
    std::ofstream(header, std::ios::binary).write("U3D\0\0\0\0\0", 8);
    for (const std::string& path : {empty, header}) {
        const Answer a = Load(Request::File(path));
        ASSERT_TRUE(a.answered) << path;
        EXPECT_EQ(a.success, 0) << path;
    }
    EXPECT_TRUE(lib.LogSaw("CaptureProxy::LoadScene: Failed to create SceneGraph!"));
    std::filesystem::remove_all(folder);
    ExpectNothingLoaded();
}

}  // namespace
