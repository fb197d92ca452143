// The GlobalLights block on the GPU: the driver's std140 layout of the block the shader
// generator writes must place every member where LightBlock has it, and LightManager's
// partial uploads must leave the buffer byte-identical to its CPU copy.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstring>
#include <string>

#include "GLTestEnvironment.h"
#include "camera_fake_scene.h"
#include "rendering/LightManager.h"
#include "rendering/Mesh.h"
#include "rendering/OpenGLContext.h"
#include "rendering/Renderer.h"
#include "rendering/shaders/ShaderSourceGenerator.h"

namespace kestrum_test {
namespace {

using namespace cam;

GLuint CompileStage(GLenum kind, const std::string& source) {
    const GLuint shader = glCreateShader(kind);
    const char* text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok != GL_TRUE) {
        char log[2048] = {};
        glGetShaderInfoLog(shader, sizeof(log), nullptr, log);
        ADD_FAILURE() << log;
    }
    return shader;
}

// A lit program as the generator writes it for a mesh with positions and normals.
GLuint LitProgram() {
    ShaderDescription description;
    description.vertexAttributes = VertexAttribute::Position | VertexAttribute::Normal;
    description.flags = ShaderFlags::FrontFaces | ShaderFlags::Lighting | ShaderFlags::MeshColor;
    description.blendMode = 3;
    const OpenGLContext& context = OpenGLContext::Instance();
    const ShaderSourceGenerator generator(description, 1, context.ShaderMajor(), context.ShaderMinor());
    const GLuint vertex = CompileStage(GL_VERTEX_SHADER, generator.VertexSource());
    const GLuint fragment = CompileStage(GL_FRAGMENT_SHADER, generator.FragmentSource());
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    GLint ok = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &ok);
    EXPECT_EQ(ok, GL_TRUE);
    return program;
}

struct LightBlockGL : ::testing::Test {
    void SetUp() override { ASSERT_TRUE(EnsureGLContext()); }
    void TearDown() override { EXPECT_EQ(TakeGLError(), ""); }
};

TEST_F(LightBlockGL, DriverLayoutMatchesLightBlock) {
    const GLuint program = LitProgram();
    const GLuint block = glGetUniformBlockIndex(program, "GlobalLights");
    ASSERT_NE(block, GL_INVALID_INDEX);
    GLint size = 0;
    glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_DATA_SIZE, &size);
    EXPECT_EQ(size, static_cast<GLint>(sizeof(LightBlock)));

    struct Member {
        std::string name;
        size_t offset;
    };
    std::vector<Member> members = {
        {"GlobalLights.enableLighting", LightBlockOffset::EnableLighting},
        {"GlobalLights.enableAmbient", LightBlockOffset::EnableAmbient},
        {"GlobalLights.enableGamma", LightBlockOffset::EnableGamma},
        {"GlobalLights.gamma", LightBlockOffset::Gamma},
        {"GlobalLights.ambientIntensity", LightBlockOffset::AmbientIntensity},
        {"GlobalLights.flags[0]", LightBlockOffset::Flag(0)},
    };
    for (uint32_t i = 0; i < kMaxLights; ++i) {
        const std::string light = "GlobalLights.light[" + std::to_string(i) + "].";
        const size_t base = LightBlockOffset::Light(i);
        members.push_back({light + "position", base + offsetof(LightInfo, position)});
        members.push_back({light + "diffuse", base + offsetof(LightInfo, diffuse)});
        members.push_back({light + "specular", base + offsetof(LightInfo, specular)});
        members.push_back({light + "spotDirection", base + offsetof(LightInfo, spotDirection)});
        members.push_back({light + "constantAttenuation", base + offsetof(LightInfo, constantAttenuation)});
        members.push_back({light + "linearAttenuation", base + offsetof(LightInfo, linearAttenuation)});
        members.push_back({light + "quadraticAttenuation", base + offsetof(LightInfo, quadraticAttenuation)});
        members.push_back({light + "spotCutoff", base + offsetof(LightInfo, spotCutoff)});
        members.push_back({light + "spotExponent", base + offsetof(LightInfo, spotExponent)});
    }
    for (const Member& member : members) {
        const char* name = member.name.c_str();
        GLuint index = GL_INVALID_INDEX;
        glGetUniformIndices(program, 1, &name, &index);
        ASSERT_NE(index, GL_INVALID_INDEX) << member.name;
        GLint offset = -1;
        glGetActiveUniformsiv(program, 1, &index, GL_UNIFORM_OFFSET, &offset);
        EXPECT_EQ(offset, static_cast<GLint>(member.offset)) << member.name;
    }
    const char* flags = "GlobalLights.flags[0]";
    GLuint index = GL_INVALID_INDEX;
    glGetUniformIndices(program, 1, &flags, &index);
    GLint stride = 0;
    glGetActiveUniformsiv(program, 1, &index, GL_UNIFORM_ARRAY_STRIDE, &stride);
    EXPECT_EQ(stride, 16);
    glDeleteProgram(program);
}

TEST_F(LightBlockGL, UploadsKeepTheBufferEqualToTheBlock) {
    Renderer& renderer = Renderer::Instance();
    const int32_t binding = renderer.GetAvailableUniformBlockBindingPoint();
    ASSERT_GE(binding, 0);
    LightManager lights(1);
    ASSERT_TRUE(lights.Init(static_cast<uint32_t>(binding)));
    ASSERT_NE(lights.GetBuffer(), 0u);

    auto readBack = [&lights]() {
        LightBlock gpu;
        std::memset(static_cast<void*>(&gpu), 0xAB, sizeof(gpu));  // catches bytes never read back
        glBindBuffer(GL_UNIFORM_BUFFER, lights.GetBuffer());
        glGetBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(LightBlock), &gpu);
        glBindBuffer(GL_UNIFORM_BUFFER, 0);
        return gpu;
    };
    LightBlock gpu = readBack();
    EXPECT_EQ(std::memcmp(&gpu, &lights.GetBlock(), sizeof(LightBlock)), 0);

    LightInfo spot;
    spot.position[3] = 1.0f;
    spot.spotCutoff = 0.5f;
    spot.spotExponent = 7.0f;
    spot.diffuse[2] = 0.75f;
    lights.SetLightInfo(3, spot, true);
    lights.SetLightInfo(7, LightInfo{}, false);
    lights.SetLightingEnabled(true);
    lights.SetAmbient(true, {0.2f, 0.3f, 0.4f, 1.0f});
    lights.SetGamma(2.2f);
    lights.SetGammaEnabled(true);
    lights.AttachLightToCamera(3);
    lights.UpdateCameraLights(Vec3{1, 2, 3}, Vec3{0, 1, 0});
    gpu = readBack();
    EXPECT_EQ(std::memcmp(&gpu, &lights.GetBlock(), sizeof(LightBlock)), 0);
    EXPECT_EQ(gpu.flags[3][0], 1);
    EXPECT_FLOAT_EQ(gpu.light[3].spotDirection[1], 1.0f);

    // The binding point serves the block.
    GLint bound = 0;
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, static_cast<GLuint>(binding), &bound);
    EXPECT_EQ(static_cast<GLuint>(bound), lights.GetBuffer());

    lights.Reset();
    gpu = readBack();
    const LightBlock defaults;
    EXPECT_EQ(std::memcmp(&gpu, &defaults, sizeof(LightBlock)), 0);

    EXPECT_EQ(lights.Shutdown(), static_cast<uint32_t>(binding));
    renderer.ReleaseBlockBindingPoint(binding);
    EXPECT_FALSE(lights.IsInitialized());
}

}  // namespace
}  // namespace kestrum_test
