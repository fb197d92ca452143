// The build half of AuthoringPool_OBJ: from the parsed meshes and materials to a render scene.
//
// Stages run in a fixed order, each under a subtimer of its name and each followed by an
// interrupt check: materials and textures, models (each building its mesh), model matrices,
// cameras (only the default one), the scene graph itself, lights. Only a missing scene graph,
// a missing root, a failing SceneGraph::Init and the interrupt flag fail the build; a model
// that cannot be made costs only itself.

#include <new>

#include "format/AuthoringInterrupt.h"
#include "obj/AuthoringPool_OBJ.h"
#include "rendering/MathUtil.h"
#include "rendering/Model.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using FormatGlue::AuthoringInterrupt;
using Rendering::InvisibleModel;
using Rendering::Model;
using Rendering::SceneGraph;
using Rendering::SceneManager;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr float kBuildPoints = 49.0f;
constexpr float kFinalPoint = 1.0f;
// Deeper group nesting is cut off; the recursion stays far from the end of the stack.
constexpr uint32_t kMaxDepth = 1024;
constexpr float kTextureIntensity = 1.0f;
constexpr uint32_t kDiffuseLayer = 0;

Rendering::ShaderDescription DescriptionFor(uint32_t attributes, bool textured) {
    namespace Flags = Rendering::ShaderFlags;
    Rendering::ShaderDescription d;
    d.vertexAttributes = attributes;
    // OBJ writers keep no consistent winding: both sides are drawn.
    d.flags = Flags::FrontFaces | Flags::BackFaces | Flags::MaterialSampler;
    if (attributes & Rendering::VertexAttribute::Normal) d.flags |= Flags::Lighting;
    d.blendMode = Rendering::BlendMode::Alpha;
    if (textured) {
        d.textureLayers = 1u << kDiffuseLayer;
        d.texIntensity[kDiffuseLayer] = kTextureIntensity;
        d.layerBlend[kDiffuseLayer] = Rendering::LayerBlend::Multiply;
    }
    return d;
}
}  // namespace

bool AuthoringPool_OBJ::BuildSceneGraph(uint32_t& sceneHandle, Timer timer) {
    sceneHandle = 0;
    if (!rootNode_ || !meshPool_ || !materialPool_ || !parser_) return false;
    SceneManager& scenes = SceneManager::Instance();
    const Rendering::SceneHandle handle = scenes.CreateScene();
    std::shared_ptr<SceneGraph> scene = scenes.GetScene(handle);
    if (!scene) {
        Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
        return false;
    }
    if (!RunBuildStages(*scene, timer)) {
        scene.reset();
        scenes.ReleaseScene(handle);
        return false;
    }
    progress_.UpdateProgress(kFinalPoint);
    sceneHandle = handle;
    return true;
}

bool AuthoringPool_OBJ::RunBuildStages(SceneGraph& scene, const Timer& timer) {
    std::shared_ptr<Model> rootModel = InvisibleModel::Create(scene.GetHandle(), rootNode_->name);
    if (!rootModel) {
        Logger::Log(LogLevel::Error, "Failed to create OBJ root model");
        return false;
    }
    const size_t models = meshPool_->Meshes().size();
    modelStep_ = models ? kBuildPoints / float(models) : 0.0f;
    return RunStage(timer, "BuildSceneGraph::CreateMaterialsAndTextures",
                    [&] {
                        materialPool_->UploadToRenderer(scene, parser_->Directory());
                        return true;
                    }) &&
           RunStage(timer, "BuildSceneGraph::CreateModels",
                    [&] {
                        if (CreateChildInstancesForNode(scene, *rootNode_, rootModel, 0)) return true;
                        Logger::Log(LogLevel::Error, "Failed to create child instances for U3D root model");
                        return false;
                    }) &&
           RunStage(timer, "BuildSceneGraph::UpdateModelMatrices",
                    [&] {
                        rootModel->UpdateWorldMatrix();
                        return true;
                    }) &&
           RunStage(timer, "BuildSceneGraph::CreateCameras", [] { return true; }) &&
           RunStage(timer, "BuildSceneGraph::BuildScene", [&] { return InitScene(scene, rootModel); }) &&
           // No lights of its own: the lighting scheme decides what shines.
           RunStage(timer, "BuildSceneGraph::CreateLights", [] { return true; });
}

bool AuthoringPool_OBJ::InitScene(SceneGraph& scene, const std::shared_ptr<Model>& rootModel) {
    Rendering::SceneCreationInfo creation;
    creation.modelTree = rootModel;
    creation.createDefaultCamera = true;
    creation.lightingModel = scene.GetLightingModel();
    if (!scene.Init(creation)) {
        Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
        return false;
    }
    return true;
}

// False only when the interrupt flag stopped the walk; a node that fails costs itself.
bool AuthoringPool_OBJ::CreateChildInstancesForNode(SceneGraph& scene, const AuthorNode& node,
                                                    const std::shared_ptr<Model>& parentModel, uint32_t depth) {
    if (depth >= kMaxDepth) {
        Logger::Log(LogLevel::Warning, "Node hierarchy below '%s' is too deep -> IGNORED", node.name.c_str());
        return true;
    }
    for (const std::shared_ptr<AuthorNode>& child : node.children) {
        if (AuthoringInterrupt::Interrupted()) return false;
        if (!child) continue;
        std::shared_ptr<Model> model;
        if (child->type == AuthorNode::Group) {
            model = InvisibleModel::Create(scene.GetHandle(), child->name);
        } else if (child->type == AuthorNode::Model) {
            model = CreateModelInstance(scene, *child);
            if (modelStep_ > 0.0f) progress_.UpdateProgress(modelStep_);
        } else {
            Logger::Log(LogLevel::Error, "AuthoringPool_OBJ::CreateChildInstancesForNode() - INVALID NODE TYPE!");
            continue;
        }
        if (!model) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateChildInstancesForNode() - FAILED TO CREATE MODEL INSTANCE!");
            continue;
        }
        model->SetMatrix(Rendering::MathUtil::Identity4());
        model->SetScale({1.0f, 1.0f, 1.0f});
        parentModel->AddChild(model, std::string());
        if (child->type == AuthorNode::Group && !CreateChildInstancesForNode(scene, *child, model, depth + 1))
            return false;
    }
    return true;
}

std::shared_ptr<Model> AuthoringPool_OBJ::CreateModelInstance(SceneGraph& scene, const AuthorNode& node) {
    if (node.name.empty()) {
        Logger::Log(LogLevel::Error, "AuthoringPool_OBJ::CreateModelInstance() - INVALID NODE NAME");
        return nullptr;
    }
    std::vector<SubObjectShading> shading;
    std::shared_ptr<Rendering::Mesh> mesh =
        meshPool_->CreateRenderableMesh(scene, node.meshName, parser_->Vertices(), *materialPool_, shading);
    if (!mesh) return nullptr;

    Rendering::SceneResources& resources = scene.GetResources();
    Rendering::ModelCreationInfo info;
    info.name = node.name;
    info.mesh = mesh;
    for (uint32_t i = 0; i < mesh->GetSubObjectCount() && i < shading.size(); ++i)
        info.shaderDescriptions.push_back(
            DescriptionFor(mesh->GetVertexAttributes(i), !shading[i].textureName.empty()));
    std::shared_ptr<Model> model = Model::Create(scene.GetHandle(), info);
    if (!model) {
        Logger::LogF(LogLevel::Error, "Failed to create model instance for '{:s}'", node.name);
        return nullptr;
    }

    const Rendering::MaterialManager& materials = resources.materialManager;
    bool transparent = false;
    for (uint32_t i = 0; i < info.shaderDescriptions.size(); ++i) {
        uint32_t row = materials.GetDefaultMaterialIndex();
        const auto found = materials.GetMaterialMap().find(shading[i].materialName);
        if (found != materials.GetMaterialMap().end()) {
            row = found->second;
        } else {
            Logger::Log(LogLevel::Warning,
                        "AuthoringPool_OBJ::CreateModelInstance() - cannot find material '%s', falling back to default",
                        shading[i].materialName.c_str());
        }
        if (row < materials.GetMaterials().size() && materials.GetMaterials()[row].Opacity() < 1.0f) transparent = true;
        model->SetMaterial(i, row);
        if (shading[i].textureName.empty()) continue;
        const uint32_t id = resources.textureManager.GetTextureId(shading[i].textureName);
        const std::shared_ptr<Rendering::Texture> texture = resources.textureManager.GetTexture(id);
        if (texture && texture->HasAlpha()) transparent = true;
        model->SetTexture(i, kDiffuseLayer, id ? id : resources.textureManager.GetDefaultTextureId());
    }
    model->SetTransparent(transparent);
    return model;
}

}  // namespace Velmora::OBJ
