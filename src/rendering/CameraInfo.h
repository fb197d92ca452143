#pragma once
// CameraInfo: the description of one camera as a document (or a view) brings it, before the
// renderer turns it into a live SceneCamera. Positions are in document units; the camera
// controller applies the scene's rescale factor and centre when it adopts the record.

#include <cstdint>
#include <string>

#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

namespace CameraType {
inline constexpr int32_t Fixed = 1;  // neither orbits nor walks; wheel and drags do nothing
inline constexpr int32_t Orbit = 2;  // turns about its target
inline constexpr int32_t Walk = 3;   // turns about its eye, moves along its view direction
}  // namespace CameraType

inline constexpr const char* kDefaultCameraName = "___DefaultCamera";

struct CameraInfo {
    int32_t type = CameraType::Fixed;
    std::string name;
    float fieldOfView = 45.0f;  // degrees, vertical
    float nearClip = 0.01f;
    float farClip = 100.0f;
    bool orthographic = false;
    float orthoZoom = 1.0f;
    // Height of the orthographic view volume as a multiple of the viewport height in pixels.
    float orthoViewHeightFactor = 0.0f;
    Vec3 eye{0.0f, -1.0f, 0.0f};
    Vec3 target{0.0f, 0.0f, 0.0f};
    // Rows right, up, forward. The forward row is the viewing direction; right x up = forward,
    // so the right row points to the viewer's left on screen (see SceneCamera).
    Vec3 orientation[3] = {{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}};
    bool isDefault = false;

    // Checks type, name, field of view, orientation rows and eye/target, logging the first
    // fault at level 1.
    bool IsValid() const;
};

}  // namespace Velmora::Rendering
