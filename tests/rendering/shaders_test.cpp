// Shader programs: every description compiles and links, programs are shared, and pictures
// drawn through them.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "GLTestEnvironment.h"
#include "color_target.h"
#include "rendering/Mesh.h"
#include "rendering/shaders/DynamicShader.h"
#include "rendering/shaders/ShaderManager2.h"
#include "shader_test_support.h"
#include "support/LogCapture.h"

namespace {

using namespace Velmora::Rendering;
using kestrum_test::FakeScenes;
using Velmora::Test::LogCapture;

constexpr uint32_t kPos = VertexAttribute::Position;
constexpr uint32_t kNormal = VertexAttribute::Normal;
constexpr uint32_t kDiffuse = VertexAttribute::Diffuse;
constexpr uint32_t kSpecular = VertexAttribute::Specular;

constexpr uint32_t kMatricesBinding = 1;
constexpr uint32_t kLightsBinding = 2;

class ShaderProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        for (uint32_t model = 0; model < 4; ++model) scenes_.Add(model + 1, model, kMatricesBinding, kLightsBinding);
    }
    void TearDown() override {
        for (auto& manager : managers_) manager.Shutdown();
        EXPECT_EQ(kestrum_test::TakeGLError(), "");
    }
    // Scene 1 + lighting model.
    ShaderManager2& Manager(uint32_t lightingModel) { return managers_[lightingModel]; }

    static ShaderDescription Describe(uint32_t attributes, uint32_t flags, uint32_t geometryMode = 0) {
        ShaderDescription d;
        d.vertexAttributes = attributes;
        d.flags = flags;
        d.geometryMode = geometryMode;
        d.blendMode = 3;
        return d;
    }

    FakeScenes scenes_;
    std::array<ShaderManager2, 4> managers_{ShaderManager2(1), ShaderManager2(2), ShaderManager2(3), ShaderManager2(4)};
};

// Descriptions that the pools and the renderer produce: each must compile and link.
std::vector<ShaderDescription> SweepDescriptions() {
    struct Layers {
        uint32_t coordinates;  // texture coordinates in the vertex data
        uint32_t used;         // textureLayers
        uint32_t blend[8];
    };
    const Layers layerSets[] = {
        {0x00, 0x00, {}},
        {0x01, 0x01, {2}},
        {0x01, 0x01, {1 | 8}},
        {0x03, 0x03, {0, 3}},
        {0x03, 0x03, {3 | 4, 1}},
        {0x07, 0x05, {1, 0, 2}},
        {0x0F, 0x0E, {0, 1 | 8, 3 | 8, 2}},
        {0xFF, 0xFF, {0, 1, 2, 3, 1 | 8, 3 | 8, 2 | 4, 0 | 12}},
    };
    const uint32_t attributeSets[] = {kPos,
                                      kPos | kNormal,
                                      kPos | kDiffuse,
                                      kPos | kSpecular,
                                      kPos | kNormal | kDiffuse,
                                      kPos | kNormal | kSpecular,
                                      kPos | kNormal | kDiffuse | kSpecular};
    const uint32_t flagSets[] = {0x01, 0x02, 0x03, 0x05, 0x06, 0x07, 0x0B, 0x0F,
                                 0x13, 0x17, 0x1F, 0x21, 0x29, 0x61, 0x71};

    std::vector<ShaderDescription> out;
    uint32_t counter = 0;
    for (const Layers& layers : layerSets) {
        for (uint32_t attributes : attributeSets) {
            for (uint32_t flags : flagSets) {
                const bool lighting = flags & ShaderFlags::Lighting;
                // Lighting needs normals and the camera-space position.
                if (lighting && !(attributes & kNormal)) continue;
                ShaderDescription d;
                d.vertexAttributes = attributes | layers.coordinates;
                d.flags = flags;
                d.textureLayers = layers.used;
                std::memcpy(d.layerBlend, layers.blend, sizeof(d.layerBlend));
                d.blendMode = 3;
                d.alphaFunction = counter % 9;
                const uint32_t mode = counter % 5;
                d.geometryMode = (mode == GeometryMode::NormalsOnly && !lighting) ? 0 : mode;
                ++counter;
                out.push_back(d);
            }
        }
    }
    return out;
}

TEST_F(ShaderProgramTest, EveryKindOfDescriptionCompilesAndLinks) {
    LogCapture log;
    const std::vector<ShaderDescription> sweep = SweepDescriptions();
    ASSERT_GT(sweep.size(), 400u);
    size_t built = 0;
    for (uint32_t model = 0; model < 3; ++model) {
        for (size_t i = 0; i < sweep.size(); ++i) {
            const ShaderDescription& d = sweep[i];
            if (model != 1 && !(d.flags & ShaderFlags::Lighting)) continue;
            const std::string name = Manager(model).BuildName(d);
            auto shader = Manager(model).GetShader(d);
            EXPECT_TRUE(shader->IsInitialized());
            EXPECT_NE(shader->GetProgram(), 0u);
            EXPECT_EQ(shader->GetName(), name);
            ++built;
        }
    }
    EXPECT_GT(built, 600u);
}

TEST_F(ShaderProgramTest, EachGeometryModeLinksWithItsStages) {
    LogCapture log;
    for (uint32_t mode = 0; mode <= 4; ++mode) {
        auto shader = Manager(1).GetShader(Describe(kPos | kNormal | kDiffuse | 0x01, 0x07, mode));
        ASSERT_NE(shader, nullptr) << mode;
        GLint attached = 0;
        glGetProgramiv(shader->GetProgram(), GL_ATTACHED_SHADERS, &attached);
        EXPECT_EQ(attached, (mode >= 1 && mode <= 3) ? 3 : 2) << mode;
    }
}

TEST_F(ShaderProgramTest, DescriptionsDifferingInUniformValuesShareOneProgram) {
    LogCapture log;
    ShaderDescription a = Describe(kPos | 0x01, 0x03);
    a.textureLayers = 1;
    a.layerBlend[0] = 2 | 8;
    a.texIntensity[0] = 1.0f;
    ShaderDescription b = a;
    b.texIntensity[0] = 0.3f;
    b.blendingConstant[0] = 0.5f;
    b.alphaReference = 0.2f;
    auto first = Manager(1).GetShader(a);
    auto second = Manager(1).GetShader(b);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(Manager(1).ProgramCount(), 1u);
    EXPECT_EQ(Manager(1).StageCount(), 2u);
    ShaderDescription c = a;
    c.layerBlend[0] = 0;
    auto third = Manager(1).GetShader(c);
    ASSERT_NE(third, nullptr);
    EXPECT_NE(third, first);
    EXPECT_EQ(Manager(1).ProgramCount(), 2u);
    EXPECT_EQ(Manager(1).StageCount(), 4u);
    auto other = Manager(0).GetShader(a);
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other, first);
    EXPECT_EQ(other->GetName(), "0_0_03_101_0_a");
}

// Drawing: a full-viewport triangle into a small framebuffer, read back.

class ShaderDrawTest : public ShaderProgramTest {
protected:
    static constexpr int kSize = 4;

    void SetUp() override {
        ShaderProgramTest::SetUp();
        target_ = std::make_unique<kestrum_test::ColorTarget>(kSize, kSize);
        ASSERT_TRUE(target_->Complete());
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_CULL_FACE);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    void TearDown() override {
        target_.reset();
        for (GLuint buffer : buffers_) glDeleteBuffers(1, &buffer);
        for (GLuint texture : textures_) glDeleteTextures(1, &texture);
        ShaderProgramTest::TearDown();
    }

    // A triangle covering the viewport; rows carry position (z = 0) and then the extra floats.
    std::shared_ptr<Mesh> Triangle(uint32_t attributes, const std::vector<float>& extraPerVertex) {
        const float corners[3][3] = {{-1, -1, 0}, {3, -1, 0}, {-1, 3, 0}};
        const uint32_t stride = VertexAttribute::FloatsPerVertex(attributes);
        auto vertices = DataBuffer<float>::Create(3, stride);
        for (uint32_t i = 0; i < 3; ++i) {
            float* row = vertices->Row(i);
            std::memcpy(row, corners[i], sizeof(corners[i]));
            for (uint32_t k = 3; k < stride; ++k) row[k] = extraPerVertex[(k - 3) % extraPerVertex.size()];
        }
        MeshCreationInfo info;
        info.name = "triangle";
        info.primitiveType = PrimitiveType::Triangles;
        info.subObjects.push_back({vertices, nullptr, attributes});
        return Mesh::Create(info);
    }

    std::array<int, 4> Draw(const std::shared_ptr<Mesh>& mesh, const std::shared_ptr<DynamicShader>& shader,
                            RenderInfo& info) {
        EXPECT_TRUE(mesh->SetShaderForSubObject(0, shader));
        info.shaderInfos.resize(1);
        info.shaderInfos[0].shader = shader;
        glClear(GL_COLOR_BUFFER_BIT);
        mesh->Draw(info, 0.0f);
        std::array<unsigned char, 4> pixel{};
        glReadPixels(1, 1, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
        return {pixel[0], pixel[1], pixel[2], pixel[3]};
    }

    GLuint UniformBuffer(uint32_t binding, const void* data, size_t size) {
        GLuint buffer = 0;
        glGenBuffers(1, &buffer);
        glBindBuffer(GL_UNIFORM_BUFFER, buffer);
        glBufferData(GL_UNIFORM_BUFFER, GLsizeiptr(size), data, GL_STREAM_DRAW);
        glBindBufferRange(GL_UNIFORM_BUFFER, binding, buffer, 0, GLsizeiptr(size));
        buffers_.push_back(buffer);
        return buffer;
    }

    GLuint Texture1x1(const unsigned char rgba[4]) {
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        textures_.push_back(texture);
        return texture;
    }

    std::unique_ptr<kestrum_test::ColorTarget> target_;
    std::vector<GLuint> buffers_, textures_;
};

::testing::AssertionResult PixelIs(const std::array<int, 4>& pixel, std::array<int, 4> expected) {
    for (int i = 0; i < 4; ++i)
        if (std::abs(pixel[i] - expected[i]) > 2)
            return ::testing::AssertionFailure() << "pixel (" << pixel[0] << ", " << pixel[1] << ", " << pixel[2]
                                                 << ", " << pixel[3] << ") expected (" << expected[0] << ", "
                                                 << expected[1] << ", " << expected[2] << ", " << expected[3] << ")";
    return ::testing::AssertionSuccess();
}

TEST_F(ShaderDrawTest, MeshColourInClipSpace) {
    auto mesh = Triangle(kPos, {});
    ASSERT_NE(mesh, nullptr);
    auto shader = Manager(1).GetShader(Describe(kPos, 0x69));
    ASSERT_NE(shader, nullptr);
    RenderInfo info;
    info.meshColor = {1.0f, 0.5f, 0.0f, 1.0f};
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {255, 128, 0, 255}));
}

TEST_F(ShaderDrawTest, VertexAttributesFollowTheInterleavedLayout) {
    const uint32_t attributes = kPos | kNormal | kDiffuse | kSpecular | 0x01;
    auto mesh = Triangle(attributes, {9, 9, 9, 0.0f, 1.0f, 0.5f, 1.0f, 7, 7, 7, 7, 0.5f, 0.5f});
    ASSERT_NE(mesh, nullptr);
    auto shader = Manager(1).GetShader(Describe(attributes, 0x61));
    ASSERT_NE(shader, nullptr);
    RenderInfo info;
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {0, 255, 128, 255}));
}

TEST_F(ShaderDrawTest, TextureLayerWithIntensity) {
    auto mesh = Triangle(kPos | 0x01, {0.5f, 0.5f});
    ASSERT_NE(mesh, nullptr);
    ShaderDescription d = Describe(kPos | 0x01, 0x61);
    d.textureLayers = 1;
    d.layerBlend[0] = 2;
    auto shader = Manager(1).GetShader(d);
    ASSERT_NE(shader, nullptr);
    const unsigned char white[4] = {255, 255, 255, 255};
    RenderInfo info;
    info.shaderInfos.resize(1);
    info.shaderInfos[0].textureMask = 1;
    info.shaderInfos[0].texture[0] = Texture1x1(white);
    info.shaderInfos[0].texIntensity[0] = 0.5f;
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {128, 128, 128, 255}));
}

TEST_F(ShaderDrawTest, MatricesAndLightsComeFromTheBoundBlocks) {
    const float matrices[32] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1,
                                1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    UniformBuffer(kMatricesBinding, matrices, sizeof(matrices));
    unsigned char lights[800] = {};
    const int32_t enable = 1;
    std::memcpy(lights + 0, &enable, 4);
    auto setLight = [&](float x, float y, float z) {
        const float light[20] = {x, y, z, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
        std::memcpy(lights + 32, light, sizeof(light));
        std::memcpy(lights + 672, &enable, 4);  // flags[0].x
        UniformBuffer(kLightsBinding, lights, sizeof(lights));
    };
    auto mesh = Triangle(kPos | kNormal, {0, 0, 1});
    ASSERT_NE(mesh, nullptr);
    auto shader = Manager(1).GetShader(Describe(kPos | kNormal, 0x0D));
    ASSERT_NE(shader, nullptr);
    RenderInfo info;
    info.meshColor = {0.5f, 0.25f, 1.0f, 1.0f};
    setLight(0, 0, -1);
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {128, 64, 255, 255}));
    setLight(0, -std::sqrt(3.0f) / 2.0f, -0.5f);
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {64, 32, 128, 255}));
    std::memset(lights, 0, 4);
    UniformBuffer(kLightsBinding, lights, sizeof(lights));
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {128, 64, 255, 255}));
    const float none[32] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    UniformBuffer(kMatricesBinding, none, sizeof(none));
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {0, 0, 0, 0}));
}

}  // namespace
