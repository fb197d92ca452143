// The capture proxy's entries: render thread registration, answers without a render thread,
// and the failures of loads and unloads that cannot be done.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/ApplicationNames.h"

#include "support/LogCapture.h"
#include "host/CaptureProxy.h"
#include "host/RenderThread.h"
#include "support/ScopedEnv.h"

namespace {

using Velmora::CaptureProxy;
using Velmora::RenderThread;

template <typename F>
bool WaitFor(F condition) {
    for (int i = 0; i < 500; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

struct Outcome {
    std::atomic<int> calls{0};
    std::atomic<int> success{-1};
    std::atomic<uint32_t> handle{99};
    std::atomic<uint32_t> tag{0};
    std::thread::id thread;
};
Outcome g_outcome;

void ResetOutcome() {
    g_outcome.calls = 0;
    g_outcome.success = -1;
    g_outcome.handle = 99;
    g_outcome.tag = 0;
}

void OnLoad(Kestrum::LoadSceneResult* result, int success) {
    g_outcome.handle = result->sceneHandle;
    g_outcome.tag = result->userTag;
    g_outcome.success = success;
    g_outcome.thread = std::this_thread::get_id();
    ++g_outcome.calls;
}
void OnCapture(Kestrum::CaptureResult* result, int success) {
    g_outcome.handle = result->sceneHandle;
    g_outcome.tag = result->userTag;
    g_outcome.success = success;
    g_outcome.thread = std::this_thread::get_id();
    ++g_outcome.calls;
}
void OnExport(Kestrum::ExportSceneResult* result, int success) {
    g_outcome.handle = result->sceneHandle;
    g_outcome.tag = result->userTag;
    g_outcome.success = result->data == nullptr ? success : 7;  // 7: data where none belongs
    g_outcome.thread = std::this_thread::get_id();
    ++g_outcome.calls;
}
void OnHandle(uint32_t handle) {
    g_outcome.handle = handle;
    ++g_outcome.calls;
}
void OnDone() { ++g_outcome.calls; }

class CaptureProxyTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetOutcome();
        RenderThread::failRendererInitForTesting = false;
    }
    void TearDown() override {
        RenderThread::failRendererInitForTesting = false;
        // Let any unregistration that was queued run, then stop.
        WaitFor([] { return RenderThread::Instance().ListenerCount() == 0; });
        RenderThread::Instance().Stop();
    }
};

TEST_F(CaptureProxyTest, RegistersOnceAndKeepsTheThreadAlive) {
    CaptureProxy& proxy = CaptureProxy::Instance();
    ASSERT_TRUE(proxy.CheckCreateRenderThread());
    EXPECT_NE(proxy.RenderThreadId(), 0u);
    EXPECT_EQ(proxy.RenderThreadId(), RenderThread::Instance().ThreadId());
    EXPECT_EQ(RenderThread::Instance().ListenerCount(), 1u);
    EXPECT_TRUE(proxy.CheckCreateRenderThread());
    EXPECT_EQ(RenderThread::Instance().ListenerCount(), 1u);

    // An empty proxy lets go of the thread when asked to unload everything.
    proxy.RequestUnloadAllScenes(OnDone);
    EXPECT_TRUE(WaitFor([] { return g_outcome.calls.load() == 1; }));
    EXPECT_TRUE(WaitFor([] { return RenderThread::Instance().ListenerCount() == 0; }));
    EXPECT_EQ(proxy.RenderThreadId(), 0u);
}

TEST_F(CaptureProxyTest, LoadOfAMissingFileFailsAndReleasesTheThread) {
    Velmora::Test::LogCapture capture;
    Velmora::Utility::LoadSceneParameters load;
    load.flags = load.FromFile;
    load.path = "/nonexistent/dir/scene.u3d";
    load.userTag = 31;
    CaptureProxy::Instance().RequestLoadScene(load, OnLoad);
    ASSERT_TRUE(WaitFor([] { return g_outcome.calls.load() == 1; }));
    EXPECT_EQ(g_outcome.success.load(), 0);
    EXPECT_EQ(g_outcome.handle.load(), 0u);
    EXPECT_EQ(g_outcome.tag.load(), 31u);
    EXPECT_NE(g_outcome.thread, std::this_thread::get_id());
    EXPECT_TRUE(capture.Has("CaptureProxy::DoLoadScene: Invalid filename '/nonexistent/dir/scene.u3d'!\n"));
    EXPECT_TRUE(WaitFor([] { return CaptureProxy::Instance().RenderThreadId() == 0; }));
}

TEST_F(CaptureProxyTest, MemoryRequestWithoutBytesLoadsNothing) {
    Velmora::Test::LogCapture capture;
    Kestrum::LoadSceneParameters flat;
    std::memset(&flat, 0, sizeof flat);
    flat.flags = 6;  // file and memory, but no bytes: neither source is taken
    flat.path = u"/etc/hostname";
    CaptureProxy::Instance().RequestLoadScene(Velmora::Utility::ToOwned(flat), OnLoad);
    ASSERT_TRUE(WaitFor([] { return g_outcome.calls.load() == 1; }));
    EXPECT_EQ(g_outcome.success.load(), 0);
    EXPECT_TRUE(capture.Has("CaptureProxy::DoLoadScene: Invalid filename ''!\n"));
}

TEST_F(CaptureProxyTest, UnloadOfAnUnknownHandleLogsAndStillCallsBack) {
    Velmora::Test::LogCapture capture;
    CaptureProxy& proxy = CaptureProxy::Instance();
    ASSERT_TRUE(proxy.CheckCreateRenderThread());
    proxy.RequestUnloadScene(1234, OnHandle);
    ASSERT_TRUE(WaitFor([] { return g_outcome.calls.load() == 1; }));
    EXPECT_EQ(g_outcome.handle.load(), 1234u);
    EXPECT_TRUE(capture.Has("CaptureProxy::DoUnloadScene: Invalid scene handle!\n"));
    proxy.RequestUnloadAllScenes(nullptr);
}

TEST_F(CaptureProxyTest, RefusedCapturesAnswerFailureOnTheRenderThread) {
    CaptureProxy& proxy = CaptureProxy::Instance();
    Velmora::Utility::CaptureParameters parameters;
    parameters.load.flags = parameters.load.ByHandle;
    parameters.load.sceneHandle = 5;
    parameters.load.userTag = 8;
    parameters.captureFlags = parameters.ToFile;
    parameters.width = 0;  // refused
    parameters.height = 10;
    proxy.RequestCapture(parameters, OnCapture);
    ASSERT_TRUE(WaitFor([] { return g_outcome.calls.load() == 1; }));
    EXPECT_EQ(g_outcome.success.load(), 0);
    EXPECT_EQ(g_outcome.tag.load(), 8u);
    EXPECT_NE(g_outcome.thread, std::this_thread::get_id());

    // An unknown handle fails as well.
    parameters.width = 10;
    proxy.RequestCapture(parameters, OnCapture);
    ASSERT_TRUE(WaitFor([] { return g_outcome.calls.load() == 2; }));
    EXPECT_EQ(g_outcome.success.load(), 0);
    proxy.RequestUnloadAllScenes(nullptr);
}

TEST_F(CaptureProxyTest, WithoutARendererEachEntryAnswersAsPromised) {
    Velmora::Test::LogCapture capture;
    RenderThread::failRendererInitForTesting = true;
    CaptureProxy& proxy = CaptureProxy::Instance();

    Velmora::Utility::LoadSceneParameters load;
    load.flags = load.FromFile;
    load.path = "/etc/hostname";
    proxy.RequestLoadScene(load, OnLoad);
    EXPECT_TRUE(capture.Has("CaptureProxy::CheckCreateRenderThread - RenderThread failed to initialize\n"));
    EXPECT_TRUE(capture.Has("CaptureProxy::LoadScene: RenderThread not available!\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(g_outcome.calls.load(), 0);  // a load's callback is never called then

    Velmora::Utility::CaptureParameters capture_;
    capture_.load.userTag = 55;
    capture_.captureFlags = capture_.ToMemory;
    capture_.width = capture_.height = 16;
    proxy.RequestCapture(capture_, OnCapture);
    EXPECT_TRUE(capture.Has("CaptureProxy::Capture: RenderThread not available!\n"));
    ASSERT_EQ(g_outcome.calls.load(), 1);  // at once, on this thread
    EXPECT_EQ(g_outcome.thread, std::this_thread::get_id());
    EXPECT_EQ(g_outcome.success.load(), 0);
    EXPECT_EQ(g_outcome.tag.load(), 55u);
    EXPECT_EQ(g_outcome.handle.load(), 0u);

    Velmora::Utility::ExportParameters exportParameters;
    exportParameters.load.flags = exportParameters.load.ByHandle;
    exportParameters.load.sceneHandle = 17;
    exportParameters.exportFlags = exportParameters.FormatPRC;
    proxy.RequestExport(exportParameters, OnExport);
    EXPECT_TRUE(capture.Has("CaptureProxy::Export: RenderThread not available!\n"));
    ASSERT_EQ(g_outcome.calls.load(), 2);
    EXPECT_EQ(g_outcome.success.load(), 0);
    EXPECT_EQ(g_outcome.handle.load(), 17u);

    // Unloads without a render thread do nothing, callback included.
    proxy.RequestUnloadScene(17, OnHandle);
    proxy.RequestUnloadAllScenes(OnDone);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(g_outcome.calls.load(), 2);
    EXPECT_EQ(RenderThread::Instance().ThreadId(), 0u);
}

}  // namespace

namespace {

using Velmora::Test::ScopedEnv;

TEST(CaptureFilePath, GeneratedBelowTheNamedFolders) {
    Velmora::Test::LogCapture capture;
    char pattern[] = "/tmp/kestrum_appdata_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    ScopedEnv appData("APPDATA", pattern);

    Velmora::ApplicationNames::SetCompanyName("");
    Velmora::ApplicationNames::SetApplicationName("Viewer");
    const std::string first = CaptureProxy::GetCaptureFilePath("/data/models/engine.block.u3d");
    const std::string second = CaptureProxy::GetCaptureFilePath("/data/models/engine.block.u3d");
    const std::string folder = std::string(pattern) + "/Orsalind Ltd/Viewer/";
    ASSERT_EQ(first.rfind(folder, 0), 0u) << first;
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    const std::string name = first.substr(folder.size());
    // engine.block_YYYYMMDDhhmmss_NNNN.png
    ASSERT_EQ(name.size(), std::string("engine.block_").size() + 14 + 1 + 4 + 4) << name;
    EXPECT_EQ(name.rfind("engine.block_", 0), 0u);
    EXPECT_EQ(name.substr(name.size() - 4), ".png");
    EXPECT_NE(first, second);  // the counter keeps two names in one second apart
    Velmora::ApplicationNames::SetApplicationName("");
    EXPECT_EQ(CaptureProxy::GetCaptureFilePath("x.u3d").rfind(std::string(pattern) + "/Orsalind Ltd/Quillmere/", 0), 0u);

    std::filesystem::remove_all(pattern);
}

TEST(CaptureFilePath, MemoryScenesAndMissingFoldersGiveNothing) {
    Velmora::Test::LogCapture capture;
    EXPECT_EQ(CaptureProxy::GetCaptureFilePath(""), "");
    EXPECT_TRUE(capture.Has("CaptureProxy::GetCaptureFilePath with invalid input filename!\n"));

    // A folder below a regular file cannot be made.
    ScopedEnv appData("APPDATA", "/etc/hostname");
    EXPECT_EQ(CaptureProxy::GetCaptureFilePath("a.u3d"), "");
    EXPECT_TRUE(capture.Has("CaptureProxy::GetCaptureFilePath cannot find folder '/etc/hostname/"));
}

}  // namespace
