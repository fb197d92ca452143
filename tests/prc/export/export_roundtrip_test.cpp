// Scenes of the third-party files exported as PRC to memory and loaded again: the same
// primitive counts, and a picture at the same camera that matches the source's picture; and
// the scenes that the format's plain tessellation cannot hold, refused whole.

#include "prc/export/export_support.h"

namespace PrcExportTest {
namespace {

// Per-pixel tolerance of a channel, and the share of pixels allowed beyond it. Both pictures
// come from the same renderer with the same lights, so edges are all that may move.
constexpr int kChannelTolerance = 40;
constexpr double kMaxDifferentShare = 0.02;
constexpr double kMaxCoverageChange = 0.05;
constexpr int kCoverageSlack = 20;

constexpr const char* kTriangleMessage =
    "PRCExport::WriteTesselationForModel() - ONLY TRIANGLE MESHES SUPPORTED (for now)!";
constexpr const char* kColourMessage = "PRCExport::WriteContent3DTess() - Colors not yet supported!";

// At most one triangle in this many may be left out of a compressed export as a sliver.
constexpr uint64_t kMaxLostShare = 200;
// Quantised normals shade narrow bevels a little differently (multiparent_anim: 2.6%).
constexpr double kMaxCompressedDifferentShare = 0.03;

std::string TestData(const char* relative) { return std::string(KESTRUM_TESTDATA) + "/" + relative; }

std::string TestName(const char* path) {
    std::string name = path;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

struct Source {
    const char* path;  // below the test data directory
    // False where the source draws what the export leaves out on purpose: texture layers
    // above the first, and a second shader pass over a mesh.
    bool samePicture;
};

class RoundTrip : public ExportTest, public testing::WithParamInterface<Source> {
protected:
    // Captures the source, exports it with `flags` and captures the export loaded again.
    void Trip(uint32_t flags) {
        const std::string path = TestData(GetParam().path);
        source = Picture160(Request::File(path));
        ASSERT_EQ(source.success, 1);
        ASSERT_TRUE(log.Saw("Primitives (instanced)"));
        sourceCounts = CountsIn(log.Text());
        const ExportAnswer exported = ExportPrc(Request::File(path), flags);
        ASSERT_TRUE(exported.answered);
        ASSERT_EQ(exported.success, 1);
        ASSERT_FALSE(exported.bytes.empty());
        log.Clear();
        back = Picture160(FromMemory(exported.bytes));
        ASSERT_EQ(back.success, 1);
        ASSERT_TRUE(log.Saw("Primitives (instanced)"));
        backCounts = CountsIn(log.Text());
    }
    void ExpectSamePicture(double maxDifferentShare) {
        if (!GetParam().samePicture) return;
        const Picture a = FromAnswer(source), b = FromAnswer(back);
        const int coverage = SolidCoverage(a, kBackground);
        EXPECT_GT(coverage, 0);
        EXPECT_NEAR(SolidCoverage(b, kBackground), coverage, kMaxCoverageChange * coverage + kCoverageSlack);
        EXPECT_LE(DifferentShare(a, b, kChannelTolerance), maxDifferentShare);
    }
    Answer source, back;
    SceneCounts sourceCounts, backCounts;
};

TEST_P(RoundTrip, ExportedSceneLoadsWithTheSameTrianglesAndPicture) {
    ASSERT_NO_FATAL_FAILURE(Trip(0));
    EXPECT_GT(sourceCounts.meshes.triangles, 0u);
    EXPECT_EQ(backCounts.meshes, sourceCounts.meshes);
    EXPECT_EQ(backCounts.instanced, sourceCounts.instanced);
    ExpectSamePicture(kMaxDifferentShare);
}

// Highly compressed: points move by up to half a step and slivers thinner than the step are
// left out, so the scene keeps nearly all its triangles and the same picture.
TEST_P(RoundTrip, CompressedExportLoadsWithNearlyAllTrianglesAndThePicture) {
    ASSERT_NO_FATAL_FAILURE(Trip(Kestrum::KESTRUM_EXPORT_OPTION_A));
    const uint64_t triangles = sourceCounts.meshes.triangles;
    EXPECT_LE(backCounts.meshes.triangles, triangles);
    EXPECT_GE(backCounts.meshes.triangles, triangles - triangles / kMaxLostShare);
    EXPECT_EQ(backCounts.instanced.points + backCounts.instanced.lines, 0u);
    ExpectSamePicture(kMaxCompressedDifferentShare);
}

INSTANTIATE_TEST_SUITE_P(
    ThirdParty, RoundTrip,
    testing::Values(
        Source{"u3d/ColorChannels.u3d", true}, Source{"u3d/FileRefTest_DISCARD.u3d", true},
        Source{"u3d/FileRefTest_POSTMANGLE.u3d", true}, Source{"u3d/FileRefTest_PREPENDCOLLIDED.u3d", true},
        Source{"u3d/FileRefTest_PREPEND_ALL.u3d", true}, Source{"u3d/FileRefTest_REPLACE.u3d", true},
        Source{"u3d/SimpleShapesAnimation.u3d", true}, Source{"u3d/TextureLayers.u3d", false},
        Source{"u3d/bearing.u3d", true}, Source{"u3d/box.u3d", true}, Source{"u3d/box_2shaders.u3d", false},
        Source{"u3d/box_ba.u3d", true}, Source{"u3d/box_base.u3d", true}, Source{"u3d/box_bo.u3d", true},
        Source{"u3d/box_ga.u3d", true}, Source{"u3d/box_group.u3d", true}, Source{"u3d/box_la.u3d", true},
        Source{"u3d/box_mp_view.u3d", true}, Source{"u3d/box_mpview_anim.u3d", true},
        Source{"u3d/box_part_base.u3d", true}, Source{"u3d/box_ta.u3d", true}, Source{"u3d/box_ta_clodmod.u3d", true},
        Source{"u3d/box_va.u3d", true}, Source{"u3d/file_ref.u3d", true}, Source{"u3d/head.u3d", true},
        Source{"u3d/metadata.u3d", true}, Source{"u3d/metadata2.u3d", true}, Source{"u3d/mp_box.u3d", true},
        Source{"u3d/mp_box_light.u3d", true}, Source{"u3d/mp_box_light_direct.u3d", true},
        Source{"u3d/mp_plane64_anim.u3d", true}, Source{"u3d/multiparent_anim.u3d", true},
        Source{"u3d/plane100x100.u3d", true}, Source{"u3d/plane100x100_part_base.u3d", true},
        Source{"u3d/plane64x64.u3d", true}, Source{"u3d/plane64x64_base.u3d", true}, Source{"u3d/shading.u3d", true},
        Source{"u3d/shading2.u3d", true}, Source{"u3d/shading2_base.u3d", true}, Source{"u3d/shading_M.u3d", true},
        Source{"u3d/shading_alpha.u3d", true}, Source{"u3d/shading_lines_alpha.u3d", true},
        Source{"u3d/shading_lines_alpha_tex1.u3d", true}, Source{"u3d/shape.u3d", true},
        Source{"u3d/simpleBox.u3d", true}, Source{"u3d/sphere_shading.u3d", true},
        Source{"u3d/sphere_ta_subdivmod.u3d", true}, Source{"u3d/surface.u3d", true},
        Source{"u3d/surface_base.u3d", true}, Source{"u3d/views.u3d", true}, Source{"prc/cube_tess.prc", true},
        Source{"prc/grid_big.prc", true}, Source{"prc/hc_cube.prc", true}, Source{"prc/hc_parts.prc", true},
        Source{"prc/hc_propeller.prc", true}, Source{"prc/hc_sphere.prc", true}, Source{"prc/mesh1.prc", true},
        Source{"prc/mesh2.prc", true}, Source{"prc/plain_cube.prc", true}, Source{"prc/sw_cylinder.prc", true},
        Source{"prc/sw_triangle.prc", true}, Source{"prc/torus_mesh.prc", true}, Source{"obj/head.obj", true},
        Source{"obj/propeller.obj", true}),
    [](const testing::TestParamInfo<Source>& info) { return TestName(info.param.path); });

struct Refusal {
    const char* path;
    const char* message;
};

class Refused : public ExportTest, public testing::WithParamInterface<Refusal> {};

TEST_P(Refused, SceneTheTessellationCannotHoldFailsWithItsReason) {
    const ExportAnswer exported = ExportPrc(Request::File(TestData(GetParam().path)));
    ASSERT_TRUE(exported.answered);
    EXPECT_EQ(exported.success, 0);
    EXPECT_TRUE(exported.bytes.empty());
    EXPECT_TRUE(log.Saw(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    ThirdParty, Refused,
    testing::Values(Refusal{"u3d/VertexColor.u3d", kColourMessage}, Refusal{"u3d/box_vertex_color.u3d", kColourMessage},
                    Refusal{"u3d/lineset.u3d", kTriangleMessage}, Refusal{"u3d/lineset_anim.u3d", kTriangleMessage},
                    Refusal{"u3d/lineset_grid.u3d", kTriangleMessage}, Refusal{"u3d/pointset.u3d", kTriangleMessage},
                    Refusal{"u3d/pointset_anim.u3d", kTriangleMessage}),
    [](const testing::TestParamInfo<Refusal>& info) { return TestName(info.param.path); });

}  // namespace
}  // namespace PrcExportTest
