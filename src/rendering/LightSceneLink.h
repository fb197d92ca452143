#pragma once
// What the light classes need of the scene they belong to, asked for by handle.
//
// LightManager and LightingSchemeManager are members of a scene's resources and, like every
// per-scene manager, hold no pointer to the scene: the scene registry installs a lookup once
// and they ask it with their handle for each operation. The scene answers with LightScene,
// which it implements itself. Light markers are the scene's LightModel objects seen only
// through the two operations the managers use.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "rendering/LightInfo.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;
class LightManager;

// The drawable marker of one light (a LightModel).
class LightMarker {
public:
    virtual ~LightMarker() = default;
    virtual void SetVisible(bool visible) = 0;
    // lightType as LightType; colour of the marker; placement: the marker's local matrix
    // (see LightManager::MarkerPlacement).
    virtual void UpdateMarker(uint32_t lightType, const Vec4& color, const Mat4& placement) = 0;
};

class LightScene {
public:
    virtual ~LightScene() = default;
    virtual LightManager* GetLightManager() = 0;
    virtual float GetGridSize() const = 0;
    // A marker already in the scene's light tree, or empty.
    virtual std::shared_ptr<LightMarker> FindLightMarker(const std::string& name) = 0;
    // A new marker (LightModel::Create), not yet in the tree; empty on failure.
    virtual std::shared_ptr<LightMarker> CreateLightMarker(const LightModelCreationInfo& info) = 0;
    // Hangs the marker into the light tree (SceneGraph::AddLightModel).
    virtual bool AddLightMarker(const std::shared_ptr<LightMarker>& marker) = 0;
};

class LightSceneLink {
public:
    // The scene of a handle, valid for the current call on the render thread; null when the
    // handle names no scene.
    using Lookup = LightScene* (*)(SceneHandle handle);

    static void Install(Lookup lookup) { lookup_.store(lookup, std::memory_order_release); }
    static Lookup Installed() { return lookup_.load(std::memory_order_acquire); }

    static LightScene* Find(SceneHandle handle) {
        const Lookup lookup = lookup_.load(std::memory_order_acquire);
        return handle != 0 && lookup != nullptr ? lookup(handle) : nullptr;
    }

private:
    static inline std::atomic<Lookup> lookup_{nullptr};
};

}  // namespace Velmora::Rendering
