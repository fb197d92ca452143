// The command-line host end to end: its exit status, what it prints and the picture it
// writes. The program sits in the build tree's tools/ folder beside src/ of the library.

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>

#include "capture_library.h"

namespace {

using namespace KestrumCaptureTest;

std::string KestrumProgram() {
    const std::string library = KESTRUM_LIBRARY_PATH;
    return library.substr(0, library.rfind("/src/")) + "/tools/kestrum";
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs kestrum with the arguments (already quoted as needed), stdout and stderr apart.
Outcome Kestrum(const std::string& arguments, const std::string& folder) {
    Outcome run;
    const std::string errFile = folder + "/stderr.txt";
    const std::string command = "APPDATA='" + folder + "' '" + KestrumProgram() + "' " + arguments + " 2>'" + errFile + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const std::vector<uint8_t> err = ReadBytes(errFile);
    run.err.assign(err.begin(), err.end());
    return run;
}

class KestrumTool : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists(KestrumProgram())) << KestrumProgram() << ": build the kestrum target";
        char pattern[] = "/tmp/kestrum_tool_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string folder;
};

TEST_F(KestrumTool, CapturesASceneToTheFileItIsGiven) {
    const std::string out = folder + "/sample.png";
    const Outcome run = Kestrum("capture '" + SourceFile("scenes/sample.u3d") + "' -o '" + out +
                                "' --size 96x64 --background 102030 --camera Top",
                            folder);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, out + "\n");
    Picture p;
    ASSERT_TRUE(ReadPng(out, p));
    EXPECT_EQ(p.width, 96);
    EXPECT_EQ(p.height, 64);
    EXPECT_FALSE(Differs(p.At(1, 1), 0x102030, 2));
    EXPECT_GT(SolidCoverage(p, 0x102030), 96 * 64 / 10);
    // The load's progress bar ends at 100.
    EXPECT_NE(run.err.find("100%"), std::string::npos) << run.err;
}

TEST_F(KestrumTool, WithoutASceneCapturesTheSampleBelowTheDataFolder) {
    const Outcome run = Kestrum("capture --size 64x48", folder);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.rfind(folder + "/Orsalind Ltd/Quillmere/sample_", 0), 0u) << run.out;
    const std::string path = run.out.substr(0, run.out.size() - 1);
    Picture p;
    ASSERT_TRUE(ReadPng(path, p)) << path;
    EXPECT_EQ(p.width, 64);
}

TEST_F(KestrumTool, ASceneThatDoesNotLoadEndsWithAnError) {
    const Outcome missing = Kestrum("capture /nonexistent/scene.u3d -o '" + folder + "/x.png'", folder);
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("did not load"), std::string::npos) << missing.err;
    EXPECT_NE(missing.err.find("CaptureProxy::DoLoadScene: Invalid filename"), std::string::npos) << missing.err;
    EXPECT_FALSE(std::filesystem::exists(folder + "/x.png"));

    const Outcome info = Kestrum("info /nonexistent/scene.u3d", folder);
    EXPECT_EQ(info.status, 1);
}

TEST_F(KestrumTool, InfoPrintsTheStatistics) {
    const Outcome run = Kestrum("info '" + SourceFile("scenes/sample.u3d") + "'", folder);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("Materials: 3"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Triangles: 30)"), std::string::npos) << run.out;
}

TEST_F(KestrumTool, BadCommandLinesAreRefused) {
    for (const char* arguments : {"", "capture --size 0x10", "capture --size 12", "capture --lighting 12",
                                  "capture --background 12345", "info", "--log-level 9 --version", "frobnicate"}) {
        const Outcome run = Kestrum(arguments, folder);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_NE(run.err.find("usage: kestrum"), std::string::npos) << arguments;
    }
}

}  // namespace
