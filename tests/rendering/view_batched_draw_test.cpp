// Batched draws seen through a whole render view: a lit scene of an indexed sphere and an
// unindexed one (three rows per face, as U3D meshes are built), with the world axis and grid
// drawn beside them, must read back byte for byte the same whether the meshes go to the
// rasterizer whole or in batches, with one sample or four.

#include <epoxy/gl.h>

#include "rendering/LightingSchemeManager.h"
#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

// Sphere rows expanded to three of their own per face: the unindexed form of the same surface.
std::shared_ptr<Mesh> FlatCopy(SceneHandle handle, const std::string& name, const Mesh& indexed) {
    // The export's read-back refuses indexed rows, so the shared rows come straight from the VBO.
    const DrawInfo* draw = indexed.GetDrawInfo(0);
    glBindBuffer(GL_COPY_READ_BUFFER, draw->vbo);
    GLint64 bytes = 0;
    glGetBufferParameteri64v(GL_COPY_READ_BUFFER, GL_BUFFER_SIZE, &bytes);
    std::vector<float> shared(size_t(bytes) / sizeof(float));
    glGetBufferSubData(GL_COPY_READ_BUFFER, 0, bytes, shared.data());
    glBindBuffer(GL_COPY_READ_BUFFER, 0);
    auto indices = indexed.GetIndexDataForSubObject(0);
    std::vector<float> flat;
    flat.reserve(size_t(indices->Count()) * kRowFloats);
    for (uint32_t i = 0; i < indices->Count(); ++i) {
        const float* row = shared.data() + size_t(indices->Data()[i]) * kRowFloats;
        flat.insert(flat.end(), row, row + kRowFloats);
    }
    return UploadMesh(handle, name, flat, {});
}

class ViewBatchedDraw : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        savedLimit_ = Mesh::DrawBatchLimit();
        handle_ = NewScene();
        ASSERT_NE(handle_, 0u);
        auto root = InvisibleModel::Create(handle_, "___TEST_ROOT");
        const uint32_t lit = ShaderFlags::FrontFaces | ShaderFlags::Lighting;
        auto sphereMesh = MakeSphere(handle_, "sphereMesh", 1.0f, 60, 120, {0.9f, 0.8f, 0.6f, 1.0f});
        ASSERT_NE(sphereMesh, nullptr);
        auto flatMesh = FlatCopy(handle_, "flatMesh", *sphereMesh);
        ASSERT_NE(flatMesh, nullptr);
        auto sphere = MakeModel(handle_, "sphere", sphereMesh, lit);
        auto flat = MakeModel(handle_, "flat", flatMesh, lit);
        ASSERT_TRUE(root && sphere && flat);
        // The flat copy sits half inside the indexed sphere, so depth decides along their seam.
        flat->SetMatrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.8f, 0.3f, 0.2f, 1});
        ASSERT_TRUE(root->AddChild(sphere, "") && root->AddChild(flat, ""));
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = info.gridVisible = true;
        ASSERT_TRUE(Scene(handle_)->Init(info));
        ASSERT_TRUE(Scene(handle_)->GetResources().lightingSchemeManager.ActivateScheme(LightingScheme::CAD));
        view_ = std::make_unique<CaptureView>("batched", 160, 120);
        ASSERT_TRUE(*view_);
        ASSERT_TRUE(SceneManager::Instance().LinkSceneToRenderView(handle_, view_->get()));
    }
    void TearDown() override {
        Mesh::SetDrawBatchLimit(savedLimit_);
        view_.reset();
        SceneTest::TearDown();
    }
    Picture Shot(uint32_t batchLimit) {
        Mesh::SetDrawBatchLimit(batchLimit);
        Picture picture;
        EXPECT_TRUE(view_->Capture(picture));
        return picture;
    }

    SceneHandle handle_ = 0;
    std::unique_ptr<CaptureView> view_;
    uint32_t savedLimit_ = 0;
};

TEST_F(ViewBatchedDraw, BatchesReadBackLikeWholeDraws) {
    // 14,400 triangles a mesh: uneven batches with a short tail, and a few large ones.
    for (uint32_t samples : {0u, 4u}) {
        SCOPED_TRACE("samples " + std::to_string(samples));
        ASSERT_TRUE((*view_)->SetFBOAAModeExplicitely(samples, 0));
        const Picture whole = Shot(0);
        ASSERT_GT(whole.Extent(kBlack)[0], -1) << "nothing drawn";
        for (uint32_t limit : {997u, 4096u}) {
            SCOPED_TRACE("limit " + std::to_string(limit));
            EXPECT_EQ(Shot(limit).bgra, whole.bgra);
        }
    }
}

}  // namespace
}  // namespace kestrum_test::scene
