// GPU meshes: upload and read-back, batched and built-up draws, rows written in place.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "GLTestEnvironment.h"
#include "color_target.h"
#include "rendering/Mesh.h"
#include "rendering/OpenGLContext.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
namespace VA = Velmora::Rendering::VertexAttribute;

namespace {

class MeshTest : public kestrum_test::GLTest {
protected:
    // Rows whose every value is distinct, so a shifted or reordered read-back shows.
    static std::shared_ptr<DataBuffer<float>> Vertices(uint32_t count, uint32_t attributes, float base = 0.0f) {
        const uint32_t stride = VA::FloatsPerVertex(attributes);
        auto buffer = DataBuffer<float>::Create(count, stride);
        for (size_t i = 0; i < buffer->ElementCount(); ++i) buffer->Data()[i] = base + float(i) * 0.5f - 3.0f;
        return buffer;
    }
    static std::shared_ptr<DataBuffer<uint32_t>> Indices(std::vector<uint32_t> values) {
        return DataBuffer<uint32_t>::Create(uint32_t(values.size()), 1, values.data());
    }
    static MeshCreationInfo Info(std::string name, uint32_t type, std::vector<MeshSubObjectData> subs,
                                 bool animate = false) {
        MeshCreationInfo info;
        info.name = std::move(name);
        info.primitiveType = type;
        info.subObjects = std::move(subs);
        info.animateBuildUp = animate;
        return info;
    }
    static std::vector<float> Values(const DataBuffer<float>& b) { return {b.Data(), b.Data() + b.ElementCount()}; }
};

}  // namespace

TEST_F(MeshTest, UploadedVerticesAndIndicesReadBackUnchanged) {
    const uint32_t full = VA::Position | VA::Normal | VA::Diffuse | VA::Specular | VA::TexCoord(0) | VA::TexCoord(7);
    auto a = Vertices(6, full);
    auto b = Vertices(3, VA::Position | VA::TexCoord(1), 100.0f);
    auto mesh = Mesh::Create(
        Info("two", PrimitiveType::Triangles, {{a, nullptr, full}, {b, nullptr, VA::Position | VA::TexCoord(1)}}));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->GetSubObjectCount(), 2u);
    EXPECT_EQ(mesh->GetNumberOfPrimitivesForSubObject(0), 2u);
    EXPECT_EQ(mesh->GetNumberOfPrimitivesForSubObject(1), 1u);
    EXPECT_EQ(mesh->GetVertexAttributes(0), full);
    auto backA = mesh->GetVertexDataForSubObject(0);
    auto backB = mesh->GetVertexDataForSubObject(1);
    ASSERT_NE(backA, nullptr);
    ASSERT_NE(backB, nullptr);
    EXPECT_EQ(backA->Stride(), a->Stride());
    EXPECT_EQ(Values(*backA), Values(*a));
    EXPECT_EQ(Values(*backB), Values(*b));
    EXPECT_EQ(mesh->GetIndexDataForSubObject(0), nullptr);  // not indexed
    auto c = Vertices(3, VA::Position);
    mesh = Mesh::Create(Info("indexed", PrimitiveType::Triangles, {{c, Indices({2, 0, 1}), VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(Values(*mesh->GetVertexDataForSubObject(0)), Values(*c));
    auto indices = mesh->GetIndexDataForSubObject(0);
    ASSERT_NE(indices, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(indices->Data(), indices->Data() + 3), (std::vector<uint32_t>{2, 0, 1}));
}

TEST_F(MeshTest, BuildUpGrowsByOneTriangleEveryIntervalAndFinishes) {
    kestrum_test::ColorTarget target(4, 4);
    auto mesh = Mesh::Create(
        Info("grow", PrimitiveType::Triangles, {{Vertices(12, VA::Position), nullptr, VA::Position}}, true));
    ASSERT_NE(mesh, nullptr);
    const DrawInfo* d = mesh->GetDrawInfo(0);
    EXPECT_TRUE(d->animated);
    EXPECT_EQ(d->buildUpTotal, 12u);
    EXPECT_EQ(d->buildUpStep, 3u);
    EXPECT_EQ(mesh->GetBuildUpState(), Mesh::BuildUpRunning);
    RenderInfo info;
    info.shaderInfos.resize(1);
    mesh->Draw(info, 0.0f);
    EXPECT_EQ(d->buildUpCurrent, 0u);  // starts with nothing
    const uint32_t expected[] = {3, 6, 9, 12};
    for (int k = 1; k <= 4; ++k) {
        mesh->Draw(info, 0.06f * float(k));
        EXPECT_EQ(d->buildUpCurrent, expected[k - 1]) << k;
        mesh->Draw(info, 0.06f * float(k) + 0.02f);  // inside the interval: no growth
        EXPECT_EQ(d->buildUpCurrent, expected[k - 1]) << k;
    }
    EXPECT_EQ(mesh->GetBuildUpState(), Mesh::BuildUpRunning);
    mesh->Draw(info, 0.5f);
    EXPECT_EQ(d->buildUpCurrent, 12u);
    EXPECT_EQ(mesh->GetBuildUpState(), Mesh::BuildUpFinished);
    kestrum_test::TakeGLError();  // drawing without a program is undefined but harmless here
}

namespace {

constexpr GLsizei kSize = 96;
constexpr uint32_t kTriangles = 1500;
constexpr uint32_t kAttributes = VA::Position | VA::Diffuse;  // 7 floats a row

const char* kVertexSource = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 1) in vec4 colour;
out vec4 vColour;
void main() { vColour = colour; gl_Position = vec4(position, 1.0); }
)";
const char* kFragmentSource = R"(#version 330 core
in vec4 vColour;
out vec4 fragColour;
void main() { fragColour = vColour; }
)";

// The test's own program reads the rows (position, colour), so the VAO is pointed at them.
void PointVaoAtRows(const Mesh& mesh) {
    const DrawInfo* draw = mesh.GetDrawInfo(0);
    glBindVertexArray(draw->vao);
    glBindBuffer(GL_ARRAY_BUFFER, draw->vbo);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 7 * sizeof(float), nullptr);
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 7 * sizeof(float),
                          reinterpret_cast<const void*>(3 * sizeof(float)));
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

class MeshBatchDrawTest : public kestrum_test::GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        savedLimit_ = Mesh::DrawBatchLimit();
        program_ = kestrum_test::LinkProgram(kVertexSource, kFragmentSource);
        ASSERT_NE(program_, 0u);
        target_ = std::make_unique<kestrum_test::ColorTarget>(kSize, kSize, true);
        ASSERT_TRUE(target_->Complete());
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }

    void TearDown() override {
        Mesh::SetDrawBatchLimit(savedLimit_);
        glUseProgram(0);
        target_.reset();
        if (program_) glDeleteProgram(program_);
        GLTest::TearDown();
    }

    // Overlapping triangles on few depth levels with blending on: where two share a depth the
    // later one wins (LEQUAL) and blends over the earlier, so any change of order or any
    // dropped or repeated triangle changes pixels.
    static std::vector<float> Corners() {
        std::mt19937 random(7);
        std::uniform_real_distribution<float> position(-1.0f, 1.0f), offset(-0.3f, 0.3f), unit(0.0f, 1.0f);
        std::vector<float> rows;
        rows.reserve(size_t(kTriangles) * 3 * 7);
        for (uint32_t t = 0; t < kTriangles; ++t) {
            const float cx = position(random), cy = position(random);
            const float z = float(int(unit(random) * 4.0f)) * 0.25f - 0.5f;
            const float colour[4] = {unit(random), unit(random), unit(random), 0.6f};
            for (int c = 0; c < 3; ++c)
                rows.insert(rows.end(),
                            {cx + offset(random), cy + offset(random), z, colour[0], colour[1], colour[2], colour[3]});
        }
        return rows;
    }

    static std::shared_ptr<Mesh> Build(bool indexed, bool animated) {
        const std::vector<float> corners = Corners();
        MeshSubObjectData sub;
        sub.attributes = kAttributes;
        if (indexed) {
            // Stored back to front and indexed front to back, so index offsets matter.
            const uint32_t count = kTriangles * 3;
            std::vector<float> reversed(corners.size());
            std::vector<uint32_t> indices(count);
            for (uint32_t v = 0; v < count; ++v) {
                const uint32_t stored = count - 1 - v;
                std::copy_n(corners.begin() + size_t(v) * 7, 7, reversed.begin() + size_t(stored) * 7);
                indices[v] = stored;
            }
            sub.vertices = DataBuffer<float>::Create(count, 7, reversed.data());
            sub.indices = DataBuffer<uint32_t>::Create(count, 1, indices.data());
        } else {
            sub.vertices = DataBuffer<float>::Create(kTriangles * 3, 7, corners.data());
        }
        MeshCreationInfo info;
        info.name = "batched";
        info.subObjects.push_back(sub);
        info.animateBuildUp = animated;
        auto mesh = Mesh::Create(info);
        if (!mesh) return nullptr;
        PointVaoAtRows(*mesh);
        return mesh;
    }

    std::vector<uint8_t> Render(Mesh& mesh, uint32_t batchLimit, float time = 0.0f) {
        Mesh::SetDrawBatchLimit(batchLimit);
        target_->Bind();
        glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
        glClearDepth(1.0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_LEQUAL);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glUseProgram(program_);
        RenderInfo info;
        info.shaderInfos.resize(1);  // no shader: the test's program stays bound
        mesh.Draw(info, time);
        std::vector<uint8_t> pixels = target_->Read();
        glDisable(GL_BLEND);
        glUseProgram(0);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        return pixels;
    }

    static size_t Covered(const std::vector<uint8_t>& pixels) {
        size_t n = 0;
        for (size_t i = 0; i < pixels.size(); i += 4) n += (pixels[i] | pixels[i + 1] | pixels[i + 2]) != 0;
        return n;
    }

    uint32_t savedLimit_ = 0;
    GLuint program_ = 0;
    std::unique_ptr<kestrum_test::ColorTarget> target_;
};

}  // namespace

TEST_F(MeshBatchDrawTest, BatchedDrawsGiveThePictureOfOneDraw) {
    for (bool indexed : {false, true}) {
        SCOPED_TRACE(indexed ? "indexed" : "unindexed");
        auto mesh = Build(indexed, false);
        ASSERT_NE(mesh, nullptr);
        const std::vector<uint8_t> whole = Render(*mesh, 0);
        ASSERT_GT(Covered(whole), size_t(kSize) * kSize / 2);
        for (uint32_t limit : {1u, 7u, 333u, kTriangles / 2}) {
            SCOPED_TRACE("limit " + std::to_string(limit));
            EXPECT_TRUE(Render(*mesh, limit) == whole);
        }
        EXPECT_TRUE(Render(*mesh, kTriangles) == whole);
    }
}

TEST_F(MeshBatchDrawTest, BuildUpDrawsTheSamePrefixInBatches) {
    auto whole = Build(true, true);
    auto batched = Build(true, true);
    ASSERT_NE(whole, nullptr);
    ASSERT_NE(batched, nullptr);
    float time = 0.0f;
    for (int frame = 0; frame < 12; ++frame, time += 0.05f) {
        SCOPED_TRACE("frame " + std::to_string(frame));
        const std::vector<uint8_t> a = Render(*whole, 0, time);
        const std::vector<uint8_t> b = Render(*batched, 4, time);
        EXPECT_EQ(whole->GetDrawInfo(0)->buildUpCurrent, batched->GetDrawInfo(0)->buildUpCurrent);
        EXPECT_TRUE(a == b);
    }
}

TEST(MeshBatchLimit, SoftwareRasterizerDrawsInBatches) {
    ASSERT_TRUE(kestrum_test::EnsureGLContext());
    const std::string renderer = OpenGLContext::Instance().RendererString();
    if (renderer.rfind("llvmpipe", 0) != 0) GTEST_SKIP() << "not llvmpipe: " << renderer;
    EXPECT_GT(Mesh::DrawBatchLimit(), 0u);
}

namespace {

class MeshInPlaceTest : public kestrum_test::GLTest {
protected:
    // Row r, value k of a sub-object: distinct everywhere, so a shifted row shows.
    static float Value(uint32_t sub, uint32_t r, uint32_t k) {
        return float(sub) * 1000.0f + float(r) * 10.0f + float(k) - 40.0f;
    }

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
    Vec3 min{}, max{};
    ASSERT_TRUE(mesh->GetBoundingBox(min, max));
    EXPECT_EQ(min, (Vec3{Value(0, 0, 0), Value(0, 0, 1), Value(0, 0, 2)}));
    EXPECT_EQ(max, (Vec3{Value(1, 5, 0), Value(1, 5, 1), Value(1, 5, 2)}));
}

TEST_F(MeshInPlaceTest, AFailingWriterOrMissingRowsLeaveNoMesh) {
    MeshCreationInfo info;
    info.name = "refused";
    info.subObjects.push_back(InPlace(VA::Position | VA::Normal, 3));
    Velmora::Test::LogCapture log;
    EXPECT_EQ(Mesh::Create(info, [](float* const*) { return false; }), nullptr);
    EXPECT_EQ(Mesh::Create(info), nullptr);
    info.subObjects[0].vertexCount = 0xFFFFFFFFu;
    bool called = false;
    EXPECT_EQ(Mesh::Create(info, [&](float* const*) { return called = true; }), nullptr);
    EXPECT_FALSE(called);
}
