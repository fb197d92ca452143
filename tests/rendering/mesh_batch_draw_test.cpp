// Batched mesh draws: a sub-object drawn in bounded batches (as on a software rasterizer) must
// give exactly the picture of one whole draw, indexed or not, whatever the batch size and
// however far a build-up animation has got.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "GLTestEnvironment.h"
#include "rendering/Mesh.h"
#include "rendering/OpenGLContext.h"

using namespace Velmora::Rendering;
namespace VA = Velmora::Rendering::VertexAttribute;

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

GLuint Compile(GLenum type, const char* source) {
    GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    return shader;
}

// The test's own program reads the rows (position, colour), so the VAO is pointed at them.
void PointVaoAtRows(const Mesh& mesh) {
    const DrawInfo* draw = mesh.GetDrawInfo(0);
    glBindVertexArray(draw->vao);
    glBindBuffer(GL_ARRAY_BUFFER, draw->vbo);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 7 * sizeof(float), nullptr);
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 7 * sizeof(float), reinterpret_cast<const void*>(3 * sizeof(float)));
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

class MeshBatchDrawTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        kestrum_test::TakeGLError();
        savedLimit_ = Mesh::DrawBatchLimit();

        program_ = glCreateProgram();
        GLuint vs = Compile(GL_VERTEX_SHADER, kVertexSource), fs = Compile(GL_FRAGMENT_SHADER, kFragmentSource);
        glAttachShader(program_, vs);
        glAttachShader(program_, fs);
        glLinkProgram(program_);
        glDeleteShader(vs);
        glDeleteShader(fs);
        GLint linked = 0;
        glGetProgramiv(program_, GL_LINK_STATUS, &linked);
        ASSERT_EQ(linked, GL_TRUE);

        glGenFramebuffers(1, &fbo_);
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glGenRenderbuffers(2, renderbuffers_);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbuffers_[0]);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, kSize, kSize);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffers_[0]);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbuffers_[1]);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, kSize, kSize);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, renderbuffers_[1]);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }

    void TearDown() override {
        Mesh::SetDrawBatchLimit(savedLimit_);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glUseProgram(0);
        if (fbo_) glDeleteFramebuffers(1, &fbo_);
        glDeleteRenderbuffers(2, renderbuffers_);
        if (program_) glDeleteProgram(program_);
        EXPECT_EQ(kestrum_test::TakeGLError(), "");
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
                rows.insert(rows.end(), {cx + offset(random), cy + offset(random), z, colour[0], colour[1], colour[2], colour[3]});
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
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glViewport(0, 0, kSize, kSize);
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
        std::vector<uint8_t> pixels(size_t(kSize) * kSize * 4);
        glReadPixels(0, 0, kSize, kSize, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
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
    GLuint program_ = 0, fbo_ = 0;
    GLuint renderbuffers_[2] = {0, 0};
};

}  // namespace

TEST_F(MeshBatchDrawTest, BatchedDrawsGiveThePictureOfOneDraw) {
    for (bool indexed : {false, true}) {
        SCOPED_TRACE(indexed ? "indexed" : "unindexed");
        auto mesh = Build(indexed, false);
        ASSERT_NE(mesh, nullptr);
        const std::vector<uint8_t> whole = Render(*mesh, 0);
        ASSERT_GT(Covered(whole), size_t(kSize) * kSize / 2);
        // One triangle a batch, an uneven split with a short tail, and exactly two batches.
        for (uint32_t limit : {1u, 7u, 333u, kTriangles / 2}) {
            SCOPED_TRACE("limit " + std::to_string(limit));
            EXPECT_TRUE(Render(*mesh, limit) == whole);
        }
        // A batch at or above the whole draw is one call.
        EXPECT_TRUE(Render(*mesh, kTriangles) == whole);
    }
}

TEST_F(MeshBatchDrawTest, DroppingTheLastBatchChangesThePicture) {
    // Guards the comparison above: the scene is one where every triangle shows.
    auto full = Build(false, false);
    ASSERT_NE(full, nullptr);
    const std::vector<uint8_t> whole = Render(*full, 0);
    const std::vector<float> corners = Corners();
    MeshSubObjectData sub;
    sub.attributes = kAttributes;
    sub.vertices = DataBuffer<float>::Create((kTriangles - 7) * 3, 7, corners.data());
    MeshCreationInfo info;
    info.name = "short";
    info.subObjects.push_back(sub);
    auto shorter = Mesh::Create(info);
    ASSERT_NE(shorter, nullptr);
    PointVaoAtRows(*shorter);
    EXPECT_FALSE(Render(*shorter, 0) == whole);
}

TEST_F(MeshBatchDrawTest, BuildUpDrawsTheSamePrefixInBatches) {
    // Two meshes advanced frame by frame side by side: one drawn whole, one in batches of 4
    // triangles, so the grown prefix ends inside a batch on most frames.
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
