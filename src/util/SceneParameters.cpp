#include "util/SceneParameters.h"

#include <new>

#include "util/Logger.h"
#include "util/Strings.h"

namespace Velmora::Utility {

uint32_t ExportParameters::FormatId() const {
    if (exportFlags & FormatU3D) return ExportFormatU3D;
    if (exportFlags & FormatPRC) return ExportFormatPRC;
    if (exportFlags & FormatOBJ) return ExportFormatOBJ;
    return NoExportFormat;
}

LoadSceneParameters ToOwned(const Kestrum::LoadSceneParameters& flat) {
    LoadSceneParameters owned;
    owned.flags = flat.flags;
    owned.viewStringFlags = flat.viewStringFlags;
    owned.selectedViewIndex = flat.selectedViewIndex;
    owned.userTag = flat.userTag;
    owned.progressCallback = flat.progressCallback;

    // One source only, in the order memory, file, handle. A memory request without bytes
    // takes nothing at all: the path and handle are not a fall-back.
    if (flat.flags & LoadSceneParameters::FromMemory) {
        bool copied = false;
        if (flat.data != nullptr && flat.dataSize != 0) {
            try {
                const auto* bytes = static_cast<const uint8_t*>(flat.data);
                owned.data.assign(bytes, bytes + flat.dataSize);
                copied = true;
            } catch (const std::bad_alloc&) {
                Logger::Log(LogLevel::Error, "OUT OF MEMORY");
            }
        }
        if (!copied) owned.flags &= ~static_cast<uint32_t>(LoadSceneParameters::FromMemory);
    } else if (flat.flags & LoadSceneParameters::FromFile) {
        owned.path = WideToUtf8(flat.path);
    } else if (flat.flags & LoadSceneParameters::ByHandle) {
        owned.sceneHandle = flat.sceneHandle;
    }

    if (flat.viewStrings != nullptr) {
        for (int32_t i = 0; i < flat.viewStringCount; ++i) {
            std::string text = WideToUtf8(flat.viewStrings[i]);
            if (!text.empty()) owned.viewStrings.push_back(std::move(text));
        }
    }
    return owned;
}

ViewParameters ToOwned(const Kestrum::ViewParameters& flat) {
    ViewParameters owned;
    owned.flags = flat.flags;
    owned.backgroundColor = flat.backgroundColor;
    owned.lightingScheme = flat.lightingScheme;
    owned.cameraName = WideToUtf8(flat.cameraName);
    owned.viewName = WideToUtf8(flat.viewName);
    for (int i = 0; i < 12; ++i) owned.cameraToWorld[i] = flat.cameraToWorld[i];
    owned.centerOfOrbit = flat.centerOfOrbit;
    owned.projectionScaling = flat.projectionScaling;
    owned.projectionScalingValue = flat.projectionScalingValue;
    owned.nearClip = flat.nearClip;
    owned.farClip = flat.farClip;
    owned.fieldOfView = flat.fieldOfView;
    owned.orthoScale = flat.orthoScale;
    return owned;
}

CaptureParameters ToOwned(const Kestrum::CaptureParameters& flat) {
    CaptureParameters owned;
    owned.load = ToOwned(flat.load);
    owned.view = ToOwned(flat.view);
    owned.captureFlags = flat.captureFlags;
    owned.outputPath = WideToUtf8(flat.outputPath);
    owned.width = flat.width;
    owned.height = flat.height;
    return owned;
}

ExportParameters ToOwned(const Kestrum::ExportParameters& flat) {
    ExportParameters owned;
    owned.load = ToOwned(flat.load);
    owned.exportFlags = flat.exportFlags;
    owned.outputPath = WideToUtf8(flat.outputPath);
    return owned;
}

}  // namespace Velmora::Utility
