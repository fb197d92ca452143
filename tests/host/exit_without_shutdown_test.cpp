// A host may end its process with scenes loaded and the render thread running, without
// ShutdownRenderer: the library must wind down cleanly at exit.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "Kestrum.h"

namespace {

std::atomic<int> g_loaded{-1};

void OnLoad(Kestrum::LoadSceneResult*, int success) { g_loaded = success; }

[[noreturn]] void LoadThenExit() {
    void* library = dlopen(KESTRUM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) std::_Exit(2);
    auto load = reinterpret_cast<Kestrum::KestrumFn_LoadCaptureScene>(dlsym(library, "LoadCaptureScene"));
    if (load == nullptr) std::_Exit(3);
    const std::string path = std::string(KESTRUM_SOURCE_DIR) + "/scenes/sample.u3d";
    std::u16string wide(path.begin(), path.end());
    Kestrum::LoadSceneParameters parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.flags = 2;  // from file
    parameters.path = wide.c_str();
    load(0, parameters, OnLoad);
    for (int i = 0; i < 3000 && g_loaded.load() < 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::exit(g_loaded.load() == 1 ? 0 : 4);  // static destructors run with the thread alive
}

TEST(ProcessExit, WithSceneLoadedAndRenderThreadRunningEndsCleanly) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(LoadThenExit(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
