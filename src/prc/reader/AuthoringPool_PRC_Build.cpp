// The build half of AuthoringPool_PRC: from the author objects and the staging tree to a
// render scene. Materials and textures go first, then one model per node, the matrices, and
// the scene graph itself. Only a missing scene graph, a failed upload, a failing
// SceneGraph::Init and the interrupt flag fail the build; a model that cannot be made becomes
// an invisible one. A failed build releases its scene.

#include <new>

#include "format/AuthoringInterrupt.h"
#include "prc/reader/AuthoringPool_PRC.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FormatGlue::AuthoringInterrupt;
using Rendering::InvisibleModel;
using Rendering::Model;
using Rendering::SceneGraph;
using Rendering::SceneHandle;
using Rendering::SceneManager;
using Rendering::ShaderDescription;
namespace Flags = Rendering::ShaderFlags;
namespace VA = Rendering::VertexAttribute;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr const char* kRootModelName = "___PRC_ROOT_MODEL";
// Siblings are kept by name; a repeated name gets this and a number.
constexpr const char* kRepeatSeparator = "#";
constexpr uint32_t kMaxRepeatSuffix = 1u << 20;
constexpr float kFullIntensity = 1.0f;

// A name that no child of parent carries yet.
std::string UniqueChildName(const Model& parent, const std::string& name) {
    if (!parent.FindChild(name)) return name;
    for (uint32_t k = 1; k < kMaxRepeatSuffix; ++k) {
        std::string candidate = name + kRepeatSeparator + std::to_string(k);
        if (!parent.FindChild(candidate)) return candidate;
    }
    return name;
}

// PRC says nothing of winding, and writers differ: both sides are drawn, lit where the mesh
// has normals and the style does not ask for flat colour.
ShaderDescription DescribeSubObject(uint32_t attributes, bool lines, const AuthorMaterialPool::StyleBinding* binding,
                                    bool textured) {
    ShaderDescription d;
    d.vertexAttributes = attributes;
    d.flags = Flags::FrontFaces | Flags::BackFaces | Flags::MaterialSampler;
    if (!lines && (attributes & VA::Normal) && !(binding && binding->unlit)) d.flags |= Flags::Lighting;
    d.blendMode = Rendering::BlendMode::Alpha;
    if (textured) {
        d.textureLayers = 1;
        d.layerBlend[0] = Rendering::LayerBlend::Multiply;
        d.texIntensity[0] = kFullIntensity;
    }
    return d;
}

}  // namespace

bool AuthoringPool_PRC::BuildSceneGraph(uint32_t& sceneHandle, Timer timer) {
    sceneHandle = 0;
    if (!master_ || !materialPool_ || !meshPool_) return false;
    SceneManager& scenes = SceneManager::Instance();
    const SceneHandle handle = scenes.CreateScene();
    std::shared_ptr<SceneGraph> scene = scenes.GetScene(handle);
    if (!scene) {
        Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
        return false;
    }
    if (!RunBuild(*scene, handle, timer)) {
        scene.reset();
        scenes.ReleaseScene(handle);
        return false;
    }
    progress_.UpdateProgress(1.0f);  // the last point, after read and build
    sceneHandle = handle;
    return true;
}

bool AuthoringPool_PRC::RunBuild(SceneGraph& scene, SceneHandle handle, const Timer& timer) {
    if (!RunStage(timer, "BuildSceneGraph::CreateMaterialsAndTextures", [&] {
            if (materialPool_->UploadToRenderer(scene)) return true;
            Logger::Log(LogLevel::Error, "Failed to upload materials to renderer!");
            return false;
        }))
        return false;
    std::shared_ptr<Model> rootModel = InvisibleModel::Create(handle, kRootModelName);
    if (!rootModel) {
        Logger::Log(LogLevel::Error, "Failed to create PRC root model");
        return false;
    }
    Rendering::SceneCreationInfo creation;
    return RunStage(timer, "BuildSceneGraph::CreateModels",
                    [&] {
                        if (!CreateChildInstancesForNode(handle, *master_, rootModel, 0))
                            Logger::Log(LogLevel::Error, "Failed to create child instances for U3D root model");
                        return true;
                    }) &&
           RunStage(timer, "BuildSceneGraph::UpdateModelMatrices",
                    [&] {
                        rootModel->UpdateWorldMatrix();
                        return true;
                    }) &&
           RunStage(timer, "BuildSceneGraph::BuildScene", [&] {
               creation.modelTree = rootModel;
               creation.axisVisible = true;
               creation.gridVisible = true;
               creation.createDefaultCamera = true;
               creation.lightingModel = scene.GetLightingModel();
               if (scene.Init(creation)) return true;
               Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
               return false;
           });
}

bool AuthoringPool_PRC::CreateChildInstancesForNode(SceneHandle scene, const AuthorNode& node,
                                                    const std::shared_ptr<Model>& parent, uint32_t depth) {
    if (!parent) return false;
    bool complete = true;
    for (const auto& child : node.children) {
        if (buildStep_ > 0.0f) progress_.UpdateProgress(buildStep_);
        if (AuthoringInterrupt::Interrupted()) return false;
        if (!child) continue;
        const std::string name = UniqueChildName(*parent, child->name);
        std::shared_ptr<Model> model;
        if (child->kind == AuthorNode::Model) {
            model = CreateModelInstance(scene, *child, name);
            if (!model) {
                Logger::LogF(LogLevel::Error,
                             "AuthoringPool_PRC::CreateChildInstancesForNode() - Failed to create model instance for "
                             "'{:s}' (creating invisible model instead)!",
                             child->name);
                model = InvisibleModel::Create(scene, name);
            }
        } else if (child->kind == AuthorNode::Group) {
            model = InvisibleModel::Create(scene, name);
        } else {
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateChildInstancesForNode() - INVALID NODE TYPE!");
            continue;
        }
        if (!model) {
            complete = false;
            continue;
        }
        model->SetMatrix(child->matrix);
        if (!parent->AddChild(model, "")) {
            Logger::LogF(LogLevel::Error,
                         "AuthoringPool_PRC::CreateChildInstancesForNode() - failed to add child model '{:s}'", name);
            complete = false;
            continue;
        }
        // Depth is bounded by the tree's, which the read bounded.
        if (!child->children.empty() && !CreateChildInstancesForNode(scene, *child, model, depth + 1)) complete = false;
    }
    return complete;
}

std::shared_ptr<Model> AuthoringPool_PRC::CreateModelInstance(SceneHandle scene, const AuthorNode& node,
                                                              const std::string& name) {
    std::shared_ptr<SceneGraph> graph = SceneManager::Instance().GetScene(scene);
    if (!graph) return nullptr;
    Rendering::SceneResources& resources = graph->GetResources();
    const Rendering::MaterialManager& materials = resources.materialManager;
    const uint32_t defaultMaterial = materials.GetDefaultMaterialIndex();
    if (defaultMaterial >= materials.GetMaterials().size()) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateModelInstance() - Invalid default material id!");
        return nullptr;
    }
    if (node.tessellation < 0) {
        // Exact geometry without a tessellation: nothing to draw, and nothing wrong.
        Logger::Log(LogLevel::Verbose, "Node '%s' has no tessellation -> invisible model", name.c_str());
        return InvisibleModel::Create(scene, name);
    }
    std::shared_ptr<Rendering::Mesh> mesh =
        meshPool_->FindOrCreateRenderable(resources.meshManager, node.fileStructure, node.tessellation);
    if (!mesh) {
        Logger::LogF(LogLevel::Error, "Cannot find/create renderable mesh for {:s}", name);
        return nullptr;
    }
    const std::vector<uint32_t>* styles = meshPool_->SubObjectStyles(mesh->GetName());
    const bool lines = mesh->GetPrimitiveType() == Rendering::PrimitiveType::Lines;
    Rendering::ModelCreationInfo info;
    info.name = name;
    info.mesh = mesh;
    std::vector<const AuthorMaterialPool::StyleBinding*> bindings(mesh->GetSubObjectCount(), nullptr);
    for (uint32_t i = 0; i < mesh->GetSubObjectCount(); ++i) {
        const uint32_t own = styles && i < styles->size() ? (*styles)[i] : AuthorMeshPool::kNoStyle;
        const int32_t style = own == AuthorMeshPool::kNoStyle ? node.style : int32_t(own);
        bindings[i] = materialPool_->FindBinding(node.fileStructure, style);
        if (!bindings[i] && style != -1)
            Logger::LogF(LogLevel::Error, "AuthoringPool_PRC::CreateModelInstance() - unable to find material {:d}",
                         style);
        const uint32_t attributes = mesh->GetVertexAttributes(i);
        const bool textured = bindings[i] && !bindings[i]->textureName.empty() && (attributes & VA::TexCoord0);
        info.shaderDescriptions.push_back(DescribeSubObject(attributes, lines, bindings[i], textured));
    }
    std::shared_ptr<Model> model = Model::Create(scene, info);
    if (!model) {
        Logger::LogF(LogLevel::Error, "Failed to create model instance for '{:s}'", name);
        return nullptr;
    }
    bool transparent = false;
    for (uint32_t i = 0; i < bindings.size(); ++i) {
        uint32_t materialIndex = defaultMaterial;
        if (bindings[i]) {
            const auto found = materials.GetMaterialMap().find(bindings[i]->materialName);
            if (found != materials.GetMaterialMap().end()) materialIndex = found->second;
            transparent = transparent || bindings[i]->transparent;
            if (info.shaderDescriptions[i].textureLayers) {
                const uint32_t texture = resources.textureManager.GetTextureId(bindings[i]->textureName);
                model->SetTexture(i, 0, texture ? texture : resources.textureManager.GetDefaultTextureId());
            }
        }
        model->SetMaterial(i, materialIndex);
    }
    if (transparent) {
        Logger::Log(LogLevel::Verbose, "Model %s is TRANSPARENT", name.c_str());
        model->SetTransparent(true);
    }
    return model;
}

}  // namespace Velmora::PRC
