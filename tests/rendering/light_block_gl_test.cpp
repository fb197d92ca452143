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

// Draws a white quad facing the viewer with the generated lit program, lit only by what the
// LightManager put into its buffer, and reads the centre pixel back. This pins down the
// block's meaning end to end: a directional light's position is the direction it travels.
class LitQuad {
public:
    LitQuad() {
        program_ = LitProgram();
        const float rows[] = {-1, -1, 0, 0, 0, 1, 1, -1, 0, 0, 0, 1, -1, 1, 0, 0, 0, 1, 1, 1, 0, 0, 0, 1};
        glGenVertexArrays(1, &vao_);
        glBindVertexArray(vao_);
        glGenBuffers(1, &vbo_);
        glBindBuffer(GL_ARRAY_BUFFER, vbo_);
        glBufferData(GL_ARRAY_BUFFER, sizeof(rows), rows, GL_STATIC_DRAW);
        const GLint position = glGetAttribLocation(program_, "vertexPos");
        const GLint normal = glGetAttribLocation(program_, "vertexNormal");
        EXPECT_GE(position, 0);
        EXPECT_GE(normal, 0);
        glEnableVertexAttribArray(GLuint(position));
        glVertexAttribPointer(GLuint(position), 3, GL_FLOAT, GL_FALSE, 24, nullptr);
        glEnableVertexAttribArray(GLuint(normal));
        glVertexAttribPointer(GLuint(normal), 3, GL_FLOAT, GL_FALSE, 24, reinterpret_cast<void*>(12));
        glBindVertexArray(0);

        // View and projection identity: the quad fills clip space at depth 0.
        matricesPoint_ = Renderer::Instance().GetAvailableUniformBlockBindingPoint();
        lightsPoint_ = Renderer::Instance().GetAvailableUniformBlockBindingPoint();
        const Mat4 identities[2] = {MathUtil::Identity4(), MathUtil::Identity4()};
        glGenBuffers(1, &matrices_);
        glBindBuffer(GL_UNIFORM_BUFFER, matrices_);
        glBufferData(GL_UNIFORM_BUFFER, sizeof(identities), identities, GL_STATIC_DRAW);
        glBindBufferRange(GL_UNIFORM_BUFFER, GLuint(matricesPoint_), matrices_, 0, sizeof(identities));
        glBindBuffer(GL_UNIFORM_BUFFER, 0);
        glUniformBlockBinding(program_, glGetUniformBlockIndex(program_, "GlobalMatrices"), GLuint(matricesPoint_));
        glUniformBlockBinding(program_, glGetUniformBlockIndex(program_, "GlobalLights"), GLuint(lightsPoint_));

        glGenTextures(1, &color_);
        glBindTexture(GL_TEXTURE_2D, color_);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 8, 8, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glBindTexture(GL_TEXTURE_2D, 0);
        glGenFramebuffers(1, &fbo_);
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, color_, 0);
        EXPECT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }
    ~LitQuad() {
        glDeleteFramebuffers(1, &fbo_);
        glDeleteTextures(1, &color_);
        glDeleteBuffers(1, &matrices_);
        glDeleteBuffers(1, &vbo_);
        glDeleteVertexArrays(1, &vao_);
        glDeleteProgram(program_);
        Renderer::Instance().ReleaseBlockBindingPoint(matricesPoint_);
        Renderer::Instance().ReleaseBlockBindingPoint(lightsPoint_);
    }
    uint32_t LightsBindingPoint() const { return uint32_t(lightsPoint_); }

    // Red channel of the centre pixel.
    int Draw() {
        glBindFramebuffer(GL_FRAMEBUFFER, fbo_);
        glViewport(0, 0, 8, 8);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        glUseProgram(program_);
        const Mat4 model = MathUtil::Identity4();
        const float normal[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        glUniformMatrix4fv(glGetUniformLocation(program_, "modelMatrix"), 1, GL_FALSE, model.data());
        glUniformMatrix3fv(glGetUniformLocation(program_, "normalMatrix"), 1, GL_FALSE, normal);
        glUniform4f(glGetUniformLocation(program_, "meshColor"), 1, 1, 1, 1);
        glBindVertexArray(vao_);
        glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
        glBindVertexArray(0);
        glUseProgram(0);
        uint8_t pixel[4] = {};
        glReadPixels(4, 4, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        return pixel[0];
    }

private:
    GLuint program_ = 0, vao_ = 0, vbo_ = 0, matrices_ = 0, color_ = 0, fbo_ = 0;
    int32_t matricesPoint_ = -1, lightsPoint_ = -1;
};

TEST_F(LightBlockGL, DirectionalLightTravelsAlongItsPosition) {
    LitQuad quad;
    LightManager lights(1);
    ASSERT_TRUE(lights.Init(quad.LightsBindingPoint()));
    LightInfo light;  // travels towards -z, onto the quad that faces +z
    light.position[0] = 0.0f;
    light.position[1] = 0.0f;
    light.position[2] = -1.0f;
    light.diffuse[0] = light.diffuse[1] = light.diffuse[2] = 0.5f;
    light.diffuse[3] = 1.0f;
    lights.SetLightInfo(0, light, true);

    // Lighting off: the plain mesh colour.
    EXPECT_EQ(quad.Draw(), 255);
    lights.SetLightingEnabled(true);
    EXPECT_NEAR(quad.Draw(), 128, 2);
    // The light switched off by its flag.
    lights.SetLightInfo(0, light, false);
    EXPECT_EQ(quad.Draw(), 0);
    // Travelling away from the quad lights its back only.
    light.position[2] = 1.0f;
    lights.SetLightInfo(0, light, true);
    EXPECT_EQ(quad.Draw(), 0);
    // Gamma 2 lifts one half to its square root; the ambient term adds on top.
    light.position[2] = -1.0f;
    lights.SetLightInfo(0, light, true);
    lights.SetGamma(2.0f);
    lights.SetGammaEnabled(true);
    EXPECT_NEAR(quad.Draw(), 180, 2);
    lights.SetGammaEnabled(false);
    lights.SetAmbient(true, {0.25f, 0.25f, 0.25f, 1.0f});
    EXPECT_NEAR(quad.Draw(), 191, 2);
    lights.Shutdown();
}

}  // namespace
}  // namespace kestrum_test
