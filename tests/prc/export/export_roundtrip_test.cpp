// Scenes of the third-party files exported as PRC to memory and loaded again: the same
// primitive counts, and a picture at the same camera that matches the source's picture.

#include <cstdlib>

#include "prc/export/export_support.h"

namespace PrcExportTest {
namespace {

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
    if (std::getenv("PRC_DUMP")) std::printf("SOURCE LOG\n%s\n", log.Text().c_str());
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
    if (std::getenv("PRC_DUMP")) std::printf("BACK LOG\n%s\n", log.Text().c_str());
    ASSERT_FALSE(backCounts.empty());
    EXPECT_EQ(backCounts.front().triangles, sourceCounts.front().triangles);

    const Picture a = FromAnswer(source), b = FromAnswer(back);
    const int coverageA = SolidCoverage(a, kBackground), coverageB = SolidCoverage(b, kBackground);
    const double share = DifferentShare(a, b, kChannelTolerance);
    std::printf("ROUNDTRIP %s triangles %llu -> %llu coverage %d -> %d different %.4f bytes %zu\n", GetParam().path,
                (unsigned long long)sourceCounts.front().triangles, (unsigned long long)backCounts.front().triangles,
                coverageA, coverageB, share, exported.bytes.size());
    if (std::getenv("PRC_DUMP")) {
        WritePng(std::string("/tmp/rt_") + std::to_string(coverageA) + "_a.png", a);
        WritePng(std::string("/tmp/rt_") + std::to_string(coverageA) + "_b.png", b);
    }
    EXPECT_NEAR(coverageB, coverageA, kMaxCoverageChange * coverageA + 20);
    EXPECT_LE(share, kMaxDifferentShare);
}

INSTANTIATE_TEST_SUITE_P(
    ThirdParty, RoundTrip,
    testing::Values(
        Source{"u3d/ColorChannels.u3d"}, Source{"u3d/FileRefTest_DISCARD.u3d"},
        Source{"u3d/FileRefTest_POSTMANGLE.u3d"}, Source{"u3d/FileRefTest_PREPENDCOLLIDED.u3d"},
        Source{"u3d/FileRefTest_PREPEND_ALL.u3d"}, Source{"u3d/FileRefTest_REPLACE.u3d"},
        Source{"u3d/SimpleShapesAnimation.u3d"}, Source{"u3d/TextureLayers.u3d"}, Source{"u3d/VertexColor.u3d"},
        Source{"u3d/bearing.u3d"}, Source{"u3d/box.u3d"}, Source{"u3d/box_2shaders.u3d"}, Source{"u3d/box_ba.u3d"},
        Source{"u3d/box_base.u3d"}, Source{"u3d/box_bo.u3d"}, Source{"u3d/box_ga.u3d"}, Source{"u3d/box_group.u3d"},
        Source{"u3d/box_la.u3d"}, Source{"u3d/box_mp_view.u3d"}, Source{"u3d/box_mpview_anim.u3d"},
        Source{"u3d/box_part_base.u3d"}, Source{"u3d/box_ta.u3d"}, Source{"u3d/box_ta_clodmod.u3d"},
        Source{"u3d/box_va.u3d"}, Source{"u3d/box_vertex_color.u3d"}, Source{"u3d/file_ref.u3d"},
        Source{"u3d/head.u3d"}, Source{"u3d/lineset.u3d"}, Source{"u3d/lineset_anim.u3d"},
        Source{"u3d/lineset_grid.u3d"}, Source{"u3d/metadata.u3d"}, Source{"u3d/metadata2.u3d"},
        Source{"u3d/mp_box.u3d"}, Source{"u3d/mp_box_light.u3d"}, Source{"u3d/mp_box_light_direct.u3d"},
        Source{"u3d/mp_plane64_anim.u3d"}, Source{"u3d/multiparent_anim.u3d"}, Source{"u3d/plane100x100.u3d"},
        Source{"u3d/plane100x100_part_base.u3d"}, Source{"u3d/plane64x64.u3d"}, Source{"u3d/plane64x64_base.u3d"},
        Source{"u3d/pointset.u3d"}, Source{"u3d/pointset_anim.u3d"}, Source{"u3d/shading.u3d"},
        Source{"u3d/shading2.u3d"}, Source{"u3d/shading2_base.u3d"}, Source{"u3d/shading_M.u3d"},
        Source{"u3d/shading_alpha.u3d"}, Source{"u3d/shading_lines_alpha.u3d"},
        Source{"u3d/shading_lines_alpha_tex1.u3d"}, Source{"u3d/shape.u3d"}, Source{"u3d/simpleBox.u3d"},
        Source{"u3d/sphere_shading.u3d"}, Source{"u3d/sphere_ta_subdivmod.u3d"}, Source{"u3d/surface.u3d"},
        Source{"u3d/surface_base.u3d"}, Source{"u3d/views.u3d"}, Source{"prc/cube_tess.prc"},
        Source{"prc/grid_big.prc"}, Source{"prc/hc_cube.prc"}, Source{"prc/hc_head.prc"}, Source{"prc/hc_parts.prc"},
        Source{"prc/hc_propeller.prc"}, Source{"prc/hc_sphere.prc"}, Source{"prc/mesh1.prc"}, Source{"prc/mesh2.prc"},
        Source{"prc/plain_cube.prc"}, Source{"prc/sw_cylinder.prc"}, Source{"prc/sw_triangle.prc"},
        Source{"prc/torus_mesh.prc"}, Source{"obj/head.obj"}, Source{"obj/propeller.obj"}),
    [](const testing::TestParamInfo<Source>& info) {
        std::string name = info.param.path;
        for (char& c : name)
            if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
        return name;
    });

}  // namespace
}  // namespace PrcExportTest
