#include "host/SceneLoading.h"

#include "format/Dictionary.h"
#include "format/FormatManager.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "u3d/U3DSceneDescription.h"

namespace Velmora::SceneLoading {

namespace {

// The name ApplyToScene gives the camera of a description applied with activation on.
std::string CameraNameOf(const U3D::U3DSceneDescription& description) {
    if (description.hasViewNode && !description.viewNode.empty()) return description.viewNode;
    if (description.hasMatrix) return description.viewName.empty() ? "__GeneratedCamera" : description.viewName;
    return description.viewName;
}

}  // namespace

LoadSource SourceOf(const Utility::LoadSceneParameters& load) {
    LoadSource source;
    source.fromMemory = load.HasFromMemory();
    source.fromFile = load.HasFromFile() && !source.fromMemory;
    return source;
}

FormatGlue::ImportDescriptor MakeImportDescriptor(const Utility::LoadSceneParameters& load, LoadSource source,
                                                  const ImportRequest& request) {
    using FormatGlue::ImportDescriptor;
    ImportDescriptor descriptor;
    if (source.fromMemory) {
        descriptor.kind = ImportDescriptor::Memory;
        descriptor.data = load.Data();
        descriptor.dataSize = load.DataSize();
    } else if (source.fromFile) {
        descriptor.kind = ImportDescriptor::File;
        descriptor.path = load.path;
    }
    descriptor.options[ImportDescriptor::LoadOptionA] = request.loadOptionA;
    descriptor.options[ImportDescriptor::LoadOptionB] = request.loadOptionB;
    descriptor.listener = request.listener;
    descriptor.callbackSlot = request.callbackSlot;
    return descriptor;
}

std::shared_ptr<Rendering::SceneGraph> ImportScene(const FormatGlue::ImportDescriptor& descriptor, uint32_t& handle) {
    handle = FormatGlue::FormatManager::Instance().ImportScene(descriptor);
    return Rendering::SceneManager::Instance().GetScene(handle);
}

void ShowStoredColours(Rendering::SceneGraph& scene) {
    Rendering::SceneResources& resources = scene.GetResources();
    resources.lightManager.SetGammaEnabled(false);
    resources.lightManager.SetGamma(resources.lightManager.GetBlock().gamma);
    resources.lightingSchemeManager.StoreCurrentAsArtwork();
}

bool ApplyViewParameters(const Utility::ViewParameters& view, const U3D::ViewportRect& viewport, uint32_t sceneHandle,
                         Rendering::RenderView* renderView) {
    FormatGlue::Dictionary dictionary;
    if (!U3D::CreateDictionaryFromViewParams(view, viewport, &dictionary)) return true;
    U3D::U3DSceneDescription description;
    const bool activate = view.Has(Utility::ViewParameters::Activate);
    return description.Create(dictionary) && description.ApplyToScene(sceneHandle, activate, renderView);
}

FormatGlue::ExportDescriptor MakeExportDescriptor(uint32_t sceneHandle, const Utility::ExportParameters& parameters) {
    using Utility::ExportParameters;
    FormatGlue::ExportDescriptor descriptor;
    descriptor.sceneHandle = sceneHandle;
    descriptor.path = parameters.outputPath;
    descriptor.format = parameters.FormatId();
    descriptor.optionA = (parameters.exportFlags & ExportParameters::OptionA) != 0;
    descriptor.optionB = (parameters.exportFlags & ExportParameters::OptionB) != 0;
    descriptor.optionC = (parameters.exportFlags & ExportParameters::OptionC) != 0;
    return descriptor;
}

ViewStringOutcome ApplyViewString(const std::string& source, bool sourceIsText, uint32_t sceneHandle,
                                  Rendering::RenderView* renderView, std::string& cameraName) {
    U3D::U3DSceneDescription description;
    const bool made = sourceIsText ? description.CreateFromString(source) : description.CreateFromFile(source);
    if (!made) return ViewStringOutcome::NotMade;
    cameraName = CameraNameOf(description);
    return description.ApplyToScene(sceneHandle, true, renderView) ? ViewStringOutcome::Applied
                                                                   : ViewStringOutcome::NotApplied;
}

}  // namespace Velmora::SceneLoading
