// The traversal encoder against the decoder: what it writes must read back as the same
// triangles, with every array consumed, points within the tolerance and normals within their
// quantisation; and meshes it can't write are refused with the reason in the log.

#include <gtest/gtest.h>

#include <string>

#include "encode_meshes.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "rendering/Mesh.h"
#include "support/LogCapture.h"
#include "util/SimpleProfiler.h"

namespace Velmora::PRC {
namespace {

using EncodeTest::EncodeAndDecode;
using EncodeTest::RoundTrip;
using EncodeTest::Vec3;
using FileStructure::HighlyCompressed3DTess;
using Velmora::Test::LogCapture;

constexpr double kTolerance = 1e-4;

// Normals come back as two angles of one step each at most, so within their diagonal.
void ExpectSameMesh(const RoundTrip& r, size_t triangles) {
    ASSERT_TRUE(r.encoded);
    ASSERT_TRUE(r.decoded);
    EXPECT_TRUE(r.consumed);
    EXPECT_EQ(r.triangles, triangles);
    EXPECT_EQ(r.unmatched, 0u) << "first unmatched decoded triangle " << r.firstUnmatched;
    EXPECT_LE(r.worstNormal, 1.5 * r.normalStep + 1e-6);
}

TEST(MeshTraversalEncode, CubeReadsBackWithItsFlatNormals) {
    LogCapture log(1);
    const EncodeTriangles cube = EncodeTest::Cube();
    const RoundTrip r = EncodeAndDecode(cube, kTolerance);
    ExpectSameMesh(r, 12);
    // Each side keeps its own four points, so that its corners keep the side's normal.
    EXPECT_EQ(r.vertices, 24u);
    EXPECT_EQ(log.Lines().size(), 0u);
}

TEST(MeshTraversalEncode, SphereIsOneWalkWithEveryPointStoredOnce) {
    LogCapture log(1);
    const EncodeTriangles sphere = EncodeTest::Sphere(12, 18);
    ASSERT_GT(sphere.faces.size(), 300u);
    const RoundTrip r = EncodeAndDecode(sphere, kTolerance);
    ExpectSameMesh(r, sphere.faces.size());
    EXPECT_EQ(r.roots, 1u);
    EXPECT_EQ(r.vertices, sphere.positions.size());
    EXPECT_EQ(r.tess->pointArray.size(), 3 * sphere.positions.size());
    EXPECT_EQ(log.Lines().size(), 0u);
}

TEST(MeshTraversalEncode, CoarseNormalBitsStayWithinTheirStep) {
    const EncodeTriangles sphere = EncodeTest::Sphere(8, 10);
    for (uint32_t bits : {4u, 8u, 16u}) {
        SCOPED_TRACE(bits);
        ExpectSameMesh(EncodeAndDecode(sphere, kTolerance, bits), sphere.faces.size());
    }
}

TEST(MeshTraversalEncode, TwoSeparatePiecesTakeTwoRounds) {
    EncodeTriangles two = EncodeTest::Sphere(6, 8);
    EncodeTest::Append(two, EncodeTest::Sphere(6, 8, {5.0f, 0.0f, 0.0f}), 1);
    two.centre[0] = 2.5;
    const RoundTrip r = EncodeAndDecode(two, kTolerance);
    ExpectSameMesh(r, two.faces.size());
    EXPECT_EQ(r.roots, 2u);
    EXPECT_EQ(r.tess->numberOfFaces, 2);
    // Each decoded triangle keeps the face of its piece.
    size_t second = 0;
    for (int32_t face : r.tess->triangleFaceArray) second += face == 1;
    EXPECT_EQ(second, two.faces.size() / 2);
}

TEST(MeshTraversalEncode, EdgeOfThreeTrianglesIsSplitOffAndReadsBackDuplicated) {
    LogCapture log(2);
    EncodeTriangles fin;
    const Vec3 a{0, 0, 0}, b{1, 0, 0}, n{0, 0, 1};
    for (const Vec3& apex : {Vec3{0.5f, 1, 0}, Vec3{0.5f, -1, 0}, Vec3{0.5f, 0, 1}})
        EncodeTest::AddTriangle(fin, {a, b, apex}, {n, n, n});
    MeshTraversalEncode encoder(12);
    HighlyCompressed3DTess tess;
    ASSERT_TRUE(encoder.EncodeArrays(fin, kTolerance, tess));
    EXPECT_EQ(encoder.SplitEdges(), 1u);
    EXPECT_TRUE(log.Has("Found over-used edge, replaced points 0/1 with 5/6", 2));
    const RoundTrip r = EncodeAndDecode(fin, kTolerance);
    ExpectSameMesh(r, 3);
    // Five points and the two copies of the shared edge's ends.
    EXPECT_EQ(r.vertices, 7u);
    EXPECT_FALSE(log.Has("More than 2 triangles share an edge"));
}

TEST(MeshTraversalEncode, ZeroLengthEdgeRefusesTheMesh) {
    LogCapture log(1);
    EncodeTriangles m = EncodeTest::Sphere(6, 8);
    // Two rows at one spot with different normals stay two points, an edge of no length.
    const Vec3 p{2, 0, 0};
    EncodeTest::AddTriangle(m, {p, p, Vec3{2, 1, 0}}, {Vec3{0, 0, 1}, Vec3{0, 1, 0}, Vec3{0, 0, 1}});
    HighlyCompressed3DTess tess;
    MeshTraversalEncode encoder(12);
    EXPECT_FALSE(encoder.EncodeArrays(m, kTolerance, tess));
    EXPECT_TRUE(log.Has("MeshTraversal::PrepareTraversal() - ZERO LENGTH TRIANGLE EDGE!", 1));
    EXPECT_TRUE(tess.pointArray.empty());
}

TEST(MeshTraversalEncode, BadInputIsRefusedWithItsReason) {
    struct Case {
        const char* message;
        void (*spoil)(EncodeTriangles&);
    };
    const Case cases[] = {
        {"INVALID TRIANGLE, DATA ERROR!", [](EncodeTriangles& m) { m.indices[1] = m.indices[0]; }},
        {"TRIANGLE DATA ERROR!", [](EncodeTriangles& m) { m.indices[2] = 100000; }},
        {"TRIANGLE DATA ERROR!", [](EncodeTriangles& m) { m.faces[0] = -1; }},
        {"SafetyCheck failed on normal!",
         [](EncodeTriangles& m) {
             m.normals[3] = {0, 0, 0};
         }},
        {"Invalid vertex data!", [](EncodeTriangles& m) { m.normals.pop_back(); }},
        {"Invalid vertex data!", [](EncodeTriangles& m) { m.positions[0][1] = NAN; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        LogCapture log(1);
        EncodeTriangles m = EncodeTest::Sphere(5, 6);
        c.spoil(m);
        HighlyCompressed3DTess tess;
        EXPECT_FALSE(MeshTraversalEncode(12).EncodeArrays(m, kTolerance, tess));
        EXPECT_TRUE(log.Has(c.message, 1));
    }
    HighlyCompressed3DTess tess;
    EXPECT_FALSE(MeshTraversalEncode(17).EncodeArrays(EncodeTest::Sphere(5, 6), kTolerance, tess));
    EXPECT_FALSE(MeshTraversalEncode(12).EncodeArrays(EncodeTest::Sphere(5, 6), 0.0, tess));
}

TEST(MeshTraversalEncode, StepCoarserThanEveryTriangleRefusesTheMesh) {
    // A step as long as the sphere would fold every triangle onto a line: all are left out,
    // and a mesh with nothing left is refused rather than written empty.
    const EncodeTriangles sphere = EncodeTest::Sphere(10, 12);
    MeshTraversalEncode encoder(12);
    HighlyCompressed3DTess tess;
    EXPECT_FALSE(encoder.EncodeArrays(sphere, 1.0, tess));
}

TEST(MeshTraversalEncode, TexturedMeshKeepsItsGeometry) {
    LogCapture log(2);
    EncodeTriangles sphere = EncodeTest::Sphere(8, 8);
    for (const auto& p : sphere.positions) sphere.texCoords.push_back({p[0] * 0.5f + 0.5f, p[1] * 0.5f + 0.5f});
    const RoundTrip r = EncodeAndDecode(sphere, kTolerance);
    ExpectSameMesh(r, sphere.faces.size());
    // The reader doesn't walk texture coordinates of this form yet; they are left out, said so.
    EXPECT_TRUE(r.tess->noTextures);
    EXPECT_TRUE(log.Has("texture coordinates left out", 2));
}

TEST(MeshTraversalEncode, EncoderCanBeUsedAgain) {
    MeshTraversalEncode encoder(10);
    HighlyCompressed3DTess first, second;
    ASSERT_TRUE(encoder.EncodeArrays(EncodeTest::Sphere(6, 6), kTolerance, first));
    ASSERT_TRUE(encoder.EncodeArrays(EncodeTest::Sphere(6, 6), kTolerance, second));
    EXPECT_EQ(first.pointArray, second.pointArray);
    EXPECT_EQ(first.normalAngleArray, second.normalAngleArray);
    EXPECT_EQ(first.isReferencedArray, second.isReferencedArray);
    ASSERT_TRUE(encoder.Profile());
    EXPECT_NE(encoder.Profile()->PrintText().find("DoTraversal"), std::string::npos);
}

PrcPt Point(const EncodeTest::Vec3& v) { return {v[0], v[1], v[2]}; }

TEST(MeshTraversalEncode, RowsOfIndexedSubObjectsBecomeFacesOfTheirOwn) {
    namespace VA = Rendering::VertexAttribute;
    // A unit square: position, normal and one texture layer a row.
    const float rows[] = {0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0,
                          1, 1, 0, 0, 0, 1, 1, 1, 0, 1, 0, 0, 0, 1, 0, 1};
    const uint32_t indices[] = {0, 1, 2, 0, 2, 3};
    SubObjectRows square{rows, 4, VA::Position | VA::Normal | VA::TexCoord0, indices, 6};
    EncodeTriangles m;
    ASSERT_TRUE(MeshTraversalEncode::AppendRows(square, 0, m));
    square.attributes = VA::Position | VA::Normal;
    square.rows = rows + 16;
    square.rowCount = 2;
    square.indices = nullptr;
    square.indexCount = 0;
    EXPECT_FALSE(MeshTraversalEncode::AppendRows(square, 1, m));  // two rows, no whole triangle
    ASSERT_EQ(m.faces, (std::vector<int32_t>{0, 0}));
    EXPECT_EQ(m.indices, (std::vector<uint32_t>{0, 1, 2, 0, 2, 3}));
    EXPECT_EQ(m.texCoords.size(), m.positions.size());
    const uint32_t outside[] = {0, 1, 4};
    SubObjectRows bad{rows, 4, VA::Position | VA::Normal | VA::TexCoord0, outside, 3};
    LogCapture log(1);
    EXPECT_FALSE(MeshTraversalEncode::AppendRows(bad, 2, m));
    EXPECT_TRUE(log.Has("TRIANGLE DATA ERROR!", 1));
    const RoundTrip r = EncodeAndDecode(m, kTolerance);
    ExpectSameMesh(r, 2);
}

// Meshes of the third-party files, decoded, encoded again and decoded again.
EncodeTriangles FromDecoded(const HighlyCompressed3DTess& tess) {
    EncodeTriangles m;
    const bool stored = tess.normals.size() == tess.triangleIndices.size();
    for (size_t i = 0; i < tess.triangleIndices.size(); ++i) {
        m.positions.push_back(tess.vertices[tess.triangleIndices[i]]);
        m.indices.push_back(static_cast<uint32_t>(i));
    }
    // Normals the reader recalculates aren't in the file; the triangle's own stands in.
    for (size_t t = 0; t < m.positions.size(); t += 3) {
        const PrcPt a = Point(m.positions[t]), b = Point(m.positions[t + 1]), c = Point(m.positions[t + 2]);
        const PrcPt n = (b - a).Cross(c - a);
        for (size_t k = t; k < t + 3; ++k)
            m.normals.push_back(stored ? tess.normals[k] : EncodeTest::Vec3{float(n.x), float(n.y), float(n.z)});
    }
    m.faces.assign(tess.triangleIndices.size() / 3, 0);
    m.centre[0] = tess.origin[0];
    m.centre[1] = tess.origin[1];
    m.centre[2] = tess.origin[2];
    return m;
}

class RealMeshes : public testing::TestWithParam<const char*> {};

TEST_P(RealMeshes, ReadBackWithTheirTriangles) {
    const auto file = PRCFile::CreateFromFile(std::string(KESTRUM_TESTDATA) + "/prc/" + GetParam(), nullptr, 0.6f);
    ASSERT_TRUE(file);
    size_t meshes = 0, undecoded = 0;
    for (size_t b = 0; b < file->NumberOfFileStructureBlocks(); ++b)
        for (const auto& base : file->GetFileStructureBlock(static_cast<uint32_t>(b))->tessellation.tessellations) {
            if (base->type != kTypeTessHighlyCompressed) continue;
            auto& tess = static_cast<HighlyCompressed3DTess&>(*base);
            Compressed3DTessDecoder decoder(tess, nullptr, 0.0f);
            if (!decoder.PrepareDecode() || !decoder.DoDecode() || tess.triangleIndices.empty()) {
                ++undecoded;
                continue;
            }
            ++meshes;
            const EncodeTriangles source = FromDecoded(tess);
            SCOPED_TRACE(meshes);
            ExpectSameMesh(EncodeAndDecode(source, tess.tolerance), source.faces.size());
        }
    if (meshes == 0 && undecoded > 0) GTEST_SKIP() << "the reader can't decode this file's own meshes yet";
    EXPECT_GT(meshes, 0u);
}

INSTANTIATE_TEST_SUITE_P(ThirdParty, RealMeshes, testing::Values("hc_sphere.prc", "hc_parts.prc", "hc_head.prc"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             const std::string name = info.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(MeshTraversalEncode, HeadFromItsObjFileReadsBack) {
    EncodeTriangles head;
    ASSERT_TRUE(EncodeTest::LoadObj(std::string(KESTRUM_TESTDATA) + "/obj/head.obj", head));
    ASSERT_GT(head.faces.size(), 100000u);
    LogCapture log(1);
    const EncodeTest::RoundTrip r = EncodeAndDecode(head, 1e-5);
    // Slivers of the file with too little area to survive the step are left out, each with
    // its line, and everything else reads back.
    const size_t dropped = log.Count("Zero-length normal -> INVALID TRIANGLE", 1);
    EXPECT_LT(dropped, head.faces.size() / 1000);
    ExpectSameMesh(r, head.faces.size() - dropped);
    EXPECT_EQ(log.Lines().size(), dropped);
}

}  // namespace
}  // namespace Velmora::PRC
