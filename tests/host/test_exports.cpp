// The exported interface as a host sees it: the library is loaded with dlopen and observed
// through its log hook only.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "Kestrum.h"

namespace {

using namespace Kestrum;

std::mutex g_logMutex;
std::string g_log;

void Hook(void*, int32_t, KestrumSystemString message) {
    std::lock_guard<std::mutex> lock(g_logMutex);
    for (const char16_t* p = message; *p; ++p) g_log.push_back(*p < 128 ? static_cast<char>(*p) : '?');
}

struct Exports {
    void* handle = nullptr;
    template <typename F>
    F Get(const char* name) {
        return reinterpret_cast<F>(dlsym(handle, name));
    }
};

class ExportsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        lib.handle = dlopen(KESTRUM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(lib.handle, nullptr) << dlerror();
        lib.Get<KestrumFn_SetLoggingHook>("SetLoggingHook")(nullptr, Hook);
        lib.Get<KestrumFn_SetLogLevel>("SetLogLevel")(5);
    }
    void SetUp() override {
        ASSERT_NE(lib.handle, nullptr);
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_log.clear();
    }
    // Waits up to two seconds for the hook to have delivered `text`.
    static bool LogSaw(const std::string& text) {
        for (int i = 0; i < 200; ++i) {
            {
                std::lock_guard<std::mutex> lock(g_logMutex);
                if (g_log.find(text) != std::string::npos) return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    static bool LogHas(const std::string& text) {
        std::lock_guard<std::mutex> lock(g_logMutex);
        return g_log.find(text) != std::string::npos;
    }
    static Exports lib;
};
Exports ExportsTest::lib;

TEST_F(ExportsTest, StringGetterWithoutProxyReportsWithTheDoubleGettersText) {
    EXPECT_EQ(lib.Get<KestrumFn_GetProperty_String>("GetProperty_String")(nullptr, 1), nullptr);
    EXPECT_TRUE(LogSaw("Dll: GetProperty_Double without a valid RenderProxy instance!\n"));
    EXPECT_FALSE(LogHas("GetProperty_String without"));
}

TEST_F(ExportsTest, DefaultLogAboveLevelFiveStartsNothingButTheLevelIsStored) {
    auto start = lib.Get<KestrumFn_StartLoggingToDefault>("StartLoggingToDefault");
    auto isLogging = lib.Get<KestrumFn_IsLoggingToDefault>("IsLoggingToDefault");
    auto setLevel = lib.Get<KestrumFn_SetLogLevel>("SetLogLevel");
    auto getLevel = lib.Get<KestrumFn_GetLogLevel>("GetLogLevel");
    EXPECT_EQ(start(0xDEADBEEF, u"/tmp/kestrum_never_written.log", 0, 6), 0);
    EXPECT_EQ(isLogging(), 0);
    setLevel(6);
    EXPECT_EQ(getLevel(), 6);
    // Level 6 passes the logger now and is reported with the unknown word's line.
    lib.Get<KestrumFn_Log>("Log")(0, 6, u"level six 100%% sure");
    EXPECT_TRUE(LogSaw("level six 100% sure\n"));
    setLevel(5);
}

TEST_F(ExportsTest, LogKeepsConversionsItHasNoArgumentsFor) {
    lib.Get<KestrumFn_Log>("Log")(0, 1, u"%s %d %n stay");
    EXPECT_TRUE(LogSaw("%s %d %n stay\n"));
}

ExportSceneResult g_exportResult;
std::atomic<int> g_exportCalls{0};
std::atomic<int> g_exportSuccess{-1};
void OnExport(ExportSceneResult* result, int success) {
    g_exportResult = *result;
    g_exportSuccess = success;
    ++g_exportCalls;
}

TEST_F(ExportsTest, ExportWithoutAHandleGoesToTheCaptureProxy) {
    ExportParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.load.flags = KESTRUM_LOAD_FROM_FILE;
    parameters.load.path = u"/nonexistent/x.prc";
    parameters.load.userTag = 5;
    parameters.exportFlags = KESTRUM_EXPORT_PRC;
    // The proxy pointer is never touched on this route, so any value will do.
    auto* proxy = reinterpret_cast<RenderProxy3D*>(uintptr_t{0x10});
    lib.Get<KestrumFn_ExportScene>("ExportScene")(0, proxy, parameters, OnExport);
    for (int i = 0; i < 300 && g_exportCalls.load() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(g_exportCalls.load(), 1);
    EXPECT_EQ(g_exportSuccess.load(), 0);
    EXPECT_EQ(g_exportResult.userTag, 5u);
    EXPECT_EQ(g_exportResult.data, nullptr);
    EXPECT_TRUE(LogSaw("CaptureProxy::DoLoadScene: Invalid filename '/nonexistent/x.prc'!"));
    lib.Get<KestrumFn_ShutdownRenderer>("ShutdownRenderer")();
}

std::atomic<int> g_loadCalls{0};
std::atomic<int> g_loadSuccess{-1};
void OnLoad(LoadSceneResult*, int success) {
    g_loadSuccess = success;
    ++g_loadCalls;
}

TEST_F(ExportsTest, MemoryLoadWithoutBytesReportsFailure) {
    LoadSceneParameters load;
    std::memset(&load, 0, sizeof load);
    load.flags = KESTRUM_LOAD_FROM_MEMORY;
    load.data = "x";
    load.dataSize = 0;
    lib.Get<KestrumFn_LoadCaptureScene>("LoadCaptureScene")(0xFFFFFFFF, load, OnLoad);
    for (int i = 0; i < 300 && g_loadCalls.load() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(g_loadCalls.load(), 1);
    EXPECT_EQ(g_loadSuccess.load(), 0);
    lib.Get<KestrumFn_ShutdownRenderer>("ShutdownRenderer")();
}

TEST_F(ExportsTest, NamesRoundTripAndEmptyIsAValidString) {
    auto set = lib.Get<KestrumFn_SetCompanyName>("SetCompanyName");
    auto get = lib.Get<KestrumFn_GetCompanyName>("GetCompanyName");
    auto release = lib.Get<KestrumFn_FreeSystemString>("FreeSystemString");
    set(0, u"K\u00f6ln \U0001F600");
    KestrumSystemString name = get();
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(std::u16string(name), u"K\u00f6ln \U0001F600");
    release(name);
    set(0, nullptr);
    name = get();
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name[0], u'\0');
    release(name);
}

TEST_F(ExportsTest, VersionTableAndItsRefusals) {
    auto version = lib.Get<KestrumFn_GetLibraryVersion>("GetLibraryVersion");
    uint32_t a = 1, b = 1, c = 1;
    version(4, &a, &b, &c);
    EXPECT_EQ(a, 13u);
    EXPECT_EQ(b, 2u);
    EXPECT_EQ(c, 0u);
    version(1, &a, &b, &c);
    EXPECT_EQ(a * 1000000 + b * 1000 + c, 1006237u);
    version(5, &a, &b, &c);
    EXPECT_EQ(a, 1u);
    EXPECT_TRUE(LogSaw("GetLibraryVersion - invalid library ID!\n"));
    version(0, nullptr, &b, &c);
    EXPECT_TRUE(LogSaw("GetLibraryVersion - invalid input data!\n"));
}

}  // namespace

namespace {

TEST_F(ExportsTest, ShutdownStopsTheThreadOnceNoListenerIsLeft) {
    LoadSceneParameters load;
    std::memset(&load, 0, sizeof load);
    load.flags = KESTRUM_LOAD_FROM_FILE;
    load.path = u"";
    const int before = g_loadCalls.load();
    lib.Get<KestrumFn_LoadCaptureScene>("LoadCaptureScene")(0, load, OnLoad);
    for (int i = 0; i < 300 && g_loadCalls.load() == before; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(g_loadCalls.load(), before + 1);
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_log.clear();
    }
    // The failed load left the capture proxy empty and unregistered: one call stops the thread.
    lib.Get<KestrumFn_ShutdownRenderer>("ShutdownRenderer")();
    EXPECT_TRUE(LogSaw("Shutting down renderer\n"));
}

}  // namespace
