#pragma once
// What the shader side needs to know about the scene it belongs to, asked for by handle.
//
// Programs are held per scene, and a scene decides two things about them: the lighting model
// that selects the specular term, and the binding points of its GlobalMatrices and
// GlobalLights uniform blocks; scenes that agree on both share programs (ProgramLibrary). The
// shader classes never hold a pointer to the scene; like the other per-scene managers they go
// through the scene registry with the handle. The registry installs the lookup once, when it
// is first built.

#include <atomic>
#include <cstdint>

namespace Velmora::Rendering {

using SceneHandle = uint32_t;

struct ShaderSceneInfo {
    uint32_t lightingModel = 1;         // 0 phong, 1 blinn, 2 gauss
    uint32_t matricesBindingPoint = 0;  // of the GlobalMatrices block
    uint32_t lightsBindingPoint = 0;    // of the GlobalLights block
};

class ShaderSceneLink {
public:
    // Fills info for a live scene; false when the handle names no scene.
    using Lookup = bool (*)(SceneHandle handle, ShaderSceneInfo& info);

    static void Install(Lookup lookup) { lookup_.store(lookup, std::memory_order_release); }
    static Lookup Installed() { return lookup_.load(std::memory_order_acquire); }

    static bool Query(SceneHandle handle, ShaderSceneInfo& info) {
        const Lookup lookup = lookup_.load(std::memory_order_acquire);
        return handle != 0 && lookup != nullptr && lookup(handle, info);
    }

private:
    static inline std::atomic<Lookup> lookup_{nullptr};
};

}  // namespace Velmora::Rendering
