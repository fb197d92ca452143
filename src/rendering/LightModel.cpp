#include "rendering/LightModel.h"

#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/shaders/DynamicShader.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

LightModel::LightModel(SceneHandle handle, const LightModelCreationInfo& info)
    : Model(handle, info.name, nullptr, 1), active_(info.active), lightType_(info.lightType) {
    Model::SetVisible(info.visible);
}

LightModel::~LightModel() {
    pointMesh_.reset();
    rayMesh_.reset();
    spotMesh_.reset();
}

std::shared_ptr<LightModel> LightModel::Create(SceneHandle handle, const LightModelCreationInfo& info) {
    if (handle == 0 || info.name.empty()) return nullptr;
    std::shared_ptr<LightModel> model(new LightModel(handle, info));
    if (!model->CreateMeshes()) return nullptr;
    model->SetMatrix(info.matrix);
    return model;
}

bool LightModel::CreateMeshes() {
    std::shared_ptr<SceneGraph> scene = SceneManager::Instance().GetScene(handle_);
    if (!scene) return false;
    pointMesh_ = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::LightPoint);
    rayMesh_ = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::LightRay);
    spotMesh_ = SimpleMeshFactory::GetCreateMesh(handle_, SimpleMeshType::LightRaySpot);
    if (!pointMesh_ || !rayMesh_ || !spotMesh_) return false;

    ShaderDescription description;
    description.vertexAttributes = VertexAttribute::Position;
    description.flags = 9;
    description.blendMode = BlendMode::Alpha;
    std::shared_ptr<DynamicShader> shader = scene->GetResources().shaderManager.GetShader(description);
    if (!shader) {
        Logger::Log(LogLevel::Error, "LightModel::CreateMeshes() - failed to create shader!");
        return false;
    }
    for (const auto& mesh : {pointMesh_, rayMesh_, spotMesh_}) {
        if (!mesh->SetShaderForSubObject(0, shader)) return false;
    }
    descriptions_.assign(1, description);
    renderInfo_.shaderInfos.assign(1, RenderShaderInfo{});
    renderInfo_.shaderInfos[0].shader = shader;
    const uint32_t defaultTexture = scene->GetResources().textureManager.GetDefaultTextureId();
    for (uint32_t layer = 0; layer < kMaxTextureLayers; ++layer)
        renderInfo_.shaderInfos[0].texture[layer] = defaultTexture;
    return true;
}

void LightModel::UpdateMarker(uint32_t lightType, const Vec4& color, const Mat4& placement) {
    lightType_ = lightType;
    renderInfo_.meshColor = color;
    SetMatrix(placement);
}

void LightModel::DrawMarker(const std::shared_ptr<Mesh>& mesh, float time) {
    if (mesh) mesh->Draw(renderInfo_, time);
}

void LightModel::Render(float time, float deltaTime, bool) {
    if (!visible_) return;
    if (dirty_) Update(deltaTime);
    if (lightType_ != LightType::Directional) DrawMarker(pointMesh_, time);
    if (lightType_ == LightType::Directional) DrawMarker(rayMesh_, time);
    if (lightType_ == LightType::Spot) DrawMarker(spotMesh_, time);
}

}  // namespace Velmora::Rendering
