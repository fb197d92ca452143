// Several host threads loading, capturing and unloading capture scenes at once: every request
// is answered exactly once, none is refused, and each picture is the one a lone host gets.
//
// KESTRUM_STRESS_THREADS and KESTRUM_STRESS_CYCLES change the load; with KESTRUM_STRESS_RSS_EVERY
// the first thread prints the resident set size every that many cycles (the soak script).

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

// Every scene holds two uniform block binding points for as long as it is loaded; with sixteen
// per shader stage, six threads keep well within what the renderer can have loaded at once.
constexpr int kDefaultThreads = 8;
constexpr int kDefaultCycles = 50;
constexpr int kAnswerTimeoutMs = 60000;
// Channel difference and share of pixels that still count as the same picture.
constexpr int kPixelTolerance = 4;
constexpr double kDifferentShareLimit = 0.002;

int EnvironmentCount(const char* name, int fallback) {
    const char* text = std::getenv(name);
    const int value = text != nullptr ? std::atoi(text) : 0;
    return value > 0 ? value : fallback;
}

std::vector<std::string> StressFiles() {
    // Files with a view named as the captures ask for.
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

// Unload answers carry only the handle; they live in their own key range.
constexpr uint32_t kUnloadKeyBit = 0x80000000u;

void OnStressLoad(Kestrum::LoadSceneResult* result, int success) {
    Answer a;
    a.success = success;
    a.handle = result->sceneHandle;
    a.userTag = result->userTag;
    Answers::Get().Deliver(result->userTag, std::move(a));
}

void OnStressCapture(Kestrum::CaptureResult* result, int success) {
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

void OnStressUnload(uint32_t handle) {
    Answer a;
    a.success = 1;
    a.handle = handle;
    Answers::Get().Deliver(handle | kUnloadKeyBit, std::move(a));
}

void LoadAsync(const std::string& path, uint32_t tag) {
    Request r = Request::File(path);
    r.userTag = tag;
    std::u16string path16;
    Library::Get().LoadCaptureScene(0, FlatLoad(r, path16), OnStressLoad);
}

void CaptureAsync(uint32_t handle, uint32_t tag, const std::string& outputPath) {
    Request r = Request::ByHandle(handle);
    r.userTag = tag;
    r.camera = "DefaultView";
    r.captureFlags = outputPath.empty() ? Kestrum::KESTRUM_CAPTURE_TO_MEMORY : Kestrum::KESTRUM_CAPTURE_TO_FILE;
    r.outputPath = outputPath;
    StartCapture(r, OnStressCapture);
}

// Resident set size in kB from the process status; 0 when it cannot be read.
long ResidentKilobytes() {
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

// One host thread: load, capture (memory and file taking turns), unload; the file changes
// from cycle to cycle, and no two threads start on the same one.
void HostThread(int thread, int cycles, const std::vector<std::string>& files, const std::vector<Picture>& references,
                Failures& failures, std::atomic<int>& requests) {
    const std::string folder = testing::TempDir();
    const int rssEvery = EnvironmentCount("KESTRUM_STRESS_RSS_EVERY", 0);
    for (int cycle = 0; cycle < cycles; ++cycle) {
        if (thread == 0 && rssEvery > 0 && cycle % rssEvery == 0) {
            // The collected log text would otherwise grow with every cycle and hide the
            // library's own memory.
            Library::Get().ClearLog();
            std::printf("stress rss cycle %d: %ld kB\n", cycle, ResidentKilobytes());
        }
        const size_t which = size_t(thread + cycle) % files.size();
        const std::string& file = files[which];
        const Picture& reference = references[which];
        const uint32_t base = (uint32_t(thread) << 20) | (uint32_t(cycle) << 4);
        const std::string where = "thread " + std::to_string(thread) + " cycle " + std::to_string(cycle) + ": ";

        LoadAsync(file, base | 1);
        ++requests;
        const Answer loaded = Answers::Get().Take(base | 1);
        if (!loaded.answered || loaded.success != 1 || loaded.handle == 0) {
            failures.Add(where + "load " + (loaded.answered ? "failed" : "unanswered"));
            continue;
        }

        const bool toFile = cycle % 2 == 1;
        const std::string output =
            toFile ? folder + "/stress_" + std::to_string(thread) + "_" + std::to_string(cycle) + ".png" : "";
        CaptureAsync(loaded.handle, base | 2, output);
        ++requests;
        const Answer captured = Answers::Get().Take(base | 2);
        if (!captured.answered || captured.success != 1) {
            failures.Add(where + "capture " + (captured.answered ? "refused" : "unanswered"));
        } else {
            Picture picture = FromAnswer(captured);
            if (toFile && !ReadPng(output, picture)) failures.Add(where + "no picture in " + output);
            if (toFile) std::remove(output.c_str());
            const double share = DifferentShare(picture, reference, kPixelTolerance);
            if (share > kDifferentShareLimit)
                failures.Add(where + file + " differs in " + std::to_string(share * 100.0) + "% of pixels");
        }

        Library::Get().UnloadCaptureScene(loaded.handle, OnStressUnload);
        ++requests;
        if (!Answers::Get().Take(loaded.handle | kUnloadKeyBit).answered) failures.Add(where + "unload unanswered");
    }
}

class CaptureStress : public CaptureTest {};

TEST_F(CaptureStress, ConcurrentHostsGetEveryAnswerOnceAndTheLonePicture) {
    const std::vector<std::string> files = StressFiles();
    std::vector<Picture> references;
    for (const std::string& file : files) {
        Request r = Request::File(file);
        r.camera = "DefaultView";
        r.captureFlags = Kestrum::KESTRUM_CAPTURE_TO_MEMORY | Kestrum::KESTRUM_CAPTURE_UNLOAD_AFTER;
        const Answer a = Capture(r);
        ASSERT_EQ(a.success, 1) << file;
        references.push_back(FromAnswer(a));
        ASSERT_GT(SolidCoverage(references.back(), r.background), 0) << file << " shows nothing";
    }

    const int threads = EnvironmentCount("KESTRUM_STRESS_THREADS", kDefaultThreads);
    const int cycles = EnvironmentCount("KESTRUM_STRESS_CYCLES", kDefaultCycles);
    Answers::Get().Reset();
    lib.ClearLog();
    Failures failures;
    std::atomic<int> requests{0};
    std::vector<std::thread> hosts;
    for (int t = 0; t < threads; ++t)
        hosts.emplace_back(HostThread, t, cycles, std::cref(files), std::cref(references), std::ref(failures),
                           std::ref(requests));
    for (std::thread& host : hosts) host.join();

    for (const std::string& what : failures.first) ADD_FAILURE() << what;
    EXPECT_EQ(failures.count, 0);
    EXPECT_EQ(requests.load(), threads * cycles * 3);
    EXPECT_EQ(Answers::Get().Callbacks(), requests.load());
    EXPECT_EQ(Answers::Get().Duplicates(), 0);
    EXPECT_FALSE(lib.LogSaw("RenderThread not available", 0));
    EXPECT_FALSE(lib.LogSaw("cannot register new RenderThreadListener", 0));
    EXPECT_FALSE(lib.LogSaw("CaptureProxy::DoUnloadScene: Invalid scene handle!", 0));
    EXPECT_FALSE(lib.LogSaw("Failed to apply the generated SceneDescription", 0));
}

}  // namespace
