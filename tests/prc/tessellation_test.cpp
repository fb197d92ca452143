// Decoding read tessellations into flat arrays: the third-party files give their known triangle
// counts with every index inside its array, and hand-built hostile tessellations fail alone.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "format/AuthoringProgress.h"
#include "prc/reader/Content3DTessDecoder.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/TesselationDecoder.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using FileStructure::BaseTessData;
using FileStructure::Content3DTess;
using FileStructure::Content3DWireTess;
using FileStructure::Vec3f;
using Test::LogCapture;

constexpr uint32_t kTriangles = 0x0002, kFan = 0x0004, kStrip = 0x0008, kTrianglesOneNormal = 0x0020,
                   kTrianglesTextured = 0x0200, kPolyface = 0x0001, kOneNormalTextured = 0x2000;
constexpr float kUnitTolerance = 1e-3f;
const char* const kNoStyleMessage = "more than one lineAttribute not yet implemented, CHECK!";

std::string PrcPath(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/prc/" + name; }

std::vector<std::shared_ptr<BaseTessData>> TessellationsOf(const std::string& name) {
    LogCapture quiet(0);
    std::vector<std::shared_ptr<BaseTessData>> all;
    const auto file = PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.6f);
    EXPECT_TRUE(file) << name;
    if (!file) return all;
    for (size_t i = 0; i < file->NumberOfFileStructureBlocks(); ++i)
        for (const auto& tess : file->GetFileStructureBlock(static_cast<uint32_t>(i))->tessellation.tessellations)
            all.push_back(tess);
    return all;
}

struct Box {
    Vec3f low{INFINITY, INFINITY, INFINITY};
    Vec3f high{-INFINITY, -INFINITY, -INFINITY};
};

// Checks the decoded arrays against each other and the vertices; gives the box of the used
// vertices.
Box CheckDecoded(const BaseTessData& tess, size_t triangles, const std::string& what) {
    Box box;
    EXPECT_EQ(tess.triangleIndices.size(), triangles * 3) << what;
    EXPECT_EQ(tess.triangleMaterials.size(), triangles) << what;
    if (!tess.normals.empty()) {
        EXPECT_EQ(tess.normals.size(), tess.triangleIndices.size()) << what;
    }
    size_t outside = 0, notUnit = 0;
    for (const uint32_t index : tess.triangleIndices) {
        if (index >= tess.vertices.size()) {
            ++outside;
            continue;
        }
        for (int c = 0; c < 3; ++c) {
            box.low[c] = std::min(box.low[c], tess.vertices[index][c]);
            box.high[c] = std::max(box.high[c], tess.vertices[index][c]);
        }
    }
    for (const Vec3f& n : tess.normals)
        notUnit += std::fabs(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) - 1.0f) > kUnitTolerance;
    EXPECT_EQ(outside, 0u) << what;
    EXPECT_EQ(notUnit, 0u) << what;
    return box;
}

// Decodes every tessellation of a file, which must all succeed with the given triangle counts.
std::vector<std::shared_ptr<BaseTessData>> DecodeFile(const std::string& name, const std::vector<size_t>& counts) {
    auto all = TessellationsOf(name);
    EXPECT_EQ(all.size(), counts.size()) << name;
    LogCapture log(1);
    for (size_t i = 0; i < all.size() && i < counts.size(); ++i) {
        EXPECT_TRUE(TesselationDecoder::DecodeTesselation(all[i], nullptr, 0.0f)) << name << " " << i;
        CheckDecoded(*all[i], counts[i], name + " " + std::to_string(i));
    }
    // Faces without a style say so; that is the only complaint a good file may give.
    for (const auto& line : log.Lines())
        if (line.text.find(kNoStyleMessage) == std::string::npos) ADD_FAILURE() << name << ": " << line.text;
    return all;
}

TEST(PrcTessellationFiles, ThirdPartyFilesDecodeTheirTriangles) {
    DecodeFile("mesh1.prc", {8});
    DecodeFile("mesh2.prc", {3200});
    DecodeFile("grid_big.prc", {125000});
    DecodeFile("cube_tess.prc", {12, 12});
    const auto torus = DecodeFile("torus_mesh.prc", {2304, 12});
    ASSERT_EQ(torus.size(), 2u);
    EXPECT_EQ(torus[0]->normals.size(), 2304u * 3);  // its stored normals, one per corner
    const auto cube = DecodeFile("plain_cube.prc", {12});
    ASSERT_EQ(cube.size(), 1u);
    const Box box = CheckDecoded(*cube[0], 12, "plain_cube");
    EXPECT_EQ(box.low, (Vec3f{0, 0, 0}));
    EXPECT_EQ(box.high, (Vec3f{1, 1, 1}));
}

TEST(PrcTessellationFiles, EachDecodeReportsItsWholeSpan) {
    constexpr float kSpan = 0.25f, kPercent = 100.0f, kTolerance = 0.01f;
    FormatGlue::AuthoringProgress progress;
    const auto all = TessellationsOf("torus_mesh.prc");
    for (const auto& tess : all) EXPECT_TRUE(TesselationDecoder::DecodeTesselation(tess, &progress, kSpan));
    EXPECT_NEAR(progress.Progress(), kSpan * kPercent * static_cast<float>(all.size()), kTolerance);
}

// Vertices along x, no stored normals unless a test adds them, one face of one entity kind.
std::shared_ptr<Content3DTess> Tess(size_t vertices, uint32_t flag, std::vector<uint32_t> sizes,
                                    std::vector<uint32_t> indices) {
    auto tess = std::make_shared<Content3DTess>();
    for (size_t i = 0; i < vertices; ++i) tess->vertices.push_back({static_cast<float>(i), 0, 0});
    tess->mustRecalculateNormals = true;
    tess->triangulatedIndices = std::move(indices);
    FileStructure::FaceTessData face;
    face.lineAttributes = {4};
    face.usedEntitiesFlag = flag;
    face.triangulatedSizes = std::move(sizes);
    tess->faces.push_back(face);
    return tess;
}

// Decodes a tessellation that must fail, cleanly: nothing left in the decoded arrays.
void ExpectFails(const std::shared_ptr<BaseTessData>& tess, const std::string& message) {
    LogCapture log(2);
    EXPECT_FALSE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_TRUE(log.Has(message)) << message;
    EXPECT_TRUE(tess->triangleIndices.empty());
    EXPECT_TRUE(tess->normals.empty());
    EXPECT_TRUE(tess->triangleMaterials.empty());
}

TEST(PrcTessellationDecoder, StripKeepsItsWinding) {
    auto tess = Tess(5, kStrip, {5}, {0, 3, 6, 9, 12});
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2, 2, 1, 3, 2, 3, 4}));
    EXPECT_EQ(tess->triangleMaterials, (std::vector<uint32_t>{4, 4, 4}));
}

TEST(PrcTessellationDecoder, LaterKindsCountTheirEntries) {
    constexpr uint32_t kSingleNormal = 0x40000000;
    auto tess = Tess(4, kTriangles | kFan, {1, 2, 3 | kSingleNormal, 4}, {0, 3, 6, 0, 3, 6, 0, 3, 6, 9});
    Content3DTessDecoder decoder(*tess, nullptr, 0.0f);
    ASSERT_TRUE(decoder.PrepareDecode());
    ASSERT_EQ(decoder.Entries().size(), 1u);
    const auto& entries = decoder.Entries()[0];
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].entityFlag, kTriangles);
    EXPECT_EQ(entries[1].entityFlag, kFan);
    EXPECT_TRUE(entries[1].hasSingleNormal);
    EXPECT_EQ(entries[1].numberOfTriangles, 1u);
    EXPECT_EQ(entries[2].numberOfTriangles, 2u);
    ASSERT_TRUE(decoder.DoDecode());
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 2, 3}));
}

TEST(PrcTessellationDecoder, FanTurnsAroundItsFirstCorner) {
    auto tess = Tess(4, kFan, {4}, {0, 3, 6, 9});
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2, 0, 2, 3}));
}

TEST(PrcTessellationDecoder, ShortFansYieldOneOrNoTriangle) {
    auto three = Tess(3, kFan, {3}, {0, 3, 6});
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(three, nullptr, 0.0f));
    EXPECT_EQ(three->triangleIndices.size(), 3u);
    LogCapture log(1);
    auto two = Tess(3, kFan, {2}, {0, 3});
    EXPECT_TRUE(TesselationDecoder::DecodeTesselation(two, nullptr, 0.0f));
    EXPECT_TRUE(two->triangleIndices.empty());
    EXPECT_TRUE(log.Has("CalculateNumberOfTrianglesFromTriangulationType() - Error!", 1));
}

TEST(PrcTessellationDecoder, StoredNormalsComeBeforeEachCorner) {
    auto tess = Tess(3, kTriangles, {1}, {3, 0, 0, 3, 3, 6});
    tess->mustRecalculateNormals = false;
    tess->storedNormals = {{0, 0, 1}, {0, 1, 0}};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_EQ(tess->normals, (std::vector<Vec3f>{{0, 1, 0}, {0, 0, 1}, {0, 1, 0}}));
}

TEST(PrcTessellationDecoder, OneNormalPerTriangle) {
    auto tess = Tess(4, kTrianglesOneNormal, {2}, {3, 0, 3, 6, 0, 3, 6, 9});
    tess->mustRecalculateNormals = false;
    tess->storedNormals = {{0, 0, 1}, {0, 1, 0}};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2, 1, 2, 3}));
    ASSERT_EQ(tess->normals.size(), 6u);
    EXPECT_EQ(tess->normals[0], (Vec3f{0, 1, 0}));
    EXPECT_EQ(tess->normals[5], (Vec3f{0, 0, 1}));
}

TEST(PrcTessellationDecoder, TexturedCornersTakeTheirCoordinates) {
    auto tess = Tess(3, kTrianglesTextured, {1}, {2, 0, 0, 3, 4, 6});
    tess->rawTextureCoordinates = {0.0, 0.25, 0.5, 0.75, 1.0, 0.125};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_EQ(tess->textureCoordinates, (std::vector<FileStructure::Vec2f>{{0.5f, 0.75f}, {0.0f, 0.25f}, {1, 0.125f}}));
}

TEST(PrcTessellationDecoder, TwoLineAttributesLeaveNoMaterial) {
    auto tess = Tess(3, kTriangles, {1}, {0, 3, 6});
    tess->faces[0].lineAttributes = {1, 2};
    LogCapture log(1);
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleMaterials, (std::vector<uint32_t>{TesselationDecoder::kNoMaterial}));
    EXPECT_TRUE(log.Has("more than one lineAttribute not yet implemented, CHECK!", 1));
}

TEST(PrcTessellationDecoder, IndexPastTheVerticesFailsAlone) {
    ExpectFails(Tess(3, kTriangles, {2}, {0, 3, 6, 0, 3, 9}), "vertex index 9 out of range");
    ExpectFails(Tess(3, kStrip, {4}, {0, 3, 6, 300}), "Failed to DecodeTriangulation!");
    auto normals = Tess(3, kTriangles, {1}, {0, 0, 0, 3, 3, 6});
    normals->mustRecalculateNormals = false;
    normals->storedNormals = {{0, 0, 1}};
    ExpectFails(normals, "normal index 3 out of range");
    auto texture = Tess(3, kTrianglesTextured, {1}, {0, 0, 0, 3, 5, 6});
    texture->rawTextureCoordinates = {0, 0, 1, 1, 0, 1};
    ExpectFails(texture, "texture index 5 out of range");
}

TEST(PrcTessellationDecoder, CountsPastTheDataFailCleanly) {
    // An odd index count: the second triangle has two corners only.
    ExpectFails(Tess(3, kTriangles, {2}, {0, 3, 6, 0, 3}), "entity runs past the indices");
    // A huge claimed size must not size the arrays.
    ExpectFails(Tess(3, kTriangles, {0x3FFFFFFF}, {0, 3, 6}), "entity runs past the indices");
    ExpectFails(Tess(3, kFan | kStrip, {1}, {0, 3, 6}), "triangulated sizes end before the entities");
}

TEST(PrcTessellationDecoder, RefusedKindsAndFlags) {
    ExpectFails(Tess(3, kPolyface, {1}, {0, 3, 6}), "entityFlag 1 is NOT USED by the PRC format!");
    ExpectFails(Tess(3, kOneNormalTextured, {1}, {0, 3, 6}), "entityFlag 8192 is NOT implemented!");
    ExpectFails(Tess(3, 0x10000, {1}, {0, 3, 6}), "unsupported PRC_FACETESSDATA_* flag!");
    auto layers = Tess(3, kTriangles, {1}, {0, 3, 6});
    layers->faces[0].numberOfTextureCoordinateIndices = 2;
    ExpectFails(layers, "Multiple texture layers not yet supported!");
}

TEST(PrcTessellationDecoder, LineFlagDecodesTheFaceWires) {
    auto tess = Tess(4, kTriangles, {1}, {0, 3, 6});
    tess->decodeAsLines = true;
    tess->wireIndices = {9, 0, 3, 6};
    tess->faces[0].startWire = 1;
    tess->faces[0].wireSizes = {3 | 0x8000};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(tess, nullptr, 0.0f));
    EXPECT_EQ(tess->triangleIndices, (std::vector<uint32_t>{0, 1, 1, 2}));
    tess->faces[0].wireSizes = {4};
    ExpectFails(tess, "Failed to DecodeWire!");
    tess->faces[0].wireSizes.clear();
    ExpectFails(tess, "Failed to DecodeWire!");
}

TEST(PrcTessellationDecoder, WireWithoutIndicesJoinsAllPoints) {
    auto wire = std::make_shared<Content3DWireTess>();
    wire->vertices = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(wire, nullptr, 0.0f));
    EXPECT_EQ(wire->triangleIndices, (std::vector<uint32_t>{0, 1, 1, 2}));
}

TEST(PrcTessellationDecoder, WireSegmentsPerWire) {
    auto wire = std::make_shared<Content3DWireTess>();
    wire->vertices.resize(4);
    wire->numberOfWireIndices = 7;
    wire->wires.resize(2);
    wire->wires[0].indices = {0, 3, 6, 0};
    wire->wires[1].indices = {9, 6};
    ASSERT_TRUE(TesselationDecoder::DecodeTesselation(wire, nullptr, 0.0f));
    EXPECT_EQ(wire->triangleIndices, (std::vector<uint32_t>{0, 1, 1, 2, 2, 0, 3, 2}));
    wire->wires[1].indices = {9, 12};
    ExpectFails(wire, "wire index 12 outside the vertices");
}

TEST(PrcTessellationDecoder, MarkupIsSkippedAndUnknownTypesFail) {
    LogCapture log(2);
    EXPECT_TRUE(
        TesselationDecoder::DecodeTesselation(std::make_shared<FileStructure::ContentMarkupTess>(), nullptr, 0.0f));
    EXPECT_TRUE(log.Has("PRC_TYPE_TESS_Markup not yet supported!"));
    ExpectFails(std::make_shared<BaseTessData>(kTypeTessFace), "invalid tesselation type!");
    EXPECT_FALSE(TesselationDecoder::DecodeTesselation(nullptr, nullptr, 0.0f));
}

}  // namespace
}  // namespace Velmora::PRC
