#pragma once
// CameraController: the cameras of one render view. It turns the scene's CameraInfo records
// into SceneCameras, keeps which one is active, runs the scene's draw passes for a frame and
// turns mouse input into orbit, free rotation, panning and zoom, showing the rotation sphere
// while the user drags.
//
// Every record is moved into the scene's frame on the way in: positions are multiplied by the
// scene's rescale factor and the scene's centre is subtracted, so that cameras written in
// document units look at the rescaled, centred world. Render thread only.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "rendering/CameraInfo.h"
#include "rendering/CameraSceneLink.h"
#include "rendering/SceneCamera.h"

namespace Velmora::Rendering {

struct CameraViewport {
    int32_t x = 0;
    int32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

class CameraController {
public:
    using CameraMap = std::map<std::string, SceneCamera>;

    CameraController() : active_(cameras_.end()) {}
    CameraController(const CameraController&) = delete;
    CameraController& operator=(const CameraController&) = delete;

    // Takes the scene's cameras and activates its default camera.
    bool OnSceneGraphSet(SceneHandle handle);
    // Drops the overlay models and all cameras; the controller shows no scene afterwards.
    void Clear();
    bool OnViewportChanged(const CameraViewport& viewport);
    // Share of the viewport's shorter side that the rotation sphere spans.
    void SetSphereRadiusFactor(float factor) { sphereRadiusFactor_ = factor; }

    bool AddCamera(const CameraInfo& info);
    bool RemoveCamera(const std::string& name);
    bool EditCamera(const CameraInfo& info);
    bool ActivateCamera(const std::string& name);
    // The camera after the active one in name order, wrapping to the first.
    bool ActivateNextCamera();
    bool ActivateFirstCamera();
    // Never fails: with no active camera it logs and hands out a fixed stand-in camera.
    SceneCamera& GetActiveCamera();
    bool HasActiveCamera() const { return active_ != cameras_.end(); }
    const CameraMap& GetCameras() const { return cameras_; }
    SceneHandle GetSceneHandle() const { return handle_; }

    // One frame of the scene: camera lights, camera motion, the passes in order, and the
    // rotation sphere on top when drawUI is set. deltaSeconds is the raw frame time.
    void Render(bool drawUI, CameraScene& scene, float timeSeconds, float deltaSeconds);

    // Window point to the arcball sphere; for an orbit camera the crosshair follows.
    void MapToSphere(float x, float y, Vec3& spherePoint);

    // Mouse actions. Rotation needs an orbit or walk camera, panning and zoom any but a fixed
    // one. Zoom takes one wheel step already signed and sized (negative: closer / larger).
    void Zoom(float step);
    void OnPrimaryDown(int32_t x, int32_t y);
    void OnPrimaryMove(int32_t x, int32_t y);
    void OnPrimaryUp();
    // Pans by a pointer offset in pixels, as a secondary drag of that size would.
    void PanBy(float dxPixels, float dyPixels);

    bool IsRotating() const { return rotating_; }
    float GetSphereRadiusPixels() const { return sphereRadiusPixels_; }
    float GetCrosshairScaleX() const { return crosshairScaleX_; }
    float GetCrosshairScaleY() const { return crosshairScaleY_; }
    const CameraViewport& GetViewport() const { return viewport_; }

private:
    bool Activate(CameraMap::iterator camera);
    bool CreateUIElements(CameraScene& scene);
    // The record in the scene's frame: rescaled, then moved by minus the scene's centre.
    static CameraInfo ToSceneFrame(const CameraInfo& info, const CameraScene& scene);
    bool MakeCamera(const CameraInfo& info, SceneCamera& camera) const;

    SceneHandle handle_ = 0;
    CameraViewport viewport_;
    float sphereRadiusFactor_ = 0.9f;
    float sphereRadiusPixels_ = 0.0f;
    float crosshairScaleX_ = 1.0f;
    float crosshairScaleY_ = 1.0f;
    std::shared_ptr<CameraUIElement> rotationSphere_;
    std::shared_ptr<CameraUIElement> crosshair_;
    Vec3 sphereStart_{0.0f, 0.0f, 1.0f};
    bool rotating_ = false;
    bool sphereShown_ = false;
    CameraMap cameras_;
    CameraMap::iterator active_;
    int32_t activeType_ = 0;
};

}  // namespace Velmora::Rendering
