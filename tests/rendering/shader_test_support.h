#pragma once
// Shared by the shader and helper-geometry tests: a stand-in for the scene registry, which
// answers the shader and mesh lookups for the handles a test registers.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/MeshManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "rendering/shaders/ShaderSceneLink.h"

namespace kestrum_test {

// Scenes known to the lookups while the object lives; the scene registry's own lookups are
// put back afterwards. Only one may live at a time.
class FakeScenes {
public:
    FakeScenes()
        : previousShaderLookup_(Velmora::Rendering::ShaderSceneLink::Installed()),
          previousMeshLookup_(Velmora::Rendering::SimpleMeshFactory::GetMeshManagerLookup()) {
        Instance() = this;
        Velmora::Rendering::ShaderSceneLink::Install(&ShaderLookup);
        Velmora::Rendering::SimpleMeshFactory::SetMeshManagerLookup(&MeshLookup);
    }
    ~FakeScenes() {
        for (auto& entry : scenes_) entry.second.meshes->Shutdown();
        Velmora::Rendering::ShaderSceneLink::Install(previousShaderLookup_);
        Velmora::Rendering::SimpleMeshFactory::SetMeshManagerLookup(previousMeshLookup_);
        Instance() = nullptr;
    }
    FakeScenes(const FakeScenes&) = delete;
    FakeScenes& operator=(const FakeScenes&) = delete;

    void Add(Velmora::Rendering::SceneHandle handle, uint32_t lightingModel, uint32_t matricesBinding = 1,
             uint32_t lightsBinding = 2) {
        Scene& scene = scenes_[handle];
        scene.info = {lightingModel, matricesBinding, lightsBinding};
        scene.meshes = std::make_unique<Velmora::Rendering::MeshManager>(handle);
    }

private:
    struct Scene {
        Velmora::Rendering::ShaderSceneInfo info;
        std::unique_ptr<Velmora::Rendering::MeshManager> meshes;
    };

    static FakeScenes*& Instance() {
        static FakeScenes* instance = nullptr;
        return instance;
    }
    static bool ShaderLookup(Velmora::Rendering::SceneHandle handle, Velmora::Rendering::ShaderSceneInfo& info) {
        FakeScenes* self = Instance();
        if (!self) return false;
        auto found = self->scenes_.find(handle);
        if (found == self->scenes_.end()) return false;
        info = found->second.info;
        return true;
    }
    static Velmora::Rendering::MeshManager* MeshLookup(Velmora::Rendering::SceneHandle handle) {
        FakeScenes* self = Instance();
        if (!self) return nullptr;
        auto found = self->scenes_.find(handle);
        return found == self->scenes_.end() ? nullptr : found->second.meshes.get();
    }

    Velmora::Rendering::ShaderSceneLink::Lookup previousShaderLookup_;
    Velmora::Rendering::SimpleMeshFactory::MeshManagerLookup previousMeshLookup_;
    std::map<Velmora::Rendering::SceneHandle, Scene> scenes_;
};

}  // namespace kestrum_test
