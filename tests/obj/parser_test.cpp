// The OBJ parser on small texts: index layouts, quads, refusals and the forgiving skip of
// lines it cannot use.

#include <gtest/gtest.h>

#include <string>

#include "obj/obj_test_support.h"
#include "support/LogCapture.h"

namespace {

using namespace ObjTest;
using Velmora::Test::LogCapture;
constexpr const char* kDefaultMaterial = "___DefaultMaterial";

TEST(ObjParser, QuadSplitsIntoTwoTrianglesSharingTheDiagonal) {
    // A comment token ends the line, in mid-line as at its start.
    Parsed p(std::string(kSquare) + "f 1 2 3 4 # 5 6\n# f 1 3 4\n");
    ASSERT_TRUE(p.ok);
    const auto g = p.Find("default", kDefaultMaterial);
    ASSERT_TRUE(g);
    ASSERT_EQ(g->faces.size(), 2u);
    EXPECT_EQ(FilePositions(g->faces[0]), (std::array<int, 3>{1, 2, 4}));
    EXPECT_EQ(FilePositions(g->faces[1]), (std::array<int, 3>{4, 2, 3}));
}

TEST(ObjParser, FacesOfSixVerticesOrRelativeIndicesFailTheParse) {
    LogCapture log;
    Parsed p("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 2 0\nf 1 2 3 4 5\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(log.Has("Face with invalid number of entries! 'f 1 2 3 4 5'", 2));
    EXPECT_TRUE(log.Has("FAILED TO PARSE LINE 'f 1 2 3 4 5'", 1));
    // Positions alone are no geometry.
    EXPECT_TRUE(log.HasLine("ObjParser::Parse() - NO GEOMETRY FOUND", 1));
    Parsed relative(std::string(kSquare) + "f -3 -2 -1\n");  // relative indices are refused
    EXPECT_FALSE(relative.ok);
    EXPECT_TRUE(log.Has("ObjParser::ParseFace() - invalid index in face!", 1));
}

TEST(ObjParser, NullIndexedFilesCountFromZero) {
    Parsed p(std::string(kSquare) + "nullindexed 1\nf 0 1 2\n");
    ASSERT_TRUE(p.ok);
    const auto g = p.Find("default", kDefaultMaterial);
    ASSERT_EQ(g->faces.size(), 1u);
    EXPECT_EQ(FilePositions(g->faces[0]), (std::array<int, 3>{1, 2, 3}));
}

TEST(ObjParser, UseMaterialRenamesAnEmptyGeometryAndSplitsAFilledOne) {
    Parsed p(std::string(kSquare) + "usemtl red\nf 1 2 3\nusemtl blue\nf 1 3 4\n");
    ASSERT_TRUE(p.ok);
    const auto mesh = p.meshes.FindMesh("default");
    ASSERT_TRUE(mesh);
    EXPECT_EQ(mesh->Geometries().size(), 2u);
    EXPECT_EQ(mesh->Geometries().count(kDefaultMaterial), 0u);
    EXPECT_EQ(p.Find("default", "red")->faces.size(), 1u);
    EXPECT_EQ(p.Find("default", "blue")->faces.size(), 1u);
}

TEST(ObjParser, TheFirstFaceDecidesTheLayoutOfItsGeometry) {
    const std::string arrays = std::string(kSquare) + "vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 1\n";
    Parsed both(arrays + "f 1/1/1 2/2/1 3/3/1\n");
    Parsed normals(arrays + "f 1//1 2//1 3//1\n");
    Parsed texCoords(arrays + "f 1/1 2/2 3/3\n");
    for (const Parsed* p : {&both, &normals, &texCoords}) ASSERT_TRUE(p->ok);
    const auto g = both.Find("default", kDefaultMaterial);
    EXPECT_TRUE(g->hasTexCoords && g->hasNormals);
    EXPECT_EQ(g->faces[0].corners[1][FaceInfo::TexCoordSlot], 1);
    EXPECT_EQ(g->faces[0].corners[1][FaceInfo::NormalSlot], 0);
    EXPECT_TRUE(normals.Find("default", kDefaultMaterial)->hasNormals);
    EXPECT_FALSE(normals.Find("default", kDefaultMaterial)->hasTexCoords);
    EXPECT_TRUE(texCoords.Find("default", kDefaultMaterial)->hasTexCoords);
    EXPECT_FALSE(texCoords.Find("default", kDefaultMaterial)->hasNormals);

    LogCapture log;
    Parsed mixed(arrays + "f 1//1 2//1 3//1\nf 1 3 4\nf 1/1 3/3 4/3\n");
    EXPECT_EQ(mixed.Find("default", kDefaultMaterial)->faces.size(), 1u);
    Parsed missing(arrays + "f 1/1/1 2/2/1 3/3/1\nf 1//1 3//1 4//1\n");
    EXPECT_TRUE(log.Has("ObjParser::ParseFace() - expected tex coord, but not found!", 1));
}

TEST(ObjParser, FaceChecksRefuseRepeatsFlatFacesFarIndicesAndTwoCorners) {
    LogCapture log;
    Parsed p(
        "v 0 0 0\nv 1 0 0\nv 2 0 0\nv 0 1 0\n"
        "f 1 1 2\nf 1 2 3\nf 1 2 9\nf 2 4 5\nf 1 2\nf 1 2 4\n");
    ASSERT_TRUE(p.ok);
    EXPECT_TRUE(log.Has("FACE WITH DUPLICATE VERTICES"));
    EXPECT_TRUE(log.Has("FACE WITH BAD GEOMETRY"));
    EXPECT_TRUE(log.Has("FACE WITH INVALID INDICES"));
    // Index 5 is one past the four positions: it passes the check and reads as the origin.
    EXPECT_EQ(p.Find("default", kDefaultMaterial)->faces.size(), 2u);
}

TEST(ObjParser, SmoothingGroupsAndObjectNameAreKept) {
    LogCapture log;
    Parsed p(std::string(kSquare) + "o first\no second\ns 4\nf 1 2 3\ns off\nf 1 3 4\ns x\nf 2 3 4\n");
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.parser->ObjectName(), "second");
    const auto g = p.Find("default", kDefaultMaterial);
    ASSERT_EQ(g->faces.size(), 3u);
    EXPECT_EQ(g->faces[0].smoothingGroup, 4);
    EXPECT_EQ(g->faces[1].smoothingGroup, 0);
    EXPECT_EQ(g->faces[2].smoothingGroup, 0);
}

TEST(ObjParser, LinesAndPointsMakeGeometriesOfTheirOwnKind) {
    LogCapture log;
    Parsed p(std::string(kSquare) + "vt 0 0\nusemtl l\nl 1 2 3\nusemtl p\np 4 3\nusemtl t\nl 1/1 2/1\nl 3 4\n");
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.Find("default", "l")->type, PrimitiveKind::Lines);
    EXPECT_EQ(p.Find("default", "p")->type, PrimitiveKind::Points);
    EXPECT_EQ(p.Find("default", "p")->faces[0].Position(0), 3);
    EXPECT_EQ(p.Find("default", "t")->faces.size(), 1u);
}

TEST(ObjParser, BadNumbersReadAsZeroAndUnknownKeywordsAreSkipped) {
    LogCapture log;
    Parsed p("v 0 0 0\nv 1 0 0\nv zero 1 0\nvx 1 2 3\nf 1 2 3\nf 1 2 99999999999\n");
    ASSERT_TRUE(p.ok);
    EXPECT_TRUE(log.Has("ObjParser::Parse() - UNSUPPORTED TOKEN 'vx'", 1));
    EXPECT_EQ(p.parser->Vertices().positions[2], (Vec3d{0.0, 1.0, 0.0}));
    EXPECT_EQ(p.Find("default", kDefaultMaterial)->faces.size(), 1u);
}

TEST(ObjParser, HostileTextEndsInACleanResult) {
    // A line of megabytes, binary bytes with zeros, and a file that ends mid-line.
    std::string text = std::string(kSquare) + "v " + std::string(4u << 20, '7') + "\n";
    for (int i = 0; i < 4096; ++i) text += char((i * 131) & 0xFF);
    text += "\nf 1 2 3\nf 1 3";
    LogCapture log(1);
    Parsed p(text);
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.Find("default", kDefaultMaterial)->faces.size(), 1u);
}

}  // namespace
