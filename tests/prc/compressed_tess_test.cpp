// Highly compressed tessellations: the third-party files decode to the triangles and boxes
// their writers give, with every array consumed; hand-made arrays cover the walk's corners.

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>

#include "prc/reader/Compressed3DTessDecoder.h"
#include "prc/reader/PRCFile.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "support/LogCapture.h"

namespace Velmora::PRC {
namespace {

using FileStructure::HighlyCompressed3DTess;
using FileStructure::Vec3f;
using Test::LogCapture;

std::string PrcPath(const std::string& name) { return std::string(KESTRUM_TESTDATA) + "/prc/" + name; }

struct Box {
    float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
};

struct Decoded {
    std::vector<std::shared_ptr<HighlyCompressed3DTess>> tessellations;
    size_t triangles = 0;
    Box box;
    bool ok = true;  // every tessellation decoded with all its arrays consumed
};

Decoded DecodeFile(const std::string& name) {
    Decoded d;
    const auto file = PRCFile::CreateFromFile(PrcPath(name), nullptr, 0.6f);
    if (!file) {
        d.ok = false;
        return d;
    }
    for (size_t b = 0; b < file->NumberOfFileStructureBlocks(); ++b)
        for (const auto& base : file->GetFileStructureBlock(static_cast<uint32_t>(b))->tessellation.tessellations) {
            if (base->type != kTypeTessHighlyCompressed) continue;
            auto tess = std::static_pointer_cast<HighlyCompressed3DTess>(base);
            d.tessellations.push_back(tess);
            Compressed3DTessDecoder decoder(*tess, nullptr, 0.0f);
            d.ok &= decoder.PrepareDecode() && decoder.DoDecode() && decoder.VerifyDataConsumption();
            d.triangles += tess->triangleIndices.size() / 3;
            for (uint32_t index : tess->triangleIndices)
                for (int k = 0; k < 3; ++k) {
                    d.box.low[k] = std::min(d.box.low[k], tess->vertices[index][k]);
                    d.box.high[k] = std::max(d.box.high[k], tess->vertices[index][k]);
                }
        }
    return d;
}

// Level-1 messages of the decoder (the files' other sections have their own tests).
size_t DecoderErrors(const LogCapture& log) {
    size_t count = 0;
    for (const auto& line : log.Lines())
        if (line.level <= 1 &&
            (line.text.find("MeshTraversal") != std::string::npos ||
             line.text.find("Compressed3DTess") != std::string::npos || line.text.find("PrcPt") != std::string::npos ||
             line.text.find("ReadHighlyCompressed") != std::string::npos))
            ++count;
    return count;
}

void ExpectBox(const Box& box, const Vec3f& low, const Vec3f& high, float tolerance) {
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(box.low[k], low[k], tolerance) << k;
        EXPECT_NEAR(box.high[k], high[k], tolerance) << k;
    }
}

struct Expected {
    const char* file;
    size_t triangles;
    Vec3f low, high;
    float tolerance;
};

class CompressedFiles : public testing::TestWithParam<Expected> {};

TEST_P(CompressedFiles, DecodeToTheirTrianglesAndBox) {
    const Expected& e = GetParam();
    LogCapture log(2);
    const Decoded d = DecodeFile(e.file);
    EXPECT_TRUE(d.ok);
    EXPECT_EQ(DecoderErrors(log), 0u);
    EXPECT_EQ(d.triangles, e.triangles);
    ExpectBox(d.box, e.low, e.high, e.tolerance);
}

// The CAD exporter's files are the authority; the cube files come from an independent library.
INSTANTIATE_TEST_SUITE_P(
    ThirdParty, CompressedFiles,
    testing::Values(Expected{"sw_triangle.prc", 1, {-5.0f, -2.887f, 0.0f}, {5.0f, 5.773f, 0.0f}, 0.01f},
                    Expected{"sw_cylinder.prc", 94, {-29.18f, -29.23f, -0.0016f}, {29.24f, 29.23f, 70.0f}, 0.01f},
                    Expected{"hc_cube.prc", 12, {0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, 1e-5f},
                    Expected{"hc_sphere.prc", 1984, {-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f}, 1e-5f},
                    Expected{"hc_parts.prc", 60, {0.0f, 0.0f, 0.0f}, {4.5f, 4.0f, 5.0f}, 1e-4f}),
    [](const testing::TestParamInfo<Expected>& info) {
        const std::string name = info.param.file;
        return name.substr(0, name.find('.'));
    });

TEST(CompressedFiles, SpherePointsLieOnTheSphere) {
    const Decoded d = DecodeFile("hc_sphere.prc");
    ASSERT_EQ(d.tessellations.size(), 1u);
    for (const Vec3f& v : d.tessellations[0]->vertices)
        EXPECT_NEAR(std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]), 1.0f, 1e-4f);
}

TEST(CompressedFiles, CylinderNormalsPointAwayFromItsAxis) {
    const Decoded d = DecodeFile("sw_cylinder.prc");
    ASSERT_EQ(d.tessellations.size(), 1u);
    const auto& tess = *d.tessellations[0];
    ASSERT_EQ(tess.normals.size(), tess.triangleIndices.size());
    for (size_t i = 0; i < tess.normals.size(); ++i) {
        const Vec3f& p = tess.vertices[tess.triangleIndices[i]];
        const float radius = std::hypot(p[0], p[1]);
        const Vec3f& n = tess.normals[i];
        EXPECT_GT((n[0] * p[0] + n[1] * p[1]) / radius, 0.99f) << i;
    }
}

// The independent library's files: every array is consumed and the counts are its own. (The
// propeller's box is not the writer's: its points drift from the source at a sliver; see below.)
TEST(CompressedFiles, IndependentWriterFilesConsumeEveryArray) {
    struct Case {
        const char* file;
        size_t tessellations, triangles;
    };
    for (const Case& c : {Case{"hc_parts.prc", 5, 60}, Case{"hc_propeller.prc", 1, 7274}}) {
        const Decoded d = DecodeFile(c.file);
        EXPECT_TRUE(d.ok) << c.file;
        EXPECT_EQ(d.tessellations.size(), c.tessellations) << c.file;
        EXPECT_EQ(d.triangles, c.triangles) << c.file;
    }
}

std::vector<Vec3f> ObjPositions(const std::string& name) {
    std::vector<Vec3f> positions;
    std::ifstream in(std::string(KESTRUM_TESTDATA) + "/obj/" + name);
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("v ", 0) != 0) continue;
        std::istringstream fields(line.substr(2));
        Vec3f p{};
        fields >> p[0] >> p[1] >> p[2];
        positions.push_back(p);
    }
    return positions;
}

// One wrong step of the walk throws every later point off the model: up to the propeller's
// first sliver (point 742) every decoded point lies on a vertex of the source mesh.
TEST(CompressedFiles, PropellerPointsBeforeItsSliverLieOnTheSourceMesh) {
    constexpr size_t kSliverPoint = 742;
    constexpr float kSplitOffset = 0.08f;
    const std::vector<Vec3f> source = ObjPositions("propeller.obj");
    ASSERT_FALSE(source.empty());
    const auto file = PRCFile::CreateFromFile(PrcPath("hc_propeller.prc"), nullptr, 0.6f);
    ASSERT_TRUE(file);
    const auto& stored = file->GetFileStructureBlock(0)->tessellation.tessellations;
    ASSERT_EQ(stored.size(), 1u);
    auto tess = std::static_pointer_cast<HighlyCompressed3DTess>(stored[0]);
    Compressed3DTessDecoder decoder(*tess, nullptr, 0.0f);
    ASSERT_TRUE(decoder.PrepareDecode() && decoder.DoDecode());
    ASSERT_GT(decoder.Points().size(), kSliverPoint);
    for (size_t i = 0; i < kSliverPoint; ++i) {
        const PrcPt& p = decoder.Points()[i];
        float nearest = FLT_MAX;
        for (const Vec3f& s : source)
            nearest = std::min(nearest, std::hypot(s[0] - static_cast<float>(p.x), s[1] - static_cast<float>(p.y),
                                                   s[2] - static_cast<float>(p.z)));
        ASSERT_LT(nearest, kSplitOffset) << "point " << i;
    }
}

constexpr double kTolerance = 0.5;

// A tessellation with recalculated normals and one face; points are raw triples.
HighlyCompressed3DTess Arrays(std::vector<int32_t> points, std::vector<uint8_t> isReferenced,
                              std::vector<int32_t> references, std::vector<uint8_t> status) {
    HighlyCompressed3DTess tess;
    tess.tolerance = kTolerance;
    tess.pointArray = std::move(points);
    tess.isReferencedArray = std::move(isReferenced);
    tess.pointReferenceArray = std::move(references);
    tess.edgeStatusArray = std::move(status);
    tess.triangleFaceArray.assign(tess.edgeStatusArray.size(), 0);
    tess.numberOfFaces = 1;
    tess.normalsRecalculated = true;
    tess.reversedArray.assign(tess.edgeStatusArray.size(), 0);
    tess.styleArray = {-1};
    return tess;
}

bool Decode(HighlyCompressed3DTess& tess, Compressed3DTessDecoder** keep = nullptr) {
    static std::unique_ptr<Compressed3DTessDecoder> last;
    last = std::make_unique<Compressed3DTessDecoder>(tess, nullptr, 0.0f);
    if (keep) *keep = last.get();
    return last->PrepareDecode() && last->DoDecode();
}

TEST(CompressedWalk, SingleRootTriangleEndsWithAnEmptyStack) {
    LogCapture log(2);
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0}, {0, 0, 0}, {}, {0});
    ASSERT_TRUE(Decode(tess));
    ASSERT_EQ(tess.triangleIndices.size(), 3u);
    // The apex is predicted from the middle of the first two corners.
    EXPECT_FLOAT_EQ(tess.vertices[2][0], 0.5f);
    EXPECT_FLOAT_EQ(tess.vertices[2][1], 1.0f);
    EXPECT_EQ(log.Count("Triangle Stack not empty"), 0u);
    EXPECT_EQ(log.Count("", 1), 0u);
}

TEST(CompressedWalk, TwoEqualCornersConsumeTheirDataAndGiveNoTriangle) {
    LogCapture log(2);
    // The second root refers to point 0 twice; the third root is a plain triangle again.
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 6, 2, 0, 0, 0, 2, 0}, {0, 0, 0, 1, 1, 0, 0, 0, 0},
                       {0, 0}, {0, 0, 0});
    Compressed3DTessDecoder* decoder = nullptr;
    ASSERT_TRUE(Decode(tess, &decoder));
    EXPECT_TRUE(decoder->VerifyDataConsumption());
    EXPECT_EQ(tess.triangleIndices.size(), 6u);
    EXPECT_EQ(log.Count("Encountered invalid triangle!", 1), 1u);
}

TEST(CompressedWalk, AnEdgeOfThreeTrianglesLogsAndDecodes) {
    LogCapture log(2);
    // Root (0,1,2) opens both edges; the second neighbour (on 2-1) opens its own first edge,
    // whose triangle closes on point 0 and so uses edge 0-2; then the root's first neighbour
    // adds a third triangle to 0-2.
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 2, 0, 0, 2, 0}, {0, 0, 0, 0, 1, 0}, {0}, {3, 1, 0, 0});
    Compressed3DTessDecoder* decoder = nullptr;
    ASSERT_TRUE(Decode(tess, &decoder));
    EXPECT_TRUE(decoder->VerifyDataConsumption());
    EXPECT_EQ(tess.triangleIndices.size(), 12u);
    EXPECT_EQ(decoder->GetNumberOfNeighboursForEdgePoints(0, 2), 3u);
    EXPECT_GE(log.Count("More than 2 triangles share an edge!", 2), 1u);
}

TEST(CompressedWalk, ReferenceBeyondThePointsMadeFailsTheTessellationOnly) {
    LogCapture log(2);
    auto tess = Arrays({0, 0, 0, 2, 0, 0}, {0, 0, 1}, {5}, {0});
    EXPECT_FALSE(Decode(tess));
    EXPECT_EQ(log.Count("MeshTraversalDecode::AddReferencePoint() - BAD INPUT DATA!", 1), 1u);
}

TEST(CompressedWalk, FaceCountAboveTheTrianglesIsRefusedBeforeItSizesAnything) {
    LogCapture log(2);
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0}, {0, 0, 0}, {}, {0});
    tess.triangleFaceArray = {INT32_MAX - 1};
    tess.numberOfFaces = INT32_MAX;
    EXPECT_FALSE(Decode(tess));
    EXPECT_EQ(log.Count("MeshTraversalDecode::PrepareTraversal() - BAD TESSELATION DATA!", 1), 1u);
}

TEST(CompressedWalk, ZeroToleranceCollapsesPointsWithoutHarm) {
    LogCapture log(2);
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0, 1, 1, 1, 1, 1, 1}, {0, 0, 0, 0, 0}, {}, {3, 0, 0});
    tess.tolerance = 0.0;
    Decode(tess);
    EXPECT_TRUE(tess.triangleIndices.empty());
    EXPECT_GE(log.Count("Encountered invalid triangle!", 1), 1u);
}

TEST(CompressedWalk, StackedTrianglesBeyondTheStreamAreLeftWithAWarning) {
    LogCapture log(2);
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0}, {0, 0, 0}, {}, {3});
    Compressed3DTessDecoder* decoder = nullptr;
    Decode(tess, &decoder);
    EXPECT_EQ(log.Count("Triangle Stack not empty", 2), 1u);
    EXPECT_EQ(decoder->Consumed().triangleFace, 1u);
}

// Stored normals: one planar triangle whose normal is given by angles.
HighlyCompressed3DTess StoredNormalTriangle(uint8_t normalBits, uint16_t phi) {
    auto tess = Arrays({0, 0, 0, 2, 0, 0, 0, 2, 0}, {0, 0, 0}, {}, {0});
    tess.normalsRecalculated = false;
    tess.reversedArray.clear();
    tess.normalBits = normalBits;
    tess.faceIsPlanarArray = {1};
    tess.normalFlagArray = {0, 0, 0, 0};
    tess.normalAngleArray = {0, phi};
    return tess;
}

TEST(CompressedWalk, SixteenNormalBitsScaleByTheirLargestValue) {
    auto tess = StoredNormalTriangle(16, 65535);
    Compressed3DTessDecoder* decoder = nullptr;
    ASSERT_TRUE(Decode(tess, &decoder));
    EXPECT_TRUE(decoder->VerifyDataConsumption());
    ASSERT_EQ(tess.normals.size(), 3u);
    for (const Vec3f& n : tess.normals) EXPECT_NEAR(n[2], 1.0f, 1e-6f);
}

TEST(CompressedWalk, SeventeenNormalBitsAreRefused) {
    LogCapture log(2);
    auto tess = StoredNormalTriangle(17, 0);
    EXPECT_FALSE(Decode(tess));
    EXPECT_EQ(log.Count("MeshTraversalDecode::PrepareTraversal() - BAD TESSELATION DATA!", 1), 1u);
}

TEST(CompressedWalk, MissingNormalAnglesFailCleanly) {
    LogCapture log(2);
    auto tess = StoredNormalTriangle(8, 0);
    tess.normalAngleArray.pop_back();
    EXPECT_FALSE(Decode(tess));
    EXPECT_EQ(log.Count("MeshTraversalDecode::ReadAndCalculateNextNormal() - OUT OF BOUNDS!", 1), 1u);
}

}  // namespace
}  // namespace Velmora::PRC
