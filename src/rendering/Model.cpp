#include "rendering/Model.h"

#include <algorithm>
#include <cmath>

#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/shaders/DynamicShader.h"
#include "rendering/shaders/ShaderManager2.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;
namespace M = MathUtil;

namespace {

// Inverse transpose of the upper-left 3x3 of m, by cofactors over the determinant. A singular
// matrix keeps the plain 3x3, which is the best a normal can get then.
Mat3 NormalMatrix(const Mat4& m) {
    const float a = m[0], b = m[4], c = m[8];
    const float d = m[1], e = m[5], f = m[9];
    const float g = m[2], h = m[6], i = m[10];
    const float c00 = e * i - f * h, c01 = -(d * i - f * g), c02 = d * h - e * g;
    const float c10 = -(b * i - c * h), c11 = a * i - c * g, c12 = -(a * h - b * g);
    const float c20 = b * f - c * e, c21 = -(a * f - c * d), c22 = a * e - b * d;
    const float det = a * c00 + b * c01 + c * c02;
    if (det == 0.0f || !std::isfinite(det)) return {m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]};
    const float inv = 1.0f / det;
    // (inverse)^T = cofactor matrix / det; stored column major: column j holds row j's cofactors
    // transposed back, i.e. element (r, c) = C(r, c) / det.
    return {c00 * inv, c10 * inv, c20 * inv, c01 * inv, c11 * inv, c21 * inv, c02 * inv, c12 * inv, c22 * inv};
}

Mat3 UpperLeft(const Mat4& m) { return {m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]}; }

}  // namespace

// ---- Model -------------------------------------------------------------------------------

Model::Model(SceneHandle handle, std::string name, std::shared_ptr<Mesh> mesh, int32_t faceVisibility)
    : Renderable(handle), name_(std::move(name)), mesh_(std::move(mesh)), faceVisibility_(faceVisibility) {
    renderInfo_.faceVisibility = faceVisibility;
}

Model::~Model() {
    visible_ = false;
    mesh_.reset();
    children_.clear();
}

std::shared_ptr<Model> Model::Create(SceneHandle handle, const ModelCreationInfo& info) {
    if (handle == 0 || !info.mesh || info.shaderDescriptions.empty()) return nullptr;
    std::string name = info.name.empty() ? info.mesh->GetName() + "_Model" : info.name;
    int32_t visibility = int32_t(info.shaderDescriptions.front().flags & 3);
    std::shared_ptr<Model> model(new Model(handle, std::move(name), info.mesh, visibility));
    if (!model->Init(info)) {
        Logger::Log(LogLevel::Error, "Failed to create/init Model object");
        return nullptr;
    }
    return model;
}

bool Model::MakeHelpers(const SceneBoundingBox& box, bool addBox, bool boxVisible, bool addAxis, bool axisVisible) {
    const Vec3 size = M::Sub(box.max, box.min);
    const Vec3 center = M::Add(box.min, M::Mul(size, 0.5f));
    if (addBox) {
        auto mesh = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::BoundingBox);
        Mat4 matrix = M::Multiply(M::Translation(center), M::Scale(size));
        boundingBox_ = SimpleModel::Create(handle_, mesh, matrix, boxVisible,
                                           ShaderDescription::ForHelper(VertexAttribute::Position, 9));
        if (boundingBox_) boundingBox_->SetMeshColor({0.4f, 0.0f, 0.0f, 1.0f});
    }
    if (addAxis) {
        auto mesh = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::Axis3D);
        Mat4 matrix = M::Multiply(M::Translation(center), M::Scale(M::Mul(size, 1.5f)));
        axis_ =
            SimpleModel::Create(handle_, mesh, matrix, axisVisible,
                                ShaderDescription::ForHelper(VertexAttribute::Position | VertexAttribute::Diffuse, 1));
    }
    return true;
}

bool Model::Init(const ModelCreationInfo& info) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(handle_);
    if (!scene) return false;

    descriptions_ = info.shaderDescriptions;
    renderInfo_.shaderInfos.resize(descriptions_.size());
    shaderSets_.resize(descriptions_.size());

    if ((info.addBoundingBox || info.addAxis) && mesh_ && mesh_->HasBoundingBox()) {
        SceneBoundingBox box;
        box.valid = mesh_->GetBoundingBox(box.min, box.max);
        if (box.valid) {
            MakeHelpers(box, info.addBoundingBox, info.boundingBoxVisible, info.addAxis, info.axisVisible);
        }
    }

    const uint32_t defaultTexture = scene->GetResources().textureManager.GetDefaultTextureId();
    for (size_t i = 0; i < descriptions_.size(); ++i) {
        RenderShaderInfo& shaderInfo = renderInfo_.shaderInfos[i];
        const ShaderDescription& description = descriptions_[i];
        shaderInfo.alphaReference = description.alphaReference;
        for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer) {
            shaderInfo.texture[layer] = defaultTexture;
            shaderInfo.texIntensity[layer] = description.texIntensity[layer];
            shaderInfo.blendingConstant[layer] = description.blendingConstant[layer];
        }
    }
    return PickShaders();
}

bool Model::CreateModel(int32_t visibility) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(handle_);
    for (size_t i = 0; i < descriptions_.size(); ++i) {
        ShaderDescription description = descriptions_[i];
        description.flags = (description.flags & ~3u) | (visibility == 1 ? 1u : visibility == 2 ? 2u : 3u);
        std::shared_ptr<DynamicShader> shader;
        if (scene) shader = scene->GetResources().shaderManager.GetShader(description);
        if (!shader || !mesh_ || !mesh_->SetShaderForSubObject(uint32_t(i), shader)) {
            Logger::LogF(LogLevel::Error, "Model::CreateModel - failed to create/init dynamic shaders (vis: {:d})!",
                         visibility);
            return false;
        }
        ShaderSet& set = shaderSets_[i];
        (visibility == 1 ? set.front : visibility == 2 ? set.back : set.frontAndBack) = shader;
    }
    return true;
}

bool Model::PickShaders() {
    for (size_t i = 0; i < renderInfo_.shaderInfos.size(); ++i) {
        ShaderSet& set = shaderSets_[i];
        std::shared_ptr<DynamicShader>* slot;
        const char* message;
        if (faceVisibility_ == 1) {
            slot = &set.front;
            message = "Model::PickShaders() - no valid front shader";
        } else if (faceVisibility_ == 2) {
            slot = &set.back;
            message = "Model::PickShaders() - no valid back shader";
        } else {
            slot = &set.frontAndBack;
            message = "Model::PickShaders() - no valid front&back shader";
        }
        if (!*slot && !CreateModel(faceVisibility_)) {
            Logger::Log(LogLevel::Error, "%s", message);
            return false;
        }
        renderInfo_.shaderInfos[i].shader = *slot;
    }
    return true;
}

bool Model::AddChild(std::shared_ptr<Model> child, const std::string& parentName) {
    if (!child) return false;
    if (parentName.empty()) {
        children_.emplace(child->GetName(), std::move(child));
        return true;
    }
    std::shared_ptr<Model> parent = FindChild(parentName);
    if (!parent) {
        Logger::Log(LogLevel::Error, "Cannot add child '%s' to '%s', no parent with name '%s' found!",
                    child->GetName().c_str(), name_.c_str(), parentName.c_str());
        return false;
    }
    return parent->AddChild(std::move(child), std::string());
}

std::shared_ptr<Model> Model::FindChild(const std::string& name) const {
    if (name.empty()) return nullptr;
    auto it = children_.find(name);
    if (it != children_.end()) return it->second;
    for (const auto& [childName, child] : children_) {
        if (auto found = child->FindChild(name)) return found;
    }
    return nullptr;
}

uint32_t Model::CountChildren() const {
    uint32_t count = 0;
    for (const auto& [name, child] : children_) count += 1 + child->CountChildren();
    return count;
}

void Model::ClearChildren() {
    for (auto& [name, child] : children_) child->ClearChildren();
    children_.clear();
}

void Model::CalculateBoundingBox(SceneBoundingBox& box) const {
    for (const auto& [name, child] : children_) child->CalculateBoundingBox(box);
    if (!mesh_ || !mesh_->HasBoundingBox()) return;
    Vec3 lo, hi;
    if (!mesh_->GetBoundingBox(lo, hi)) return;
    const Vec3 corners[8] = {
        {lo[0], lo[1], lo[2]}, {hi[0], lo[1], lo[2]}, {hi[0], hi[1], lo[2]}, {lo[0], hi[1], lo[2]},
        {lo[0], lo[1], hi[2]}, {hi[0], lo[1], hi[2]}, {hi[0], hi[1], hi[2]}, {lo[0], hi[1], hi[2]},
    };
    for (const Vec3& corner : corners) {
        Vec4 p = M::Transform(renderInfo_.modelMatrix, {corner[0], corner[1], corner[2], 1.0f});
        if (std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2])) {
            Logger::LogF(
                LogLevel::Error,
                "Model::CalculateBoundingBox() with invalid input data, bounding box not calculated  (Model: '{:s}')",
                name_);
            break;
        }
        box.Merge({p[0], p[1], p[2]});
    }
}

void Model::AddBoundingBoxAndAxis(const SceneBoundingBox& box) {
    if (!box.valid) {
        Logger::Log(LogLevel::Error, "Model::AddBoundingBoxAndAxis: Invalid bounding box");
        return;
    }
    boundingBox_.reset();
    axis_.reset();
    MakeHelpers(box, true, false, true, false);
    dirty_ = true;
}

void Model::SetBoundingBoxVisible(bool visible, uint32_t mask) {
    if ((mask & 1) && boundingBox_) boundingBox_->SetVisible(visible);
    if (mask & 2) {
        for (auto& [name, child] : children_) child->SetBoundingBoxVisible(visible, 3);
    }
}

void Model::SetChildrenBoundingBoxVisible(bool visible, uint32_t mask) {
    for (auto& [name, child] : children_) child->SetBoundingBoxVisible(visible, mask);
}

void Model::SetMaterial(uint32_t subObject, uint32_t materialIndex) {
    if (subObject >= renderInfo_.shaderInfos.size()) {
        Logger::Log(LogLevel::Error, "Model::SetMaterial() - Invalid shader index into RenderShaderInfos");
        return;
    }
    renderInfo_.shaderInfos[subObject].materialIndex = materialIndex;
}

void Model::SetTexture(uint32_t subObject, uint32_t layer, uint32_t textureId) {
    if (subObject >= renderInfo_.shaderInfos.size() || layer > 7) {
        Logger::Log(LogLevel::Error, "Model::SetTexture() - INVALID shaderIdx or textureLayer");
        return;
    }
    RenderShaderInfo& info = renderInfo_.shaderInfos[subObject];
    info.texture[layer] = textureId;
    info.textureMask = uint16_t(info.textureMask | (1u << layer));
}

void Model::SetMatrix(const Mat4& m) {
    translation_ = {m[12], m[13], m[14]};
    Vec3 scale = {M::Length({m[0], m[1], m[2]}), M::Length({m[4], m[5], m[6]}), M::Length({m[8], m[9], m[10]})};
    if (scale[0] == 0.0f || scale[1] == 0.0f || scale[2] == 0.0f) {
        Logger::LogF(LogLevel::Error, "Model::SetMatrix() - INVALID MATRIX! (Model: {:s})", name_);
        Logger::Log(LogLevel::Warning, "Model::SetMatrix() - Falling back to identity matrix (Model: %s),",
                    name_.c_str());
        scale_ = {1.0f, 1.0f, 1.0f};
        rotation_ = M::Identity4();
    } else {
        scale_ = scale;
        rotation_ = M::Identity4();
        for (int column = 0; column < 3; ++column) {
            for (int row = 0; row < 3; ++row) rotation_[column * 4 + row] = m[column * 4 + row] / scale[column];
        }
    }
    dirty_ = true;
}

void Model::UpdateWorldMatrix() {
    localMatrix_ = M::Multiply(M::Multiply(M::Translation(translation_), rotation_), M::Scale(scale_));
    const Mat4 world = M::Multiply(parentMatrix_, localMatrix_);
    renderInfo_.modelMatrix = world;
    renderInfo_.normalMatrix = NormalMatrix(world);
    for (auto& [name, child] : children_) child->SetParentMatrix(world);
    if (axis_) axis_->SetParentMatrix(world);
    if (boundingBox_) boundingBox_->SetParentMatrix(world);
    dirty_ = false;
}

void Model::SetParentMatrix(const Mat4& parent) {
    parentMatrix_ = parent;
    UpdateWorldMatrix();
}

void Model::SetAnimation(uint32_t flags, const Vec3& translationSpeed, const Vec3& rotationSpeed,
                         const Vec3& scaleSpeed, bool inLocalSpace) {
    animationFlags_ = flags;
    translationSpeed_ = translationSpeed;
    rotationSpeed_ = rotationSpeed;
    scaleSpeed_ = scaleSpeed;
    animateInLocalSpace_ = inLocalSpace;
}

void Model::Update(float deltaTime) {
    if (animationFlags_ & AnimationFlags::Scale) {
        for (int i = 0; i < 3; ++i) scale_[i] = std::clamp(scale_[i] + deltaTime * scaleSpeed_[i], 0.1f, 10.0f);
        dirty_ = true;
    }
    if (animationFlags_ & AnimationFlags::Rotate) {
        static const Vec3 axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        for (int i = 0; i < 3; ++i)
            rotation_ = M::Multiply(M::Rotation(deltaTime * rotationSpeed_[i], axes[i]), rotation_);
        dirty_ = true;
    }
    if (animationFlags_ & AnimationFlags::Translate) {
        Vec3 step = M::Mul(translationSpeed_, deltaTime);
        if (animateInLocalSpace_) {
            Vec4 turned = M::Transform(rotation_, {step[0], step[1], step[2], 0.0f});
            step = {turned[0], turned[1], turned[2]};
        }
        translation_ = M::Add(translation_, step);
        dirty_ = true;
    }
    if (dirty_) UpdateWorldMatrix();
}

void Model::RenderHelpers(float time, float deltaTime) {
    if (axis_) axis_->Render(time, deltaTime, false);
    if (boundingBox_) boundingBox_->Render(time, deltaTime, false);
}

void Model::Render(float time, float deltaTime, bool transparentPass) {
    if (!visible_) return;
    if (dirty_ || animationFlags_ != 0) Update(deltaTime);
    if (mesh_ && faceVisibility_ != 0 && transparent_ == transparentPass) mesh_->Draw(renderInfo_, time);
    if (!transparentPass) {
        RenderHelpers(time, deltaTime);
    }
    for (auto& [name, child] : children_) child->Render(time, deltaTime, transparentPass);
}

// ---- InvisibleModel ----------------------------------------------------------------------

InvisibleModel::InvisibleModel(SceneHandle handle, const std::string& name) : Model(handle, name, nullptr, 1) {}

std::shared_ptr<InvisibleModel> InvisibleModel::Create(SceneHandle handle, const std::string& name) {
    if (name.empty() || handle == 0) return nullptr;
    return std::shared_ptr<InvisibleModel>(new InvisibleModel(handle, name));
}

void InvisibleModel::Render(float time, float deltaTime, bool transparentPass) {
    if (dirty_ || animationFlags_ != 0) Update(deltaTime);
    if (!transparentPass) RenderHelpers(time, deltaTime);
    for (auto& [name, child] : children_) child->Render(time, deltaTime, transparentPass);
}

// ---- SimpleModel -------------------------------------------------------------------------

SimpleModel::SimpleModel(SceneHandle handle, std::shared_ptr<Mesh> mesh, const Mat4& localMatrix)
    : Renderable(handle), mesh_(std::move(mesh)), localMatrix_(localMatrix) {
    renderInfo_.faceVisibility = 1;
    // Helper meshes may have several sub-objects (the crosshair's two arcs); each draws with
    // the one helper shader, and the mesh draws only when every sub-object has its record.
    renderInfo_.shaderInfos.resize(std::max<uint32_t>(1, mesh_->GetSubObjectCount()));
    renderInfo_.modelMatrix = localMatrix_;
    renderInfo_.normalMatrix = UpperLeft(localMatrix_);
}

SimpleModel::~SimpleModel() {
    renderInfo_.shaderInfos.clear();
    mesh_.reset();
}

std::shared_ptr<SimpleModel> SimpleModel::Create(SceneHandle handle, std::shared_ptr<Mesh> mesh,
                                                 const Mat4& localMatrix, bool visible,
                                                 const ShaderDescription& description) {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(handle);
    if (!scene || !mesh) return nullptr;
    std::shared_ptr<DynamicShader> shader = scene->GetResources().shaderManager.GetShader(description);
    if (!shader) {
        Logger::Log(LogLevel::Error, "SimpleModel::Create - failed to create shader!");
        return nullptr;
    }
    for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) {
        if (!mesh->SetShaderForSubObject(i, shader)) return nullptr;
    }
    std::shared_ptr<SimpleModel> model(new SimpleModel(handle, std::move(mesh), localMatrix));
    const uint32_t defaultTexture = scene->GetResources().textureManager.GetDefaultTextureId();
    for (RenderShaderInfo& info : model->renderInfo_.shaderInfos) {
        info.shader = shader;
        info.materialIndex = 0;
        for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer) {
            info.texture[layer] = defaultTexture;
            info.texIntensity[layer] = description.texIntensity[layer];
            info.blendingConstant[layer] = description.blendingConstant[layer];
        }
    }
    model->SetVisible(visible);
    return model;
}

void SimpleModel::SetLocalMatrix(const Mat4& matrix) {
    localMatrix_ = matrix;
    renderInfo_.modelMatrix = matrix;
    renderInfo_.normalMatrix = UpperLeft(matrix);
}

void SimpleModel::SetParentMatrix(const Mat4& parent) {
    renderInfo_.modelMatrix = M::Multiply(parent, localMatrix_);
    renderInfo_.normalMatrix = UpperLeft(renderInfo_.modelMatrix);
}

void SimpleModel::Render(float time, float, bool) {
    if (visible_ && mesh_) mesh_->Draw(renderInfo_, time);
}

}  // namespace Velmora::Rendering
