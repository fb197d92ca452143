#include "rendering/SceneManager.h"

#include "rendering/RenderView.h"
#include "rendering/SceneGraph.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/shaders/ShaderSceneLink.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// The per-scene managers reach their scene by handle through these lookups.
CameraScene* FindCameraScene(SceneHandle handle) { return SceneManager::Instance().GetScene(handle).get(); }
LightScene* FindLightScene(SceneHandle handle) { return SceneManager::Instance().GetScene(handle).get(); }
MeshManager* FindMeshManager(SceneHandle handle) {
    auto scene = SceneManager::Instance().GetScene(handle);
    return scene ? &scene->GetResources().meshManager : nullptr;
}
bool QueryShaderScene(SceneHandle handle, ShaderSceneInfo& info) {
    auto scene = SceneManager::Instance().GetScene(handle);
    if (!scene) return false;
    info.lightingModel = scene->GetLightingModel();
    info.matricesBindingPoint = scene->GetResources().matricesBindingPoint;
    info.lightsBindingPoint = scene->GetResources().lightManager.GetBindingPoint();
    return true;
}

}  // namespace

SceneManager::SceneManager() {
    CameraSceneLink::Install(&FindCameraScene);
    LightSceneLink::Install(&FindLightScene);
    SimpleMeshFactory::SetMeshManagerLookup(&FindMeshManager);
    ShaderSceneLink::Install(&QueryShaderScene);
}

SceneManager& SceneManager::Instance() {
    static SceneManager manager;
    return manager;
}

SceneHandle SceneManager::CreateScene() {
    SceneHandle handle = ++counter_;
    auto scene = std::make_shared<SceneGraph>(handle);
    // The entry must exist while the resources initialise: managers look their scene up.
    scenes_[handle] = Entry{scene, {}};
    if (!scene->GetResources().Init()) {
        Logger::Log(LogLevel::Error, "SceneGraph::Init - Failed to init resource managers!");
        scenes_.erase(handle);
        return 0;
    }
    return handle;
}

std::shared_ptr<SceneGraph> SceneManager::GetScene(SceneHandle handle) const {
    auto it = scenes_.find(handle);
    return it == scenes_.end() ? nullptr : it->second.scene;
}

void SceneManager::ReleaseScene(SceneHandle handle) {
    auto it = scenes_.find(handle);
    if (it == scenes_.end()) return;
    if (!it->second.views.empty()) {
        Logger::LogF(LogLevel::Error,
                     "Warning, SceneHandle {:d} is being released but still referenced by {:d} RenderViews!", handle,
                     it->second.views.size());
    }
    // Destroy the scene while its entry still answers lookups: the managers' shutdown may ask.
    std::shared_ptr<SceneGraph> scene = std::move(it->second.scene);
    scene.reset();
    scenes_.erase(handle);
}

void SceneManager::ReleaseAllScenes() {
    while (!scenes_.empty()) ReleaseScene(scenes_.begin()->first);
}

uint32_t SceneManager::GetReferenceCount(SceneHandle handle) const {
    auto it = scenes_.find(handle);
    return it == scenes_.end() ? 0 : uint32_t(it->second.views.size());
}

bool SceneManager::LinkSceneToRenderView(SceneHandle handle, RenderView* view) {
    auto it = scenes_.find(handle);
    if (it == scenes_.end() || view == nullptr) {
        Logger::Log(LogLevel::Error, "SceneManager::LinkSceneToRenderView with invalid scene and/or renderView!");
        return false;
    }
    const std::string& name = view->GetName();
    if (!it->second.views.insert(name).second) {
        Logger::Log(LogLevel::Warning,
                    "SceneManager::LinkSceneToRenderView - RenderView '%s' already linked to scene %u!", name.c_str(),
                    handle);
        return true;
    }
    Logger::Log(LogLevel::Info,
                "SceneManager::LinkSceneToRenderView - RenderView '%s' successfully linked to scene %u!", name.c_str(),
                handle);
    view->SetSceneGraph(handle);
    return true;
}

bool SceneManager::UnlinkSceneFromRenderView(RenderView* view) {
    if (view == nullptr || view->GetSceneHandle() == 0) return false;
    const SceneHandle handle = view->GetSceneHandle();
    auto it = scenes_.find(handle);
    if (it == scenes_.end()) {
        Logger::Log(LogLevel::Error, "SceneManager::UnlinkSceneFromRenderView with invalid scene and/or renderView!");
        return false;
    }
    view->ClearSceneGraph();
    it->second.views.erase(view->GetName());
    Logger::Log(LogLevel::Info,
                "SceneManager::UnlinkSceneFromRenderView - RenderView '%s' successfully unlinked from scene %u!",
                view->GetName().c_str(), handle);
    if (it->second.views.empty()) {
        Logger::Log(LogLevel::Info,
                    "SceneManager::UnlinkSceneFromRenderView - scene %u not referenced any more, will be released",
                    handle);
        ReleaseScene(handle);
    }
    return true;
}

}  // namespace Velmora::Rendering
