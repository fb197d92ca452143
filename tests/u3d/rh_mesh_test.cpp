// The RH compressed mesh extension: payloads written value by value through each encoding and
// form, the decoded mesh checked vertex for vertex, and broken payloads that fail their block.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "format/AuthoringPool.h"
#include "mesh_support.h"
#include "u3d/AuthorShaderPool.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/CLODMeshBuilder.h"
#include "u3d/RHCMeshBuilder.h"
#include "u3d/RHCMeshData.h"
#include "u3d/RHReader.h"
#include "u3dwriter/U3DWriter.h"

namespace {

using namespace Velmora::U3D;
using U3DWriter::RHWriter;
using Velmora::Rendering::MeshCreationInfo;
using Velmora::U3D::Test::ScopedLogCapture;
namespace VA = Velmora::Rendering::VertexAttribute;

std::vector<uint32_t> DecodeInts(const RHWriter& w, uint64_t count, bool& ok) {
    RHReader reader(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr);
    std::vector<uint32_t> out;
    ok = reader.ReadEncodedUIntArray(count, out);
    return out;
}

TEST(RHEncodings, PlainIntegerEncodingsDecodeTheirValues) {
    // Nibbles, one byte and all-equal arrays are read by the whole-mesh test below.
    const std::vector<uint32_t> values = {1, 0x1234, 0x123456, 0xFFFFFFFE};
    for (uint32_t bytes = 2; bytes <= 4; ++bytes) {
        RHWriter w;
        w.WriteEncoded(uint8_t(RHReader::Plain1 + bytes - 1), RHWriter::PlainBody(values, bytes));
        bool ok = false;
        const auto decoded = DecodeInts(w, values.size(), ok);
        EXPECT_TRUE(ok);
        for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(decoded[i], values[i] & (0xFFFFFFFFu >> (32 - 8 * bytes)));
    }
    RHWriter zeros;
    zeros.WriteEncoded(RHReader::AllZero, {});
    bool ok = false;
    EXPECT_EQ(DecodeInts(zeros, 3, ok), (std::vector<uint32_t>{0, 0, 0}));
}

TEST(RHEncodings, UIC1CommandsPredictFromTheirHistories) {
    RHWriter w;
    // Command bytes and the values they stand for, worked out by hand.
    const std::vector<uint8_t> body = {
        RHWriter::UIC1(RHReader::ThirdBackUp, 4),       // few values: 4 + 1 = 5
        RHWriter::UIC1(RHReader::Step, 5),              // odd: 5 + 3 = 8
        RHWriter::UIC1(RHReader::Step, 2),              // even: 8 - 2 = 6
        RHWriter::UIC1(RHReader::ThirdBackUp, 1),       // third back (5) + 1 + 1 = 7
        RHWriter::UIC1(RHReader::ThirdBackDown, 0),     // third back (8) - 0 - 1 = 7
        RHWriter::UIC1(RHReader::Back, 2),              // two back from the last: 6
        RHWriter::UIC1(RHReader::RepeatDifference, 3),  // 6 + difference three back (6 - 8 = -2) = 4
        RHWriter::UIC1(RHReader::ThirdBackFarUp, 2),    // third back (7) + 2 + 0x11 = 26
        RHWriter::UIC1(RHReader::ThirdBackFarDown, 1),  // third back (6) - 1 - 0x11 = -12
        RHWriter::UIC1(RHReader::FarBack, 0),           // sixteen back: nothing yet, 0
    };
    w.WriteEncoded(RHReader::UIC1, body);
    bool ok = false;
    EXPECT_EQ(DecodeInts(w, body.size(), ok), (std::vector<uint32_t>{5, 8, 6, 7, 7, 6, 4, 26, uint32_t(-12), 0}));
    EXPECT_TRUE(ok);
}

TEST(RHEncodings, UnsupportedOrShortIntegerArraysFail) {
    ScopedLogCapture log;
    struct Case {
        uint8_t encoding;
        std::vector<uint8_t> body;
        uint64_t count;
        const char* message;
    };
    const Case cases[] = {
        {RHReader::RH39, {1, 2, 3}, 3, "Invalid/Unsuported encoding type!"},
        {9, {1}, 1, "Invalid/Unsuported encoding type!"},
        {RHReader::UIC1, {RHWriter::UIC1(RHReader::Step, 1)}, 2, "not all array values have been filled!"},
        {RHReader::UIC1, {RHWriter::UIC1(RHReader::Stop, 0)}, 1, "not all array values have been filled!"},
        {RHReader::UIC1, {RHWriter::UIC1(9, 0)}, 1, "Invalid blockSizeDelta!"},
        {RHReader::UIC1,
         {RHWriter::UIC1(RHReader::Step, 1), RHWriter::UIC1(RHReader::Step, 1)},
         1,
         "more values than the array holds"},
        {RHReader::Plain1, {1, 2}, 3, "invalid data size!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        RHWriter w;
        w.WriteEncoded(c.encoding, c.body);
        bool ok = true;
        DecodeInts(w, c.count, ok);
        EXPECT_FALSE(ok);
        EXPECT_TRUE(log.capture->Contains(c.message));
    }
    RHWriter badRange, zeroAngles;
    badRange.WriteQuantisedFloats(2.0f, 1.0f, 4, RHReader::AllZero, {});
    zeroAngles.WriteAlphaTheta(0, RHReader::AllZero, {});
    std::vector<float> floats;
    std::vector<Vec3f> vectors;
    EXPECT_FALSE(
        RHReader(badRange.Bytes().data(), uint32_t(badRange.Bytes().size()), nullptr).ReadFloatArray(1, floats));
    EXPECT_FALSE(
        RHReader(zeroAngles.Bytes().data(), uint32_t(zeroAngles.Bytes().size()), nullptr).ReadVec3Array(1, vectors));
}

TEST(RHEncodings, FloatAndVectorFormsDecode) {
    RHWriter w;
    w.WriteQuantisedFloats(-1.0f, 3.0f, 8, RHReader::Plain1, RHWriter::PlainBody({0, 2, 8}, 1));
    w.WriteQuantisedVec3({0, 10, -4}, {1, 20, 4}, 4, RHReader::Plain1, RHWriter::PlainBody({4, 0, 2, 1, 2, 3}, 1));
    w.WriteAlphaTheta(4, RHReader::Plain1, RHWriter::PlainBody({0, 1, 1, 1, 0, 0}, 1));
    RHReader reader(w.Bytes().data(), uint32_t(w.Bytes().size()), nullptr);
    std::vector<float> floats;
    ASSERT_TRUE(reader.ReadFloatArray(3, floats));
    EXPECT_EQ(floats, (std::vector<float>{-1.0f, 0.0f, 3.0f}));
    std::vector<Vec3f> vectors;
    ASSERT_TRUE(reader.ReadVec3Array(2, vectors));
    EXPECT_EQ(vectors[0], (Vec3f{1, 10, 0}));
    EXPECT_EQ(vectors[1], (Vec3f{0.25f, 15, 2}));
    ASSERT_TRUE(reader.ReadVec3Array(3, vectors));
    // Quarter turns: theta 90 degrees lies in the plane, alpha turns it; theta 0 is +z.
    const Vec3f expected[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(vectors[i][k], expected[i][k], 1e-6f) << i << "," << k;
}

// Two triangles over four positions: plain positions, alpha-theta normals, quantised colours
// and plain tex coords; the index arrays in four different encodings.
std::vector<uint8_t> TwoTrianglePayload() {
    RHWriter w;
    w.WriteCounts(2, 4, 2, 2, 0, 3);
    // Positions 0 1 2 and 0 2 3: 0, +1 (step 1), +1 (step 1), 0 (back 2), 2 (back 1), 3 (step 1).
    w.WriteEncoded(RHReader::UIC1, {RHWriter::UIC1(RHReader::Back, 0), RHWriter::UIC1(RHReader::Step, 1),
                                    RHWriter::UIC1(RHReader::Step, 1), RHWriter::UIC1(RHReader::Back, 2),
                                    RHWriter::UIC1(RHReader::Back, 1), RHWriter::UIC1(RHReader::Step, 1)});
    w.WriteEncoded(RHReader::Nibbles, RHWriter::NibbleBody({0, 0, 0, 1, 1, 1}));
    w.WriteEncoded(RHReader::AllEqual, RHWriter::AllEqualBody(1));
    w.WriteEncoded(RHReader::Plain1, RHWriter::PlainBody({0, 1, 2, 2, 1, 0}, 1));
    w.WritePlainFloats({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0});
    w.WriteAlphaTheta(4, RHReader::Plain1, RHWriter::PlainBody({0, 0, 0, 2}, 1));  // +z, -z
    w.WriteQuantisedFloats(0.0f, 1.0f, 2, RHReader::Plain1, RHWriter::PlainBody({2, 0, 0, 2, 0, 1, 0, 2}, 1));
    w.WritePlainFloats({0.0f, 0.5f, 1.0f, 0.25f, 0.5f, 1.0f});
    return w.Bytes();
}

std::vector<uint8_t> RHFile(const std::vector<uint8_t>& payload, uint32_t lists = 1) {
    U3DWriter::U3DFileWriter file;
    // The mesh block comes first: it is read after the shading modifier all the same.
    file.AddBlock(256, U3DWriter::RHMeshBlock("rh", payload));
    file.AddBlock(0xFFFFFF16, U3DWriter::RHDeclarationBlock());
    U3DWriter::BitStreamWriter shading(true);
    shading.WriteString("rh");
    shading.WriteU32(0);
    shading.WriteU32(0);
    shading.WriteU32(lists);
    for (uint32_t i = 0; i < lists; ++i) {
        shading.WriteU32(1);
        shading.WriteString("shader" + std::to_string(i));
    }
    file.AddBlock(0xFFFFFF45, shading);
    return file.Bytes();
}

std::shared_ptr<AuthoringPool_U3D> LoadRH(const std::vector<uint8_t>& bytes) {
    auto pool = Velmora::FormatGlue::AuthoringPool::Create(new AuthoringPool_U3D(), nullptr, nullptr);
    if (pool && !pool->LoadFromMemory(bytes.data(), uint32_t(bytes.size()), nullptr)) return nullptr;
    return pool;
}

TEST(RHMesh, DecodedMeshBuildsVertexForVertex) {
    ScopedLogCapture log;
    auto pool = LoadRH(RHFile(TwoTrianglePayload()));
    ASSERT_TRUE(pool);
    ASSERT_EQ(pool->MeshPool().meshes.count("rh"), 1u);
    const AuthorMesh& mesh = *pool->MeshPool().meshes["rh"];
    EXPECT_EQ(mesh.meshKind, MeshKind::RHCompressed);

    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildRHCMeshData(mesh, 0, info, oom));
    EXPECT_EQ(info.primitiveType, Velmora::Rendering::PrimitiveType::Triangles);
    ASSERT_EQ(info.subObjects.size(), 1u);
    EXPECT_EQ(info.subObjects[0].attributes, VA::Position | VA::Normal | VA::Diffuse | VA::TexCoord0);
    const auto& rows = *info.subObjects[0].vertices;
    ASSERT_EQ(rows.Count(), 6u);
    ASSERT_EQ(rows.Stride(), 12u);
    // position, normal, diffuse, uv for each of the six corners.
    const float expected[6][12] = {
        {0, 0, 0, 0, 0, 1, 0, 0.5f, 0, 1, 0, 0.5f},   {1, 0, 0, 0, 0, 1, 0, 0.5f, 0, 1, 1, 0.25f},
        {1, 1, 0, 0, 0, 1, 0, 0.5f, 0, 1, 0.5f, 1},   {0, 0, 0, 0, 0, -1, 0, 0.5f, 0, 1, 0.5f, 1},
        {1, 1, 0, 0, 0, -1, 0, 0.5f, 0, 1, 1, 0.25f}, {0, 1, 0, 0, 0, -1, 0, 0.5f, 0, 1, 0, 0.5f},
    };
    for (uint32_t v = 0; v < 6; ++v)
        for (uint32_t k = 0; k < 12; ++k) EXPECT_NEAR(rows.Row(v)[k], expected[v][k], 1e-6f) << v << "," << k;
    EXPECT_EQ(log.capture->AtLevel(1), std::vector<std::string>{});
}

TEST(RHMesh, SeveralShadingGroupsSplitTheFacesInOrder) {
    RHWriter w;
    w.WriteU8(2);
    w.WriteGroupRecord(1, 0, 0x40);
    w.WriteGroupRecord(5, 0x1234);  // more faces than follow: the first group takes one, this one the rest
    w.WriteCounts(2, 3, 0, 0, 0, 0);
    w.WriteEncoded(RHReader::Plain1, RHWriter::PlainBody({0, 1, 2, 2, 1, 0}, 1));
    w.WritePlainFloats({0, 0, 0, 1, 0, 0, 0, 1, 0});
    ScopedLogCapture log;
    auto pool = LoadRH(RHFile(w.Bytes(), 2));
    ASSERT_TRUE(pool);
    ASSERT_EQ(pool->MeshPool().meshes.count("rh"), 1u);
    EXPECT_TRUE(log.capture->Contains("Has diffuse/specular"));
    MeshCreationInfo info;
    bool oom = false;
    ASSERT_TRUE(BuildRHCMeshData(*pool->MeshPool().meshes["rh"], 1, info, oom));
    ASSERT_EQ(info.subObjects.size(), 2u);
    EXPECT_EQ(info.subObjects[0].vertices->Count(), 3u);
    EXPECT_EQ(info.subObjects[1].vertices->Count(), 3u);
    // Generated flat normals: the second face is the first turned over.
    EXPECT_FLOAT_EQ(info.subObjects[0].vertices->Row(0)[5], 1.0f);
    EXPECT_FLOAT_EQ(info.subObjects[1].vertices->Row(0)[5], -1.0f);
    EXPECT_TRUE(log.capture->Contains("Mesh rh is using GENERATED NORMALS"));
}

TEST(RHMesh, BrokenPayloadsFailTheirBlockOnly) {
    struct Case {
        const char* what;
        std::vector<uint8_t> payload;
        const char* message;
    };
    auto counts = [](uint32_t faces, uint32_t positions) {
        RHWriter w;
        w.WriteCounts(faces, positions, 0, 0, 0, 0);
        return w;
    };
    RHWriter pastPositions = counts(1, 3);
    pastPositions.WriteEncoded(RHReader::Plain1, RHWriter::PlainBody({0, 1, 3}, 1));
    pastPositions.WritePlainFloats({0, 0, 0, 1, 0, 0, 0, 1, 0});
    auto cut = TwoTrianglePayload();
    cut.resize(cut.size() - 5);
    const Case cases[] = {
        {"no faces", counts(0, 3).Bytes(), "RHReader::ReadMeshInfo() - no face indices, chunk reading aborted!"},
        {"no positions", counts(1, 0).Bytes(),
         "RHReader::ReadMeshInfo() - no vertex positions, chunk reading aborted!"},
        {"faces past the data", counts(0x00FFFFFF, 3).Bytes(), "counts exceed the data"},
        {"index past the positions", pastPositions.Bytes(), "index out of range"},
        {"cut short", cut, "RHReader::ReadF32() - out of bounds!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ScopedLogCapture log;
        U3DWriter::U3DFileWriter file;
        file.AddBlock(0xFFFFFF16, U3DWriter::RHDeclarationBlock());
        file.AddBlock(256, U3DWriter::RHMeshBlock("broken", c.payload));
        file.AddBlock(256, U3DWriter::RHMeshBlock("good", TwoTrianglePayload()));
        auto pool = LoadRH(file.Bytes());
        ASSERT_TRUE(pool);
        EXPECT_EQ(pool->MeshPool().meshes.count("broken"), 0u);
        EXPECT_EQ(pool->MeshPool().meshes.count("good"), 1u);
        EXPECT_EQ(pool->BlocksFailed(), 1u);
        EXPECT_TRUE(log.capture->Contains(c.message)) << c.message;
    }
}

// Inputs kept from fuzzing and the seeds that reach the extension load or fail cleanly, and
// what they stage builds or fails cleanly.
TEST(U3DRegressions, EveryKeptInputLoadsAndBuildsWithoutFault) {
    size_t rhMeshes = 0;
    Velmora::U3D::Test::ScopedLogCapture log;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(KESTRUM_SOURCE_DIR) + "/tests/u3d/regressions")) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        auto pool = entry.path().extension() == ".u3d" ? LoadRH(bytes) : nullptr;
        for (const auto& [name, mesh] : pool ? pool->MeshPool().meshes : AuthorMeshPool::MeshMap{}) {
            MeshCreationInfo info;
            bool oom = false;
            rhMeshes += mesh->meshKind == MeshKind::RHCompressed && BuildRHCMeshData(*mesh, 1, info, oom);
        }
    }
    EXPECT_GE(rhMeshes, 2u);
}

}  // namespace
