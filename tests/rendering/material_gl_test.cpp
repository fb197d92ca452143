// The material table: rows, names, and what a shader actually fetches from the buffer texture.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <cstring>

#include "GLTestEnvironment.h"
#include "color_target.h"
#include "image_test_support.h"
#include "rendering/MaterialManager.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;

namespace {

class MaterialTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        kestrum_test::TakeGLError();
    }
    void TearDown() override { EXPECT_EQ(kestrum_test::TakeGLError(), ""); }

    static MaterialValues Distinct(float base) {
        MaterialValues v;
        float* f = v.ambient.data();
        for (int i = 0; i < 20; ++i) f[i] = base + float(i);  // the struct is 20 contiguous floats
        return v;
    }

    // Fetches texels 0..count-1 of the buffer texture on unit 8 with texelFetch in a vertex
    // shader and captures them by transform feedback: the values as a generated shader sees them.
    static std::vector<float> FetchTexels(uint32_t count) {
        const char* vs = "#version 330 core\n"
                         "uniform samplerBuffer materials;\n"
                         "out vec4 texel;\n"
                         "void main() { texel = texelFetch(materials, gl_VertexID); }\n";
        GLuint shader = glCreateShader(GL_VERTEX_SHADER);
        glShaderSource(shader, 1, &vs, nullptr);
        glCompileShader(shader);
        GLuint program = glCreateProgram();
        glAttachShader(program, shader);
        const char* varyings[] = {"texel"};
        glTransformFeedbackVaryings(program, 1, varyings, GL_INTERLEAVED_ATTRIBS);
        glLinkProgram(program);
        GLint linked = 0;
        glGetProgramiv(program, GL_LINK_STATUS, &linked);
        EXPECT_EQ(linked, GL_TRUE);
        glUseProgram(program);
        glUniform1i(glGetUniformLocation(program, "materials"), MaterialManager::kTextureUnit);

        // A complete framebuffer is needed even with rasterising off.
        kestrum_test::ColorTarget target(1, 1);

        GLuint vao = 0, feedback = 0;
        glGenVertexArrays(1, &vao);
        glBindVertexArray(vao);
        glGenBuffers(1, &feedback);
        glBindBuffer(GL_TRANSFORM_FEEDBACK_BUFFER, feedback);
        glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, count * 16, nullptr, GL_STATIC_READ);
        glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, feedback);
        glEnable(GL_RASTERIZER_DISCARD);
        glBeginTransformFeedback(GL_POINTS);
        glDrawArrays(GL_POINTS, 0, GLsizei(count));
        glEndTransformFeedback();
        glDisable(GL_RASTERIZER_DISCARD);
        std::vector<float> out(count * 4);
        glGetBufferSubData(GL_TRANSFORM_FEEDBACK_BUFFER, 0, GLsizeiptr(out.size() * 4), out.data());

        glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, 0);
        glBindBuffer(GL_TRANSFORM_FEEDBACK_BUFFER, 0);
        glBindVertexArray(0);
        glUseProgram(0);
        glDeleteBuffers(1, &feedback);
        glDeleteVertexArrays(1, &vao);
        glDeleteProgram(program);
        glDeleteShader(shader);
        return out;
    }
};

}  // namespace

TEST_F(MaterialTest, DefaultRowComesFirst) {
    MaterialManager manager(1);
    ASSERT_TRUE(manager.Init());
    ASSERT_EQ(manager.GetMaterials().size(), 1u);
    EXPECT_EQ(manager.GetDefaultMaterialIndex(), 0u);
    EXPECT_EQ(manager.GetMaterialName(0), "___DefaultMaterial");
    const MaterialValues& d = manager.GetMaterials()[0];
    EXPECT_EQ(d.ambient, (std::array<float, 4>{0.25f, 0.25f, 0.25f, 1.0f}));
    EXPECT_EQ(d.diffuse, (std::array<float, 4>{0.4f, 0.4f, 0.4f, 1.0f}));
    EXPECT_EQ(d.specular, d.diffuse);
    EXPECT_EQ(d.emissive, d.diffuse);
    EXPECT_EQ(d.attributes, (std::array<float, 4>{100.0f, 1.0f, 0.0f, 0.0f}));
    EXPECT_TRUE(manager.Init());  // a second call changes nothing
    EXPECT_EQ(manager.GetMaterials().size(), 1u);
    manager.Shutdown();
}

TEST_F(MaterialTest, NamesAreUniqueAndRowsNumberedInOrder) {
    MaterialManager manager(1);
    ASSERT_TRUE(manager.Init());
    Velmora::Test::LogCapture log;
    EXPECT_EQ(manager.AddMaterial("red", Distinct(1)), 1u);
    EXPECT_EQ(manager.AddMaterial("blue", Distinct(2)), 2u);
    EXPECT_EQ(manager.AddMaterial("red", Distinct(3)), 0u);
    EXPECT_TRUE(log.Has("Cannot add material 'red' - DUPLICATE!", 1));
    EXPECT_EQ(manager.AddMaterial("", Distinct(4)), 0u);
    EXPECT_TRUE(log.Has("Cannot add material with empty name!", 1));
    EXPECT_EQ(manager.AddMaterial("___DefaultMaterial", Distinct(5)), 0u);
    EXPECT_EQ(manager.GetMaterials().size(), 3u);
    EXPECT_EQ(manager.GetMaterials()[1].ambient[0], 1.0f);  // the first "red" stays
    EXPECT_EQ(manager.GetMaterialName(2), "blue");
    EXPECT_EQ(manager.GetMaterialName(3), "");
    EXPECT_EQ(manager.GetMaterialMap().at("red"), 1u);
    manager.Shutdown();
}

TEST_F(MaterialTest, ShadersFetchEveryRowAsFiveTexels) {
    MaterialManager manager(1);
    ASSERT_TRUE(manager.Init());
    manager.AddMaterial("a", Distinct(10));
    manager.AddMaterial("b", Distinct(100));
    ASSERT_TRUE(manager.UploadMaterials());

    // The table stays bound on unit 8 as a GL_RGBA32F view of the buffer.
    glActiveTexture(GL_TEXTURE0 + MaterialManager::kTextureUnit);
    GLint bound = 0, store = 0, format = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_BUFFER, &bound);
    glGetTexLevelParameteriv(GL_TEXTURE_BUFFER, 0, GL_TEXTURE_BUFFER_DATA_STORE_BINDING, &store);
    glGetTexLevelParameteriv(GL_TEXTURE_BUFFER, 0, GL_TEXTURE_INTERNAL_FORMAT, &format);
    glActiveTexture(GL_TEXTURE0);
    EXPECT_EQ(GLuint(bound), manager.GetTextureName());
    EXPECT_EQ(GLuint(store), manager.GetBufferName());
    EXPECT_EQ(format, GL_RGBA32F);
    GLint64 size = 0;
    glBindBuffer(GL_TEXTURE_BUFFER, manager.GetBufferName());
    glGetBufferParameteri64v(GL_TEXTURE_BUFFER, GL_BUFFER_SIZE, &size);
    glBindBuffer(GL_TEXTURE_BUFFER, 0);
    EXPECT_EQ(size, 800000);

    const auto& rows = manager.GetMaterials();
    std::vector<float> expected(rows.size() * 20);
    std::memcpy(expected.data(), rows.data(), expected.size() * 4);
    EXPECT_EQ(FetchTexels(uint32_t(rows.size() * 5)), expected);

    // Rows added later reach the GPU with the next upload; material i starts at texel i * 5.
    manager.AddMaterial("c", Distinct(1000));
    ASSERT_TRUE(manager.UploadMaterials());
    const auto texels = FetchTexels(20);
    EXPECT_EQ(texels[3 * 20 + 0], 1000.0f);   // row 3 ambient.r
    EXPECT_EQ(texels[3 * 20 + 17], 1017.0f);  // row 3 attributes.y
    manager.Shutdown();
}

TEST_F(MaterialTest, RowsPastTheFixedBufferAreSkippedNotWritten) {
    MaterialManager manager(1);
    ASSERT_TRUE(manager.Init());
    for (uint32_t i = 1; i <= 10000; ++i) manager.AddMaterial("m" + std::to_string(i), Distinct(float(i)));
    ASSERT_EQ(manager.GetMaterials().size(), 10001u);  // one row over 800,000 bytes
    EXPECT_TRUE(manager.UploadMaterials());
    kestrum_test::TakeGLError();  // the refused mapping
    manager.Shutdown();
}

TEST_F(MaterialTest, ManagerLeftWithRowsSaysSo) {
    Velmora::Test::LogCapture log;
    {
        MaterialManager manager(1);
        ASSERT_TRUE(manager.Init());
        manager.Shutdown();
    }
    EXPECT_FALSE(log.Has("MaterialManager instance was not shut down!"));
    {
        MaterialManager manager(1);
        ASSERT_TRUE(manager.Init());
    }
    EXPECT_TRUE(log.Has("MaterialManager instance was not shut down!", 1));
}
