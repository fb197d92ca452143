#include "rendering/SceneGraph.h"

#include <cmath>

#include "rendering/LightModel.h"
#include "rendering/SceneManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;
namespace M = MathUtil;

namespace {

// A camera overlay (rotation sphere, crosshair) drawn as a SimpleModel in clip space.
class SimpleModelUIElement : public CameraUIElement {
public:
    explicit SimpleModelUIElement(std::shared_ptr<SimpleModel> model) : model_(std::move(model)) {}
    void SetVisible(bool visible) override { model_->SetVisible(visible); }
    bool IsVisible() const override { return model_->IsVisible(); }
    void SetMatrix(const Mat4& matrix) override { model_->SetLocalMatrix(matrix); }
    void Render(float time, float deltaTime) override { model_->Render(time, deltaTime, false); }

private:
    std::shared_ptr<SimpleModel> model_;
};

double PowerOfTen(double value) { return std::floor(std::log(value) / std::log(10.0)); }

}  // namespace

SceneGraph::SceneGraph(SceneHandle handle) : handle_(handle), resources_(handle) {}

SceneGraph::~SceneGraph() { Shutdown(); }

void SceneGraph::Shutdown() {
    for (std::shared_ptr<Model>* tree : {&rootModel_, &modelTree_, &lightModelTree_}) {
        if (*tree) (*tree)->ClearChildren();
        tree->reset();
    }
    cameras_.clear();
    viewNodeCameras_.clear();
    worldAxis_.reset();
    worldGrid_.reset();
    worldGridAxis_.reset();
    resources_.Shutdown();
}

float SceneGraph::GridSizeFor(float maxDimension) {
    const double p = PowerOfTen(maxDimension);
    const double a = std::pow(10.0, p);
    const double b = std::pow(10.0, p + 1.0);
    return float(a * 0.95 >= maxDimension ? a : b);
}

bool SceneGraph::Init(const SceneCreationInfo& info) {
    if (!info.modelTree) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - No model tree provided");
        return false;
    }
    axisVisible_ = info.axisVisible;
    gridVisible_ = info.gridVisible;
    lightingModel_ = info.lightingModel;

    rootModel_ = InvisibleModel::Create(handle_, "root");
    lightModelTree_ = InvisibleModel::Create(handle_, "lights");
    if (!rootModel_ || !lightModelTree_ || !rootModel_->AddChild(lightModelTree_, std::string())) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to create root model");
        return false;
    }
    if (info.modelTree->GetName().empty() || !rootModel_->AddChild(info.modelTree, std::string())) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to add model tree");
        return false;
    }
    modelTree_ = info.modelTree;
    modelTree_->UpdateWorldMatrix();

    if (!CalculateSceneDimensions()) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to calculate scene dimensions");
        return false;
    }
    // From here on the scene's centre lies at the world origin, on the grid.
    const Vec3 negated = M::Mul(center_, -1.0f);
    modelTree_->SetTranslation(negated);
    lightModelTree_->SetTranslation(negated);
    modelTree_->UpdateWorldMatrix();
    lightModelTree_->UpdateWorldMatrix();

    if (!CreateHelperModels()) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to create helper models");
        return false;
    }
    if (info.createDefaultCamera && !CreateDefaultCamera()) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to create default camera");
        return false;
    }
    if (!info.cameras.empty() && !CreateSceneCameras(info.cameras)) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to add scene cameras");
        return false;
    }
    viewNodeCameras_ = cameras_;
    return true;
}

bool SceneGraph::CalculateSceneDimensions() {
    if (!modelTree_) {
        Logger::Log(LogLevel::Error, "SceneGraph::CalculateSceneDimensions - invalid root model");
        return false;
    }
    boundingBox_ = SceneBoundingBox{};
    modelTree_->CalculateBoundingBox(boundingBox_);
    modelTree_->AddBoundingBoxAndAxis(boundingBox_);
    Vec3& lo = boundingBox_.min;
    Vec3& hi = boundingBox_.max;
    Logger::Log(LogLevel::Info, "Scene BBox is now: (%.2f,%.2f,%.2f)(%.2f,%.2f,%.2f)", lo[0], lo[1], lo[2], hi[0],
                hi[1], hi[2]);

    const float width = hi[0] - lo[0], height = hi[1] - lo[1], depth = hi[2] - lo[2];
    if (width == 0.0f && height == 0.0f && depth == 0.0f) {
        Logger::Log(LogLevel::Error, "SceneGraph::CalculateSceneDimensions - scene dimenions ZERO -> no geometry?");
        return false;
    }
    maxDimension_ = std::max(width, std::max(height, depth));
    Logger::Log(LogLevel::Info, "Scene Dimensions calculated as: (%.3f, %.3f, %.3f) -> max %.4f", width, height, depth,
                maxDimension_);
    if (!(maxDimension_ > 0.0f) || !std::isfinite(maxDimension_)) {
        Logger::Log(LogLevel::Error,
                    "SceneGraph::CalculateSceneDimensions - scene max dimenions ZERO -> no valid geometry?");
        return false;
    }

    // Out of [0.01, 100] only the exponent of the size moves: 2500 becomes 250, 0.005 becomes 0.05.
    if (maxDimension_ < 0.01f || maxDimension_ > 100.0f) {
        const double power = std::pow(10.0, PowerOfTen(maxDimension_));
        const double target = maxDimension_ > 100.0f ? 100.0 : 0.01;
        rescaleFactor_ = float(target / power);
        if (rescaleFactor_ != 1.0f) {
            if (rescaleFactor_ == 0.0f || !std::isfinite(rescaleFactor_)) {
                Logger::Log(LogLevel::Error, "Model::SetScale - invalid scale!");
                rescaleFactor_ = 1.0f;
            } else {
                const Vec3 oldScale = modelTree_->GetScale();
                Vec3 translation = modelTree_->GetTranslation();
                for (int i = 0; i < 3; ++i) {
                    if (oldScale[i] != 0.0f) translation[i] *= rescaleFactor_ / oldScale[i];
                }
                modelTree_->SetScale({rescaleFactor_, rescaleFactor_, rescaleFactor_});
                modelTree_->SetTranslation(translation);
                Logger::Log(LogLevel::Info, "Scene dimensions outside allowed range, rescaled by a factor of %f",
                            rescaleFactor_);
                lo = M::Mul(lo, rescaleFactor_);
                hi = M::Mul(hi, rescaleFactor_);
                maxDimension_ *= rescaleFactor_;
            }
        }
    }
    center_ = M::Add(lo, M::Mul(M::Sub(hi, lo), 0.5f));
    Logger::Log(LogLevel::Info, "Scene Center calculated as: (%.3f, %.3f, %.3f)", center_[0], center_[1], center_[2]);
    gridSize_ = GridSizeFor(maxDimension_);
    Logger::Log(LogLevel::Info, "Actual world size: %.4f, resulting grid size: %.4f", maxDimension_, gridSize_);
    return true;
}

bool SceneGraph::CreateHelperModels() {
    if (!rootModel_) {
        Logger::Log(LogLevel::Error, "SceneGraph::CreateHelperModels() - no root model!");
        return false;
    }
    const uint32_t front = ShaderFlags::FrontFaces;
    auto axisMesh = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::Axis3D);
    worldAxis_ =
        SimpleModel::Create(handle_, axisMesh, M::Identity4(), axisVisible_,
                            ShaderDescription::ForHelper(VertexAttribute::Position | VertexAttribute::Diffuse, front));
    if (!worldAxis_) {
        Logger::Log(LogLevel::Error, "Failed to create world axis!");
        return false;
    }
    worldAxis_->SetLocalMatrix(M::Scale({gridSize_ * 1.2f, gridSize_ * 1.2f, gridSize_ * 1.2f}));

    const ShaderDescription gridDescription =
        ShaderDescription::ForHelper(VertexAttribute::Position, front | ShaderFlags::MeshColor);
    const Mat4 gridMatrix = M::Scale({gridSize_, gridSize_, gridSize_});
    auto gridMesh = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::GridXZ);
    worldGrid_ = SimpleModel::Create(handle_, gridMesh, gridMatrix, gridVisible_, gridDescription);
    if (!worldGrid_) {
        Logger::Log(LogLevel::Error, "Failed to create world grid!");
        return false;
    }
    worldGrid_->SetMeshColor({0.3f, 0.3f, 0.3f, 1.0f});

    auto gridAxisMesh = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::AxisXY);
    worldGridAxis_ = SimpleModel::Create(handle_, gridAxisMesh, gridMatrix, true, gridDescription);
    if (!worldGridAxis_) {
        Logger::Log(LogLevel::Error, "Failed to create world grid axis!");
        return false;
    }
    worldGridAxis_->SetMeshColor({0.3f, 0.3f, 0.3f, 1.0f});
    SetHelperVisibility();
    return true;
}

void SceneGraph::SetHelperVisibility() {
    if (worldAxis_) worldAxis_->SetVisible(axisVisible_);
    if (worldGrid_) worldGrid_->SetVisible(gridVisible_);
    // The world's axis and the axis on the grid are never shown together.
    if (worldGridAxis_) worldGridAxis_->SetVisible(!axisVisible_ && gridVisible_);
}

bool SceneGraph::CreateDefaultCamera() {
    if (!(gridSize_ > 0.0f)) {
        Logger::Log(LogLevel::Error, "Failed to get default clipping distances, bad grid size?");
        return false;
    }
    CameraInfo camera;
    camera.type = CameraType::Orbit;
    camera.name = kDefaultCameraName;
    camera.nearClip = gridSize_ * 0.0001f;
    camera.farClip = gridSize_ * 100.0f;
    const float distance = (maxDimension_ + maxDimension_) / rescaleFactor_;
    camera.target = M::Mul(center_, 1.0f / rescaleFactor_);
    camera.fieldOfView = 45.0f;
    camera.orthographic = false;
    camera.orthoZoom = 1.0f;
    camera.orthoViewHeightFactor = 1.0f;
    camera.isDefault = true;
    camera.orientation[0] = {-1.0f, 0.0f, 0.0f};
    camera.orientation[1] = {0.0f, 1.0f, 0.0f};
    camera.orientation[2] = {0.0f, 0.0f, -1.0f};
    camera.eye = M::Sub(camera.target, M::Mul(camera.orientation[2], distance));
    return AddCamera(camera);
}

bool SceneGraph::CreateSceneCameras(const std::vector<CameraInfo>& cameras) {
    for (const CameraInfo& camera : cameras) {
        if (!AddCamera(camera)) {
            Logger::Log(LogLevel::Warning,
                        "SceneGraph::CreateSceneCameras - failed to add camera '%s', this camera won't be available",
                        camera.name.c_str());
        }
    }
    return true;
}

bool SceneGraph::AddCamera(const CameraInfo& info) {
    if (!info.IsValid()) {
        Logger::Log(LogLevel::Error, "SceneGraph::AddCamera - invalid camera info");
        return false;
    }
    if (cameras_.count(info.name) != 0) {
        Logger::Log(LogLevel::Error, "SceneGraph::AddCamera - duplicate entry for camera '%s'", info.name.c_str());
        return false;
    }
    if (!cameras_.emplace(info.name, info).second) {
        Logger::Log(LogLevel::Error, "SceneGraph::AddCamera - failed to add camera '%s'", info.name.c_str());
        return false;
    }
    return true;
}

bool SceneGraph::RemoveCamera(const std::string& name) { return cameras_.erase(name) != 0; }

bool SceneGraph::AddLightModel(std::shared_ptr<Model> model) {
    if (!model || model->GetName().empty() || !lightModelTree_) {
        Logger::Log(LogLevel::Error, "Failed to add model to light model tree");
        return false;
    }
    Model* added = model.get();
    if (!lightModelTree_->AddChild(std::move(model), std::string())) {
        Logger::Log(LogLevel::Error, "Failed to add model to light model tree");
        return false;
    }
    added->SetParentMatrix(lightModelTree_->GetWorldMatrix());
    return true;
}

std::shared_ptr<Model> SceneGraph::FindLightModel(const std::string& name) const {
    return lightModelTree_ ? lightModelTree_->FindChild(name) : nullptr;
}

uint32_t SceneGraph::CountModels() const { return rootModel_ ? rootModel_->CountChildren() : 0; }

void SceneGraph::RenderPass(ScenePass pass, float time, float deltaTime) {
    switch (pass) {
        case ScenePass::WorldAxis:
            if (worldAxis_) worldAxis_->Render(time, deltaTime, false);
            break;
        case ScenePass::WorldGrid:
            if (worldGrid_) worldGrid_->Render(time, deltaTime, false);
            break;
        case ScenePass::GridAxis:
            if (worldGridAxis_) worldGridAxis_->Render(time, deltaTime, false);
            break;
        case ScenePass::LightTree:
            if (lightModelTree_) lightModelTree_->Render(time, deltaTime, false);
            break;
        case ScenePass::ModelTree:
            if (modelTree_) modelTree_->Render(time, deltaTime, false);
            break;
        case ScenePass::ModelTreeTransparent:
            if (modelTree_) modelTree_->Render(time, deltaTime, true);
            break;
    }
}

std::shared_ptr<CameraUIElement> SceneGraph::CreateUIElement(uint32_t meshType, uint32_t shaderFlags,
                                                             const Vec4& color) {
    auto mesh = SimpleMeshFactory::GetCreateMesh(handle_, meshType);
    if (!mesh) return nullptr;
    ShaderDescription description = ShaderDescription::ForHelper(mesh->GetVertexAttributes(0), shaderFlags);
    auto model = SimpleModel::Create(handle_, mesh, M::Identity4(), false, description);
    if (!model) return nullptr;
    model->SetMeshColor(color);
    return std::make_shared<SimpleModelUIElement>(std::move(model));
}

std::shared_ptr<LightMarker> SceneGraph::FindLightMarker(const std::string& name) {
    return std::dynamic_pointer_cast<LightModel>(FindLightModel(name));
}

std::shared_ptr<LightMarker> SceneGraph::CreateLightMarker(const LightModelCreationInfo& info) {
    return LightModel::Create(handle_, info);
}

bool SceneGraph::AddLightMarker(const std::shared_ptr<LightMarker>& marker) {
    auto model = std::dynamic_pointer_cast<LightModel>(marker);
    return model && AddLightModel(model);
}

}  // namespace Velmora::Rendering
