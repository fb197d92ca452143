#pragma once
// A view dictionary turned into the settings that choose a scene's camera, projection,
// background and lighting. Every source of views goes through here: view text, view files and
// the flat view record of the exports, which is first written out as a dictionary.

#include <array>
#include <cstdint>
#include <string>

#include "format/Dictionary.h"

namespace Velmora::Utility {
struct ViewParameters;
}
namespace Velmora::Rendering {
class CameraController;
struct CameraInfo;
class LightingSchemeManager;
class RenderView;
class SceneGraph;
}  // namespace Velmora::Rendering

namespace Velmora::U3D {

using FormatGlue::Dictionary;

struct ViewportRect {
    float x = 0.0f, y = 0.0f, width = 0.0f, height = 0.0f;
};

class U3DSceneDescription {
public:
    enum class RenderMode : uint32_t { Solid = 0 };
    enum ProjectionScaling : uint32_t { None = 0, Number = 1, Width = 2, Height = 3, Min = 4, Max = 5 };

    bool Create(const Dictionary& dictionary);
    bool CreateFromFile(const std::string& path);
    bool CreateFromString(const std::string& text);

    bool ApplyToScene(uint32_t sceneId, bool activate, Rendering::RenderView* view) const;

    std::string viewName;
    std::array<float, 4> viewport{};
    std::array<float, 3> backgroundColor{1.0f, 1.0f, 1.0f};
    float centerOfOrbit = 0.0f;
    bool hasCenterOfOrbit = false;
    RenderMode renderMode = RenderMode::Solid;
    std::string lightingScheme;
    bool orthographic = false;
    float fieldOfView = 0.0f;
    ProjectionScaling projectionScaling = None;
    float projectionScale = 0.0f;
    float orthoScale = 0.0f;
    float nearClip = 0.0f, farClip = 0.0f;
    bool hasClipping = false;
    bool hasProjection = false;
    std::array<float, 16> cameraToWorld{};  // rows of four, as the dictionary holds them
    bool hasMatrix = false;
    std::string viewNode;
    bool hasViewNode = false;
    std::string orthoBinding;  // "OB", kept as read

private:
    // Stages of Create; the bool ones fail the description.
    bool ReadNameAndViewport(const Dictionary& dictionary);
    void ReadBackground(const Dictionary& dictionary);
    void ReadLightingScheme(const Dictionary& dictionary);
    void ReadProjection(const Dictionary& dictionary);
    void ReadProjectionScaling(const std::string& text);
    bool ReadCameraSource(const Dictionary& dictionary);

    // Stages of ApplyToScene; the bool ones fail it (logged).
    bool StartCamera(const Rendering::SceneGraph& scene, bool activate, Rendering::CameraInfo& camera) const;
    void PlaceCameraFromMatrix(Rendering::CameraInfo& camera) const;
    void ApplyClipping(const Rendering::SceneGraph& scene, Rendering::CameraInfo& camera) const;
    bool ApplyProjection(float width, float height, Rendering::CameraInfo& camera) const;
    static bool InstallCamera(Rendering::SceneGraph& scene, Rendering::CameraController& controller,
                              const Rendering::CameraInfo& camera);
    bool ApplyLightingScheme(Rendering::LightingSchemeManager& schemes) const;
};

// The flat view record written out as view text would have it.
bool CreateDictionaryFromViewParams(const Utility::ViewParameters& params, const ViewportRect& viewport,
                                    Dictionary* out);

}  // namespace Velmora::U3D
