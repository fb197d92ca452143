#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include "util/Logger.h"
#include "util/Paths.h"
#include "util/SimpleFile.h"
#include "util/Strings.h"

using namespace Velmora::Utility;
namespace fs = std::filesystem;

namespace {

class CaptureStream : public LogStream {
public:
    void Write(int32_t level, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex);
        entries.emplace_back(level, text);
    }
    std::mutex mutex;
    std::vector<std::pair<int32_t, std::string>> entries;
};

class FilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("kestrum_files_test_" + std::to_string(::getpid()) + "_" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        capture_ = std::make_shared<CaptureStream>();
        Logger::Instance().SetStream(capture_);
    }
    void TearDown() override {
        Logger::Instance().SetStream(nullptr);
        std::error_code ec;
        fs::permissions(dir_, fs::perms::owner_all, fs::perm_options::add, ec);
        fs::remove_all(dir_, ec);
    }
    std::string P(const std::string& name) const { return (dir_ / name).string(); }
    void WriteRaw(const std::string& name, const std::string& content) {
        std::ofstream out(dir_ / name, std::ios::binary);
        out << content;
    }
    fs::path dir_;
    std::shared_ptr<CaptureStream> capture_;
};

}  // namespace

TEST_F(FilesTest, ModeStrings) {
    EXPECT_EQ(SimpleFile::ModeFor(SimpleFile::Text | SimpleFile::Append), "a");
    EXPECT_EQ(SimpleFile::ModeFor(SimpleFile::Binary | SimpleFile::Append | SimpleFile::Read), "ab");
    EXPECT_EQ(SimpleFile::ModeFor(SimpleFile::Binary | SimpleFile::Read | SimpleFile::Write), "w+b");
    EXPECT_EQ(SimpleFile::ModeFor(SimpleFile::Text | SimpleFile::Read), "r");
    EXPECT_EQ(SimpleFile::ModeFor(SimpleFile::Binary | SimpleFile::Write), "wb");
}

TEST_F(FilesTest, OpenFailures) {
    EXPECT_EQ(SimpleFile::Open(std::string(), SimpleFile::Text | SimpleFile::Read), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("missing.txt"), SimpleFile::Text | SimpleFile::Read), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("no/such/dir/x.txt"), SimpleFile::Text | SimpleFile::Write), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("x.txt"), 0), nullptr);
}

TEST_F(FilesTest, AppendTextMakesAMissingFileAndStartsAtItsEnd) {
    {
        auto f = SimpleFile::Open(P("a.txt"), SimpleFile::Text | SimpleFile::Append);
        ASSERT_TRUE(f);
        EXPECT_TRUE(fs::exists(dir_ / "a.txt"));
        EXPECT_FALSE(f->WriteText("refused\n"));  // Append alone does not say Write
        EXPECT_TRUE(f->Put("one\n"));
    }
    {
        auto f = SimpleFile::Open(P("a.txt"), SimpleFile::Text | SimpleFile::Append);
        ASSERT_TRUE(f);
        EXPECT_TRUE(f->Put("two\n"));
    }
    auto r = SimpleFile::Open(P("a.txt"), SimpleFile::Text | SimpleFile::Read);
    std::vector<std::string> lines;
    EXPECT_EQ(r->ReadLines(&lines), 2u);
    EXPECT_EQ(lines, (std::vector<std::string>{"one\n", "two\n"}));
}

TEST_F(FilesTest, SizeLeavesThePositionUnchanged) {
    WriteRaw("s.bin", std::string(1000, 'x'));
    auto f = SimpleFile::Open(P("s.bin"), SimpleFile::Binary | SimpleFile::Read);
    ASSERT_TRUE(f);
    char buffer[10];
    ASSERT_TRUE(f->ReadBytes(buffer, 10));
    EXPECT_EQ(ftell(f->Handle()), 10);
    EXPECT_EQ(f->Size(), 1000u);
    EXPECT_EQ(ftell(f->Handle()), 10);
    WriteRaw("empty.bin", "");
    EXPECT_EQ(SimpleFile::Open(P("empty.bin"), SimpleFile::Binary | SimpleFile::Read)->Size(), 0u);
}

TEST_F(FilesTest, ReadBytesNeedsBinaryReadAndExactCount) {
    WriteRaw("r.bin", "abcdef");
    auto text = SimpleFile::Open(P("r.bin"), SimpleFile::Text | SimpleFile::Read);
    char buffer[16] = {};
    EXPECT_FALSE(text->ReadBytes(buffer, 3));  // text mode
    auto bin = SimpleFile::Open(P("r.bin"), SimpleFile::Binary | SimpleFile::Read);
    EXPECT_FALSE(bin->ReadBytes(buffer, 0));
    EXPECT_TRUE(bin->ReadBytes(buffer, 4));
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_FALSE(bin->ReadBytes(buffer, 4));  // only 2 left
    auto holder = ReadWholeFile(P("r.bin"));
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->Size(), 6u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(holder->Data()), 6), "abcdef");
}

TEST_F(FilesTest, ReadLinesKeepsLineEndsAndSplitsLongLines) {
    WriteRaw("l.txt", "first\nsecond\r\n\nlast without end");
    auto f = SimpleFile::Open(P("l.txt"), SimpleFile::Text | SimpleFile::Read);
    std::vector<std::string> lines{"old"};
    EXPECT_EQ(f->ReadLines(&lines), 4u);
    EXPECT_EQ(lines, (std::vector<std::string>{"first\n", "second\r\n", "\n", "last without end"}));
    EXPECT_GE(lines.capacity(), 1000u);

    WriteRaw("long.txt", std::string(9000, 'z') + "\n");
    auto g = SimpleFile::Open(P("long.txt"), SimpleFile::Text | SimpleFile::Read);
    EXPECT_EQ(g->ReadLines(&lines), 2u);
    EXPECT_EQ(lines[0].size(), 8191u);
    EXPECT_EQ(lines[1].size(), 9000u - 8191u + 1u);

    // Without Text|Read the vector is left as it is and its size comes back.
    auto b = SimpleFile::Open(P("l.txt"), SimpleFile::Binary | SimpleFile::Read);
    EXPECT_EQ(b->ReadLines(&lines), 2u);
}

TEST_F(FilesTest, WriteTextNeedsTextWrite) {
    auto w = SimpleFile::Open(P("w.txt"), SimpleFile::Text | SimpleFile::Write);
    ASSERT_TRUE(w);
    EXPECT_TRUE(w->WriteText("hello\n"));
    // Flushed at once: visible before close.
    std::ifstream in(dir_ / "w.txt");
    std::string got;
    std::getline(in, got);
    EXPECT_EQ(got, "hello");
    auto b = SimpleFile::Open(P("b.bin"), SimpleFile::Binary | SimpleFile::Write);
    EXPECT_FALSE(b->WriteText("x"));
    EXPECT_TRUE(b->WriteBytes("\0\1\2", 3));
    EXPECT_EQ(fs::file_size(dir_ / "b.bin"), 3u);
    // Read|Write is "w+": it truncates.
    auto rw = SimpleFile::Open(P("w.txt"), SimpleFile::Text | SimpleFile::Read | SimpleFile::Write);
    ASSERT_TRUE(rw);
    EXPECT_EQ(rw->Size(), 0u);
}

TEST_F(FilesTest, U16PathOpens) {
    const std::string name = "\xC3\xA9t\xC3\xA9.txt";
    WriteRaw(name, "x\n");
    auto f = SimpleFile::Open(Utf8ToWide(P(name)), SimpleFile::Text | SimpleFile::Read);
    ASSERT_TRUE(f);
    EXPECT_EQ(f->Size(), 2u);
}

TEST_F(FilesTest, PathChecks) {
    WriteRaw("file.u3d", "x");
    EXPECT_TRUE(Exists(P("file.u3d")));
    EXPECT_TRUE(Exists(dir_.string()));
    EXPECT_FALSE(Exists(P("nope")));
    EXPECT_FALSE(Exists(std::string()));
    EXPECT_TRUE(Exists(Utf8ToWide(P("file.u3d"))));
    EXPECT_TRUE(IsRegular(P("file.u3d")));
    EXPECT_FALSE(IsRegular(dir_.string()));
    EXPECT_FALSE(IsRegular(P("nope")));
    EXPECT_TRUE(IsValidDirectory(dir_.string()));
    EXPECT_FALSE(IsValidDirectory(P("file.u3d")));
    EXPECT_FALSE(IsValidDirectory(P("nope")));
    EXPECT_TRUE(CheckCreateDirectory(P("x/y/z")));
    EXPECT_TRUE(IsValidDirectory(P("x/y/z")));
    EXPECT_TRUE(CheckCreateDirectory(P("x/y/z")));
    EXPECT_TRUE(capture_->entries.empty());
}

TEST_F(FilesTest, CheckCreateDirectoryFailureLogs) {
    WriteRaw("blocker", "x");
    EXPECT_FALSE(CheckCreateDirectory(P("blocker/sub")));
    ASSERT_EQ(capture_->entries.size(), 1u);
    EXPECT_EQ(capture_->entries[0].first, 1);
    EXPECT_EQ(capture_->entries[0].second.rfind("CheckCreateDirectory filesystem_error: ", 0), 0u);
}

TEST_F(FilesTest, PathChecksOnAnUnreadableFolderDoNotThrow) {
    if (::geteuid() == 0) GTEST_SKIP() << "root reads everything";
    fs::create_directories(dir_ / "locked");
    WriteRaw("locked/f", "x");
    fs::permissions(dir_ / "locked", fs::perms::none);
    EXPECT_FALSE(IsRegular(P("locked/f")));
    EXPECT_FALSE(IsValidDirectory(P("locked/f")));
    fs::permissions(dir_ / "locked", fs::perms::owner_all);
}

TEST_F(FilesTest, EnvironmentFolder) {
    const char* savedApp = std::getenv("APPDATA");
    const char* savedXdg = std::getenv("XDG_DATA_HOME");
    std::string app = savedApp ? savedApp : "", xdg = savedXdg ? savedXdg : "";
    setenv("APPDATA", "/tmp/appdata", 1);
    EXPECT_EQ(GetEnvironmentFolder("APPDATA"), "/tmp/appdata");
    unsetenv("APPDATA");
    setenv("XDG_DATA_HOME", "/tmp/xdg", 1);
    EXPECT_EQ(GetEnvironmentFolder("APPDATA"), "/tmp/xdg");
    unsetenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (home) {
        EXPECT_EQ(GetEnvironmentFolder("APPDATA"), std::string(home) + "/.local/share");
    }
    setenv("KESTRUM_TEST_VAR", "/some/where", 1);
    EXPECT_EQ(GetEnvironmentFolder("KESTRUM_TEST_VAR"), "/some/where");
    EXPECT_EQ(GetEnvironmentFolder("KESTRUM_TEST_UNSET_VAR"), "");
    if (savedApp) setenv("APPDATA", app.c_str(), 1);
    if (savedXdg) setenv("XDG_DATA_HOME", xdg.c_str(), 1);
}

TEST_F(FilesTest, ModulePathIsTheFolderOfThisBinary) {
    const std::string path = GetModulePath();
    ASSERT_FALSE(path.empty());
    EXPECT_TRUE(IsValidDirectory(path));
    EXPECT_TRUE(fs::path(path).is_absolute());
    EXPECT_EQ(fs::weakly_canonical(fs::read_symlink("/proc/self/exe").parent_path()).string(), path);
}

TEST_F(FilesTest, FindFilesInFolder) {
    for (const char* n : {"a.u3d", "b.U3D", "c.prc", "d.obj", "e.txt"}) WriteRaw(n, "x");
    fs::create_directories(dir_ / "sub.u3d");
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "*.u3d"), (std::vector<std::string>{"a.u3d", "b.U3D"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "*.u3d\t*.prc\n*.obj\r *.u3d"),
              (std::vector<std::string>{"a.u3d", "b.U3D", "c.prc", "d.obj"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "?.txt"), (std::vector<std::string>{"e.txt"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "").size(), 5u);
    EXPECT_TRUE(capture_->entries.empty());
    EXPECT_TRUE(FindFilesInFolder(P("missing"), "*").empty());
    ASSERT_EQ(capture_->entries.size(), 1u);
    EXPECT_EQ(capture_->entries[0].second.rfind("FindFilesInFolder - exception: ", 0), 0u);
}

TEST_F(FilesTest, StemAndExtension) {
    EXPECT_EQ(Stem("dir/model.u3d"), "model");
    EXPECT_EQ(Extension("dir/model.u3d"), ".u3d");
    EXPECT_EQ(Stem("dir/archive.tar.gz"), "archive.tar");
    EXPECT_EQ(Extension("dir/archive.tar.gz"), ".gz");
    EXPECT_EQ(Extension("dir/noext"), "");
    EXPECT_EQ(Stem(".hidden"), ".hidden");
    EXPECT_EQ(ParentPath("a/b/c.png"), "a/b");
}

TEST_F(FilesTest, UniqueFileNamesAndTimeStamp) {
    const std::string ts = TimeStamp();
    EXPECT_TRUE(std::regex_match(ts, std::regex(R"(\d{14})"))) << ts;
    const std::string a = GetUniqueFileName("capture", ".png", "/tmp/out");
    const std::string b = GetUniqueFileName("capture", ".png", "");
    const std::regex pattern(R"(/tmp/out/capture_\d{14}_(\d{4})\.png)");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(a, m, pattern)) << a;
    const int first = std::stoi(m[1]);
    EXPECT_GE(first, 1);
    ASSERT_TRUE(std::regex_match(b, m, std::regex(R"(capture_\d{14}_(\d{4})\.png)"))) << b;
    EXPECT_EQ(std::stoi(m[1]), first + 1);
    EXPECT_NE(a.substr(9), b);
}

TEST_F(FilesTest, DumpFile) {
    WriteRaw("dump.txt", "line one\nline two\n");
    EXPECT_EQ(DumpFile(P("dump.txt")),
              "FileDump <" + P("dump.txt") + ">\n--------------------\nline one\nline two\n--------------------");
    EXPECT_EQ(DumpFile(P("missing.txt")), "");
    ASSERT_EQ(capture_->entries.size(), 1u);
    EXPECT_EQ(capture_->entries[0].first, 1);
    EXPECT_EQ(capture_->entries[0].second, "<DumpFile -> File '" + P("missing.txt") + "' does not exist>\n");
}

TEST_F(FilesTest, LastErrorText) {
    errno = 0;
    EXPECT_EQ(LastErrorText(), "");
    errno = ENOENT;
    EXPECT_EQ(LastErrorText(), "No such file or directory");
    EXPECT_FALSE(LastErrorText(EACCES).empty());
}

TEST(DataHolder, OwnsAndMoves) {
    DataHolder<uint8_t> a(16);
    EXPECT_EQ(a.Size(), 16u);
    ASSERT_NE(a.Data(), nullptr);
    EXPECT_EQ(a[3], 0u);
    a[3] = 7;
    DataHolder<uint8_t> b(std::move(a));
    EXPECT_EQ(a.Size(), 0u);
    EXPECT_EQ(a.Data(), nullptr);
    EXPECT_EQ(b[3], 7u);
    DataHolder<uint8_t> empty(0);
    EXPECT_TRUE(empty.Empty());
    EXPECT_EQ(empty.Data(), nullptr);
}
