// Models as nodes of the scene tree: creation rules, children, matrices, shading slots, the
// two passes and visibility, partly checked on the CPU and partly through pictures.

#include <epoxy/gl.h>

#include "scene_test_support.h"

namespace kestrum_test::scene {
namespace {

class ModelTree : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        handle_ = NewScene();
        ASSERT_NE(handle_, 0u);
        mesh_ = MakeBox(handle_, "cubeMesh", {-1, -1, -1}, {1, 1, 1}, FaceColors());
        ASSERT_NE(mesh_, nullptr);
    }
    std::shared_ptr<Model> Make(const std::string& name) { return MakeModel(handle_, name, mesh_); }

    SceneHandle handle_ = 0;
    std::shared_ptr<Mesh> mesh_;
};

TEST_F(ModelTree, CreateNeedsHandleMeshAndDescriptions) {
    ModelCreationInfo info;
    info.name = "m";
    info.mesh = mesh_;
    EXPECT_EQ(Model::Create(handle_, info), nullptr);  // no descriptions
    info.shaderDescriptions.push_back(Description(ShaderFlags::FrontFaces));
    EXPECT_EQ(Model::Create(0, info), nullptr);
    info.mesh = nullptr;
    EXPECT_EQ(Model::Create(handle_, info), nullptr);
    EXPECT_EQ(InvisibleModel::Create(handle_, ""), nullptr);
    EXPECT_EQ(InvisibleModel::Create(0, "group"), nullptr);
}

TEST_F(ModelTree, EmptyNameTakesMeshNameAndFaceSettingComesFromFlags) {
    auto model = MakeModel(handle_, "", mesh_, ShaderFlags::FrontFaces | ShaderFlags::BackFaces);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(model->GetName(), "cubeMesh_Model");
    EXPECT_EQ(model->GetFaceVisibility(), 3);
    ASSERT_EQ(model->GetRenderInfo().shaderInfos.size(), 1u);
    EXPECT_NE(model->GetRenderInfo().shaderInfos[0].shader, nullptr);
    // Every layer starts on the scene's default texture, none marked as assigned.
    const uint32_t fallback = Scene(handle_)->GetResources().textureManager.GetDefaultTextureId();
    EXPECT_NE(fallback, 0u);
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        EXPECT_EQ(model->GetRenderInfo().shaderInfos[0].texture[layer], fallback);
    EXPECT_EQ(model->GetRenderInfo().shaderInfos[0].textureMask, 0u);
}

TEST_F(ModelTree, DuplicateChildNameKeepsTheFirst) {
    auto parent = InvisibleModel::Create(handle_, "parent");
    auto first = Make("child");
    auto second = Make("child");
    EXPECT_TRUE(parent->AddChild(first, ""));
    EXPECT_TRUE(parent->AddChild(second, ""));
    EXPECT_EQ(parent->GetChildren().size(), 1u);
    EXPECT_EQ(parent->FindChild("child"), first);
    EXPECT_FALSE(parent->AddChild(nullptr, ""));
}

TEST_F(ModelTree, ChildrenGoUnderANamedParentFoundDepthFirst) {
    auto root = InvisibleModel::Create(handle_, "root");
    auto a = InvisibleModel::Create(handle_, "a");
    auto b = InvisibleModel::Create(handle_, "b");
    ASSERT_TRUE(root->AddChild(a, ""));
    ASSERT_TRUE(root->AddChild(b, "a"));
    ASSERT_TRUE(root->AddChild(Make("leaf"), "b"));
    EXPECT_EQ(a->FindChild("b"), b);
    EXPECT_NE(b->FindChild("leaf"), nullptr);
    EXPECT_NE(root->FindChild("leaf"), nullptr);
    EXPECT_EQ(root->FindChild(""), nullptr);
    EXPECT_EQ(root->FindChild("missing"), nullptr);
    EXPECT_EQ(root->CountChildren(), 3u);

    EXPECT_FALSE(root->AddChild(Make("orphan"), "nowhere"));
    EXPECT_TRUE(log_->Has("Cannot add child 'orphan' to 'root', no parent with name 'nowhere' found!", 1));
}

TEST_F(ModelTree, SetMatrixDecomposesAndRebuildsTheMatrix) {
    auto model = Make("m");
    // Rotation of 90 degrees about z, scale (2, 3, 4), translation (5, 6, 7).
    const Mat4 m{0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 5, 6, 7, 1};
    model->SetMatrix(m);
    EXPECT_TRUE(model->IsDirty());
    model->UpdateWorldMatrix();
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(model->GetWorldMatrix()[size_t(i)], m[size_t(i)], 1e-5f) << i;
    EXPECT_FLOAT_EQ(model->GetScale()[1], 3.0f);
    // The normal matrix is the inverse transpose: a scaled axis gets the reciprocal.
    const Mat3& n = model->GetRenderInfo().normalMatrix;
    EXPECT_NEAR(n[1], 0.5f, 1e-5f);       // column 0 = (0, 1/2, 0)
    EXPECT_NEAR(n[3], -1.0f / 3.0f, 1e-5f);  // column 1 = (-1/3, 0, 0)
    EXPECT_NEAR(n[8], 0.25f, 1e-5f);
}

TEST_F(ModelTree, SetMatrixWithZeroColumnFallsBackToUnitScale) {
    auto model = Make("flat");
    const Mat4 m{2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1};
    model->SetMatrix(m);
    EXPECT_TRUE(log_->Has("Model::SetMatrix() - INVALID MATRIX! (Model: flat)", 1));
    EXPECT_TRUE(log_->Has("Model::SetMatrix() - Falling back to identity matrix (Model: flat),", 2));
    EXPECT_EQ(model->GetScale(), (Vec3{1, 1, 1}));
    EXPECT_EQ(model->GetTranslation(), (Vec3{1, 2, 3}));
    EXPECT_EQ(model->GetRotation(), kIdentity4);
}

TEST_F(ModelTree, ParentMatricesReachTheWholeSubtree) {
    auto root = InvisibleModel::Create(handle_, "root");
    auto child = Make("child");
    child->SetTranslation({0, 1, 0});
    root->AddChild(child, "");
    root->SetTranslation({10, 0, 0});
    root->UpdateWorldMatrix();
    EXPECT_FLOAT_EQ(child->GetWorldMatrix()[12], 10.0f);
    EXPECT_FLOAT_EQ(child->GetWorldMatrix()[13], 1.0f);
    SceneBoundingBox box;
    root->CalculateBoundingBox(box);
    ASSERT_TRUE(box.valid);
    EXPECT_FLOAT_EQ(box.min[0], 9.0f);
    EXPECT_FLOAT_EQ(box.max[1], 2.0f);
}

TEST_F(ModelTree, TextureAndMaterialSlotsAreBoundsChecked) {
    auto model = Make("m");
    const RenderShaderInfo before = model->GetRenderInfo().shaderInfos[0];
    model->SetTexture(0, 8, 1234);
    EXPECT_TRUE(log_->Has("Model::SetTexture() - INVALID shaderIdx or textureLayer", 1));
    model->SetTexture(1, 0, 1234);
    EXPECT_EQ(log_->Count("Model::SetTexture() - INVALID shaderIdx or textureLayer"), 2u);
    const RenderShaderInfo& after = model->GetRenderInfo().shaderInfos[0];
    EXPECT_EQ(after.textureMask, before.textureMask);
    EXPECT_TRUE(std::equal(std::begin(after.texture), std::end(after.texture), std::begin(before.texture)));

    model->SetTexture(0, 7, 99);
    EXPECT_EQ(model->GetRenderInfo().shaderInfos[0].texture[7], 99u);
    EXPECT_EQ(model->GetRenderInfo().shaderInfos[0].textureMask, 0x80u);

    model->SetMaterial(3, 1);
    EXPECT_TRUE(log_->Has("Model::SetMaterial() - Invalid shader index into RenderShaderInfos", 1));
    model->SetMaterial(0, 5);
    EXPECT_EQ(model->GetRenderInfo().shaderInfos[0].materialIndex, 5u);
}

TEST_F(ModelTree, AnimationScalesTurnsAndMovesPerSecond) {
    // Rendering draws; give it a framebuffer to draw into.
    CaptureView target("animation", 8, 8);
    ASSERT_TRUE(target);
    glBindFramebuffer(GL_FRAMEBUFFER, target->GetFramebuffer());
    auto model = Make("spinner");
    model->SetAnimation(AnimationFlags::Scale, {0, 0, 0}, {0, 0, 0}, {100, -100, 0.5f}, true);
    model->Render(0.0f, 1.0f, false);
    // Scale steps by speed * delta and stays within [0.1, 10].
    EXPECT_EQ(model->GetScale(), (Vec3{10.0f, 0.1f, 1.5f}));

    auto turner = Make("turner");
    turner->SetAnimation(AnimationFlags::Rotate | AnimationFlags::Translate, {1, 0, 0}, {0, 0, 90}, {0, 0, 0}, true);
    turner->Render(0.0f, 1.0f, false);
    // A quarter turn about z; the step along local x then goes along world y.
    const Mat4& r = turner->GetRotation();
    EXPECT_NEAR(r[0], 0.0f, 1e-5f);
    EXPECT_NEAR(r[1], 1.0f, 1e-5f);
    EXPECT_NEAR(turner->GetTranslation()[0], 0.0f, 1e-5f);
    EXPECT_NEAR(turner->GetTranslation()[1], 1.0f, 1e-5f);
    EXPECT_NEAR(turner->GetWorldMatrix()[13], 1.0f, 1e-5f);
    EXPECT_FALSE(turner->IsDirty());

    // In world space the step is taken as it is.
    auto mover = Make("mover");
    mover->SetAnimation(AnimationFlags::Rotate | AnimationFlags::Translate, {1, 0, 0}, {0, 0, 90}, {0, 0, 0}, false);
    mover->Render(0.0f, 0.5f, false);
    EXPECT_NEAR(mover->GetTranslation()[0], 0.5f, 1e-5f);
    EXPECT_NEAR(mover->GetTranslation()[1], 0.0f, 1e-5f);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

TEST_F(ModelTree, ChildrenBoundingBoxesFollowTheParentsCall) {
    ModelCreationInfo info;
    info.mesh = mesh_;
    info.addBoundingBox = true;
    info.shaderDescriptions.push_back(Description(ShaderFlags::FrontFaces));
    auto group = InvisibleModel::Create(handle_, "group");
    info.name = "one";
    auto one = Model::Create(handle_, info);
    info.name = "two";
    auto two = Model::Create(handle_, info);
    group->AddChild(one, "");
    group->AddChild(two, "");
    group->SetChildrenBoundingBoxVisible(true, 1);
    EXPECT_TRUE(one->GetBoundingBoxModel()->IsVisible());
    EXPECT_TRUE(two->GetBoundingBoxModel()->IsVisible());
}

TEST_F(ModelTree, InvalidBoxAddsNoHelpers) {
    auto model = Make("m");
    model->AddBoundingBoxAndAxis(SceneBoundingBox{});
    EXPECT_TRUE(log_->Has("Model::AddBoundingBoxAndAxis: Invalid bounding box", 1));
    EXPECT_EQ(model->GetBoundingBoxModel(), nullptr);
}

TEST_F(ModelTree, BoundingBoxVisibilityFollowsTheMask) {
    ModelCreationInfo info;
    info.name = "boxed";
    info.mesh = mesh_;
    info.addBoundingBox = true;
    info.addAxis = true;
    info.shaderDescriptions.push_back(Description(ShaderFlags::FrontFaces));
    auto parent = Model::Create(handle_, info);
    info.name = "inner";
    auto child = Model::Create(handle_, info);
    ASSERT_TRUE(parent && child);
    parent->AddChild(child, "");
    EXPECT_FALSE(parent->GetBoundingBoxModel()->IsVisible());
    parent->SetBoundingBoxVisible(true, 2);  // children only
    EXPECT_FALSE(parent->GetBoundingBoxModel()->IsVisible());
    EXPECT_TRUE(child->GetBoundingBoxModel()->IsVisible());
    parent->SetBoundingBoxVisible(true, 1);
    EXPECT_TRUE(parent->GetBoundingBoxModel()->IsVisible());
}

// Scenes drawn for the pass and visibility rules: a red opaque cube at the back and a half
// transparent green slab in front of it, named so that map order would draw the slab first.
class ModelPasses : public SceneTest {
protected:
    SceneHandle Build(bool slabTransparent, bool hideBack) {
        const SceneHandle handle = NewScene();
        auto root = InvisibleModel::Create(handle, "___TEST_ROOT");
        auto back = MakeModel(handle, "z_back", MakeBox(handle, "back", {-1, -1, -1}, {1, 1, 0}, {{1, 0, 0, 1}}));
        auto slab = MakeModel(handle, "a_slab",
                              MakeBox(handle, "slab", {-1, -1, 0.5f}, {1, 1, 1}, {{0, 1, 0, 0.5f}}));
        slab->SetTransparent(slabTransparent);
        back->SetVisible(!hideBack);
        root->AddChild(back, "");
        root->AddChild(slab, "");
        root->UpdateWorldMatrix();
        SceneCreationInfo info;
        info.modelTree = root;
        info.axisVisible = info.gridVisible = false;
        return Scene(handle)->Init(info) ? handle : 0;
    }
    std::array<int, 3> CentreOf(SceneHandle handle) {
        CaptureView view("passes", 64, 64);
        if (!view || !SceneManager::Instance().LinkSceneToRenderView(handle, view.get())) return {-1, -1, -1};
        Picture picture;
        if (!view.Capture(picture)) return {-1, -1, -1};
        return picture.At(32, 32);
    }
};

TEST_F(ModelPasses, TransparentModelIsDrawnAfterTheOpaqueOnes) {
    const auto centre = CentreOf(Build(true, false));
    // Half green over red.
    EXPECT_NEAR(centre[0], 127, 2);
    EXPECT_NEAR(centre[1], 128, 2);
    EXPECT_EQ(centre[2], 0);
}

TEST_F(ModelPasses, OpaquePassFollowsMapOrder) {
    // Not marked transparent, the slab draws first and hides the red cube by depth.
    const auto centre = CentreOf(Build(false, false));
    EXPECT_EQ(centre[0], 0);
    EXPECT_NEAR(centre[1], 128, 2);
}

TEST_F(ModelPasses, HiddenModelIsNotDrawnButGroupsCannotBeHidden) {
    const SceneHandle handle = Build(true, true);
    auto tree = Scene(handle)->GetModelTree();
    tree->SetVisible(false);  // a group ignores this
    EXPECT_TRUE(tree->IsVisible());
    const auto centre = CentreOf(handle);
    EXPECT_EQ(centre[0], 0);  // no red: the hidden cube is gone
    EXPECT_NEAR(centre[1], 128, 2);
}

}  // namespace
}  // namespace kestrum_test::scene
