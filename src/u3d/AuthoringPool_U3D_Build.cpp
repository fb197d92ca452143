// The build half of AuthoringPool_U3D: from the filled pools to a render scene.
//
// Stages run in a fixed order, each under a subtimer of its name and each followed by an
// interrupt check: materials, textures, meshes, models, model matrices, cameras, the scene
// graph itself, lights and lighting. Only a missing scene graph, a missing node root, a
// failing SceneGraph::Init and the interrupt flag fail the build; everything else degrades
// (invisible models, default states, fewer lights). A failed build releases its scene.

#include <cmath>
#include <new>

#include "format/AuthoringInterrupt.h"
#include "rendering/LightModel.h"
#include "rendering/MathUtil.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "u3d/AuthoringPool_U3D.h"
#include "u3d/ShaderStateBuilder.h"
#include "u3d/TextureBuilder.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using FormatGlue::AuthoringInterrupt;
using Rendering::CameraInfo;
using Rendering::InvisibleModel;
using Rendering::Model;
using Rendering::SceneGraph;
using Rendering::SceneHandle;
using Rendering::SceneManager;
using Rendering::Vec3;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr const char* kRootModelName = "___U3D_ROOT_MODEL";
constexpr const char* kWorldParentName = "PDF3D Scene";
// Models one build may make. A subtree reached through several parents is built once per
// path, so a small file can describe an exponential tree; real scenes stay far below this.
constexpr size_t kMaxModels = 1u << 20;
// Deeper hierarchies are cut off; the recursion stays far from the end of the stack.
constexpr uint32_t kMaxDepth = 1024;
// The scene lighting model that takes material reflectivity as it is.
constexpr uint32_t kGaussLightingModel = 2;
// Reflectivity (0..1) to the renderer's shininess exponent.
constexpr float kShininessScale = 128.0f;
// A light marker is this many times smaller than the scene's grid.
constexpr float kLightMarkerGridDivisions = 250.0f;
// The node of the light tree that the markers of the document's point and spot lights hang from.
constexpr const char* kPlacedLightFrameName = "___U3D_PLACED_LIGHTS";

// Row r (elements 4r..4r+2) of a transform as read: rows 0..2 are the axes, row 3 the origin.
Vec3 Row(const Matrix4& m, int r) { return {m[4 * r], m[4 * r + 1], m[4 * r + 2]}; }

float Length(const Vec3& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

// False (v untouched) for a zero or non-finite vector.
bool Normalise(Vec3& v) {
    const float length = Length(v);
    if (!(length > 0.0f) || !std::isfinite(length)) return false;
    for (float& c : v) c /= length;
    return true;
}

Vec3 Negated(const Vec3& v) { return {-v[0], -v[1], -v[2]}; }

// Colours, attenuation and spot shape of a light as the pool read them.
Rendering::LightInfo LightInfoFromData(const LightData& light) {
    Rendering::LightInfo info;
    for (int k = 0; k < 4; ++k) {
        info.diffuse[k] = light.diffuse[k];
        info.specular[k] = light.specular[k];
    }
    info.constantAttenuation = light.attenuation[0];
    info.linearAttenuation = light.attenuation[1];
    info.quadraticAttenuation = light.attenuation[2];
    info.spotCutoff = light.spotCutoff;
    info.spotExponent = light.spotExponent;
    return info;
}

// Position (and a spot's direction) from the light's transform: its z axis is the direction,
// its origin, rescaled and centred like the models, the position. Shading compares the
// position with the drawn geometry, so it has to live in the frame the model tree is drawn in.
void PlaceLight(Rendering::LightInfo& info, uint32_t lightType, const Matrix4& m, float rescale, const Vec3& centre) {
    namespace M = Rendering::MathUtil;
    Vec3 axis = Row(m, 2);
    const Vec3 origin = M::Sub(M::Mul(Row(m, 3), rescale), centre);
    switch (lightType) {
        case AuthorLightPool::Directional:
            if (!Normalise(axis)) {
                Logger::Log(LogLevel::Warning,
                            "Directional light parentNodeTransform is invalid, overriding with default!");
                axis = {0.0f, 0.0f, 1.0f};
            }
            info.position[0] = axis[0];
            info.position[1] = axis[1];
            info.position[2] = axis[2];
            info.position[3] = 0.0f;
            break;
        case AuthorLightPool::Spot:
            if (!Normalise(axis) || !std::isfinite(origin[0] + origin[1] + origin[2])) {
                Logger::Log(LogLevel::Warning, "Spotlight parentNodeTransform is invalid, overriding with default!");
                axis = {0.0f, 0.0f, 1.0f};
            }
            info.spotDirection[0] = axis[0];
            info.spotDirection[1] = axis[1];
            info.spotDirection[2] = axis[2];
            [[fallthrough]];
        default:
            info.position[0] = origin[0];
            info.position[1] = origin[1];
            info.position[2] = origin[2];
            info.position[3] = 1.0f;
            break;
    }
}

}  // namespace

bool AuthoringPool_U3D::BuildSceneGraph(uint32_t& sceneHandle, Timer timer) {
    sceneHandle = 0;
    if (!nodePool_ && !Init()) return false;
    SceneManager& scenes = SceneManager::Instance();
    const SceneHandle handle = scenes.CreateScene();
    std::shared_ptr<SceneGraph> scene = scenes.GetScene(handle);
    if (!scene) {
        Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
        return false;
    }
    const bool built = RunBuildStages(*scene, handle, timer);
    modelsByNode_.clear();
    if (!built) {
        scene.reset();
        scenes.ReleaseScene(handle);
        return false;
    }
    progress_.UpdateProgress(1.0f);  // the last point, after read and build
    sceneHandle = handle;
    return true;
}

bool AuthoringPool_U3D::RunBuildStages(SceneGraph& scene, SceneHandle handle, const Timer& timer) {
    std::shared_ptr<Model> rootModel = InvisibleModel::Create(handle, kRootModelName);
    if (!rootModel) {
        Logger::Log(LogLevel::Error, "Failed to create U3D root model");
        return false;
    }
    Rendering::SceneCreationInfo creation;
    // Cameras read the world matrices, which need the models.
    return RunStage(timer, "BuildSceneGraph::CreateMaterials", [&] { return BuildMaterials(scene); }) &&
           RunStage(timer, "BuildSceneGraph::CreateTextures", [&] { return BuildTextures(scene); }) &&
           RunStage(timer, "BuildSceneGraph::CreateMeshes", [&] { return BuildMeshes(handle); }) &&
           RunStage(timer, "BuildSceneGraph::CreateModels", [&] { return BuildModels(handle, rootModel); }) &&
           RunStage(timer, "BuildSceneGraph::UpdateModelMatrices",
                    [&] {
                        rootModel->UpdateWorldMatrix();
                        return true;
                    }) &&
           RunStage(timer, "BuildSceneGraph::CreateCameras", [&] { return BuildCameras(creation); }) &&
           RunStage(timer, "BuildSceneGraph::BuildScene", [&] { return InitScene(scene, rootModel, creation); }) &&
           RunStage(timer, "BuildSceneGraph::CreateLights", [&] { return BuildLights(handle); }) &&
           RunStage(timer, "AuthoringPool::PrepareLighting", [&] {
               PrepareLighting(handle);
               return true;
           });
}

// Reflectivity is a shininess fraction unless the scene shades with the Gauss model, which
// takes it as it is.
bool AuthoringPool_U3D::BuildMaterials(SceneGraph& scene) {
    Rendering::MaterialManager& materials = scene.GetResources().materialManager;
    const bool scaleShininess = scene.GetLightingModel() != kGaussLightingModel;
    uint32_t failed = 0;
    for (const auto& [name, material] : materialPool_->Materials()) {
        Rendering::MaterialValues values;
        values.ambient = material.ambient;
        values.diffuse = material.diffuse;
        values.specular = material.specular;
        values.emissive = material.emissive;
        values.attributes = {scaleShininess ? material.reflectivity * kShininessScale : material.reflectivity,
                             material.opacity, 0.0f, 0.0f};
        if (materials.AddMaterial(name, values) == 0) {
            Logger::Log(LogLevel::Warning, "Cannot upload material '%s' to renderer!", name.c_str());
            ++failed;
        }
    }
    if (!materials.UploadMaterials()) Logger::Log(LogLevel::Error, "Failed to uplopd materials!");
    if (failed) Logger::Log(LogLevel::Error, "Failed to upload %u materials to renderer!", failed);
    return true;
}

bool AuthoringPool_U3D::BuildTextures(SceneGraph& scene) {
    const uint32_t failed = CreateTextures(*texturePool_, scene.GetResources().textureManager, &progress_, buildStep_);
    if (failed) Logger::Log(LogLevel::Error, "Failed to upload %u textures to renderer!", failed);
    return true;
}

// The staging meshes go as their renderable forms are made.
bool AuthoringPool_U3D::BuildMeshes(SceneHandle handle) {
    const uint32_t failed = meshPool_->CreateMeshes(handle, &progress_, buildStep_);
    if (failed) Logger::Log(LogLevel::Error, "Failed to upload %u meshes to renderer!", failed);
    return true;
}

bool AuthoringPool_U3D::BuildModels(SceneHandle handle, const std::shared_ptr<Model>& rootModel) {
    const AuthorNodeHandle& world = nodePool_->GetRoot();
    if (!world) {
        Logger::Log(LogLevel::Error, "Failed to retrieve world root from node pool");
        return false;
    }
    modelsByNode_.clear();
    modelBudget_ = kMaxModels;
    buildDepth_ = 0;
    if (!CreateChildInstancesForNode(handle, *world, rootModel))
        Logger::Log(LogLevel::Error, "Failed to create child instances for U3D root model");
    return true;
}

bool AuthoringPool_U3D::BuildCameras(Rendering::SceneCreationInfo& creation) const {
    for (const auto& [name, node] : nodePool_->ViewNodes()) {
        CameraInfo camera;
        if (!node || !CreateCameraInfo(*node, camera)) {
            Logger::Log(LogLevel::Warning, "Unable to add camera info '%s'", name.c_str());
            continue;
        }
        creation.cameras.push_back(std::move(camera));
    }
    if (creation.cameras.empty()) Logger::Log(LogLevel::Warning, "No cameras added to scene from U3D file!");
    return true;
}

// The scene graph measures, centres and completes itself.
bool AuthoringPool_U3D::InitScene(SceneGraph& scene, const std::shared_ptr<Model>& rootModel,
                                  Rendering::SceneCreationInfo& creation) {
    creation.modelTree = rootModel;
    creation.axisVisible = true;
    creation.gridVisible = true;
    creation.createDefaultCamera = true;
    creation.lightingModel = scene.GetLightingModel();
    if (!scene.Init(creation)) {
        Logger::Log(LogLevel::Error, "Failed to create SceneGraph!");
        return false;
    }
    return true;
}

bool AuthoringPool_U3D::BuildLights(SceneHandle handle) {
    uint32_t added = 0;
    for (const auto& [name, node] : nodePool_->LightNodes()) {
        if (!node || !CreateLightInstance(handle, *node)) {
            Logger::Log(LogLevel::Warning, "Unable to create light instance '%s'", name.c_str());
            continue;
        }
        ++added;
    }
    if (added == 0) Logger::Log(LogLevel::Warning, "No lights added to scene from U3D file!");
    return true;
}

bool AuthoringPool_U3D::CreateChildInstancesForNode(SceneHandle scene, const AuthorNode& node,
                                                    const std::shared_ptr<Model>& parentModel) {
    if (!parentModel) return false;
    if (buildDepth_ >= kMaxDepth) {
        Logger::Log(LogLevel::Warning, "Node hierarchy below '%s' is too deep -> IGNORED", node.instanceName.c_str());
        return false;
    }
    bool complete = true;
    for (const auto& [childName, child] : node.children) {
        if (buildStep_ > 0.0f) progress_.UpdateProgress(buildStep_);
        if (AuthoringInterrupt::Interrupted()) return false;
        if (!child) continue;
        if (modelBudget_ == 0) {
            Logger::Log(LogLevel::Warning, "Too many model instances, '%s' and what follows is IGNORED",
                        child->instanceName.c_str());
            return false;
        }
        std::shared_ptr<Model> model;
        if (child->kind == AuthorNode::Model) {
            model = CreateModelInstance(scene, *child);
        } else if (child->kind == AuthorNode::Group) {
            model = InvisibleModel::Create(scene, child->instanceName);
        } else {
            Logger::Log(LogLevel::Error, "CreateChildInstancesForNode: Invalid node type for '%s'",
                        child->name.c_str());
        }
        if (!model) {
            Logger::Log(LogLevel::Warning, "CreateChildInstancesForNode: Failed to create model for node '%s'",
                        child->name.c_str());
            continue;
        }
        --modelBudget_;
        model->SetMatrix(child->transform);
        parentModel->AddChild(model, "");
        try {
            modelsByNode_.emplace(child->name, model);
        } catch (const std::bad_alloc&) {
            Logger::Log(LogLevel::Error, "OUT OF MEMORY");
            return false;
        }
        if (!child->children.empty()) {
            ++buildDepth_;
            const bool done = CreateChildInstancesForNode(scene, *child, model);
            --buildDepth_;
            if (!done) complete = false;
            if (modelBudget_ == 0 || AuthoringInterrupt::Interrupted()) return false;
        }
    }
    return complete;
}

namespace {

// The node's shading modifier, else the mesh's; null when there is neither.
std::shared_ptr<ShadingGroup> FindShadingFor(const AuthorShaderPool& shaders, const AuthorNode& node,
                                             const std::string& meshName) {
    std::shared_ptr<ShadingGroup> shading = shaders.FindShadingModifier(node.name);
    if (shading) return shading;
    shading = shaders.FindShadingModifier(meshName);
    if (shading) {
        Logger::Log(LogLevel::Warning, "Fallback to alternative shading modifier '%s' instead '%s'", meshName.c_str(),
                    node.name.c_str());
    } else {
        // Writers leave the modifier out when the default shading will do (a bare mesh
        // exported by a mesh editor): the mesh is drawn with the default material rather
        // than lost.
        Logger::Log(LogLevel::Warning, "Cannot find shading modifier for node '%s' -> using default shading",
                    node.name.c_str());
    }
    return shading;
}

// The first shader of the group's shading list; null for none (default shading).
const AuthorShader* ShaderForGroup(const AuthorShaderPool& shaders, const ShadingGroup* shading, uint32_t group,
                                   const AuthorNode& node) {
    if (!shading || group >= shading->shaderLists.size()) return nullptr;
    const std::vector<std::string>& list = shading->shaderLists[group];
    if (list.size() > 1)
        Logger::Log(LogLevel::Warning, "Shading List with %u entries, only first one used, rest will be DISCARDED!",
                    uint32_t(list.size()));
    if (list.empty()) return nullptr;
    const AuthorShader* shader = shaders.FindShader(list.front()).get();
    if (!shader)
        Logger::Log(LogLevel::Warning, "Cannot find shader '%s' for model '%s'", list.front().c_str(),
                    node.name.c_str());
    return shader;
}

// One shading state per group (shading id) of the mesh, in order, with the descriptions the
// model is made with. False only when out of memory.
bool MakeGroupStates(const AuthorShaderPool& shaders, const ShadingGroup* shading, const AuthorNode& node,
                     const Rendering::Mesh& mesh, const std::string& meshName, std::vector<GroupShading>& states,
                     Rendering::ModelCreationInfo& info) {
    const uint32_t groups = mesh.GetSubObjectCount();
    try {
        states.reserve(groups);
        info.shaderDescriptions.reserve(groups);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    for (uint32_t group = 0; group < groups; ++group) {
        const AuthorShader* shader = ShaderForGroup(shaders, shading, group, node);
        states.push_back(MakeGroupShading(mesh.GetVertexAttributes(group), shader, meshName));
        info.shaderDescriptions.push_back(states.back().description);
    }
    return true;
}

// The group's textures onto the model; true when one of them has alpha.
bool SetGroupTextures(Model& model, uint32_t group, const GroupShading& state,
                      const Rendering::TextureManager& textures) {
    bool transparent = false;
    for (uint32_t layer = 0; layer < Rendering::kMaxTextureLayers; ++layer) {
        if (!(state.description.textureLayers & (1u << layer))) continue;
        uint32_t id = textures.GetTextureId(state.textureNames[layer]);
        if (id == 0) {
            Logger::LogF(LogLevel::Error, "Cannot find texture '{:s}'", state.textureNames[layer]);
            id = textures.GetDefaultTextureId();
        } else {
            const std::shared_ptr<Rendering::Texture> texture = textures.GetTexture(id);
            if (texture && texture->HasAlpha()) transparent = true;
        }
        model.SetTexture(group, layer, id);
    }
    return transparent;
}

// Materials and textures of each group onto the model; true when any of them is see-through.
bool SetGroupResources(Model& model, const std::vector<GroupShading>& states,
                       const Rendering::SceneResources& resources) {
    bool transparent = false;
    const Rendering::MaterialManager& materials = resources.materialManager;
    for (uint32_t group = 0; group < states.size(); ++group) {
        const GroupShading& state = states[group];
        transparent = transparent || state.transparent;
        uint32_t materialIndex = materials.GetDefaultMaterialIndex();
        const auto found = materials.GetMaterialMap().find(state.materialName);
        if (!state.materialName.empty() && found != materials.GetMaterialMap().end()) {
            materialIndex = found->second;
            if (materialIndex < materials.GetMaterials().size() &&
                materials.GetMaterials()[materialIndex].Opacity() < 1.0f)
                transparent = true;
        }
        model.SetMaterial(group, materialIndex);
        if (SetGroupTextures(model, group, state, resources.textureManager)) transparent = true;
    }
    return transparent;
}

}  // namespace

std::shared_ptr<Model> AuthoringPool_U3D::CreateModelInstance(SceneHandle scene, const AuthorNode& node) {
    std::shared_ptr<SceneGraph> graph = SceneManager::Instance().GetScene(scene);
    if (!graph) return nullptr;
    Rendering::SceneResources& resources = graph->GetResources();
    const auto* data = dynamic_cast<const ModelNodeData*>(node.data.get());
    const std::string& meshName = data ? data->resourceName : node.name;

    std::shared_ptr<Rendering::Mesh> mesh = resources.meshManager.GetMesh(meshName);
    if (!mesh) {
        Logger::Log(LogLevel::Warning, "Cannot find mesh '%s' for node '%s' -> creating invisible model/mesh",
                    meshName.c_str(), node.name.c_str());
        return InvisibleModel::Create(scene, node.instanceName);
    }
    std::shared_ptr<ShadingGroup> shading = FindShadingFor(*shaderPool_, node, meshName);
    if (shading && shading->shaderLists.empty()) {
        Logger::LogF(LogLevel::Warning,
                     "Empty shading list for node '{:s}' in AuthoringPool::CreateModelInstance() -> Creating invisible "
                     "model/mesh",
                     node.name);
        return InvisibleModel::Create(scene, node.instanceName);
    }

    std::vector<GroupShading> states;
    Rendering::ModelCreationInfo info;
    if (!MakeGroupStates(*shaderPool_, shading.get(), node, *mesh, meshName, states, info)) return nullptr;
    info.name = node.instanceName;
    info.mesh = mesh;
    std::shared_ptr<Model> model = Model::Create(scene, info);
    if (!model) {
        Logger::Log(LogLevel::Error, "Failed to create model instance for '%s'", node.name.c_str());
        return nullptr;
    }

    if (SetGroupResources(*model, states, resources)) {
        Logger::Log(LogLevel::Verbose, "Model %s is TRANSPARENT", model->GetName().c_str());
        model->SetTransparent(true);
    }
    return model;
}

bool AuthoringPool_U3D::CreateCameraInfo(const AuthorNode& viewNode, CameraInfo& camera) const {
    const auto* data = dynamic_cast<const ViewNodeData*>(viewNode.data.get());
    if (!data) return false;
    const uint32_t projection = data->attributes & ~1u;
    if (projection == 4 || projection == 6) {
        Logger::Log(LogLevel::Warning,
                    "AuthoringPool::CreateCameraInfo - 1Point and 2Point projections not yet supported - camera '%s' "
                    "ignored!",
                    viewNode.name.c_str());
        return false;
    }
    Matrix4 transform = viewNode.transform;
    if (!viewNode.parentName.empty() && viewNode.parentName != kWorldParentName) {
        Logger::Log(LogLevel::Warning, "View '%s' with specific parent: '%s' -> matrix will be adjusted",
                    viewNode.name.c_str(), viewNode.parentName.c_str());
        const auto parent = modelsByNode_.find(viewNode.parentName);
        if (parent == modelsByNode_.end() || !parent->second) {
            Logger::Log(LogLevel::Warning, "Cannot find parent '%s' for view '%s' -> view will be parented to scene",
                        viewNode.parentName.c_str(), viewNode.name.c_str());
        } else {
            transform = Rendering::MathUtil::Multiply(parent->second->GetWorldMatrix(), transform);
        }
    }

    camera = CameraInfo{};
    camera.type = Rendering::CameraType::Orbit;
    camera.name = viewNode.name;
    camera.nearClip = data->nearClip > 0.0001f ? data->nearClip : 0.0001f;
    camera.farClip = data->farClip;
    if (projection == 2) {
        camera.orthographic = true;
        camera.orthoZoom = 1.0f;
        // The view volume is orthoHeight high in scene units; the camera measures it in
        // viewport pixels.
        const float height = data->orthoHeight > 0.0f ? data->orthoHeight : 1.0f;
        camera.orthoViewHeightFactor = data->viewportHeight > 0.0f ? height / data->viewportHeight : height;
    } else {
        camera.fieldOfView = data->fieldOfView;
    }
    // The view looks down its node's negative z axis, y is up, and the right row of the
    // camera points to the viewer's left, hence the negated x axis.
    Vec3 forward = Negated(Row(transform, 2));
    Vec3 up = Row(transform, 1);
    Vec3 right = Negated(Row(transform, 0));
    Normalise(forward);
    Normalise(up);
    Normalise(right);
    camera.eye = Row(transform, 3);
    camera.target = {camera.eye[0] + forward[0], camera.eye[1] + forward[1], camera.eye[2] + forward[2]};
    camera.orientation[0] = right;
    camera.orientation[1] = up;
    camera.orientation[2] = forward;
    return true;
}

bool AuthoringPool_U3D::CreateLightInstance(SceneHandle scene, const AuthorNode& lightNode) {
    std::shared_ptr<SceneGraph> graph = SceneManager::Instance().GetScene(scene);
    if (!graph) return false;
    const auto* data = dynamic_cast<const LightNodeData*>(lightNode.data.get());
    const std::string resource = data ? data->resourceName : std::string();
    // The ambient light shines through PrepareLighting, not through a slot of its own.
    if (lightPool_->hasAmbient && resource == lightPool_->ambientName && !lightPool_->FindLight(resource)) return true;
    const AuthorLightPool::Entry* entry = FindValidLight(lightNode, resource);
    if (!entry) return false;
    const float scale = graph->GetGridSize() / kLightMarkerGridDivisions;
    if (!(scale > 0.0f) || !std::isfinite(scale)) {
        Logger::Log(LogLevel::Warning, "AuthoringPool::CreateLightInstance: Invalid light scale for scene");
        return false;
    }

    Rendering::LightInfo info = LightInfoFromData(entry->data);
    PlaceLight(info, entry->lightType, LightTransform(*graph, lightNode), graph->GetRescaleFactor(),
               graph->GetCenter());
    if (!graph->GetResources().lightManager.SetLightInfo(entry->lightIndex, info, true)) return false;
    AddLightMarker(*graph, scene, lightNode, *entry, scale);
    return true;
}

const AuthorLightPool::Entry* AuthoringPool_U3D::FindValidLight(const AuthorNode& lightNode,
                                                                const std::string& resource) const {
    const AuthorLightPool::Entry* entry = lightPool_->FindLight(resource);
    if (!entry) {
        Logger::Log(LogLevel::Warning, "AuthoringPool::CreateLightInstance: Cannot find light source for '%s'",
                    lightNode.name.c_str());
        return nullptr;
    }
    if (entry->lightType < AuthorLightPool::Directional || entry->lightType > AuthorLightPool::Spot ||
        entry->lightIndex >= Rendering::kMaxLights) {
        Logger::Log(LogLevel::Warning, "AuthoringPool::CreateLightInstance: Invalid light data for '%s'",
                    lightNode.name.c_str());
        return nullptr;
    }
    return entry;
}

// Lights hang below their parent node like views do. The light tree shares the model tree's
// centring but not its rescaling, so positions take the rescale factor later. The parent's
// world matrix already holds both (the scene graph is complete), so it goes back to document
// space first: the tree's own matrix is Translation(-centre) * Scale(r).
Matrix4 AuthoringPool_U3D::LightTransform(const SceneGraph& graph, const AuthorNode& lightNode) const {
    namespace M = Rendering::MathUtil;
    const float rescale = graph.GetRescaleFactor();
    Matrix4 m = lightNode.transform;
    if (lightNode.parentName.empty() || lightNode.parentName == kWorldParentName || rescale == 0.0f) return m;
    const auto parent = modelsByNode_.find(lightNode.parentName);
    if (parent == modelsByNode_.end() || !parent->second) return m;
    const Matrix4 toDocument =
        M::Multiply(M::Scale({1.0f / rescale, 1.0f / rescale, 1.0f / rescale}), M::Translation(graph.GetCenter()));
    return M::Multiply(M::Multiply(toDocument, parent->second->GetWorldMatrix()), m);
}

// The light tree is moved by minus the scene's centre, which suits markers placed by directions
// alone. A point or spot light's position is already centred, so its marker hangs from a node
// that takes the move back, and the marker shows where the light shines from.
bool AuthoringPool_U3D::HangLightMarker(SceneGraph& graph, SceneHandle scene, const std::shared_ptr<Model>& marker,
                                        uint32_t lightType) {
    if (lightType == AuthorLightPool::Directional) return graph.AddLightModel(marker);
    std::shared_ptr<Model> frame = graph.FindLightModel(kPlacedLightFrameName);
    if (!frame) {
        frame = InvisibleModel::Create(scene, kPlacedLightFrameName);
        if (!frame) return false;
        frame->SetTranslation(graph.GetCenter());
        if (!graph.AddLightModel(frame)) return false;
    }
    if (!marker || !frame->AddChild(marker, std::string())) return false;
    marker->SetParentMatrix(frame->GetWorldMatrix());
    return true;
}

void AuthoringPool_U3D::AddLightMarker(SceneGraph& graph, SceneHandle scene, const AuthorNode& lightNode,
                                       const AuthorLightPool::Entry& entry, float scale) {
    // The marker is a courtesy: failing to make it costs only its visibility.
    Rendering::LightManager& lights = graph.GetResources().lightManager;
    Rendering::LightModelCreationInfo markerInfo;
    markerInfo.name = lightNode.instanceName;
    markerInfo.lightType = entry.lightType;
    markerInfo.visible = lights.AreLightModelsVisible();
    markerInfo.active = true;
    markerInfo.matrix = Rendering::MathUtil::Scale({scale, scale, scale});
    std::shared_ptr<Rendering::LightModel> marker = Rendering::LightModel::Create(scene, markerInfo);
    if (!marker) {
        Logger::Log(LogLevel::Warning, "Unable to create light model for '%s' -> will not be visible",
                    lightNode.name.c_str());
        return;
    }
    if (!HangLightMarker(graph, scene, marker, entry.lightType)) {
        Logger::Log(LogLevel::Warning,
                    "Unable to add light model '%s' to scene graph, no visible model will be available!",
                    lightNode.name.c_str());
        return;
    }
    if (!lights.SetLightModel(entry.lightIndex, marker))
        Logger::Log(LogLevel::Warning, "Cannot associate light model '%s' with light %u", lightNode.name.c_str(),
                    entry.lightIndex);
}

void AuthoringPool_U3D::PrepareLighting(SceneHandle scene) {
    std::shared_ptr<SceneGraph> graph = SceneManager::Instance().GetScene(scene);
    if (!graph) return;
    Rendering::LightManager& lights = graph->GetResources().lightManager;
    if (lightPool_->hasAmbient) lights.SetAmbient(true, lightPool_->ambientColor);
    bool any = lightPool_->hasAmbient;
    for (uint32_t i = 0; i < Rendering::kMaxLights; ++i) any = any || lights.GetBlock().flags[i][0] != 0;
    if (!any) return;  // the lighting scheme decides what shines
    lights.SetLightingEnabled(true);
    graph->GetResources().lightingSchemeManager.StoreCurrentAsArtwork();
}

}  // namespace Velmora::U3D
