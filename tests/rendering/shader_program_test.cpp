// Generated programs compiled and linked by the driver, their caches, and what they draw.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <array>
#include <cstdio>
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
    const uint32_t attributeSets[] = {kPos, kPos | kNormal, kPos | kDiffuse, kPos | kSpecular, kPos | kNormal | kDiffuse,
                                      kPos | kNormal | kSpecular, kPos | kNormal | kDiffuse | kSpecular};
    const uint32_t flagSets[] = {0x01, 0x02, 0x03, 0x05, 0x06, 0x07, 0x0B, 0x0F, 0x13, 0x17, 0x1F, 0x21, 0x29, 0x61, 0x71};

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
            // The lighting model only changes lit programs; the unlit ones run once.
            if (model != 1 && !(d.flags & ShaderFlags::Lighting)) continue;
            const std::string name = Manager(model).BuildName(d);
            auto shader = Manager(model).GetShader(d);
            ASSERT_NE(shader, nullptr) << name << "\n" << log.Find("GLSL Error");
            EXPECT_TRUE(shader->IsInitialized());
            EXPECT_NE(shader->GetProgram(), 0u);
            EXPECT_EQ(shader->GetName(), name);
            ++built;
        }
    }
    EXPECT_EQ(log.Count("GLSL Error"), 0u);
    EXPECT_EQ(log.Count("Successfully created '"), Manager(0).ProgramCount() + Manager(1).ProgramCount() + Manager(2).ProgramCount());
    EXPECT_GT(built, 600u);
    std::printf("[ sweep    ] %zu descriptions, %zu programs\n", built,
                Manager(0).ProgramCount() + Manager(1).ProgramCount() + Manager(2).ProgramCount());
}

TEST_F(ShaderProgramTest, EachGeometryModeLinksWithItsStages) {
    LogCapture log;
    for (uint32_t mode = 0; mode <= 4; ++mode) {
        auto shader = Manager(1).GetShader(Describe(kPos | kNormal | kDiffuse | 0x01, 0x07, mode));
        ASSERT_NE(shader, nullptr) << mode << "\n" << log.Find("GLSL Error");
        GLint attached = 0;
        glGetProgramiv(shader->GetProgram(), GL_ATTACHED_SHADERS, &attached);
        EXPECT_EQ(attached, (mode >= 1 && mode <= 3) ? 3 : 2) << mode;
    }
    EXPECT_TRUE(log.Has("Successfully compiled geometry shader 'DSG_1_0_07_701_3'", 4));
}

TEST_F(ShaderProgramTest, UnsupportedLightingModelStillCompiles) {
    LogCapture log;
    auto shader = Manager(3).GetShader(Describe(kPos | kNormal | kSpecular, 0x07));
    ASSERT_NE(shader, nullptr);
    EXPECT_TRUE(log.Has("AddFragmentLightingFunction() - Unsupported light model '3'", 1));
    EXPECT_EQ(shader->GetName(), "3_0_07_b00_0");
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
    EXPECT_TRUE(log.Has("Shader '1_0_03_101_0_a' already exists, re-using.", 5));

    // A different blend word is a different program with stages of its own.
    ShaderDescription c = a;
    c.layerBlend[0] = 0;
    auto third = Manager(1).GetShader(c);
    ASSERT_NE(third, nullptr);
    EXPECT_NE(third, first);
    EXPECT_EQ(Manager(1).ProgramCount(), 2u);
    EXPECT_EQ(Manager(1).StageCount(), 4u);

    // Programs are per scene.
    auto other = Manager(0).GetShader(a);
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other, first);
    EXPECT_EQ(other->GetName(), "0_0_03_101_0_a");
}

TEST_F(ShaderProgramTest, ShutdownDeletesStagesAndProgramsGoWithTheirLastOwner) {
    LogCapture log;
    auto shader = Manager(1).GetShader(Describe(kPos | kDiffuse, 0x03));
    ASSERT_NE(shader, nullptr);
    const GLuint program = shader->GetProgram();
    std::vector<GLuint> stages(4);
    GLsizei count = 0;
    glGetAttachedShaders(program, 4, &count, stages.data());
    ASSERT_EQ(count, 2);

    Manager(1).Shutdown();
    EXPECT_EQ(Manager(1).ProgramCount(), 0u);
    EXPECT_EQ(Manager(1).StageCount(), 0u);
    // Still held here: the program lives on; the stages are only flagged for deletion.
    EXPECT_TRUE(glIsProgram(program));
    EXPECT_FALSE(log.Has("Deleted shader"));
    shader.reset();
    EXPECT_TRUE(log.Has("Deleted shader '1_0_03_500_0'", 4));
    EXPECT_FALSE(glIsProgram(program));
    EXPECT_FALSE(glIsShader(stages[0]));
}

TEST_F(ShaderProgramTest, CompileErrorsAreLoggedWithNumberedSource) {
    LogCapture log;
    ShaderStage stage{ShaderStageKind::Vertex, "DSV_broken", "#version 330\nvoid main()\n{\n    undefinedCall();\n}\n"};
    uint32_t object = 99;
    EXPECT_FALSE(Manager(1).CompileStage(stage, object));
    EXPECT_EQ(object, 0u);
    EXPECT_EQ(Manager(1).StageCount(), 0u);
    const std::string message = log.Find("GLSL Error:\n");
    EXPECT_NE(message.find("\nShader: 'DSV_broken'(1) #version 330\n(2) void main()\n(3) {\n(4)     undefinedCall();\n(5) }"),
              std::string::npos)
        << message;
    EXPECT_EQ(message.find("(6)"), std::string::npos);

    // Empty source or name: refused without asking the driver.
    EXPECT_FALSE(Manager(1).CompileStage({ShaderStageKind::Vertex, "DSV_empty", ""}, object));
    EXPECT_FALSE(Manager(1).CompileStage({ShaderStageKind::Vertex, "", "void main() {}"}, object));

    // A good stage is compiled once and then reused by name.
    ShaderStage good{ShaderStageKind::Fragment, "DSF_good", "#version 330\nout vec4 c;\nvoid main() { c = vec4(1.0); }\n"};
    uint32_t a = 0, b = 0;
    EXPECT_TRUE(Manager(1).CompileStage(good, a));
    EXPECT_TRUE(Manager(1).CompileStage(good, b));
    EXPECT_NE(a, 0u);
    EXPECT_EQ(a, b);
    EXPECT_EQ(log.Count("Successfully compiled fragment shader 'DSF_good'", 4), 1u);
}

TEST_F(ShaderProgramTest, LinkFailureLeavesNoProgram) {
    LogCapture log;
    // A stage calling a function that no stage defines compiles, but does not link.
    uint32_t vertex = 0;
    ASSERT_TRUE(Manager(1).CompileStage({ShaderStageKind::Vertex, "DSV_unresolved",
                                         "#version 330\nvec4 Elsewhere();\nvoid main() { gl_Position = Elsewhere(); }\n"},
                                        vertex));
    uint32_t fragment = 0;
    ASSERT_TRUE(Manager(1).CompileStage(
        {ShaderStageKind::Fragment, "DSF_plain", "#version 330\nout vec4 c;\nvoid main() { c = vec4(1.0); }\n"}, fragment));
    uint32_t program = 5;
    EXPECT_FALSE(Manager(1).LinkProgram({vertex, 0, fragment}, program));
    EXPECT_EQ(program, 0u);
    EXPECT_TRUE(log.Has("GLSL Error:\n", 1));
}

TEST_F(ShaderProgramTest, SceneWithoutBindingPointsGetsNoProgram) {
    scenes_.Add(9, 1, 0, 0);
    ShaderManager2 manager(9);
    LogCapture log;
    EXPECT_EQ(manager.GetShader(Describe(kPos, 0x01)), nullptr);
    EXPECT_TRUE(log.Has("Unable to create shader from description", 1));
    EXPECT_EQ(manager.ProgramCount(), 0u);
}

TEST_F(ShaderProgramTest, LocationsAreReadForWhatTheDescriptionUses) {
    LogCapture log;
    ShaderDescription d = Describe(kPos | kNormal | kDiffuse | 0x03, 0x1F);
    d.textureLayers = 0x03;
    d.layerBlend[0] = 3 | 8;
    d.layerBlend[1] = 1;
    d.alphaFunction = 2;
    auto shader = Manager(1).GetShader(d);
    ASSERT_NE(shader, nullptr);
    const DynamicShader::Locations& l = shader->GetLocations();
    EXPECT_NE(l.vertexPos, -1);
    EXPECT_NE(l.vertexNormal, -1);
    // Read because the description has it, but the textured colour leaves it unused.
    EXPECT_EQ(l.vertexDiffuse, -1);
    EXPECT_TRUE(log.Has("DynamicShader::GetAttributeLocation() - cannot find attribute 'vertexDiffuse'", 1));
    EXPECT_NE(l.vertexTexCoord[0], -1);
    EXPECT_NE(l.vertexTexCoord[1], -1);
    EXPECT_EQ(l.vertexTexCoord[2], -1);
    EXPECT_NE(l.modelMatrix, -1);
    EXPECT_NE(l.normalMatrix, -1);
    EXPECT_NE(l.texSampler[0], -1);
    EXPECT_NE(l.texIntensity[1], -1);
    EXPECT_NE(l.blendingConstant[0], -1);
    EXPECT_EQ(l.blendingConstant[1], -1);  // bit 3 clear: not read
    EXPECT_NE(l.matSampler, -1);
    EXPECT_NE(l.materialIndex, -1);
    EXPECT_NE(l.alphaTestReference, -1);

    GLint binding = -1;
    const GLuint program = shader->GetProgram();
    glGetActiveUniformBlockiv(program, glGetUniformBlockIndex(program, "GlobalMatrices"), GL_UNIFORM_BLOCK_BINDING, &binding);
    EXPECT_EQ(binding, GLint(kMatricesBinding));
    glGetActiveUniformBlockiv(program, glGetUniformBlockIndex(program, "GlobalLights"), GL_UNIFORM_BLOCK_BINDING, &binding);
    EXPECT_EQ(binding, GLint(kLightsBinding));

    EXPECT_EQ(shader->GetUniformLocation("noSuchUniform"), -1);
    EXPECT_TRUE(log.Has("DynamicShader::GetUniformLocation() - cannot find uniform 'noSuchUniform'", 1));
    EXPECT_EQ(shader->GetAttributeLocation("noSuchAttribute"), -1);
    EXPECT_TRUE(log.Has("DynamicShader::GetAttributeLocation() - cannot find attribute 'noSuchAttribute'", 1));
}

// ---------------------------------------------------------------------------------------------
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
            return ::testing::AssertionFailure() << "pixel (" << pixel[0] << ", " << pixel[1] << ", " << pixel[2] << ", "
                                                 << pixel[3] << ") expected (" << expected[0] << ", " << expected[1]
                                                 << ", " << expected[2] << ", " << expected[3] << ")";
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
    // Position, normal (skipped by an unlit program, still part of the row), diffuse, specular,
    // layer 0 coordinates: the diffuse colour must be read at float 6.
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
    // GlobalMatrices: view and projection identity. GlobalLights (std140, 800 bytes): lighting
    // on, no ambient, no gamma, one directional light.
    const float matrices[32] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1,
                                1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    UniformBuffer(kMatricesBinding, matrices, sizeof(matrices));
    unsigned char lights[800] = {};
    const int32_t enable = 1;
    std::memcpy(lights + 0, &enable, 4);
    auto setLight = [&](float x, float y, float z) {
        const float light[20] = {x, y, z, 0,  1, 1, 1, 1,  0, 0, 0, 0,  0, 0, 0, 1,  0, 0, 0, 0};
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

    // The light shines along -z, straight onto the face (direction is the negated position).
    setLight(0, 0, -1);
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {128, 64, 255, 255}));
    // At 60 degrees the diffuse term halves.
    setLight(0, -std::sqrt(3.0f) / 2.0f, -0.5f);
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {64, 32, 128, 255}));
    // Lighting switched off in the block: the plain colour.
    std::memset(lights, 0, 4);
    UniformBuffer(kLightsBinding, lights, sizeof(lights));
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {128, 64, 255, 255}));
    // A projection of zeros collapses everything: nothing is drawn.
    const float none[32] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    UniformBuffer(kMatricesBinding, none, sizeof(none));
    EXPECT_TRUE(PixelIs(Draw(mesh, shader, info), {0, 0, 0, 0}));
}

}  // namespace
