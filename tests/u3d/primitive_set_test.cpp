// Point and line sets: the third-party files, blocks written value by value, building, and
// hostile blocks that must cost only themselves.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "format/AuthoringPool.h"
#include "host/FormatRegistration.h"
#include "mesh_support.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/PrimitiveSetBuilder.h"
#include "u3d/PrimitiveSetData.h"
#include "u3dwriter/U3DWriter.h"

namespace {

using namespace Velmora::U3D;
using U3DWriter::SetBlockWriter;
using U3DWriter::SetDeclaration;
using Update = U3DWriter::SetUpdate;
using Velmora::Rendering::MeshCreationInfo;
using Velmora::U3D::Test::ScopedLogCapture;
using Velmora::U3D::Test::TestFile;
namespace VA = Velmora::Rendering::VertexAttribute;

struct FileCounts {
    const char* file;
    uint32_t points;
    uint32_t lines;
};
// clang-format off
constexpr FileCounts kFiles[] = {{"pointset.u3d", 18, 0}, {"pointset_anim.u3d", 18, 0}, {"lineset.u3d", 0, 33},
                                 {"lineset_anim.u3d", 0, 33}, {"lineset_grid.u3d", 0, 9}};
// clang-format on

TEST(PrimitiveSetFiles, EveryFileLoadsAndBuildsTheCountsItDeclares) {
    ASSERT_TRUE(Velmora::U3D::Test::EnsureBuildContext());
    Velmora::RegisterStandardFormats();
    Velmora::FormatGlue::AuthoringInterrupt::Reset();
    for (const FileCounts& expected : kFiles) {
        SCOPED_TRACE(expected.file);
        ScopedLogCapture log;
        auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
        ASSERT_TRUE(pool);
        ASSERT_TRUE(pool->LoadFromFile(TestFile(expected.file), nullptr));
        EXPECT_TRUE(pool->MeshPool().removedMeshes.empty());
        // Normals are predicted from the split position: a wrong prediction shows as normals
        // that are no longer of unit length.
        for (const auto& [name, mesh] : pool->MeshPool().meshes) {
            EXPECT_EQ(mesh->continuation->positions.size(), 18u);
            for (const Vec3f& n : mesh->continuation->normals)
                EXPECT_NEAR(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]), 1.0f, 1e-3f);
        }
        uint32_t handle = 0;
        ASSERT_TRUE(pool->BuildSceneGraph(handle, nullptr));
        Velmora::U3D::Test::SceneGuard guard(handle);
        ASSERT_TRUE(guard.Scene());
        uint32_t points = 0, lines = 0;
        for (const auto& [name, mesh] : guard.Scene()->GetResources().meshManager.GetMeshes()) {
            if (name.rfind("___", 0) == 0) continue;  // the renderer's helpers
            uint32_t& count = mesh->GetPrimitiveType() == Velmora::Rendering::PrimitiveType::Points ? points : lines;
            for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) count += mesh->GetDrawInfo(i)->primitiveCount;
        }
        EXPECT_EQ(points, expected.points);
        EXPECT_EQ(lines, expected.lines);
        EXPECT_EQ(log.capture->AtLevel(1), std::vector<std::string>{});
    }
}

constexpr uint32_t kPointDeclaration = 0xFFFFFF36, kLineDeclaration = 0xFFFFFF37;
constexpr uint32_t kPointContinuation = 0xFFFFFF3E, kLineContinuation = 0xFFFFFF3F;
bool ReadBlock(AuthorMeshPool& pool, uint32_t type, const std::vector<uint8_t>& data, bool noCompression = false) {
    return Velmora::U3D::Test::ReadMeshBlock(pool, type, data.data(), uint32_t(data.size()), noCompression);
}

// A line set of three positions on the x axis: lines 1-0 and 2-1 with fresh colours, then
// 2-0 re-using the last one.
void WriteLineSet(AuthorMeshPool& pool, const std::string& name) {
    SetDeclaration d;
    d.name = name;
    d.primitives = 3;
    d.positions = 3;
    d.diffuse = 4;
    d.shadingAttributes = ShadingDescription::kDiffuse;
    ASSERT_TRUE(ReadBlock(pool, kLineDeclaration, U3DWriter::SetDeclarationBlock(d)));
    SetBlockWriter block(name, 0, 3, true, true);
    Update u;
    u.primitives = 0;
    block.Add(0, u);
    u = Update{};
    u.delta = {4, 0, 0};
    block.Add(1, u);  // position 1 at x = 1, line 0-1
    u.split = 1;
    u.first = 1;
    u.diffuseFlag = 2;
    u.primitives = 2;
    block.Add(2, u);  // position 2 at x = 2, lines 1-2 and 1-2 re-using the colour
    ASSERT_TRUE(ReadBlock(pool, kLineContinuation, block.Finish()));
}

TEST(PrimitiveSetBlocks, LineSetValuesDecodeAndBuildOneVertexPerEnd) {
    AuthorMeshPool pool;
    ScopedLogCapture log;
    WriteLineSet(pool, "lines");
    ASSERT_EQ(pool.meshes.count("lines"), 1u) << (log.capture->AtLevel(1).empty() ? "" : log.capture->AtLevel(1)[0]);
    const auto& mesh = *pool.meshes["lines"];
    const auto* data = mesh.ContinuationAs<LineSetContinuationData>();
    ASSERT_EQ(data->positions.size(), 3u);
    EXPECT_FLOAT_EQ(data->positions[2][0], 2.0f);
    ASSERT_EQ(data->primitiveCount, 3u);
    // The first line's two ends each brought a colour: red 1, then red 2 with alpha 2.
    ASSERT_EQ(data->diffuseColors.size(), 2u);
    EXPECT_FLOAT_EQ(data->diffuseColors[1][0], 2.0f);
    EXPECT_FLOAT_EQ(data->diffuseColors[1][3], 2.0f);
    EXPECT_EQ(data->primitives[2].positions, (std::array<uint32_t, 2>{1, 2}));
    EXPECT_EQ(data->primitives[2].diffuse, (std::array<uint32_t, 2>{1, 1}));

    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildPrimitiveSetMeshData(mesh, info, oom));
    EXPECT_EQ(info.primitiveType, Velmora::Rendering::PrimitiveType::Lines);
    ASSERT_EQ(info.subObjects.size(), 1u);
    const auto& rows = *info.subObjects[0].vertices;
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position | VA::Diffuse);
    ASSERT_EQ(rows.Count(), 6u);
    const float firstEnd[3] = {0, 1, 1}, secondEnd[3] = {1, 2, 2};
    for (uint32_t line = 0; line < 3; ++line) {
        EXPECT_FLOAT_EQ(rows.Row(line * 2)[0], firstEnd[line]) << line;
        EXPECT_FLOAT_EQ(rows.Row(line * 2 + 1)[0], secondEnd[line]) << line;
    }
    EXPECT_FLOAT_EQ(rows.Row(0)[3], 1.0f);  // red of colour 0 at the first end
}

struct Hostile {
    const char* what;
    const char* message;
};

// Writes a two-update point set whose second update (or with breakFirst, both) is broken by
// `breakIt`, next to an intact line set; the broken mesh alone is removed.
void ExpectOnlyBrokenSetRemoved(const Hostile& hostile, const SetDeclaration& d, uint32_t end,
                                const std::function<void(Update&)>& breakIt, bool breakFirst = false) {
    SCOPED_TRACE(hostile.what);
    AuthorMeshPool pool;
    ScopedLogCapture log;
    WriteLineSet(pool, "intact");
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, U3DWriter::SetDeclarationBlock(d)));
    SetBlockWriter block(d.name, 0, end, false, d.diffuse != 0);
    Update u;
    if (breakFirst) breakIt(u);
    block.Add(0, u);
    breakIt(u);
    block.Add(1, u);
    EXPECT_TRUE(ReadBlock(pool, kPointContinuation, block.Finish()));
    EXPECT_EQ(pool.meshes.count(d.name), 0u);
    EXPECT_EQ(pool.removedMeshes.count(d.name), 1u);
    EXPECT_EQ(pool.meshes.count("intact"), 1u);
    EXPECT_TRUE(log.capture->Contains(hostile.message));
}

TEST(PrimitiveSetBlocks, BrokenContinuationsRemoveOnlyTheirOwnMesh) {
    SetDeclaration d;
    d.primitives = 2;
    d.positions = 2;
    ExpectOnlyBrokenSetRemoved({"resolution past the positions", "Resolution update is greater than number"}, d, 3,
                               [](Update&) {});
    ExpectOnlyBrokenSetRemoved({"points past the declared count", "Invalid new point count"}, d, 2,
                               [](Update& u) { u.primitives = 2; });
    ExpectOnlyBrokenSetRemoved({"shading id past the descriptions", "Invalid shading ID"}, d, 2,
                               [](Update& u) { u.shadingId = 3; });
    d.diffuse = 2;
    d.shadingAttributes = ShadingDescription::kDiffuse;
    ExpectOnlyBrokenSetRemoved(
        {"re-use of a colour in an empty array", "Invalid diffuse color re-use"}, d, 2,
        [](Update& u) { u.diffuseFlag = 2; }, true);
}

TEST(PrimitiveSetBlocks, IndicesAndCountsPastTheDataFailCleanly) {
    AuthorMeshPool pool;
    ScopedLogCapture log;
    SetDeclaration d;
    d.name = "line";
    ASSERT_TRUE(ReadBlock(pool, kLineDeclaration, U3DWriter::SetDeclarationBlock(d), true));
    // Coded uniformly over the positions there are, a line's first end can only go past them
    // in a file without compression.
    SetBlockWriter lines("line", 0, 2, true, false, true);
    lines.Add(0, Update{.primitives = 0});
    lines.Add(1, Update{.first = 2});  // only positions 0 and 1 exist
    EXPECT_TRUE(ReadBlock(pool, kLineContinuation, lines.Finish(), true));
    EXPECT_TRUE(log.capture->Contains("Invalid first position index for AuthorMesh 'line'"));

    d.name = "set";
    d.primitives = d.positions = 0xFFFFFFF0u;
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, U3DWriter::SetDeclarationBlock(d)));
    // Four billion updates promised, one written: the reader must stop at the block's end.
    SetBlockWriter block("set", 0, 0xFFFFFFF0u, false, false);
    block.Add(0, Update{});
    EXPECT_TRUE(ReadBlock(pool, kPointContinuation, block.Finish()));
    EXPECT_EQ(pool.removedMeshes.size(), 2u);
    // A declaration cut short is refused outright.
    auto truncated = U3DWriter::SetDeclarationBlock(d);
    truncated.resize(truncated.size() / 2);
    EXPECT_FALSE(ReadBlock(pool, kLineDeclaration, truncated));
}

}  // namespace
