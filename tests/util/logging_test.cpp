#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/Polling.h"
#include "util/Clock.h"
#include "util/LogManager.h"
#include "util/Logger.h"
#include "util/Strings.h"

using namespace Velmora::Utility;
using Velmora::Test::WaitFor;
namespace fs = std::filesystem;

namespace {

class CaptureStream : public LogStream {
public:
    void Write(int32_t level, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex);
        levels.push_back(level);
        texts.push_back(text);
    }
    std::mutex mutex;
    std::vector<int32_t> levels;
    std::vector<std::string> texts;
};

struct HookRecord {
    void* userData;
    int32_t level;
    std::u16string text;
    uint32_t byteLength;
};

std::mutex g_hookMutex;
std::vector<HookRecord> g_hooked;
std::atomic<bool> g_blockHook{false};
std::atomic<bool> g_hookBlocked{false};

void TestHook(void* userData, int32_t level, char16_t* message) {
    {
        std::lock_guard<std::mutex> lock(g_hookMutex);
        g_hooked.push_back({userData, level, std::u16string(message), SystemStringByteLength(message)});
    }
    while (g_blockHook.load()) {
        g_hookBlocked.store(true);
        Sleep(1);
    }
}

size_t HookedCount() {
    std::lock_guard<std::mutex> lock(g_hookMutex);
    return g_hooked.size();
}

std::string ReadAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override {
        DebuggingLogStream::SetDebuggerOutput(false);
        g_blockHook.store(false);
        g_hookBlocked.store(false);
        dir_ = fs::temp_directory_path() / ("kestrum_log_test_" + std::to_string(::getpid()));
        fs::create_directories(dir_);
        std::lock_guard<std::mutex> lock(g_hookMutex);
        g_hooked.clear();
    }
    void TearDown() override {
        g_blockHook.store(false);
        LogManager::Instance().SetLoggingHook(nullptr, nullptr);
        LogManager::Instance().StopDefault();
        Logger::Instance().SetStream(nullptr);
        Logger::Instance().SetMaxLevel(2);
        DebuggingLogStream::SetDebuggerOutput(true);
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    fs::path dir_;
};

}  // namespace

TEST_F(LoggingTest, DefaultLevelIsWarningAndFilters) {
    auto capture = std::make_shared<CaptureStream>();
    Logger::Instance().SetStream(capture);
    EXPECT_EQ(Logger::Instance().MaxLevel(), 2);
    Logger::Log(LogLevel::Message, "m");
    Logger::Log(LogLevel::Error, "e %d", 1);
    Logger::Log(LogLevel::Warning, "w %s", "x");
    Logger::Log(LogLevel::Info, "info");
    Logger::Log(LogLevel::Error, nullptr);
    ASSERT_EQ(capture->texts.size(), 3u);
    EXPECT_EQ(capture->texts[0], "m\n");
    EXPECT_EQ(capture->texts[1], "e 1\n");
    EXPECT_EQ(capture->texts[2], "w x\n");
    EXPECT_EQ(capture->levels[2], 2);
    EXPECT_FALSE(Logger::Passes(LogLevel::Info));
    EXPECT_TRUE(Logger::Passes(LogLevel::Warning));
    Logger::Instance().SetStream(nullptr);
    EXPECT_FALSE(Logger::Passes(LogLevel::Message));
    Logger::Log(LogLevel::Message, "dropped");
    EXPECT_EQ(capture->texts.size(), 3u);
}

TEST_F(LoggingTest, TruncationAt8191WithoutLineEnd) {
    auto capture = std::make_shared<CaptureStream>();
    Logger::Instance().SetStream(capture);
    const std::string s8190(8190, 'a'), s8191(8191, 'b'), s9000(9000, 'c');
    Logger::Log(LogLevel::Error, "%s", s8190.c_str());
    Logger::Log(LogLevel::Error, "%s", s8191.c_str());
    Logger::Log(LogLevel::Error, "%s", s9000.c_str());
    Logger::LogF(LogLevel::Error, "{:s}", s9000);
    ASSERT_EQ(capture->texts.size(), 4u);
    EXPECT_EQ(capture->texts[0], s8190 + "\n");
    EXPECT_EQ(capture->texts[1], s8191);
    EXPECT_EQ(capture->texts[2], std::string(8191, 'c'));
    EXPECT_EQ(capture->texts[3], std::string(8191, 'c'));
}

TEST_F(LoggingTest, StartDefaultWritesTheFileFormat) {
    const fs::path log = dir_ / "a.log";
    ASSERT_TRUE(LogManager::Instance().StartDefault(log.string(), false, 4));
    EXPECT_TRUE(LogManager::Instance().IsLoggingToDefault());
    EXPECT_EQ(Logger::Instance().MaxLevel(), 4);
    Logger::Log(LogLevel::Warning, "some text %d", 42);
    Logger::Log(LogLevel::ExtraVerbose, "filtered");
    Logger::Log(LogLevel::Error, "an error");
    LogManager::Instance().StopDefault();
    EXPECT_FALSE(LogManager::Instance().IsLoggingToDefault());
    EXPECT_EQ(Logger::Instance().Stream(), nullptr);
    EXPECT_EQ(Logger::Instance().MaxLevel(), 4);  // the level stays
    const std::string content = ReadAll(log);
    const std::vector<std::string> expected = {
        "Session Start (",
        "] [VERBOSE] Started logging to '" + log.string() + "' at level 'VERBOSE'",
        "] [WARNING] some text 42",
        "] [ERROR] an error",
        "",
        "Session End ("};
    std::istringstream lines(content);
    std::string line;
    for (const std::string& part : expected) {
        ASSERT_TRUE(std::getline(lines, line)) << content;
        EXPECT_NE(line.find(part), std::string::npos) << line;
        if (!part.empty() && part[0] == ']') {
            EXPECT_EQ(line[0], '[') << line;
        }
    }
    EXPECT_FALSE(std::getline(lines, line)) << content;
}

TEST_F(LoggingTest, HookReceivesMessagesInOrder) {
    int user = 0;
    EXPECT_EQ(LogManager::Instance().SetLoggingHook(&user, &TestHook), nullptr);
    for (int i = 0; i < 200; ++i) Logger::Log(LogLevel::Error, "msg %d", i);
    Logger::Log(LogLevel::Info, "filtered");
    ASSERT_TRUE(WaitFor([] { return HookedCount() >= 200; }));
    Sleep(60);
    std::lock_guard<std::mutex> lock(g_hookMutex);
    ASSERT_EQ(g_hooked.size(), 200u);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(g_hooked[i].text, Utf8ToWide("msg " + std::to_string(i) + "\n"));
        EXPECT_EQ(g_hooked[i].level, 1);
        EXPECT_EQ(g_hooked[i].userData, &user);
        EXPECT_EQ(g_hooked[i].byteLength, g_hooked[i].text.size() * 2);
    }
}

TEST_F(LoggingTest, FullHookQueueDropsMessages) {
    LogManager::Instance().SetLoggingHook(nullptr, &TestHook);
    g_blockHook.store(true);
    Logger::Log(LogLevel::Error, "blocker");
    ASSERT_TRUE(WaitFor([] { return g_hookBlocked.load(); }));
    for (int i = 0; i < 8192 + 10; ++i) Logger::Log(LogLevel::Error, "m%d", i);
    g_blockHook.store(false);
    ASSERT_TRUE(WaitFor([] { return HookedCount() >= 8193; }, 10000));
    Sleep(120);
    std::lock_guard<std::mutex> lock(g_hookMutex);
    EXPECT_EQ(g_hooked.size(), 8193u);
    EXPECT_EQ(g_hooked.back().text, u"m8191\n");
}

TEST_F(LoggingTest, ConcurrentLoggingToFile) {
    const fs::path log = dir_ / "f.log";
    ASSERT_TRUE(LogManager::Instance().StartDefault(log.string(), false, 2));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 250; ++i) Logger::Log(LogLevel::Error, "t%d-%d", t, i);
        });
    }
    for (auto& th : threads) th.join();
    LogManager::Instance().StopDefault();
    const std::string content = ReadAll(log);
    size_t lines = 0;
    for (size_t p = content.find("] [ERROR] t"); p != std::string::npos; p = content.find("] [ERROR] t", p + 1))
        ++lines;
    EXPECT_EQ(lines, 1000u);
    for (int t = 0; t < 4; ++t) {
        size_t last = 0;
        for (int i = 0; i < 250; i += 49) {
            size_t p = content.find("t" + std::to_string(t) + "-" + std::to_string(i) + "\n");
            ASSERT_NE(p, std::string::npos);
            EXPECT_GT(p, last);
            last = p;
        }
    }
}

// The library sits inside someone else's process: its log reaches that process's standard
// error only when the developer asks for it through the environment.
class DebugChannelTest : public LoggingTest {
protected:
    void SetUp() override {
        LoggingTest::SetUp();
        DebuggingLogStream::SetDebuggerOutput(true);
        const char* old = std::getenv(kDebugChannelVariable);
        hadValue_ = old != nullptr;
        if (hadValue_) oldValue_ = old;
    }
    void TearDown() override {
        if (hadValue_)
            ::setenv(kDebugChannelVariable, oldValue_.c_str(), 1);
        else
            ::unsetenv(kDebugChannelVariable);
        LoggingTest::TearDown();
    }
    // What the default session writes to standard error for one error message.
    std::string StderrOfOneMessage() {
        ::testing::internal::CaptureStderr();
        EXPECT_TRUE(LogManager::Instance().StartDefault(std::string(), false, 2));
        Logger::Log(LogLevel::Error, "debug channel probe");
        LogManager::Instance().StopDefault();
        return ::testing::internal::GetCapturedStderr();
    }
    bool hadValue_ = false;
    std::string oldValue_;
};

TEST_F(DebugChannelTest, StandardErrorOnlyWhileTheVariableAsks) {
    ::unsetenv(kDebugChannelVariable);
    EXPECT_EQ(StderrOfOneMessage(), "");
    ::setenv(kDebugChannelVariable, "0", 1);
    EXPECT_EQ(StderrOfOneMessage(), "");
    ::setenv(kDebugChannelVariable, "1", 1);
    EXPECT_NE(StderrOfOneMessage().find("debug channel probe"), std::string::npos);
}
