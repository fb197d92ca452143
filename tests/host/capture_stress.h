#pragma once
// Host threads loading, capturing and unloading scenes of different files at once: every
// request is answered exactly once and each picture is the one a lone host gets. A test may run
// one more activity beside the hosts. KESTRUM_STRESS_THREADS and KESTRUM_STRESS_CYCLES change
// the load; with KESTRUM_STRESS_RSS_EVERY the hosts meet every that many cycles, with nothing
// loaded, and the first prints the resident set (before and after trimming) and the live heap,
// which tells held memory from memory the allocator keeps after it was freed (the soak script).

#include <gtest/gtest.h>
#include <unistd.h>

#include <malloc.h>

#include <atomic>
#include <barrier>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capture_library.h"

namespace KestrumCaptureStress {

using namespace KestrumCaptureTest;

constexpr int kDefaultThreads = 8;
constexpr int kDefaultCycles = 50;
constexpr int kAnswerTimeoutMs = 60000;
// Channel difference and share of pixels that still count as the same picture.
constexpr int kPixelTolerance = 4;
constexpr double kDifferentShareLimit = 0.002;
// Log levels collected: everything in the suite, up to level 2 in a soak. Verbose text of a few
// hundred cycles runs to megabytes on the log thread, whose arena malloc_trim does not hand
// back, so it would pass for growth of the library.
constexpr int32_t kSuiteLogLevel = 4;
constexpr int32_t kSoakLogLevel = 2;
// Longer than the library waits, idle, before it gives freed memory back.
constexpr int kQuietBeforeSampleMs = 600;

inline int EnvironmentCount(const char* name, int fallback) {
    const char* text = std::getenv(name);
    const int value = text != nullptr ? std::atoi(text) : 0;
    return value > 0 ? value : fallback;
}

// Files with a view named as the captures ask for; they differ in materials, vertex colours
// and lights, so a scene drawn with another one's state shows it.
inline std::vector<std::string> StressFiles() {
    return {TestFile("box.u3d"), TestFile("VertexColor.u3d"), TestFile("box_vertex_color.u3d")};
}

// Answers of many threads at once: loads and captures keyed by their tag, unloads by handle.
// A key answered twice is counted as a duplicate.
class Answers {
public:
    static Answers& Get() {
        static Answers answers;
        return answers;
    }
    void Deliver(uint32_t key, Answer answer) {
        std::lock_guard<std::mutex> lock(mutex_);
        ++callbacks_;
        answer.answered = true;
        if (!byKey_.emplace(key, std::move(answer)).second) ++duplicates_;
        done_.notify_all();
    }
    Answer Take(uint32_t key) {
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait_for(lock, std::chrono::milliseconds(kAnswerTimeoutMs), [&] { return byKey_.count(key) != 0; });
        auto it = byKey_.find(key);
        if (it == byKey_.end()) return Answer{};
        Answer a = std::move(it->second);
        byKey_.erase(it);
        return a;
    }
    int Callbacks() {
        std::lock_guard<std::mutex> lock(mutex_);
        return callbacks_;
    }
    int Duplicates() {
        std::lock_guard<std::mutex> lock(mutex_);
        return duplicates_;
    }
    void Reset() {
        std::lock_guard<std::mutex> lock(mutex_);
        byKey_.clear();
        callbacks_ = 0;
        duplicates_ = 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable done_;
    std::map<uint32_t, Answer> byKey_;
    int callbacks_ = 0;
    int duplicates_ = 0;
};

// Unload answers carry only the handle; they live in their own key range. Loads of the side
// activity have a range of their own as well.
constexpr uint32_t kUnloadKeyBit = 0x80000000u;
constexpr uint32_t kSideKeyBit = 0x40000000u;

inline void OnStressLoad(Kestrum::LoadSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    Answers::Get().Deliver(result->userTag, std::move(a));
}

inline void OnStressCapture(Kestrum::CaptureResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    if (result->pixels) {
        const auto* p = static_cast<const uint8_t*>(result->pixels);
        a.pixels.assign(p, p + result->pixelBytes);
    }
    a.width = result->width;
    a.height = result->height;
    Answers::Get().Deliver(result->userTag, std::move(a));
}

inline void OnStressUnload(uint32_t handle) {
    Answer a;
    a.success = 1;
    a.handle = handle;
    Answers::Get().Deliver(handle | kUnloadKeyBit, std::move(a));
}

inline void LoadAsync(const std::string& path, uint32_t tag) {
    Request r = Request::File(path);
    r.userTag = tag;
    std::u16string path16;
    Library::Get().LoadCaptureScene(0, FlatLoad(r, path16), OnStressLoad);
}

inline void CaptureAsync(uint32_t handle, uint32_t tag, const std::string& outputPath) {
    Request r = Request::ByHandle(handle);
    r.userTag = tag;
    r.camera = "DefaultView";
    r.captureFlags = outputPath.empty() ? Kestrum::KESTRUM_CAPTURE_TO_MEMORY : Kestrum::KESTRUM_CAPTURE_TO_FILE;
    r.outputPath = outputPath;
    StartCapture(r, OnStressCapture);
}

// Resident set size in kB from the process status; 0 when it cannot be read.
inline long ResidentKilobytes() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "VmRSS:") {
            long kb = 0;
            status >> kb;
            return kb;
        }
        status.ignore(4096, '\n');
    }
    return 0;
}

// Threads of the process (driver workers included); 0 when it cannot be read.
inline long ThreadCount() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "Threads:") {
            long count = 0;
            status >> count;
            return count;
        }
        status.ignore(4096, '\n');
    }
    return 0;
}

// With KESTRUM_STRESS_SMAPS set to a folder, the memory map of the process at each sample goes
// there (smaps_<cycle>.txt), so that two samples far apart can be compared mapping by mapping.
inline void SaveMemoryMap(int cycle) {
    const char* folder = std::getenv("KESTRUM_STRESS_SMAPS");
    if (folder == nullptr || *folder == '\0') return;
    std::ifstream in("/proc/self/smaps");
    std::ofstream out(std::string(folder) + "/smaps_" + std::to_string(cycle) + ".txt");
    out << in.rdbuf();
    // The allocator's own account, arena by arena, beside it.
    if (FILE* arenas = std::fopen((std::string(folder) + "/arenas_" + std::to_string(cycle) + ".xml").c_str(), "w")) {
        malloc_info(0, arenas);
        std::fclose(arenas);
    }
}

// Bytes the allocator has handed out and not got back, in kB.
inline long HeapInUseKilobytes() {
    const struct mallinfo2 info = mallinfo2();
    return long((info.uordblks + info.hblkhd) / 1024);
}

// What went wrong across all threads; the first few messages are kept.
struct Failures {
    std::mutex mutex;
    int count = 0;
    std::vector<std::string> first;
    void Add(const std::string& what) {
        std::lock_guard<std::mutex> lock(mutex);
        if (++count <= 10) first.push_back(what);
    }
};

// What the host threads and the side activity share.
struct StressRun {
    std::vector<std::string> files;
    std::vector<Picture> references;  // the lone picture of each file
    Failures failures;
    std::atomic<int> requests{0};      // of the host threads
    std::atomic<int> sideRequests{0};  // of the side activity
    std::atomic<bool> hostsDone{false};
    std::unique_ptr<std::barrier<>> sampleBarrier;  // where the host threads meet for a sample
};

// One host thread: load, capture (to memory and file in turn), unload, a different file each
// cycle and for each neighbouring thread, so scenes of all files are drawn side by side.
inline void HostThread(int thread, int cycles, StressRun& run) {
    const std::string folder = testing::TempDir();
    const int rssEvery = EnvironmentCount("KESTRUM_STRESS_RSS_EVERY", 0);
    for (int cycle = 0; cycle < cycles; ++cycle) {
        if (rssEvery > 0 && cycle % rssEvery == 0) {
            // All threads meet between two cycles, so no scene is loaded while the sample is
            // taken and it shows only what stays behind.
            run.sampleBarrier->arrive_and_wait();
            if (thread == 0) {
                // The collected log text would otherwise grow with every cycle and hide the
                // library's own memory.
                Library::Get().ClearLog();
                // With its last scene gone the library hands freed memory back after a short
                // quiet spell; the sample is what a host sees once that has happened.
                std::this_thread::sleep_for(std::chrono::milliseconds(kQuietBeforeSampleMs));
                const long resident = ResidentKilobytes();
                // Freed memory the allocator keeps in its per-thread arenas comes and goes with
                // the interleaving; given back, the second figure shows what is really held.
                malloc_trim(0);
                SaveMemoryMap(cycle);
                std::printf("stress rss cycle %d: %ld kB, trimmed %ld kB, heap in use %ld kB, threads %ld\n", cycle,
                            resident, ResidentKilobytes(), HeapInUseKilobytes(), ThreadCount());
                std::fflush(stdout);
            }
            run.sampleBarrier->arrive_and_wait();
        }
        const size_t which = size_t(thread + cycle) % run.files.size();
        const std::string& file = run.files[which];
        const uint32_t base = (uint32_t(thread) << 20) | (uint32_t(cycle) << 4);
        const std::string where = "thread " + std::to_string(thread) + " cycle " + std::to_string(cycle) + ": ";

        LoadAsync(file, base | 1);
        ++run.requests;
        const Answer loaded = Answers::Get().Take(base | 1);
        if (!loaded.answered || loaded.success != 1 || loaded.handle == 0) {
            run.failures.Add(where + "load " + (loaded.answered ? "failed" : "unanswered"));
            continue;
        }

        const bool toFile = cycle % 2 == 1;
        // The headless and the windowed stress programs run side by side under ctest: the
        // process id keeps their pictures apart.
        const std::string output = toFile ? folder + "/stress_" + std::to_string(getpid()) + "_" +
                                                std::to_string(thread) + "_" + std::to_string(cycle) + ".png"
                                          : "";
        CaptureAsync(loaded.handle, base | 2, output);
        ++run.requests;
        const Answer captured = Answers::Get().Take(base | 2);
        if (!captured.answered || captured.success != 1) {
            run.failures.Add(where + "capture " + (captured.answered ? "refused" : "unanswered"));
        } else {
            Picture picture = FromAnswer(captured);
            if (toFile && !ReadPng(output, picture)) run.failures.Add(where + "no picture in " + output);
            if (toFile) std::remove(output.c_str());
            const double share = DifferentShare(picture, run.references[which], kPixelTolerance);
            if (share > kDifferentShareLimit)
                run.failures.Add(where + file + " differs in " + std::to_string(share * 100.0) + "% of pixels");
        }

        Library::Get().UnloadCaptureScene(loaded.handle, OnStressUnload);
        ++run.requests;
        if (!Answers::Get().Take(loaded.handle | kUnloadKeyBit).answered) run.failures.Add(where + "unload unanswered");
    }
}

// The side activity runs on its own thread until run.hostsDone, counting its requests in
// run.sideRequests, keyed with kSideKeyBit and answered through Answers.
using SideActivity = std::function<void(StressRun& run)>;

// Takes the lone picture of each file, runs the host threads (and the side activity), then
// checks every answer and the log.
inline void RunCaptureStress(const SideActivity& side = nullptr) {
    StressRun run;
    run.files = StressFiles();
    Library& lib = Library::Get();
    for (const std::string& file : run.files) {
        Request r = Request::File(file);
        r.camera = "DefaultView";
        r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
        const Answer a = Capture(r);
        ASSERT_EQ(a.success, 1) << file;
        run.references.push_back(FromAnswer(a));
        ASSERT_GT(SolidCoverage(run.references.back(), r.background), 0) << file << " shows nothing";
    }

    const int threads = EnvironmentCount("KESTRUM_STRESS_THREADS", kDefaultThreads);
    const int cycles = EnvironmentCount("KESTRUM_STRESS_CYCLES", kDefaultCycles);
    Answers::Get().Reset();
    lib.ClearLog();
    const bool soak = EnvironmentCount("KESTRUM_STRESS_RSS_EVERY", 0) > 0;
    if (soak) {
        run.sampleBarrier = std::make_unique<std::barrier<>>(threads);
        lib.SetLogLevel(kSoakLogLevel);
    }
    std::thread sideThread;
    if (side) sideThread = std::thread(side, std::ref(run));
    std::vector<std::thread> hosts;
    for (int t = 0; t < threads; ++t) hosts.emplace_back(HostThread, t, cycles, std::ref(run));
    for (std::thread& host : hosts) host.join();
    run.hostsDone = true;
    if (sideThread.joinable()) sideThread.join();
    if (soak) lib.SetLogLevel(kSuiteLogLevel);

    for (const std::string& what : run.failures.first) ADD_FAILURE() << what;
    EXPECT_EQ(run.failures.count, 0);
    EXPECT_EQ(run.requests.load(), threads * cycles * 3);
    EXPECT_EQ(Answers::Get().Callbacks(), run.requests.load() + run.sideRequests.load());
    EXPECT_EQ(Answers::Get().Duplicates(), 0);
    EXPECT_FALSE(lib.LogSaw("RenderThread not available", 0));
    EXPECT_FALSE(lib.LogSaw("cannot register new RenderThreadListener", 0));
    EXPECT_FALSE(lib.LogSaw("cannot find available binding point", 0));
    EXPECT_FALSE(lib.LogSaw("CaptureProxy::DoUnloadScene: Invalid scene handle!", 0));
    EXPECT_FALSE(lib.LogSaw("Failed to apply the generated SceneDescription", 0));
}

}  // namespace KestrumCaptureStress
