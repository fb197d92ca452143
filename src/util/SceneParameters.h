#pragma once
// The owned forms of the request records that arrive flat at the exports (Kestrum.h). Text is
// UTF-8, arrays are vectors, a memory buffer is a private copy; all of them copy by value, so
// a call object can carry them to the render thread.

#include <cstdint>
#include <string>
#include <vector>

#include "Kestrum.h"

namespace Velmora::Utility {

struct LoadSceneParameters {
    enum : uint32_t { ByHandle = 1u << 0, FromFile = 1u << 1, FromMemory = 1u << 2 };
    // viewStringFlags: the view strings are dictionary text rather than file paths.
    enum : uint32_t { ViewStringsAreText = 1u << 0 };

    uint32_t flags = 0;
    std::string path;                      // only with FromFile (and FromMemory clear)
    uint32_t sceneHandle = 0;              // only when ByHandle is the highest source bit
    std::vector<uint8_t> data;             // only with FromMemory: exactly dataSize bytes
    uint32_t viewStringFlags = 0;          // ViewStringsAreText, else the entries are file paths
    std::vector<std::string> viewStrings;  // empty entries dropped, no holes
    uint32_t selectedViewIndex = 0;
    uint32_t userTag = 0;
    Kestrum::ProgressCallback progressCallback = nullptr;

    bool HasByHandle() const { return (flags & ByHandle) != 0; }
    bool HasFromFile() const { return (flags & FromFile) != 0; }
    bool HasFromMemory() const { return (flags & FromMemory) != 0; }
    bool ViewStringsAreDictionaryText() const { return (viewStringFlags & ViewStringsAreText) != 0; }
    const uint8_t* Data() const { return data.empty() ? nullptr : data.data(); }
    uint32_t DataSize() const { return static_cast<uint32_t>(data.size()); }
};

struct ViewParameters {
    enum : uint32_t {
        // The first load option a view hands on is its bit 1, the second its bit 0.
        LoadOptionA = 1u << 1,
        LoadOptionB = 1u << 0,
        LoadExternalViews = 1u << 4,
        Activate = 1u << 5,
        ExplicitClipping = 1u << 6,
        ExplicitMatrix = 1u << 7,
        Orthographic = 1u << 8
    };

    uint32_t flags = 0;
    uint32_t backgroundColor = 0;  // low byte blue, then green, then red; top byte ignored
    uint32_t lightingScheme = 0;
    std::string cameraName;        // dictionary key "U3DPath"
    std::string viewName;          // dictionary key "XN"
    float cameraToWorld[12] = {};  // three columns by rows of four, as "C2W" wants them
    float centerOfOrbit = 0.0f;
    uint32_t projectionScaling = 0;  // 0 width, 1 height, 2 min, 3 max, 4 the value below
    float projectionScalingValue = 0.0f;
    float nearClip = 0.0f;
    float farClip = 0.0f;
    float fieldOfView = 0.0f;  // degrees
    float orthoScale = 0.0f;

    bool Has(uint32_t flag) const { return (flags & flag) != 0; }
};

struct CaptureParameters {
    enum : uint32_t { UnloadAfter = 1u << 0, ToFile = 1u << 1, ToMemory = 1u << 2 };

    LoadSceneParameters load;
    ViewParameters view;
    uint32_t captureFlags = 0;
    std::string outputPath;  // empty with ToFile: a generated path
    int32_t width = 0;
    int32_t height = 0;
};

// Format identifiers of the format registry, as exports name their target format.
enum ExportFormatId : uint32_t { NoExportFormat = 0, ExportFormatU3D = 1, ExportFormatPRC = 2, ExportFormatOBJ = 3 };

struct ExportParameters {
    enum : uint32_t {
        FormatU3D = 1u << 0,
        FormatPRC = 1u << 1,
        FormatOBJ = 1u << 2,
        OptionB = 1u << 4,
        OptionC = 1u << 5,
        OptionA = 1u << 6
    };

    LoadSceneParameters load;
    uint32_t exportFlags = 0;
    std::string outputPath;  // empty: the bytes come back in memory

    // Format identifier of the registry, the first format bit set winning; NoExportFormat
    // without one.
    uint32_t FormatId() const;
};

// Flat -> owned. Never throws: a buffer that cannot be copied logs "OUT OF MEMORY" and the
// memory source is dropped (as an empty buffer is), so the load reports failure.
LoadSceneParameters ToOwned(const Kestrum::LoadSceneParameters& flat);
ViewParameters ToOwned(const Kestrum::ViewParameters& flat);
CaptureParameters ToOwned(const Kestrum::CaptureParameters& flat);
ExportParameters ToOwned(const Kestrum::ExportParameters& flat);

}  // namespace Velmora::Utility
