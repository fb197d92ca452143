#include "rendering/SceneCamera.h"

#include <algorithm>
#include <cmath>

#include "rendering/Arcball.h"
#include "rendering/LightManager.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;
using namespace MathUtil;

namespace {
// std::clamp with bounds that may come in either order (a degenerate range is not UB here).
float ClampBetween(float value, float a, float b) { return std::clamp(value, std::min(a, b), std::max(a, b)); }
}  // namespace

SceneCamera::SceneCamera(SceneHandle handle, float gridSize)
    : handle_(handle), gridSize_(gridSize), maxDistance_(gridSize * 100.0f * 0.9f) {}

void SceneCamera::SetViewport(int32_t x, int32_t y, uint32_t width, uint32_t height) {
    viewportX_ = x;
    viewportY_ = y;
    viewportWidth_ = width;
    viewportHeight_ = height;
}

// The clipping range follows the scene's grid g: near no smaller than g * 0.0001 and far no
// larger than g * 100 (depth precision stays usable over four decades either way).
bool SceneCamera::ApplyClipping() {
    if (!(gridSize_ > 0.0f)) {
        Logger::Log(LogLevel::Error, "Failed to get default clipping distances, wrong grid size?");
        return false;
    }
    const float minNear = gridSize_ * 0.0001f;
    const float maxFar = gridSize_ * 100.0f;
    if (nearClip_ < minNear) {
        Logger::Log(LogLevel::Info, "SceneCamera adjusted near clipping distance from %f to %f", nearClip_, minNear);
        nearClip_ = minNear;
    }
    if (farClip_ > maxFar || !(farClip_ > nearClip_)) {
        Logger::Log(LogLevel::Info, "SceneCamera adjusted far clipping distance from %f to %f", farClip_, maxFar);
        farClip_ = maxFar;
    }
    return true;
}

bool SceneCamera::Init(const CameraInfo& info) {
    if (!info.IsValid() || !(gridSize_ > 0.0f)) {
        Logger::Log(LogLevel::Error, "SceneCamera::Init: Invalid CameraInfo");
        return false;
    }
    info_ = info;
    name_ = info.name;
    type_ = info.type;
    orthographic_ = info.orthographic;
    fieldOfView_ = info.fieldOfView;
    nearClip_ = info.nearClip;
    farClip_ = info.farClip;
    orthoViewHeight_ = static_cast<float>(viewportHeight_) * info.orthoViewHeightFactor;
    orthoZoom_ = info.orthoZoom;
    if (!ApplyClipping()) return false;

    eye_ = info.eye;
    target_ = info.target;
    // Documents may carry scaled axes; the frame is kept unit so that distances along it hold.
    for (int row = 0; row < 3; ++row) orientation_[row] = Normalize(info.orientation[row]);

    if (type_ != CameraType::Fixed) {
        const float distance = Length(Sub(target_, eye_));
        if (!(distance > 0.0f)) {
            Logger::Log(LogLevel::Error, "SceneCamera: Invalid direction");
            return false;
        }
        distance_ = distance;
        targetDistance_ = distance;
        if (distance > maxDistance_ || distance > farClip_ * 0.9f) {
            Logger::Log(LogLevel::Warning, "Camera '%s' was too far away, automatically repositioned!", name_.c_str());
            targetDistance_ = std::min(farClip_ * 0.9f, maxDistance_);
        }
    }
    UpdateViewMatrix();
    return true;
}

void SceneCamera::SetMovementScale(float scale) {
    if (!(scale >= 0.0001f)) {
        Logger::Log(LogLevel::Warning, "SceneCamera::SetMovementScale - invalid scale %.3f", scale);
        scale = 0.0001f;
    }
    movementScale_ = scale;
}

void SceneCamera::SetActive(bool active) {
    active_ = active;
    if (active) {
        UpdateViewMatrix();
        UpdateProjectionMatrix();
    }
}

void SceneCamera::UpdateViewMatrix() {
    view_ = LookAt(eye_, Add(eye_, orientation_[2]), orientation_[1]);
    if (!active_) return;
    CameraScene* scene = CameraSceneLink::Find(handle_);
    if (scene == nullptr) return;
    scene->WriteViewMatrix(view_);
    if (LightManager* lights = scene->GetLightManager()) lights->UpdateCameraLights(*this);
}

void SceneCamera::UpdateProjectionMatrix() {
    if (viewportWidth_ == 0 || viewportHeight_ == 0) return;
    const float aspect = static_cast<float>(viewportWidth_) / static_cast<float>(viewportHeight_);
    if (orthographic_) {
        const float two = orthoZoom_ + orthoZoom_;
        const float halfWidth = orthoViewHeight_ * aspect / two;
        const float halfHeight = orthoViewHeight_ / two;
        // A view volume without height (no view scale given yet) keeps the last matrix.
        if (!(halfHeight > 0.0f) || !std::isfinite(halfWidth)) return;
        projection_ = Ortho(-halfWidth, halfWidth, -halfHeight, halfHeight, nearClip_, farClip_);
    } else {
        const float top = std::tan(fieldOfView_ * kDegToRad * 0.5f) * nearClip_;
        const float right = top * aspect;
        projection_ = Frustum(-right, right, -top, top, nearClip_, farClip_);
    }
    if (!active_) return;
    if (CameraScene* scene = CameraSceneLink::Find(handle_)) scene->WriteProjectionMatrix(projection_);
}

void SceneCamera::Update(float deltaSeconds) {
    if (orthographic_ || type_ == CameraType::Fixed) return;
    const float step = movementSpeed_ * movementScale_ * deltaSeconds;
    if (!(step > 0.0f) || distance_ == targetDistance_) return;
    const float previous = distance_;
    if (distance_ < targetDistance_)
        distance_ = std::min(distance_ + step, targetDistance_);
    else
        distance_ = std::max(distance_ - step, targetDistance_);
    if (type_ == CameraType::Orbit) {
        eye_ = Sub(target_, Mul(orientation_[2], distance_));
    } else {
        // Walking: a shrinking distance is a step forward; the target keeps its lead.
        const Vec3 move = Mul(orientation_[2], previous - distance_);
        eye_ = Add(eye_, move);
        target_ = Add(target_, move);
    }
    UpdateViewMatrix();
}

void SceneCamera::RotateOrientation(const Vec3& localAxis, float angleDegrees) {
    Vec3 axis{0.0f, 0.0f, 0.0f};
    for (int row = 0; row < 3; ++row) axis = Add(axis, Mul(orientation_[row], localAxis[row]));
    axis = Normalize(axis);
    if (IsZero(axis)) return;
    const Mat4 rotation = Rotation(angleDegrees, axis);
    for (auto& row : orientation_) {
        const Vec4 turned = Transform(rotation, {row[0], row[1], row[2], 0.0f});
        row = {turned[0], turned[1], turned[2]};
    }
    // Many small drags add rounding; rebuild an exact frame with right x up = forward.
    Vec3& right = orientation_[0];
    Vec3& up = orientation_[1];
    Vec3& forward = orientation_[2];
    forward = Normalize(forward);
    right = Normalize(Cross(up, forward));
    up = Cross(forward, right);
}

// Window and sphere axes are the frame's rows mirrored through the origin (screen right is
// -right, window down is -up, towards the viewer is -forward). A mirror through the origin
// keeps the components of a cross product, so the arcball axis is already the frame-local axis.
void SceneCamera::Orbit(const Vec3& from, const Vec3& to) {
    Vec3 axis;
    float angle = 0.0f;
    if (!Arcball::RotationBetween(from, to, axis, angle)) return;
    RotateOrientation(axis, angle);
    eye_ = Sub(target_, Mul(orientation_[2], distance_));
    UpdateViewMatrix();
}

void SceneCamera::RotateFree(const Vec3& from, const Vec3& to) {
    Vec3 axis;
    float angle = 0.0f;
    if (!Arcball::RotationBetween(from, to, axis, angle)) return;
    RotateOrientation(axis, angle);
    target_ = Add(eye_, Mul(orientation_[2], distance_));
    UpdateViewMatrix();
}

void SceneCamera::Pan(float dx, float dy) {
    const Vec3 offset = Add(Mul(orientation_[0], dx), Mul(orientation_[1], dy));
    eye_ = Add(eye_, offset);
    target_ = Add(target_, offset);
    UpdateViewMatrix();
}

void SceneCamera::Zoom(float step) {
    if (orthographic_) {
        orthoZoom_ -= orthoZoom_ * step;
        orthoZoom_ = ClampBetween(orthoZoom_, 0.001f * info_.orthoZoom, 100.0f * info_.orthoZoom);
        UpdateProjectionMatrix();
        return;
    }
    targetDistance_ += movementScale_ * step;
    if (type_ == CameraType::Orbit) targetDistance_ = ClampBetween(targetDistance_, nearClip_ * 1.5f, farClip_ * 0.9f);
}

}  // namespace Velmora::Rendering
