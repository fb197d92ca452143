#pragma once
// What the camera classes need of the scene they show, asked for by handle.
//
// A CameraController belongs to a render view and a SceneCamera to the controller; neither
// holds a pointer to the scene. The scene registry installs a lookup once, and the cameras ask
// it with their handle whenever they need the scene: for its camera records and measures, to
// write the GlobalMatrices block, to reach the light manager, to draw the scene's passes and
// to make the two overlay models of the rotation sphere. The scene implements CameraScene.

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "rendering/CameraInfo.h"
#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;
class LightManager;

// An overlay model of the camera controller (a SimpleModel): drawn in clip space through its
// matrix, with depth testing off.
class CameraUIElement {
public:
    virtual ~CameraUIElement() = default;
    virtual void SetVisible(bool visible) = 0;
    virtual bool IsVisible() const = 0;
    virtual void SetMatrix(const Mat4& matrix) = 0;
    virtual void Render(float time, float deltaTime) = 0;
};

// The scene's draw passes in the order a frame runs them.
enum class ScenePass : uint32_t {
    WorldAxis = 0,
    WorldGrid,
    GridAxis,
    LightTree,
    ModelTree,             // opaque pass
    ModelTreeTransparent,  // the transparent objects, drawn last
};

class CameraScene {
public:
    virtual ~CameraScene() = default;
    virtual const std::map<std::string, CameraInfo>& GetCameras() const = 0;
    virtual float GetGridSize() const = 0;
    virtual float GetRescaleFactor() const = 0;
    virtual Vec3 GetCenter() const = 0;
    // Visible and with a root model: the passes can be drawn.
    virtual bool IsRenderable() const = 0;
    // The CPU copy of the GlobalMatrices block and bytes 0..63 / 64..127 of its buffer.
    virtual void WriteViewMatrix(const Mat4& view) = 0;
    virtual void WriteProjectionMatrix(const Mat4& projection) = 0;
    virtual LightManager* GetLightManager() = 0;
    virtual void RenderPass(ScenePass pass, float time, float deltaTime) = 0;
    // A hidden overlay model over the helper mesh of meshType (SimpleMeshFactory), drawn with
    // the given shader flags and mesh colour; empty on failure.
    virtual std::shared_ptr<CameraUIElement> CreateUIElement(uint32_t meshType, uint32_t shaderFlags,
                                                             const Vec4& color) = 0;
};

class CameraSceneLink {
public:
    // The scene of a handle, valid for the current call on the render thread; null when the
    // handle names no scene.
    using Lookup = CameraScene* (*)(SceneHandle handle);

    static void Install(Lookup lookup) { lookup_.store(lookup, std::memory_order_release); }
    static Lookup Installed() { return lookup_.load(std::memory_order_acquire); }

    static CameraScene* Find(SceneHandle handle) {
        const Lookup lookup = lookup_.load(std::memory_order_acquire);
        return handle != 0 && lookup != nullptr ? lookup(handle) : nullptr;
    }

private:
    static inline std::atomic<Lookup> lookup_{nullptr};
};

}  // namespace Velmora::Rendering
