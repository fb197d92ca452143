// GPU meshes: upload and read-back, creation checks, draw-state bookkeeping and the per-scene
// mesh table.

#include <gtest/gtest.h>

#include <epoxy/gl.h>

#include <memory>
#include <numeric>

#include "GLTestEnvironment.h"
#include "color_target.h"
#include "image_test_support.h"
#include "rendering/Mesh.h"
#include "rendering/MeshManager.h"
#include "support/LogCapture.h"

using namespace Velmora::Rendering;
namespace VA = Velmora::Rendering::VertexAttribute;

namespace {

class MeshTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kestrum_test::EnsureGLContext());
        kestrum_test::TakeGLError();
    }
    void TearDown() override { EXPECT_EQ(kestrum_test::TakeGLError(), ""); }

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
    static MeshCreationInfo Info(std::string name, uint32_t type, std::vector<MeshSubObjectData> subs, bool animate = false) {
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

TEST(DataBuffer, CopiesOrZeroFillsAndBoundsItsRows) {
    const float source[6] = {1, 2, 3, 4, 5, 6};
    auto copy = DataBuffer<float>::Create(2, 3, source);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->Count(), 2u);
    EXPECT_EQ(copy->Stride(), 3u);
    EXPECT_EQ(copy->Row(1)[0], 4.0f);
    EXPECT_EQ(copy->Row(2), nullptr);
    auto zero = DataBuffer<uint32_t>::Create(4, 2);
    for (size_t i = 0; i < zero->ElementCount(); ++i) EXPECT_EQ(zero->Data()[i], 0u);
    // A size no buffer can have is refused, not wrapped around.
    EXPECT_EQ(DataBuffer<float>::Create(0x80000000u, 0x80000000u), nullptr);
}

TEST(VertexLayout, OffsetsFollowTheFixedAttributeOrder) {
    const uint32_t word = VA::Position | VA::Diffuse | VA::TexCoord(0) | VA::TexCoord(5);
    EXPECT_EQ(VA::FloatsPerVertex(word), 3u + 4 + 2 + 2);
    EXPECT_EQ(VA::FloatOffset(word, VA::Position), 0);
    EXPECT_EQ(VA::FloatOffset(word, VA::Normal), -1);
    EXPECT_EQ(VA::FloatOffset(word, VA::Diffuse), 3);
    EXPECT_EQ(VA::FloatOffset(word, VA::TexCoord(0)), 7);
    EXPECT_EQ(VA::FloatOffset(word, VA::TexCoord(5)), 9);
    EXPECT_EQ(VA::FloatsPerVertex(VA::All), 3u + 3 + 4 + 4 + 16);
}

TEST_F(MeshTest, UploadedVerticesAndIndicesReadBackUnchanged) {
    const uint32_t full = VA::Position | VA::Normal | VA::Diffuse | VA::Specular | VA::TexCoord(0) | VA::TexCoord(7);
    auto a = Vertices(6, full);
    auto b = Vertices(3, VA::Position | VA::TexCoord(1), 100.0f);
    auto mesh = Mesh::Create(Info("two", PrimitiveType::Triangles, {{a, nullptr, full}, {b, nullptr, VA::Position | VA::TexCoord(1)}}));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->GetName(), "two");
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

    // Indexed with as many vertices as indices: both read back.
    auto c = Vertices(3, VA::Position);
    mesh = Mesh::Create(Info("indexed", PrimitiveType::Triangles, {{c, Indices({2, 0, 1}), VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(Values(*mesh->GetVertexDataForSubObject(0)), Values(*c));
    auto indices = mesh->GetIndexDataForSubObject(0);
    ASSERT_NE(indices, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(indices->Data(), indices->Data() + 3), (std::vector<uint32_t>{2, 0, 1}));
}

TEST_F(MeshTest, ReadBackOfIndexedSubObjectWithFewerVerticesReportsTheSize) {
    auto mesh = Mesh::Create(Info("quad", PrimitiveType::Triangles, {{Vertices(4, VA::Position), Indices({0, 1, 2, 2, 1, 3}), VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    Velmora::Test::LogCapture log;
    EXPECT_EQ(mesh->GetVertexDataForSubObject(0), nullptr);
    EXPECT_TRUE(log.Has("Mesh::GetVertexDataForSubObject() - UNEXPECTED VRAM BUFFER SIZE", 1));
    auto indices = mesh->GetIndexDataForSubObject(0);
    ASSERT_NE(indices, nullptr);
    EXPECT_EQ(std::vector<uint32_t>(indices->Data(), indices->Data() + 6), (std::vector<uint32_t>{0, 1, 2, 2, 1, 3}));
    EXPECT_EQ(mesh->GetVertexDataForSubObject(1), nullptr);
    EXPECT_TRUE(log.Has("Mesh::GetVertexDataForSubObject() - INVALID OBJECT INDEX!", 1));
}

TEST_F(MeshTest, PrimitiveCountsFollowTheKind) {
    auto lines = Mesh::Create(Info("lines", PrimitiveType::Lines, {{Vertices(5, VA::Position), nullptr, VA::Position}}));
    auto points = Mesh::Create(Info("points", PrimitiveType::Points, {{Vertices(7, VA::Position | VA::Diffuse), nullptr, VA::Position | VA::Diffuse}}));
    ASSERT_NE(lines, nullptr);
    ASSERT_NE(points, nullptr);
    EXPECT_EQ(lines->GetNumberOfPrimitivesForSubObject(0), 2u);
    EXPECT_EQ(points->GetNumberOfPrimitivesForSubObject(0), 7u);
    EXPECT_EQ(points->GetVertexDataForSubObject(0)->Count(), 7u);
    // Five line vertices make two lines; the fifth vertex is stored but not read back.
    Velmora::Test::LogCapture log;
    EXPECT_EQ(lines->GetVertexDataForSubObject(0), nullptr);
    EXPECT_TRUE(log.Has("UNEXPECTED VRAM BUFFER SIZE"));
}

TEST_F(MeshTest, BoundingBoxSpansEveryPositionOfEverySubObject) {
    const float a[] = {1, 2, 3, 0, 0, 1, -1, 5, 0, 0, 0, 1};  // position + normal
    const float b[] = {4, -2, 9};
    auto mesh = Mesh::Create(Info("box", PrimitiveType::Points,
                                  {{DataBuffer<float>::Create(2, 6, a), nullptr, VA::Position | VA::Normal},
                                   {DataBuffer<float>::Create(1, 3, b), nullptr, VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    Vec3 min, max;
    ASSERT_TRUE(mesh->GetBoundingBox(min, max));
    EXPECT_EQ(min, (Vec3{-1, -2, 0}));
    EXPECT_EQ(max, (Vec3{4, 5, 9}));

    Velmora::Test::LogCapture log;
    auto empty = Mesh::Create(Info("empty", PrimitiveType::Points, {{DataBuffer<float>::Create(0, 3), nullptr, VA::Position}}));
    ASSERT_NE(empty, nullptr);  // stands without a box
    EXPECT_FALSE(empty->GetBoundingBox(min, max));
    EXPECT_TRUE(log.Has("Cannot create bounding box for mesh 'empty'", 1));
}

TEST_F(MeshTest, InvalidCreationInfoIsRefusedWithItsMessage) {
    Velmora::Test::LogCapture log;
    auto v = Vertices(3, VA::Position);
    EXPECT_EQ(Mesh::Create(Info("", PrimitiveType::Triangles, {{v, nullptr, VA::Position}})), nullptr);
    EXPECT_TRUE(log.Has("Mesh - Invalid creation info", 1));
    EXPECT_EQ(Mesh::Create(Info("none", PrimitiveType::Triangles, {})), nullptr);
    EXPECT_EQ(Mesh::Create(Info("zero", PrimitiveType::Triangles, {{v, nullptr, 0}})), nullptr);
    EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - invalid vertex attributes!", 1));
    // Rows narrower than the attribute word, or no vertex buffer at all.
    EXPECT_EQ(Mesh::Create(Info("narrow", PrimitiveType::Triangles, {{v, nullptr, VA::Position | VA::Normal}})), nullptr);
    EXPECT_EQ(Mesh::Create(Info("novertices", PrimitiveType::Triangles, {{nullptr, nullptr, VA::Position}})), nullptr);
    EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - vertex data does not match attributes!", 1));
    // An index past the vertices would send the GPU outside the buffer.
    EXPECT_EQ(Mesh::Create(Info("far", PrimitiveType::Triangles, {{v, Indices({0, 1, 3}), VA::Position}})), nullptr);
    EXPECT_TRUE(log.Has("Mesh::CreateBaseObjects() - index out of range!", 1));
    EXPECT_EQ(log.Count("Failed to create/init Mesh instance"), 6u);
}

TEST_F(MeshTest, AccessorsOutOfRangeLogAndReturnZero) {
    auto mesh = Mesh::Create(Info("one", PrimitiveType::Triangles, {{Vertices(3, VA::Position), nullptr, VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    Velmora::Test::LogCapture log;
    EXPECT_EQ(mesh->GetNumberOfPrimitivesForSubObject(1), 0u);
    EXPECT_EQ(mesh->GetVertexAttributes(5), 0u);
    EXPECT_TRUE(log.Has("Mesh::GetNumberOfPrimitivesForSubObject() - INVALID OBJECT INDEX!", 1));
    EXPECT_TRUE(log.Has("Mesh::GetVertexAttributes() - INVALID OBJECT INDEX!", 1));
    EXPECT_FALSE(mesh->SetShaderForSubObject(1, nullptr));
    EXPECT_EQ(mesh->GetDrawInfo(1), nullptr);
}

TEST_F(MeshTest, DrawWithTooFewShaderInfosDrawsNothing) {
    auto v = Vertices(3, VA::Position);
    auto mesh = Mesh::Create(Info("three", PrimitiveType::Triangles, {{v, nullptr, VA::Position}, {v, nullptr, VA::Position}, {v, nullptr, VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    RenderInfo info;
    info.shaderInfos.resize(2);
    Velmora::Test::LogCapture log;
    mesh->Draw(info, 1.0f);
    EXPECT_TRUE(log.Has("Mismatching number of DrawInfos and RenderShaderInfos", 1));
    EXPECT_EQ(mesh->GetDrawInfo(0)->buildUpCurrent, 0u);  // untouched: no draw happened
}

TEST_F(MeshTest, BuildUpGrowsByOneTriangleEveryIntervalAndFinishes) {
    kestrum_test::ColorTarget target(4, 4);

    auto mesh = Mesh::Create(Info("grow", PrimitiveType::Triangles, {{Vertices(12, VA::Position), nullptr, VA::Position}}, true));
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

TEST_F(MeshTest, GlObjectsGoWithTheMeshWhileTheContextIsCurrent) {
    auto mesh = Mesh::Create(Info("gone", PrimitiveType::Triangles, {{Vertices(3, VA::Position), Indices({0, 1, 2}), VA::Position}}));
    ASSERT_NE(mesh, nullptr);
    const DrawInfo d = *mesh->GetDrawInfo(0);
    EXPECT_TRUE(glIsVertexArray(d.vao));
    EXPECT_TRUE(glIsBuffer(d.vbo));
    EXPECT_TRUE(glIsBuffer(d.ibo));
    mesh.reset();
    EXPECT_FALSE(glIsVertexArray(d.vao));
    EXPECT_FALSE(glIsBuffer(d.vbo));
    EXPECT_FALSE(glIsBuffer(d.ibo));
}

TEST_F(MeshTest, ManagerKeepsTheFirstMeshOfAName) {
    MeshManager manager(1);
    auto first = Mesh::Create(Info("m", PrimitiveType::Triangles, {{Vertices(3, VA::Position), nullptr, VA::Position}}));
    auto second = Mesh::Create(Info("m", PrimitiveType::Triangles, {{Vertices(6, VA::Position), nullptr, VA::Position}}));
    Velmora::Test::LogCapture log;
    manager.AddMesh("m", first);
    manager.AddMesh("m", second);
    manager.AddMesh("", second);
    EXPECT_TRUE(log.Has("MeshManager::AddMesh - cannot add mesh 'm' - DUPLICATE NAME", 1));
    EXPECT_EQ(manager.GetMesh("m"), first);
    EXPECT_EQ(manager.GetMesh(""), nullptr);
    EXPECT_EQ(manager.GetMesh("other"), nullptr);
    EXPECT_EQ(manager.GetMeshes().size(), 1u);
    manager.Shutdown();
}

TEST_F(MeshTest, InstancedPrimitiveCountsMultiplyBySharedOwners) {
    MeshManager manager(1);
    auto tris = Mesh::Create(Info("t", PrimitiveType::Triangles, {{Vertices(6, VA::Position), nullptr, VA::Position},
                                                                   {Vertices(3, VA::Position), nullptr, VA::Position}}));
    auto lines = Mesh::Create(Info("l", PrimitiveType::Lines, {{Vertices(4, VA::Position), nullptr, VA::Position}}));
    auto points = Mesh::Create(Info("p", PrimitiveType::Points, {{Vertices(5, VA::Position), nullptr, VA::Position}}));
    manager.AddMesh("t", tris);
    manager.AddMesh("l", lines);
    manager.AddMesh("p", points);
    // Three models hold the triangles (use count 4 with the table); one model holds the lines.
    std::vector<std::shared_ptr<Mesh>> models = {tris, tris, tris, lines};
    tris.reset(), lines.reset();
    uint32_t p = 0, l = 0, t = 0;
    EXPECT_EQ(manager.GetPrimitiveCounts(true, &p, &l, &t), 9u + 2 + 5);
    EXPECT_EQ(t, 9u);
    EXPECT_EQ(l, 2u);
    EXPECT_EQ(p, 5u);  // held by the table alone
    EXPECT_EQ(manager.GetPrimitiveCounts(false, nullptr, nullptr, &t), 3u + 2 + 5);
    EXPECT_EQ(t, 3u);
    manager.Shutdown();

    Velmora::Test::LogCapture log;
    {
        MeshManager leftOver(2);
        leftOver.AddMesh("x", models[0]);
    }
    EXPECT_TRUE(log.Has("MeshManager instance was not shut down!", 1));
}

// Drawing through the mesh's own VAO with a plain program: the index buffer must be part of
// the VAO from creation on, and a build-up draw must stop after the indices it has reached.
class MeshDrawTest : public MeshTest {
protected:
    static constexpr int kSize = 8;

    void SetUp() override {
        MeshTest::SetUp();
        target_ = std::make_unique<kestrum_test::ColorTarget>(kSize, kSize);
        ASSERT_TRUE(target_->Complete());
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_CULL_FACE);
        glDisable(GL_BLEND);

        const char* vs = "#version 330 core\nlayout(location = 0) in vec3 vertexPos;\n"
                         "void main() { gl_Position = vec4(vertexPos, 1.0); }\n";
        const char* fs = "#version 330 core\nout vec4 color;\nvoid main() { color = vec4(1.0, 0.0, 0.0, 1.0); }\n";
        program_ = glCreateProgram();
        for (auto [kind, text] : {std::pair{GLenum(GL_VERTEX_SHADER), vs}, std::pair{GLenum(GL_FRAGMENT_SHADER), fs}}) {
            GLuint shader = glCreateShader(kind);
            glShaderSource(shader, 1, &text, nullptr);
            glCompileShader(shader);
            glAttachShader(program_, shader);
            glDeleteShader(shader);  // goes with the program
        }
        glLinkProgram(program_);
        GLint linked = 0;
        glGetProgramiv(program_, GL_LINK_STATUS, &linked);
        ASSERT_EQ(linked, GL_TRUE);
    }
    void TearDown() override {
        glUseProgram(0);
        glDeleteProgram(program_);
        target_.reset();
        MeshTest::TearDown();
    }

    // A quad over the whole viewport from 4 vertices and 6 indices: lower-left triangle first.
    std::shared_ptr<Mesh> Quad(bool animate) {
        const float corners[] = {-1, -1, 0, 1, -1, 0, -1, 1, 0, 1, 1, 0};
        return Mesh::Create(Info("quad", PrimitiveType::Triangles,
                                 {{DataBuffer<float>::Create(4, 3, corners), Indices({0, 1, 2, 2, 1, 3}), VA::Position}}, animate));
    }

    // Points attribute 0 of the sub-object's VAO at the positions, as a shader's layout would.
    void BindPositions(const Mesh& mesh) {
        const DrawInfo* d = mesh.GetDrawInfo(0);
        glBindVertexArray(d->vao);
        glBindBuffer(GL_ARRAY_BUFFER, d->vbo);
        glEnableVertexAttribArray(0);
        glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 12, nullptr);
        glBindVertexArray(0);
        glBindBuffer(GL_ARRAY_BUFFER, 0);
    }

    bool Red(int x, int y) {
        uint8_t pixel[4] = {};
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        return pixel[0] == 255 && pixel[1] == 0;
    }

    void Draw(Mesh& mesh, float time) {
        RenderInfo info;
        info.shaderInfos.resize(1);  // no generated shader: the plain program stays in use
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glUseProgram(program_);
        mesh.Draw(info, time);
        glUseProgram(0);
    }

    std::unique_ptr<kestrum_test::ColorTarget> target_;
    GLuint program_ = 0;
};

TEST_F(MeshDrawTest, IndexedSubObjectDrawsThroughItsIndexBuffer) {
    auto mesh = Quad(false);
    ASSERT_NE(mesh, nullptr);
    BindPositions(*mesh);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);  // a stray binding outside must not matter
    Draw(*mesh, 0.0f);
    EXPECT_TRUE(Red(0, 0));
    EXPECT_TRUE(Red(kSize - 1, kSize - 1));  // only the second triangle covers this corner
}

TEST_F(MeshDrawTest, BuildUpDrawsOnlyTheIndicesReached) {
    auto mesh = Quad(true);
    ASSERT_NE(mesh, nullptr);
    BindPositions(*mesh);
    Draw(*mesh, 0.0f);
    EXPECT_FALSE(Red(0, 0));  // nothing yet
    Draw(*mesh, 0.06f);
    EXPECT_TRUE(Red(0, 0));
    EXPECT_FALSE(Red(kSize - 1, kSize - 1));  // one triangle so far
    Draw(*mesh, 0.12f);
    EXPECT_TRUE(Red(kSize - 1, kSize - 1));
}
