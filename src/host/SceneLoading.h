#pragma once
// The stages every scene load goes through, whichever proxy asks for it: where the scene
// comes from, the import request and the import, the colours it is shown with, and the
// views a request brings along; and the request an export of a loaded scene makes. Windows,
// render views and messages stay with each proxy.

#include <cstdint>
#include <memory>
#include <string>

#include "format/ImportDescriptor.h"
#include "util/SceneParameters.h"

namespace Velmora {

namespace FormatGlue {
class ProgressListener;
}
namespace Rendering {
class RenderView;
class SceneGraph;
}  // namespace Rendering
namespace U3D {
struct ViewportRect;
}

namespace SceneLoading {

// Where a request takes its scene from. The path counts only when it is the source: a
// memory request ignores it. Neither set: a load by handle.
struct LoadSource {
    bool fromMemory = false;
    bool fromFile = false;
};
LoadSource SourceOf(const Utility::LoadSceneParameters& load);

// The import request of a load. Progress goes to listener (with callbackSlot) when one is
// given.
struct ImportRequest {
    bool loadOptionA = false;
    bool loadOptionB = false;
    FormatGlue::ProgressListener* listener = nullptr;
    void* callbackSlot = nullptr;
};
FormatGlue::ImportDescriptor MakeImportDescriptor(const Utility::LoadSceneParameters& load, LoadSource source,
                                                  const ImportRequest& request);

// Imports through the format registry; the scene made, or null with handle as the registry
// gave it.
std::shared_ptr<Rendering::SceneGraph> ImportScene(const FormatGlue::ImportDescriptor& descriptor, uint32_t& handle);

// A loaded document shows its colours as they are stored: no gamma, and the lights it
// brought kept as "Artwork" so that a view can ask for them after another scheme.
void ShowStoredColours(Rendering::SceneGraph& scene);

// Applies the description made from a request's view parameters. True when the parameters
// make none; false when one was made but could not be applied (the caller says so).
bool ApplyViewParameters(const Utility::ViewParameters& view, const U3D::ViewportRect& viewport, uint32_t sceneHandle,
                         Rendering::RenderView* renderView);

// The export request for a loaded scene: target path, format and options of the parameters.
FormatGlue::ExportDescriptor MakeExportDescriptor(uint32_t sceneHandle, const Utility::ExportParameters& parameters);

// What a description read from one of the request's view strings made of it.
enum class ViewStringOutcome { NotMade, NotApplied, Applied };
// Reads the description from `source` (dictionary text or a file path, as the request's flag
// says), applies it with activation and reports the camera it names in `cameraName`.
ViewStringOutcome ApplyViewString(const std::string& source, bool sourceIsText, uint32_t sceneHandle,
                                  Rendering::RenderView* renderView, std::string& cameraName);

}  // namespace SceneLoading
}  // namespace Velmora
