#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "util/Logger.h"
#include "util/Paths.h"
#include "util/SimpleFile.h"
#include "util/Strings.h"

using namespace Velmora::Utility;
namespace fs = std::filesystem;

namespace {

class FilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("kestrum_files_test_" + std::to_string(::getpid()) + "_" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override {
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
    Velmora::Test::LogCapture log_{2};
};

}  // namespace

TEST_F(FilesTest, OpenFailures) {
    EXPECT_EQ(SimpleFile::Open(std::string(), SimpleFile::Text | SimpleFile::Read), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("missing.txt"), SimpleFile::Text | SimpleFile::Read), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("no/such/dir/x.txt"), SimpleFile::Text | SimpleFile::Write), nullptr);
    EXPECT_EQ(SimpleFile::Open(P("x.txt"), 0), nullptr);
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
    auto b = SimpleFile::Open(P("l.txt"), SimpleFile::Binary | SimpleFile::Read);
    EXPECT_EQ(b->ReadLines(&lines), 2u);
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
    EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(FilesTest, FindFilesInFolder) {
    for (const char* n : {"a.u3d", "b.U3D", "c.prc", "d.obj", "e.txt"}) WriteRaw(n, "x");
    fs::create_directories(dir_ / "sub.u3d");
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "*.u3d"), (std::vector<std::string>{"a.u3d", "b.U3D"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "*.u3d\t*.prc\n*.obj\r *.u3d"),
              (std::vector<std::string>{"a.u3d", "b.U3D", "c.prc", "d.obj"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "?.txt"), (std::vector<std::string>{"e.txt"}));
    EXPECT_EQ(FindFilesInFolder(dir_.string(), "").size(), 5u);
    EXPECT_TRUE(log_.Lines().empty());
    EXPECT_TRUE(FindFilesInFolder(P("missing"), "*").empty());
    ASSERT_EQ(log_.Lines().size(), 1u);
    EXPECT_EQ(log_.Lines()[0].text.rfind("FindFilesInFolder - exception: ", 0), 0u);
}

TEST_F(FilesTest, UniqueFileNamesAndTimeStamp) {
    const std::string ts = TimeStamp();
    EXPECT_TRUE(ts.size() == 14 && ts.find_first_not_of("0123456789") == std::string::npos) << ts;
    // "<prefix>_<time stamp>_<counter>.png": the counter goes on from one name to the next.
    const std::string a = GetUniqueFileName("capture", ".png", "/tmp/out");
    const std::string b = GetUniqueFileName("capture", ".png", "");
    ASSERT_EQ(a.rfind("/tmp/out/capture_", 0), 0u) << a;
    ASSERT_EQ(b.size(), a.size() - 9) << b;
    EXPECT_EQ(b.substr(b.size() - 4), ".png");
    EXPECT_EQ(std::stoi(b.substr(b.size() - 8, 4)), std::stoi(a.substr(a.size() - 8, 4)) + 1) << a << " " << b;
}
