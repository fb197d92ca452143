// Meshes whose vertex rows are written straight into the mapped GPU buffers: the rows, counts
// and bounding box must be those of the same mesh uploaded from CPU buffers, and a writer or
// a creation info that fails leaves no mesh.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <vector>

#include "GLTestEnvironment.h"
#include "image_test_support.h"
#include "rendering/Mesh.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
namespace VA = Velmora::Rendering::VertexAttribute;

namespace {

class MeshInPlaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        kestrum_test::TakeGLError();
    }
    void TearDown() override { EXPECT_EQ(kestrum_test::TakeGLError(), ""); }

    // Row r, value k of a sub-object: distinct everywhere, so a shifted row shows.
    static float Value(uint32_t sub, uint32_t r, uint32_t k) { return float(sub) * 1000.0f + float(r) * 10.0f + float(k) - 40.0f; }

    static std::vector<float> Rows(uint32_t sub, uint32_t count, uint32_t stride) {
        std::vector<float> rows(size_t(count) * stride);
        for (uint32_t r = 0; r < count; ++r)
            for (uint32_t k = 0; k < stride; ++k) rows[size_t(r) * stride + k] = Value(sub, r, k);
        return rows;
    }

    static MeshSubObjectData InPlace(uint32_t attributes, uint32_t count) {
        MeshSubObjectData sub;
        sub.attributes = attributes;
        sub.vertexCount = count;
        return sub;
    }
};

}  // namespace

TEST_F(MeshInPlaceTest, WrittenRowsMatchAnUploadOfTheSameRows) {
    const uint32_t full = VA::Position | VA::Normal | VA::Diffuse | VA::TexCoord(0);
    const uint32_t stride = VA::FloatsPerVertex(full);
    const std::vector<float> second = Rows(1, 6, VA::FloatsPerVertex(VA::Position));

    MeshCreationInfo info;
    info.name = "inPlace";
    info.subObjects.push_back(InPlace(full, 9));
    MeshSubObjectData given;  // a sub-object with its own rows sits beside the written ones
    given.attributes = VA::Position;
    given.vertices = DataBuffer<float>::Create(6, 3, second.data());
    info.subObjects.push_back(given);
    info.subObjects.push_back(InPlace(VA::Position, 0));  // no rows: no buffer to write

    std::vector<float*> seen;
    auto mesh = Mesh::Create(info, [&](float* const* rows) {
        seen.assign(rows, rows + 3);
        const std::vector<float> first = Rows(0, 9, stride);
        std::copy(first.begin(), first.end(), rows[0]);
        return true;
    });
    ASSERT_NE(mesh, nullptr);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_NE(seen[0], nullptr);
    EXPECT_EQ(seen[1], nullptr);  // given rows are uploaded, not written
    EXPECT_EQ(seen[2], nullptr);

    auto back = mesh->GetVertexDataForSubObject(0);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->Count(), 9u);
    EXPECT_EQ(std::vector<float>(back->Data(), back->Data() + back->ElementCount()), Rows(0, 9, stride));
    auto backGiven = mesh->GetVertexDataForSubObject(1);
    ASSERT_NE(backGiven, nullptr);
    EXPECT_EQ(std::vector<float>(backGiven->Data(), backGiven->Data() + backGiven->ElementCount()), second);
    EXPECT_EQ(mesh->GetNumberOfPrimitivesForSubObject(0), 3u);
    EXPECT_EQ(mesh->GetNumberOfPrimitivesForSubObject(2), 0u);

    // The box covers the written and the given rows: position values run from row 0 of the
    // written sub-object to row 5 of the given one.
    Vec3 min{}, max{};
    ASSERT_TRUE(mesh->GetBoundingBox(min, max));
    EXPECT_EQ(min, (Vec3{Value(0, 0, 0), Value(0, 0, 1), Value(0, 0, 2)}));
    EXPECT_EQ(max, (Vec3{Value(1, 5, 0), Value(1, 5, 1), Value(1, 5, 2)}));
}

TEST_F(MeshInPlaceTest, IndexedRowsWrittenInPlaceAreCheckedAgainstTheirCount) {
    MeshCreationInfo info;
    info.name = "indexedInPlace";
    MeshSubObjectData sub = InPlace(VA::Position, 4);
    const uint32_t good[6] = {0, 1, 2, 0, 2, 3};
    sub.indices = DataBuffer<uint32_t>::Create(6, 1, good);
    info.subObjects.push_back(sub);
    auto writeSquare = [](float* const* rows) {
        const float square[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
        std::copy(square, square + 12, rows[0]);
        return true;
    };
    auto mesh = Mesh::Create(info, writeSquare);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->GetDrawInfo(0)->drawCount, 6u);
    EXPECT_EQ(mesh->GetIndexDataForSubObject(0)->Count(), 6u);

    const uint32_t bad[3] = {0, 1, 4};  // 4 is one past the written rows
    info.subObjects[0].indices = DataBuffer<uint32_t>::Create(3, 1, bad);
    Velmora::Test::LogCapture log;
    EXPECT_EQ(Mesh::Create(info, writeSquare), nullptr);
    EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - index out of range!", 1));
}

TEST_F(MeshInPlaceTest, AFailingWriterOrMissingRowsLeaveNoMesh) {
    MeshCreationInfo info;
    info.name = "refused";
    info.subObjects.push_back(InPlace(VA::Position | VA::Normal, 3));
    {
        Velmora::Test::LogCapture log;
        EXPECT_EQ(Mesh::Create(info, [](float* const*) { return false; }), nullptr);
        EXPECT_TRUE(log.Has("Failed to create/init Mesh instance", 1));
    }
    {
        // Without a writer a sub-object without rows is an error, as it always was.
        Velmora::Test::LogCapture log;
        EXPECT_EQ(Mesh::Create(info), nullptr);
        EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - vertex data does not match attributes!", 1));
    }
    {
        // A row count whose buffer would pass 4 GiB is refused before any GL call.
        info.subObjects[0].vertexCount = 0xFFFFFFFFu;
        Velmora::Test::LogCapture log;
        bool called = false;
        EXPECT_EQ(Mesh::Create(info, [&](float* const*) { return called = true; }), nullptr);
        EXPECT_FALSE(called);
        EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - vertex data does not match attributes!", 1));
    }
}
