// The OBJ staging pool without a GPU: the node tree from group names, generated normals,
// vertex colours, material libraries beside the file, and the third-party files.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "obj/AuthoringPool_OBJ.h"
#include "obj/MeshRowBuilder.h"
#include "obj/obj_test_support.h"
#include "rendering/Mesh.h"
#include "support/LogCapture.h"

namespace {

using namespace ObjTest;
using Velmora::Test::LogCapture;
namespace VA = Velmora::Rendering::VertexAttribute;

std::shared_ptr<AuthoringPool_OBJ> LoadFile(const std::string& path) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_OBJ(), nullptr, nullptr);
    if (!pool || !pool->LoadFromFile(path, nullptr)) return nullptr;
    return pool;
}

size_t Triangles(AuthoringPool_OBJ& pool) {
    size_t n = 0;
    for (const auto& [name, mesh] : pool.MeshPool().Meshes())
        for (const auto& [material, geometry] : mesh->Geometries())
            if (geometry->type == PrimitiveKind::Triangles) n += geometry->faces.size();
    return n;
}

const AuthorNode* Child(const AuthorNode& node, const std::string& name) {
    for (const auto& child : node.children)
        if (child->name == name) return child.get();
    return nullptr;
}

TEST(ObjPool, ThirdPartyFilesLoadWithTheirTrianglesAndMaterials) {
    LogCapture log(1);
    // 7,375 face lines, one of which repeats a vertex and is dropped by the face check.
    auto propeller = LoadFile(DataFile("propeller.obj"));
    ASSERT_TRUE(propeller);
    EXPECT_EQ(Triangles(*propeller), 7374u);
    EXPECT_TRUE(propeller->MaterialPool().Find("DefaultMaterial"));
    // No group lines: one model "default" below the root.
    ASSERT_EQ(propeller->RootNode()->children.size(), 1u);
    EXPECT_EQ(propeller->RootNode()->children[0]->name, "default");
    EXPECT_EQ(propeller->RootNode()->children[0]->type, AuthorNode::Model);
    EXPECT_EQ(log.Count("FaceInfo::CheckValid() - FACE WITH DUPLICATE VERTICES"), 1u);
    const size_t expected[] = {4, 8, 12};  // tetrahedron, octahedron, cube of quads
    for (int i = 1; i <= 3; ++i) {
        auto pool = LoadFile(DataFile("r0" + std::to_string(i) + ".obj"));
        ASSERT_TRUE(pool) << i;
        EXPECT_EQ(Triangles(*pool), expected[i - 1]);
    }
}

TEST(ObjPool, SharedGroupsNestTheirModels) {
    LogCapture log;
    ScratchFolder folder;
    auto pool = LoadFile(
        folder.Write("nested.obj", std::string(kSquare) + "o thing\ng a b\nf 1 2 3\ng b c c\nf 1 3 4\ng d\nf 2 3 4\n"));
    ASSERT_TRUE(pool);
    const AuthorNode& root = *pool->RootNode();
    EXPECT_EQ(root.name, "thing");
    EXPECT_TRUE(log.Has("ObjParser::ParseGroupName() - with duplicate group name! 'c'", 1));
    const AuthorNode* b = Child(root, "b");
    ASSERT_TRUE(b);
    EXPECT_EQ(b->type, AuthorNode::Group);
    ASSERT_TRUE(Child(*b, "a"));
    EXPECT_EQ(Child(*b, "a")->meshName, "a#b");
    EXPECT_EQ(Child(*b, "c")->meshName, "b#c");
    ASSERT_TRUE(Child(root, "d"));
    EXPECT_EQ(root.children.size(), 2u);
}

TEST(ObjPool, OverlappingGroupsGiveAFlatTree) {
    LogCapture log;
    ScratchFolder folder;
    auto pool =
        LoadFile(folder.Write("ring.obj", std::string(kSquare) + "g a b\nf 1 2 3\ng a c\nf 1 3 4\ng b c\nf 2 3 4\n"));
    ASSERT_TRUE(pool);
    EXPECT_TRUE(log.Has("Indeterminate hierarchy, creating simplified hierarchy", 2));
    ASSERT_EQ(pool->RootNode()->children.size(), 3u);
    for (const auto& node : pool->RootNode()->children) EXPECT_EQ(node->type, AuthorNode::Model);
}

// Two triangles share the edge 2-3 of the square, folded along it so their normals differ.
const char* kFold = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 1\n";

std::vector<float> Rows(Parsed& p, MeshRowBuilder& builder) {
    auto mesh = p.meshes.FindMesh("default");
    EXPECT_TRUE(builder.Plan(*mesh, MeshRowBuilder::KindOf(*mesh), p.materials));
    const auto& sub = builder.SubObjects().at(0);
    std::vector<float> rows(size_t(sub.vertexCount) * VA::FloatsPerVertex(sub.attributes));
    builder.FillSubObject(sub, rows.data());
    return rows;
}

TEST(ObjPool, SmoothingGroupsShareNormalsAndGroupZeroKeepsFaceNormals) {
    for (const int group : {1, 0}) {
        Parsed p(std::string(kFold) + "s " + std::to_string(group) + "\nf 1 2 3\nf 2 4 3\n");
        ASSERT_TRUE(p.ok);
        MeshRowBuilder builder(p.parser->Vertices(), true, true);
        const std::vector<float> rows = Rows(p, builder);
        ASSERT_EQ(rows.size(), 6u * 6u);
        // Position 2 (row 1 of face 1, row 0 of face 2) and position 3 (rows 2 and 5).
        auto normal = [&](int row) {
            return std::vector<float>(rows.begin() + row * 6 + 3, rows.begin() + row * 6 + 6);
        };
        if (group == 1) {
            EXPECT_EQ(normal(1), normal(3));
            EXPECT_EQ(normal(2), normal(5));
            EXPECT_NE(normal(0), normal(4));
            EXPECT_EQ(builder.GeneratedNormals().size(), 4u);
        } else {
            EXPECT_NE(normal(1), normal(3));
            EXPECT_EQ(normal(0), normal(1));
            EXPECT_EQ(builder.GeneratedNormals().size(), 2u);
        }
        const std::vector<float> first = normal(0);
        EXPECT_NEAR(first[0] * first[0] + first[1] * first[1] + first[2] * first[2], 1.0f, 1e-5f);
    }
}

TEST(ObjPool, ColoursWithoutTexCoordsComeThroughTheTextureSlot) {
    Parsed p(std::string(kSquare) + "vc 1 0 0 1\nvc 0 1 0 1\nvc 0 0 1 0.5\nf 1/1 2/2 3/3\n");
    ASSERT_TRUE(p.ok);
    MeshRowBuilder builder(p.parser->Vertices(), true, true);
    const std::vector<float> rows = Rows(p, builder);
    const uint32_t attributes = builder.SubObjects()[0].attributes;
    EXPECT_TRUE(attributes & VA::Diffuse);
    EXPECT_FALSE(attributes & VA::TexCoord0);
    const int32_t colour = VA::FloatOffset(attributes, VA::Diffuse);
    const uint32_t stride = VA::FloatsPerVertex(attributes);
    EXPECT_EQ(rows[2 * stride + colour + 2], 1.0f);
    EXPECT_EQ(rows[2 * stride + colour + 3], 0.5f);
    EXPECT_EQ(rows[1 * stride + colour + 1], 1.0f);
}

TEST(ObjPool, NormalIndicesPastTheArrayTakeTheFaceNormal) {
    Parsed p(std::string(kSquare) + "vn 0 1 0\nf 1//1 2//1 3//7\n");
    ASSERT_TRUE(p.ok);
    MeshRowBuilder builder(p.parser->Vertices(), true, true);
    const std::vector<float> rows = Rows(p, builder);
    EXPECT_EQ(rows[4], 1.0f);          // vn 1
    EXPECT_EQ(rows[2 * 6 + 5], 1.0f);  // the square faces +z
}

TEST(ObjPool, MaterialLibrariesAreFoundBesideTheFileOnce) {
    LogCapture log;
    ScratchFolder folder;
    folder.Write("lib/colours.mtl", "newmtl red\nKd 1 0 0\n");
    const std::string obj = folder.Write(
        "model.obj", std::string("mtllib /lib/colours.mtl lib/colours.mtl missing.mtl\nmtllib model.obj\n") + kSquare +
                         "usemtl red\nf 1 2 3\n");
    auto pool = LoadFile(obj);
    ASSERT_TRUE(pool);
    ASSERT_TRUE(pool->MaterialPool().Find("red"));
    EXPECT_EQ(pool->MaterialPool().Find("red")->diffuse[0], 1.0f);
    EXPECT_TRUE(log.Has("already read, IGNORED", 2));
    EXPECT_TRUE(log.Has("Invalid filename or file not found!", 1));
    EXPECT_EQ(AuthorMaterialPool::ResolveBeside("/base", "nowhere/pic.png"), "/base/pic.png");
    EXPECT_EQ(AuthorMaterialPool::ResolveBeside(folder.path, "\\lib\\x.png"), folder.path + "/lib/x.png");
}

// Inputs that once broke a reader stay here and must keep loading cleanly.
TEST(ObjPool, RegressionInputsLoadOrFailCleanly) {
    LogCapture log(0);
    const std::string folder = std::string(KESTRUM_SOURCE_DIR) + "/tests/obj/regressions";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        Parsed p(std::string(std::istreambuf_iterator<char>(in), {}));
        SUCCEED() << entry.path();
    }
}

}  // namespace
