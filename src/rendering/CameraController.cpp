#include "rendering/CameraController.h"

#include <epoxy/gl.h>

#include <algorithm>

#include "rendering/Arcball.h"
#include "rendering/LightManager.h"
#include "rendering/SimpleMeshFactory.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;
using namespace MathUtil;

namespace {
// Helper mesh types of the overlay (SimpleMeshFactory): a circle and the crosshair arcs.
constexpr uint32_t kSphereMeshType = 10;
constexpr uint32_t kCrosshairMeshType = SimpleMeshType::SphereCrosshairUI;
// Front faces, mesh colour, positions in clip space through the model matrix only.
constexpr uint32_t kOverlayShaderFlags = 0x29;
constexpr Vec4 kSphereColor{0.9f, 0.9f, 0.0f, 1.0f};
constexpr Vec4 kCrosshairColor{0.9f, 0.9f, 0.6f, 1.0f};

SceneCamera& SafetyCamera() {
    static SceneCamera camera = [] {
        SceneCamera c(0, 1.0f);
        CameraInfo info;
        info.type = CameraType::Fixed;
        info.name = "__SAFETY_CAM_DO_NOT_USE__";
        c.SetViewport(0, 0, 640, 360);
        c.Init(info);
        c.UpdateProjectionMatrix();
        return c;
    }();
    return camera;
}
}  // namespace

bool CameraController::OnSceneGraphSet(SceneHandle handle) {
    if (handle == 0) {
        Logger::Log(LogLevel::Error, "CameraController::OnSceneGraphSet() - Invalid SceneHandle!");
        return false;
    }
    if (!cameras_.empty()) {
        Logger::Log(LogLevel::Error, "CameraController::OnSceneGraphSet() - CameraMap not empty!");
        return false;
    }
    CameraScene* scene = CameraSceneLink::Find(handle);
    if (scene == nullptr) {
        Logger::Log(LogLevel::Error, "CameraController::OnSceneGraphSet() - Invalid Scene!");
        return false;
    }
    handle_ = handle;
    if (!CreateUIElements(*scene)) {
        Logger::Log(LogLevel::Error, "CameraController::OnSceneGraphSet() - Failed to create camera UI elements!");
        return false;
    }
    const auto& records = scene->GetCameras();
    if (records.empty()) {
        Logger::Log(LogLevel::Error, "Cannot get cameras for scene!");
        return false;
    }
    for (const auto& [name, info] : records) AddCamera(info);
    if (!ActivateCamera(kDefaultCameraName)) {
        Logger::Log(LogLevel::Error, "Cannot activate default camera for scene!");
        return false;
    }
    return true;
}

bool CameraController::CreateUIElements(CameraScene& scene) {
    rotationSphere_ = scene.CreateUIElement(kSphereMeshType, kOverlayShaderFlags, kSphereColor);
    if (!rotationSphere_) {
        Logger::Log(LogLevel::Error, "Failed to create rotation sphere!");
        return false;
    }
    crosshair_ = scene.CreateUIElement(kCrosshairMeshType, kOverlayShaderFlags, kCrosshairColor);
    if (!crosshair_) {
        Logger::Log(LogLevel::Error, "Failed to create rotation sphere crosshair!");
        rotationSphere_.reset();
        return false;
    }
    const Mat4 outline = Scale({crosshairScaleX_, crosshairScaleY_, 1.0f});
    rotationSphere_->SetVisible(false);
    rotationSphere_->SetMatrix(outline);
    crosshair_->SetVisible(false);
    crosshair_->SetMatrix(Arcball::CrosshairMatrix(sphereStart_, crosshairScaleX_, crosshairScaleY_));
    sphereShown_ = false;
    return true;
}

void CameraController::Clear() {
    rotationSphere_.reset();
    crosshair_.reset();
    cameras_.clear();
    active_ = cameras_.end();
    activeType_ = 0;
    rotating_ = sphereShown_ = false;
    handle_ = 0;
}

bool CameraController::OnViewportChanged(const CameraViewport& viewport) {
    if (viewport.width == 0 || viewport.height == 0) {
        Logger::Log(LogLevel::Error, "CameraController::OnViewportChanged() - Invalid viewport");
        return false;
    }
    viewport_ = viewport;
    const float width = static_cast<float>(viewport.width);
    const float height = static_cast<float>(viewport.height);
    sphereRadiusPixels_ = std::min(width, height) * sphereRadiusFactor_ * 0.5f;
    // In clip space both axes span [-1, 1] whatever the pixels; the long side is shortened by
    // the aspect ratio so that the sphere's outline stays round.
    if (width >= height) {
        crosshairScaleX_ = sphereRadiusFactor_ * height / width;
        crosshairScaleY_ = sphereRadiusFactor_;
    } else {
        crosshairScaleX_ = sphereRadiusFactor_;
        crosshairScaleY_ = sphereRadiusFactor_ * width / height;
    }
    if (rotationSphere_) rotationSphere_->SetMatrix(Scale({crosshairScaleX_, crosshairScaleY_, 1.0f}));
    if (crosshair_) crosshair_->SetMatrix(Arcball::CrosshairMatrix(sphereStart_, crosshairScaleX_, crosshairScaleY_));
    for (auto& [name, camera] : cameras_) {
        camera.SetViewport(viewport.x, viewport.y, viewport.width, viewport.height);
        if (camera.IsActive()) camera.UpdateProjectionMatrix();
    }
    return true;
}

CameraInfo CameraController::ToSceneFrame(const CameraInfo& info, const CameraScene& scene) {
    CameraInfo moved = info;
    const float rescale = scene.GetRescaleFactor();
    if (rescale != 1.0f) {
        moved.eye = Mul(moved.eye, rescale);
        moved.target = Mul(moved.target, rescale);
    }
    const Vec3 center = scene.GetCenter();
    moved.eye = Sub(moved.eye, center);
    moved.target = Sub(moved.target, center);
    return moved;
}

bool CameraController::MakeCamera(const CameraInfo& info, SceneCamera& camera) const {
    camera.SetViewport(viewport_.x, viewport_.y, viewport_.width, viewport_.height);
    if (!camera.Init(info)) return false;
    camera.SetMovementScale(camera.GetGridSize());
    return true;
}

bool CameraController::AddCamera(const CameraInfo& info) {
    if (!info.IsValid()) {
        Logger::Log(LogLevel::Error, "CameraController::AddCamera - invalid camera info");
        return false;
    }
    if (cameras_.count(info.name) != 0) {
        Logger::Log(LogLevel::Error, "CameraController::AddCamera - duplicate entry for camera '%s'",
                    info.name.c_str());
        return false;
    }
    CameraScene* scene = CameraSceneLink::Find(handle_);
    const CameraInfo moved = scene != nullptr ? ToSceneFrame(info, *scene) : info;
    SceneCamera camera(handle_, scene != nullptr ? scene->GetGridSize() : 0.0f);
    if (!MakeCamera(moved, camera)) {
        Logger::LogF(LogLevel::Error, "CameraController::AddCamera - failed to initialize camera '{:s}'", info.name);
        return false;
    }
    const auto [where, inserted] = cameras_.emplace(info.name, camera);
    if (!inserted) {
        Logger::LogF(LogLevel::Error, "CameraController::AddCamera - failed to add camera '{:s}'", info.name);
        return false;
    }
    if (where->second.IsActive()) where->second.UpdateProjectionMatrix();
    return true;
}

bool CameraController::EditCamera(const CameraInfo& info) {
    if (!info.IsValid()) {
        Logger::Log(LogLevel::Error, "CameraController::EditCamera - invalid camera info");
        return false;
    }
    const auto found = cameras_.find(info.name);
    if (found == cameras_.end()) {
        Logger::Log(LogLevel::Error, "CameraController::EditCamera - cannot find camera '%s'", info.name.c_str());
        return false;
    }
    CameraScene* scene = CameraSceneLink::Find(handle_);
    const CameraInfo moved = scene != nullptr ? ToSceneFrame(info, *scene) : info;
    SceneCamera camera(handle_, scene != nullptr ? scene->GetGridSize() : 0.0f);
    if (!MakeCamera(moved, camera)) {
        Logger::Log(LogLevel::Error, "CameraController::EditCamera - invalid camera info");
        return false;
    }
    const bool wasActive = found->second.IsActive();
    found->second = camera;
    if (wasActive) {
        found->second.SetActive(true);
        activeType_ = found->second.GetType();
    }
    return true;
}

bool CameraController::Activate(CameraMap::iterator camera) {
    CameraScene* scene = CameraSceneLink::Find(handle_);
    if (scene == nullptr) {
        Logger::Log(LogLevel::Error, "CameraController::ActivateCamera - without a valid scene!");
        return false;
    }
    if (camera == cameras_.end()) camera = cameras_.begin();
    if (camera == cameras_.end()) return false;
    if (active_ != cameras_.end() && active_ != camera) active_->second.SetActive(false);
    active_ = camera;
    camera->second.SetActive(true);
    activeType_ = camera->second.GetType();
    if (LightManager* lights = scene->GetLightManager()) lights->MarkCameraAttachedDirty();
    rotating_ = false;
    Logger::Log(LogLevel::Info, "Active camera switched to '%s' [Ortho: %s]", camera->first.c_str(),
                camera->second.IsOrthographic() ? "TRUE" : "FALSE");
    return true;
}

bool CameraController::ActivateCamera(const std::string& name) {
    const auto found = cameras_.find(name);
    if (found == cameras_.end()) {
        Logger::Log(LogLevel::Warning, "Cannot activate camera '%s' - NOT FOUND", name.c_str());
        return false;
    }
    return Activate(found);
}

bool CameraController::ActivateNextCamera() {
    if (cameras_.empty()) return false;
    return Activate(active_ == cameras_.end() ? cameras_.begin() : std::next(active_));
}

bool CameraController::ActivateFirstCamera() { return !cameras_.empty() && Activate(cameras_.begin()); }

bool CameraController::RemoveCamera(const std::string& name) {
    const auto found = cameras_.find(name);
    if (name == kDefaultCameraName || (found != cameras_.end() && found->second.GetInfo().isDefault)) {
        Logger::Log(LogLevel::Warning, "CameraController::RemoveCamera - Cannot remove default cameras!");
        return false;
    }
    if (cameras_.size() == 1) {
        Logger::Log(LogLevel::Warning, "CameraController::RemoveCamera - Cannot remove the only camera in the scene!");
        return false;
    }
    if (found == cameras_.end()) {
        Logger::Log(LogLevel::Warning, "CameraController::RemoveCamera - Cannot remove camera '%s' - NOT FOUND",
                    name.c_str());
        return false;
    }
    if (found == active_ && !Activate(std::next(found))) {
        Logger::Log(LogLevel::Error,
                    "CameraController::RemoveCamera - Cannot activate next camera, failed to remove active camera!");
        return false;
    }
    if (found == active_) {
        Logger::Log(LogLevel::Error,
                    "CameraController::RemoveCamera - Failed to activate another camera, cannot remove camera");
        return false;
    }
    cameras_.erase(found);
    return true;
}

SceneCamera& CameraController::GetActiveCamera() {
    if (active_ == cameras_.end()) {
        Logger::Log(LogLevel::Error, "SceneGraph::GetActiveCamera - NO ACTIVE CAMERA AVAILABLE");
        return SafetyCamera();
    }
    return active_->second;
}

void CameraController::Render(bool drawUI, CameraScene& scene, float timeSeconds, float deltaSeconds) {
    LightManager* lights = scene.GetLightManager();
    if (lights != nullptr && lights->IsCameraAttachedDirty() && HasActiveCamera())
        lights->UpdateCameraLights(active_->second);

    // After a stall (a load, a dragged window) animations resume where they were.
    const float delta = deltaSeconds > 0.1f ? 0.0f : deltaSeconds;
    if (scene.IsRenderable()) {
        if (HasActiveCamera()) active_->second.Update(delta);
        scene.RenderPass(ScenePass::WorldAxis, timeSeconds, delta);
        scene.RenderPass(ScenePass::WorldGrid, timeSeconds, delta);
        scene.RenderPass(ScenePass::GridAxis, timeSeconds, delta);
        scene.RenderPass(ScenePass::LightTree, timeSeconds, delta);
        scene.RenderPass(ScenePass::ModelTree, timeSeconds, delta);
        scene.RenderPass(ScenePass::ModelTreeTransparent, timeSeconds, delta);
    }
    if (drawUI && rotationSphere_ && crosshair_) {
        glDisable(GL_DEPTH_TEST);
        rotationSphere_->Render(timeSeconds, deltaSeconds);
        crosshair_->Render(timeSeconds, deltaSeconds);
        glEnable(GL_DEPTH_TEST);
    }
}

void CameraController::MapToSphere(float x, float y, Vec3& spherePoint) {
    spherePoint = Arcball::MapToSphere(x, y, static_cast<float>(viewport_.width), static_cast<float>(viewport_.height),
                                       sphereRadiusPixels_);
    if (activeType_ == CameraType::Orbit && crosshair_)
        crosshair_->SetMatrix(Arcball::CrosshairMatrix(spherePoint, crosshairScaleX_, crosshairScaleY_));
}

void CameraController::Zoom(float step) {
    if (!HasActiveCamera() || activeType_ == CameraType::Fixed) return;
    active_->second.Zoom(step);
}

void CameraController::OnPrimaryDown(int32_t x, int32_t y) {
    if (!HasActiveCamera() || activeType_ <= CameraType::Fixed) return;
    MapToSphere(static_cast<float>(x), static_cast<float>(y), sphereStart_);
    if (rotationSphere_) rotationSphere_->SetVisible(true);
    if (crosshair_ && activeType_ == CameraType::Orbit) crosshair_->SetVisible(true);
    sphereShown_ = true;
    rotating_ = true;
}

void CameraController::OnPrimaryMove(int32_t x, int32_t y) {
    if (!rotating_ || !HasActiveCamera()) return;
    Vec3 point;
    MapToSphere(static_cast<float>(x), static_cast<float>(y), point);
    if (activeType_ == CameraType::Orbit)
        active_->second.Orbit(point, sphereStart_);
    else
        active_->second.RotateFree(point, sphereStart_);
    sphereStart_ = point;
}

void CameraController::OnPrimaryUp() {
    if (rotationSphere_) rotationSphere_->SetVisible(false);
    if (crosshair_) crosshair_->SetVisible(false);
    sphereShown_ = false;
    rotating_ = false;
}

// A drag across the whole viewport moves the camera by its distance to the target, so the
// pointer keeps roughly to the same spot of the scene at the target's depth.
void CameraController::PanBy(float dxPixels, float dyPixels) {
    if (!HasActiveCamera() || activeType_ == CameraType::Fixed || viewport_.width == 0 || viewport_.height == 0) return;
    SceneCamera& camera = active_->second;
    const float dx = dxPixels / static_cast<float>(viewport_.width) * camera.GetDistance();
    const float dy = dyPixels / static_cast<float>(viewport_.height) * camera.GetDistance();
    camera.Pan(dx, dy);
}

}  // namespace Velmora::Rendering
