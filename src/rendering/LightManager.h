#pragma once
// LightManager: the scene's GlobalLights uniform block, shared by every generated program,
// together with the marker model bound to each light and the lights that follow the camera.
//
// The block is kept on the CPU as it stands in the buffer, and every change is written to the
// buffer at once with the bytes it touched, so the buffer never needs a full refresh. Up to
// kMaxLights lights exist; index i is slot i of the block. Render thread only, with the
// scene's context current whenever a GL buffer exists.

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "rendering/LightInfo.h"
#include "rendering/LightSceneLink.h"

namespace Velmora::Rendering {

class SceneCamera;

class LightManager {
public:
    explicit LightManager(SceneHandle handle) : handle_(handle) {}
    ~LightManager();
    LightManager(const LightManager&) = delete;
    LightManager& operator=(const LightManager&) = delete;

    // Creates the uniform buffer, uploads the block and binds it to bindingPoint.
    bool Init(uint32_t bindingPoint);
    // Starts without a GL buffer: the block lives on the CPU only and nothing is uploaded.
    // For tools and tests that run without a context.
    void InitWithoutBuffer();
    // Clears the lights, deletes the buffer and returns the binding point it used. Not
    // initialised: returns 0.
    uint32_t Shutdown();
    // Binds the buffer to the binding point again: scenes share the point and each binds its
    // own block before it is drawn.
    void BindForDrawing() const;

    // Accepted in [1.0, 5.0]; does not switch gamma on or off.
    bool SetGamma(float gamma);
    void SetGammaEnabled(bool enabled);
    void SetLightingEnabled(bool enabled);
    void SetAmbient(bool enabled, const Vec4& intensity);

    bool SetLightInfo(uint32_t index, const LightInfo& info, bool active);
    bool GetLightInfo(uint32_t index, LightInfo& info) const;
    bool GetLightActive(uint32_t index, bool& active) const;
    // Binds (or replaces) the marker of a light and brings it up to date with the light. The
    // marker keeps the visibility it was made with until SetLightModelsVisible.
    bool SetLightModel(uint32_t index, std::shared_ptr<LightMarker> marker);
    void SetLightModelsVisible(bool visible);

    // Lighting off, no lights, no markers (hidden first), no camera lights, default block.
    void Reset();
    // Replaces the whole block (a stored light set) and uploads it.
    void RestoreBlock(const LightBlock& block);

    // The light keeps the camera's place (point, spot) or direction (directional) from the
    // next update on.
    bool AttachLightToCamera(uint32_t index);
    void UpdateCameraLights(const SceneCamera& camera);
    void UpdateCameraLights(const Vec3& eye, const Vec3& forward);
    bool IsCameraAttachedDirty() const { return cameraAttachedDirty_; }
    void MarkCameraAttachedDirty() { cameraAttachedDirty_ = true; }

    // Local matrix of a light's marker without its size: a point light's marker sits at the
    // light; a directional marker stays at the origin and a spot marker at the light, both
    // turned so that their ray (along the mesh's x axis) points where the light travels.
    static Mat4 MarkerPlacement(const LightInfo& info);

    bool IsInitialized() const { return initialised_; }
    uint32_t GetBuffer() const { return buffer_; }
    uint32_t GetBindingPoint() const { return bindingPoint_; }
    SceneHandle GetSceneHandle() const { return handle_; }
    const LightBlock& GetBlock() const { return block_; }
    bool AreLightModelsVisible() const { return visible_; }
    const std::map<uint32_t, std::shared_ptr<LightMarker>>& GetLightModels() const { return models_; }
    const std::set<uint32_t>& GetCameraLights() const { return cameraLights_; }

private:
    void Upload(size_t offset, size_t size);
    void UploadAll();
    void UpdateMarker(uint32_t index);

    SceneHandle handle_;
    bool initialised_ = false;
    bool visible_ = false;
    bool cameraAttachedDirty_ = false;
    LightBlock block_;
    uint32_t buffer_ = 0;
    uint32_t bindingPoint_ = 0;
    std::map<uint32_t, std::shared_ptr<LightMarker>> models_;
    std::set<uint32_t> cameraLights_;
};

}  // namespace Velmora::Rendering
