#pragma once
// SceneCamera: one live camera of a render view, made from a CameraInfo that the controller has
// already moved into the scene's frame (rescaled, centre at the origin).
//
// The orientation is three unit rows: right, up and forward, with right x up = forward. The
// view matrix is gluLookAt(eye, eye + forward, up), whose screen-right axis is
// cross(forward, up) = -right; panning along +right therefore drags the scene with the mouse.
// An orbit camera keeps eye = target - distance * forward; a walk camera keeps its target
// ahead of the eye. While a camera is active it writes its matrices into the scene's
// GlobalMatrices block and refreshes the lights that follow it.

#include <cstdint>
#include <string>

#include "rendering/CameraInfo.h"
#include "rendering/CameraSceneLink.h"
#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

class SceneCamera {
public:
    // gridSize is the scene's grid; it bounds the clipping range and the distance.
    SceneCamera(SceneHandle handle, float gridSize);

    // Adopts the record: clipping limits, placement, matrices. False, logged, for a record
    // that is invalid or a grid that is not above 0.
    bool Init(const CameraInfo& info);
    void SetViewport(int32_t x, int32_t y, uint32_t width, uint32_t height);
    // Units of distance per wheel step and per second of approach; at least 0.0001.
    void SetMovementScale(float scale);
    // Activating recomputes and writes both matrices.
    void SetActive(bool active);

    void UpdateViewMatrix();
    void UpdateProjectionMatrix();
    // Per frame: moves an orbit camera's distance, or a walk camera along its view, towards
    // the target distance by movementSpeed * movementScale * deltaSeconds.
    void Update(float deltaSeconds);

    // Arcball rotation between two sphere points (see Arcball): Orbit turns the camera about
    // its target, RotateFree about its eye (the target follows, straight ahead).
    void Orbit(const Vec3& from, const Vec3& to);
    void RotateFree(const Vec3& from, const Vec3& to);
    // Moves eye and target together by right * dx + up * dy.
    void Pan(float dx, float dy);
    // One wheel step (negative: closer). Perspective: changes the target distance, an orbit
    // camera within [near * 1.5, far * 0.9]. Orthographic: scales the zoom within
    // [0.001, 100] times the record's zoom.
    void Zoom(float step);

    const std::string& GetName() const { return name_; }
    int32_t GetType() const { return type_; }
    bool IsActive() const { return active_; }
    bool IsOrthographic() const { return orthographic_; }
    const CameraInfo& GetInfo() const { return info_; }
    const Mat4& GetViewMatrix() const { return view_; }
    const Mat4& GetProjectionMatrix() const { return projection_; }
    const Vec3& GetEye() const { return eye_; }
    const Vec3& GetTarget() const { return target_; }
    const Vec3& GetRight() const { return orientation_[0]; }
    const Vec3& GetUp() const { return orientation_[1]; }
    const Vec3& GetForward() const { return orientation_[2]; }
    float GetDistance() const { return distance_; }
    float GetTargetDistance() const { return targetDistance_; }
    float GetGridSize() const { return gridSize_; }
    float GetNearClip() const { return nearClip_; }
    float GetFarClip() const { return farClip_; }
    float GetOrthoZoom() const { return orthoZoom_; }
    float GetOrthoViewHeight() const { return orthoViewHeight_; }
    float GetMovementScale() const { return movementScale_; }
    uint32_t GetViewportWidth() const { return viewportWidth_; }
    uint32_t GetViewportHeight() const { return viewportHeight_; }

private:
    // Turns the frame by angleDegrees about an axis given in its own rows' coordinates.
    void RotateOrientation(const Vec3& localAxis, float angleDegrees);
    bool ApplyClipping();

    SceneHandle handle_;
    std::string name_;
    int32_t type_ = CameraType::Fixed;
    float gridSize_;
    bool active_ = false;
    bool orthographic_ = false;
    float orthoViewHeight_ = 0.0f;
    float orthoZoom_ = 1.0f;
    float fieldOfView_ = 45.0f;
    float nearClip_ = 0.01f;
    float farClip_ = 100.0f;
    CameraInfo info_;
    Mat4 view_ = MathUtil::Identity4();
    Mat4 projection_ = MathUtil::Identity4();
    int32_t viewportX_ = 0, viewportY_ = 0;
    uint32_t viewportWidth_ = 0, viewportHeight_ = 0;
    float distance_ = 0.0f;
    Vec3 eye_{0.0f, -1.0f, 0.0f};
    Vec3 target_{0.0f, 0.0f, 0.0f};
    Vec3 orientation_[3] = {{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}};
    float movementScale_ = 1.0f;
    float movementSpeed_ = 1.0f;
    float targetDistance_ = 0.0f;
    float maxDistance_;
};

}  // namespace Velmora::Rendering
