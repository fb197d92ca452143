// Scenes of the third-party files exported as PRC to memory and loaded again: the same
// primitive counts, and a picture at the same camera that matches the source's picture.

#include <cstdlib>

#include "prc/export/export_support.h"

namespace PrcExportTest {
namespace {

constexpr uint32_t kWhite = 0xFFFFFF;
// Per-pixel tolerance of a channel, and the share of pixels allowed beyond it: the exported
// scene is the same geometry with the same materials, but its lights are the viewer's, and
// edges may fall on the other side of a pixel.
constexpr int kChannelTolerance = 40;
constexpr double kMaxDifferentShare = 0.06;
constexpr double kMaxCoverageChange = 0.05;

struct Source {
    const char* path;  // below the test data directory
};

class RoundTrip : public ExportTest, public testing::WithParamInterface<Source> {};

TEST_P(RoundTrip, ExportedSceneLoadsWithTheSameTrianglesAndPicture) {
    const std::string path = std::string(KESTRUM_TESTDATA) + "/" + GetParam().path;
    const Answer source = Picture160(Request::File(path));
    ASSERT_EQ(source.success, 1);
    ASSERT_TRUE(log.Saw("Triangles: "));
    const std::vector<PrimitiveCounts> sourceCounts = CountsIn(log.Text());
    ASSERT_FALSE(sourceCounts.empty());

    const ExportAnswer exported = ExportPrc(Request::File(path));
    ASSERT_TRUE(exported.answered);
    ASSERT_EQ(exported.success, 1);
    ASSERT_FALSE(exported.bytes.empty());

    log.Clear();
    const Answer back = Picture160(FromMemory(exported.bytes));
    ASSERT_EQ(back.success, 1);
    ASSERT_TRUE(log.Saw("Triangles: "));
    const std::vector<PrimitiveCounts> backCounts = CountsIn(log.Text());
    ASSERT_FALSE(backCounts.empty());
    EXPECT_EQ(backCounts.front().triangles, sourceCounts.front().triangles);

    const Picture a = FromAnswer(source), b = FromAnswer(back);
    const int coverageA = SolidCoverage(a, kWhite), coverageB = SolidCoverage(b, kWhite);
    const double share = DifferentShare(a, b, kChannelTolerance);
    std::printf("ROUNDTRIP %s triangles %llu -> %llu coverage %d -> %d different %.4f bytes %zu\n", GetParam().path,
                (unsigned long long)sourceCounts.front().triangles, (unsigned long long)backCounts.front().triangles,
                coverageA, coverageB, share, exported.bytes.size());
    EXPECT_NEAR(coverageB, coverageA, kMaxCoverageChange * coverageA + 20);
    EXPECT_LE(share, kMaxDifferentShare);
}

INSTANTIATE_TEST_SUITE_P(ThirdParty, RoundTrip,
                         testing::Values(Source{"u3d/box.u3d"}, Source{"u3d/head.u3d"}, Source{"prc/mesh1.prc"},
                                         Source{"prc/cube_tess.prc"}, Source{"prc/hc_sphere.prc"},
                                         Source{"obj/propeller.obj"}),
                         [](const testing::TestParamInfo<Source>& info) {
                             std::string name = info.param.path;
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

}  // namespace
}  // namespace PrcExportTest
