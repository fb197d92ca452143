// Point and line sets from third-party U3D files, drawn: the points and lines cover pixels,
// spread over the picture and centred in it as the default camera frames the scene.

#include <gtest/gtest.h>

#include <algorithm>

#include "GLTestEnvironment.h"
#include "format/FormatManager.h"
#include "format/ImportDescriptor.h"
#include "host/FormatRegistration.h"
#include "scene_test_support.h"

namespace {

using namespace kestrum_test::scene;
using Velmora::FormatGlue::FormatManager;
using Velmora::FormatGlue::ImportDescriptor;

class PrimitiveSetCapture : public SceneTest {
protected:
    SceneHandle Import(const std::string& file) {
        Velmora::RegisterStandardFormats();
        ImportDescriptor descriptor;
        descriptor.kind = ImportDescriptor::File;
        descriptor.path = std::string(KESTRUM_TESTDATA) + "/u3d/" + file;
        descriptor.profile = false;
        const SceneHandle handle = FormatManager::Instance().ImportScene(descriptor);
        if (handle != 0) created_.push_back(handle);
        return handle;
    }
};

TEST_F(PrimitiveSetCapture, PointsAndLinesAreDrawnCentredAndSpread) {
    constexpr uint32_t kWidth = 160, kHeight = 120;
    for (const char* file :
         {"pointset.u3d", "pointset_anim.u3d", "lineset.u3d", "lineset_anim.u3d", "lineset_grid.u3d"}) {
        const uint32_t points = std::string(file).rfind("pointset", 0) == 0 ? 18 : 0;
        SCOPED_TRACE(file);
        const SceneHandle handle = Import(file);
        ASSERT_NE(handle, 0u);
        // The world axis would cross the whole picture.
        Scene(handle)->SetAxisVisible(false);
        Scene(handle)->SetGridVisible(false);
        CaptureView view(file, kWidth, kHeight);
        ASSERT_TRUE(view);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
        Picture picture;
        ASSERT_TRUE(view.Capture(picture));
        const std::array<int, 3> background = picture.At(0, 0);
        size_t covered = 0;
        for (uint32_t y = 0; y < kHeight; ++y)
            for (uint32_t x = 0; x < kWidth; ++x) covered += picture.IsBackground(x, y, background) ? 0 : 1;
        // Thin geometry: something is drawn, but far from the whole picture.
        EXPECT_GT(covered, 18u);
        EXPECT_LT(covered, size_t(kWidth) * kHeight / 2);
        // Points are squares of three pixels a side; they may overlap, but no more than that.
        if (points != 0) {
            EXPECT_LE(covered, points * 9u);
            EXPECT_GE(covered, points * 4u);
        }
        const auto e = picture.Extent(background);
        ASSERT_GE(e[0], 0);
        // Spread over a good part of the picture, around its centre.
        EXPECT_GT(e[2] - e[0], int(kWidth) / 4);
        EXPECT_GT(e[3] - e[1], int(kHeight) / 4);
        EXPECT_NEAR((e[0] + e[2]) / 2.0, kWidth / 2.0, kWidth * 0.15);
        EXPECT_NEAR((e[1] + e[3]) / 2.0, kHeight / 2.0, kHeight * 0.15);
        EXPECT_EQ(kestrum_test::TakeGLError(), "");
    }
}

// A mesh without normals is drawn unlit, in its own colours: a red point and a green line.
TEST_F(PrimitiveSetCapture, PointsAndLinesWithoutNormalsShowTheirVertexColours) {
    const SceneHandle handle = NewScene();
    auto root = InvisibleModel::Create(handle, "___TEST_ROOT");
    ASSERT_TRUE(handle != 0 && root);
    constexpr uint32_t kAttributes = VertexAttribute::Position | VertexAttribute::Diffuse;
    const std::vector<float> point = {-0.5f, 0.5f, 0, 1, 0, 0, 1};
    const std::vector<float> line = {-1, -0.5f, 0, 0, 1, 0, 1, 1, -0.5f, 0, 0, 1, 0, 1};
    for (const auto& [type, rows] : {std::pair{PrimitiveType::Points, point}, std::pair{PrimitiveType::Lines, line}}) {
        MeshCreationInfo mesh;
        mesh.name = "mesh" + std::to_string(type);
        mesh.primitiveType = type;
        mesh.subObjects.push_back(
            {DataBuffer<float>::Create(uint32_t(rows.size() / 7), 7, rows.data()), {}, kAttributes, 0});
        ModelCreationInfo model;
        model.name = "model" + std::to_string(type);
        model.mesh = Mesh::Create(mesh);
        ASSERT_TRUE(model.mesh);
        ShaderDescription description;
        description.vertexAttributes = kAttributes;
        description.flags = ShaderFlags::FrontFaces | ShaderFlags::BackFaces;
        description.blendMode = 3;
        model.shaderDescriptions.push_back(description);
        ASSERT_TRUE(root->AddChild(Model::Create(handle, model), ""));
    }
    root->UpdateWorldMatrix();
    SceneCreationInfo info;
    info.modelTree = root;
    info.axisVisible = info.gridVisible = false;
    ASSERT_TRUE(Scene(handle)->Init(info));
    CaptureView view("unlit", 64, 64);
    ASSERT_TRUE(view && SceneManager::Instance().LinkSceneToRenderView(handle, view.get()));
    Picture picture;
    ASSERT_TRUE(view.Capture(picture));
    size_t red = 0, green = 0, other = 0;
    for (uint32_t y = 0; y < 64; ++y)
        for (uint32_t x = 0; x < 64; ++x) {
            const auto c = picture.At(x, y);
            if (c == kBlack) continue;
            ++(c == std::array<int, 3>{255, 0, 0} ? red : c == std::array<int, 3>{0, 255, 0} ? green : other);
        }
    EXPECT_EQ(red, 9u);  // one point, three pixels a side
    EXPECT_GT(green, 20u);
    EXPECT_EQ(other, 0u);
}

}  // namespace
