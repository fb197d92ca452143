// Many capture scenes loaded at once: there is no limit below what memory allows, and each
// scene is drawn with its own state whatever else is loaded beside it. Scenes that shade alike
// share their programs, which stay as long as any of those scenes does.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

// More scenes than the context's uniform block binding points (16 per stage here, at least 12
// anywhere) could serve if every scene held points of its own.
constexpr int kManyScenes = 24;
// Channel difference and share of pixels that still count as the same picture.
constexpr int kPixelTolerance = 4;
constexpr double kDifferentShareLimit = 0.002;

Answer CaptureLoaded(uint32_t handle) {
    Request r = Request::ByHandle(handle);
    r.camera = "DefaultView";
    return Capture(r);
}

Picture LonePicture(const std::string& file) {
    Request r = Request::File(file);
    r.camera = "DefaultView";
    r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
    const Answer a = Capture(r);
    EXPECT_EQ(a.success, 1) << file;
    Settle();
    return FromAnswer(a);
}

class CaptureScenes : public CaptureTest {};

TEST_F(CaptureScenes, ManyScenesLoadedAtOnceAllLoadAndDraw) {
    const std::string file = TestFile("box.u3d");
    const Picture lone = LonePicture(file);
    ASSERT_GT(SolidCoverage(lone, Request{}.background), 0);
    std::vector<uint32_t> handles;
    for (int i = 0; i < kManyScenes; ++i) {
        const Answer loaded = Load(Request::File(file));
        ASSERT_EQ(loaded.success, 1) << "scene " << i;
        handles.push_back(loaded.handle);
    }
    // The first scene loaded and the last one: neither lost its blocks to the others.
    for (uint32_t handle : {handles.front(), handles.back()}) {
        const Answer captured = CaptureLoaded(handle);
        ASSERT_EQ(captured.success, 1) << handle;
        EXPECT_LE(DifferentShare(FromAnswer(captured), lone, kPixelTolerance), kDifferentShareLimit) << handle;
    }
    for (uint32_t handle : handles) EXPECT_TRUE(Unload(handle)) << handle;
    EXPECT_FALSE(lib.LogSaw("cannot find available binding point", 0));
}

TEST_F(CaptureScenes, ASceneBesideAnotherFileGivesItsLonePicture) {
    // The box's materials differ from the vertex colours of the other file; whichever file
    // loads last uploads its material table last.
    const std::string colours = TestFile("VertexColor.u3d"), box = TestFile("box.u3d");
    const Picture loneColours = LonePicture(colours), loneBox = LonePicture(box);
    const Answer first = Load(Request::File(colours));
    ASSERT_EQ(first.success, 1);
    const Answer second = Load(Request::File(box));
    ASSERT_EQ(second.success, 1);
    const Answer capturedColours = CaptureLoaded(first.handle);
    const Answer capturedBox = CaptureLoaded(second.handle);
    ASSERT_EQ(capturedColours.success, 1);
    ASSERT_EQ(capturedBox.success, 1);
    EXPECT_LE(DifferentShare(FromAnswer(capturedColours), loneColours, kPixelTolerance), kDifferentShareLimit);
    EXPECT_LE(DifferentShare(FromAnswer(capturedBox), loneBox, kPixelTolerance), kDifferentShareLimit);
    EXPECT_TRUE(Unload(first.handle));
    EXPECT_TRUE(Unload(second.handle));
}

TEST_F(CaptureScenes, ScenesShareProgramsThatOutliveTheSceneThatBuiltThem) {
    const std::string file = TestFile("box.u3d");
    // The same file under another spelling: its load message tells when the log has caught up.
    const std::string sameFile = std::string(KESTRUM_TESTDATA) + "/u3d/./box.u3d";
    const Picture lone = LonePicture(file);
    const Answer first = Load(Request::File(file));
    ASSERT_EQ(first.success, 1);
    ASSERT_EQ(CaptureLoaded(first.handle).success, 1);
    lib.ClearLog();

    const Answer second = Load(Request::File(file));
    ASSERT_EQ(second.success, 1);
    const Answer drawnBeside = CaptureLoaded(second.handle);
    const Answer marker = Load(Request::File(sameFile));
    ASSERT_EQ(marker.success, 1);
    ASSERT_TRUE(lib.LogSaw("Successfully loaded scene '" + sameFile + "'"));
    EXPECT_FALSE(lib.LogSaw("Successfully compiled", 0)) << "a scene built programs another one had";
    ASSERT_EQ(drawnBeside.success, 1);
    EXPECT_LE(DifferentShare(FromAnswer(drawnBeside), lone, kPixelTolerance), kDifferentShareLimit);

    // The scene that built the programs goes; the others still draw with them.
    EXPECT_TRUE(Unload(first.handle));
    const Answer drawnAlone = CaptureLoaded(second.handle);
    ASSERT_EQ(drawnAlone.success, 1);
    EXPECT_LE(DifferentShare(FromAnswer(drawnAlone), lone, kPixelTolerance), kDifferentShareLimit);
    EXPECT_TRUE(Unload(second.handle));
    EXPECT_TRUE(Unload(marker.handle));

    // With every user gone the programs went too; the next scene builds its own again.
    lib.ClearLog();
    const Answer again = Load(Request::File(file));
    ASSERT_EQ(again.success, 1);
    const Answer drawnAgain = CaptureLoaded(again.handle);
    ASSERT_EQ(drawnAgain.success, 1);
    EXPECT_LE(DifferentShare(FromAnswer(drawnAgain), lone, kPixelTolerance), kDifferentShareLimit);
    EXPECT_TRUE(lib.LogSaw("Successfully compiled"));
    EXPECT_TRUE(Unload(again.handle));
    EXPECT_FALSE(lib.LogSaw("Unable to create shader", 0));
}

}  // namespace
