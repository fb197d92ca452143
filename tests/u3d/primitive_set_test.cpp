// Point and line sets: the third-party files, blocks written value by value, building, and
// hostile blocks that must cost only themselves.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <set>

#include "build_support.h"
#include "format/AuthoringInterrupt.h"
#include "format/AuthoringPool.h"
#include "host/FormatRegistration.h"
#include "mesh_support.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/CLODBaseMeshContinuation.h"
#include "u3d/PrimitiveSetBuilder.h"
#include "u3d/PrimitiveSetData.h"
#include "u3dwriter/U3DWriter.h"

namespace {

using namespace Velmora::U3D;
using U3DWriter::BitStreamWriter;
using Velmora::Rendering::MeshCreationInfo;
using Velmora::U3D::Test::MeshBlockWalk;
using Velmora::U3D::Test::ScopedLogCapture;
using Velmora::U3D::Test::TestFile;
namespace VA = Velmora::Rendering::VertexAttribute;

struct FileCounts {
    const char* file;
    uint32_t points;
    uint32_t lines;
};
constexpr FileCounts kFiles[] = {{"pointset.u3d", 18, 0},
                                 {"pointset_anim.u3d", 18, 0},
                                 {"lineset.u3d", 0, 33},
                                 {"lineset_anim.u3d", 0, 33},
                                 {"lineset_grid.u3d", 0, 9}};

float Length(const Vec3f& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

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

TEST(PrimitiveSetFiles, PointSetDecodesTwoLayersOfNineGridPointsWithUnitNormals) {
    AuthorMeshPool pool;
    MeshBlockWalk walk(pool);
    ASSERT_TRUE(walk.Walk(TestFile("pointset.u3d")));
    EXPECT_EQ(walk.failedBlocks, 0);
    ASSERT_EQ(pool.meshes.size(), 1u);
    const auto* data = pool.meshes.begin()->second->ContinuationAs<PointSetContinuationData>();
    ASSERT_TRUE(data);
    ASSERT_EQ(data->positions.size(), 18u);
    std::set<std::pair<int, int>> lower, upper;
    for (const Vec3f& p : data->positions) {
        ASSERT_TRUE(p[2] == 0.0f || std::fabs(p[2] - 10.0f) < 1e-3f);
        // The upper layer is the lower one moved by 3.3 in x and y.
        const float shift = p[2] == 0.0f ? 0.0f : 3.3f;
        const int x = int(std::lround(p[0] - shift)), y = int(std::lround(p[1] - shift));
        EXPECT_NEAR(p[0] - shift, float(x), 1e-3f);
        EXPECT_NEAR(p[1] - shift, float(y), 1e-3f);
        (p[2] == 0.0f ? lower : upper).insert({x, y});
    }
    EXPECT_EQ(lower.size(), 9u);
    EXPECT_EQ(lower, upper);
    for (const Vec3f& n : data->normals) EXPECT_NEAR(Length(n), 1.0f, 1e-3f);
    for (uint32_t i = 0; i < data->primitiveCount; ++i) EXPECT_EQ(data->primitives[i].positions[0], i);
}

TEST(PrimitiveSetFiles, LineGridJoinsPairsOfPositionsAcrossTheGrid) {
    AuthorMeshPool pool;
    MeshBlockWalk walk(pool);
    ASSERT_TRUE(walk.Walk(TestFile("lineset_grid.u3d")));
    ASSERT_EQ(pool.meshes.size(), 1u);
    const auto* data = pool.meshes.begin()->second->ContinuationAs<LineSetContinuationData>();
    ASSERT_TRUE(data);
    ASSERT_EQ(data->primitiveCount, 9u);
    for (const LineRecord& line : data->primitives) {
        ASSERT_LT(line.positions[0], data->positions.size());
        ASSERT_LT(line.positions[1], data->positions.size());
        const Vec3f& a = data->positions[line.positions[0]];
        const Vec3f& b = data->positions[line.positions[1]];
        // Grid lines: axis-aligned in z = 0, 20 long upright and 25 across.
        const float dx = std::fabs(b[0] - a[0]), dy = std::fabs(b[1] - a[1]);
        EXPECT_EQ(a[2], 0.0f);
        EXPECT_EQ(b[2], 0.0f);
        EXPECT_TRUE((dx < 1e-3f && std::fabs(dy - 20.0f) < 1e-3f) || (dy < 1e-3f && std::fabs(dx - 25.0f) < 1e-3f))
            << dx << " " << dy;
        EXPECT_NEAR(Length(data->normals[line.normals[0]]), 1.0f, 1e-3f);
        EXPECT_NEAR(Length(data->normals[line.normals[1]]), 1.0f, 1e-3f);
    }
}

// ---- blocks written value by value ---------------------------------------------------------

constexpr uint32_t kPointDeclaration = 0xFFFFFF36, kLineDeclaration = 0xFFFFFF37;
constexpr uint32_t kPointContinuation = 0xFFFFFF3E, kLineContinuation = 0xFFFFFF3F;
constexpr float kQuant = 0.25f;

struct SetDeclaration {
    std::string name = "set";
    uint32_t primitives = 4, positions = 4, normals = 0, diffuse = 0;
    uint32_t shadingAttributes = 0;
    uint32_t shadingCount = 1;
};

std::vector<uint8_t> DeclarationBlock(const SetDeclaration& d) {
    BitStreamWriter w;
    w.WriteString(d.name);
    w.WriteU32(0);  // chain index
    w.WriteU32(0);  // reserved
    for (uint32_t v : {d.primitives, d.positions, d.normals, d.diffuse, 0u, 0u, d.shadingCount}) w.WriteU32(v);
    for (uint32_t i = 0; i < d.shadingCount; ++i) {
        w.WriteU32(d.shadingAttributes);
        w.WriteU32(0);  // layers
        w.WriteU32(i);  // shading id
    }
    for (int i = 0; i < 3; ++i) w.WriteU32(1000);
    for (int i = 0; i < 5; ++i) w.WriteF32(kQuant);
    return w.Finish();
}

// One update's values; a line names its first end, a point has none.
struct Update {
    uint32_t split = 0;
    std::array<uint32_t, 3> delta{};  // quantised, all positive
    uint8_t sign = 0;
    uint32_t shadingId = 0;
    uint32_t primitives = 1;
    uint32_t first = 0;
    uint8_t diffuseFlag = 0;  // 2: re-use the last colour
    std::array<uint32_t, 4> color{4, 0, 0, 4};
};

class SetBlockWriter {
public:
    SetBlockWriter(const std::string& name, uint32_t start, uint32_t end, bool line, bool diffuse,
                   bool noCompression = false)
        : w_(noCompression), line_(line), diffuse_(diffuse) {
        w_.WriteString(name);
        w_.WriteU32(0);
        w_.WriteU32(start);
        w_.WriteU32(end);
    }
    void Add(uint32_t r, const Update& u) {
        w_.WriteCompressedU32(UniformIndexContext(r < 1 ? 1 : r), u.split);
        w_.WriteCompressedU8(20, u.sign);
        for (uint32_t k = 0; k < 3; ++k) w_.WriteCompressedU32(21 + k, u.delta[k]);
        w_.WriteCompressedU32(40, 0);  // no normals
        w_.WriteCompressedU32(1, u.primitives);
        for (uint32_t i = 0; i < u.primitives; ++i) {
            w_.WriteCompressedU32(1, u.shadingId);
            if (line_) w_.WriteCompressedU32(UniformIndexContext(r), u.first);
            for (int end = 0; end < (line_ ? 2 : 1) && diffuse_; ++end) {
                w_.WriteCompressedU8(56, u.diffuseFlag);
                if (u.diffuseFlag & 2) continue;
                w_.WriteCompressedU8(41, 0);
                for (uint32_t k = 0; k < 4; ++k) w_.WriteCompressedU32(60 + k, u.color[k]);
            }
        }
    }
    std::vector<uint8_t> Finish() { return w_.Finish(); }

private:
    BitStreamWriter w_;
    bool line_, diffuse_;
};

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
    ASSERT_TRUE(ReadBlock(pool, kLineDeclaration, DeclarationBlock(d)));
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

TEST(PrimitiveSetBlocks, PointSetWithoutNormalsBuildsPositionRowsOnly) {
    AuthorMeshPool pool;
    SetDeclaration d;
    d.primitives = 2;
    d.positions = 2;
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, DeclarationBlock(d)));
    SetBlockWriter block("set", 0, 2, false, false);
    Update u;
    u.delta = {0, 8, 0};
    block.Add(0, u);
    u.sign = 2;  // y negative
    block.Add(1, u);
    ASSERT_TRUE(ReadBlock(pool, kPointContinuation, block.Finish()));
    ASSERT_EQ(pool.meshes.count("set"), 1u);
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildPrimitiveSetMeshData(*pool.meshes["set"], info, oom));
    EXPECT_EQ(info.primitiveType, Velmora::Rendering::PrimitiveType::Points);
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position);
    ASSERT_EQ(info.subObjects[0].vertices->Count(), 2u);
    EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(0)[1], 2.0f);
    EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(1)[1], 0.0f);
}

// ---- hostile blocks ------------------------------------------------------------------------

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
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, DeclarationBlock(d)));
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

TEST(PrimitiveSetBlocks, LineEndPastThePositionsRemovesTheLineSet) {
    AuthorMeshPool pool;
    ScopedLogCapture log;
    SetDeclaration d;
    d.primitives = 2;
    d.positions = 4;
    ASSERT_TRUE(ReadBlock(pool, kLineDeclaration, DeclarationBlock(d), true));
    // Coded uniformly over the positions there are, the first end can only go past them in
    // a file without compression.
    SetBlockWriter block("set", 0, 2, true, false, true);
    Update u;
    u.primitives = 0;
    block.Add(0, u);
    u.primitives = 1;
    u.first = 2;  // only positions 0 and 1 exist
    block.Add(1, u);
    EXPECT_TRUE(ReadBlock(pool, kLineContinuation, block.Finish(), true));
    EXPECT_EQ(pool.removedMeshes.count("set"), 1u);
    EXPECT_TRUE(log.capture->Contains("Invalid first position index for AuthorMesh 'set'"));
}

TEST(PrimitiveSetBlocks, CountsPastTheDataFailWithoutHangOrGrowth) {
    AuthorMeshPool pool;
    ScopedLogCapture log;
    SetDeclaration d;
    d.primitives = 0xFFFFFFF0u;
    d.positions = 0xFFFFFFF0u;
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, DeclarationBlock(d)));
    // Four billion updates promised, one written: the reader must stop at the block's end.
    SetBlockWriter block("set", 0, 0xFFFFFFF0u, false, false);
    block.Add(0, Update{});
    EXPECT_TRUE(ReadBlock(pool, kPointContinuation, block.Finish()));
    EXPECT_EQ(pool.removedMeshes.count("set"), 1u);
    // A declaration cut short is refused outright.
    auto truncated = DeclarationBlock(d);
    truncated.resize(truncated.size() / 2);
    EXPECT_FALSE(ReadBlock(pool, kLineDeclaration, truncated));
}

TEST(PrimitiveSetBlocks, SetWithoutShadingDescriptionIsNotBuilt) {
    AuthorMeshPool pool;
    ScopedLogCapture log;
    SetDeclaration d;
    d.shadingCount = 0;
    d.primitives = 1;
    d.positions = 1;
    ASSERT_TRUE(ReadBlock(pool, kPointDeclaration, DeclarationBlock(d)));
    MeshCreationInfo info;
    bool oom = false;
    EXPECT_FALSE(BuildPrimitiveSetMeshData(*pool.meshes["set"], info, oom));
    EXPECT_FALSE(oom);
    EXPECT_TRUE(log.capture->Contains("Invalid shadingCount for point set 'set'"));
}

}  // namespace
