#pragma once
// A 3D view dictionary of a PDF in the two forms the library takes: PDF-syntax text for its
// view reader, and the settings of a capture's view record.

#include <qpdf/QPDFObjectHandle.hh>

#include <cstdint>
#include <string>

namespace KestrumTool {

// Size of the annotation's 3D view box, already scaled by the view's orthographic binding so
// that an absolute reading of it frames the picture as the binding asks.
struct ViewBox {
    float width = 1.0f;
    float height = 1.0f;
};

// How the field of view or the orthographic scale follows the picture's sides; the values are
// those of the library's view record.
enum class ViewScaling : uint32_t { Width = 0, Height = 1, Min = 2, Max = 3, Number = 4 };

struct PdfViewSettings {
    std::string name;
    bool hasMatrix = false;
    float cameraToWorld[12] = {};
    std::string cameraNode;  // the scene's own view node, for views bound to one
    bool orthographic = false;
    float fieldOfView = 0.0f;
    ViewScaling scaling = ViewScaling::Width;
    float scalingValue = 0.0f;
    float orthoScale = 1.0f;
    bool explicitClipping = false;
    float nearClip = 0.0f;
    float farClip = 0.0f;
    bool hasCenterOfOrbit = false;
    float centerOfOrbit = 0.0f;
    bool hasBackground = false;
    uint32_t background = 0xFFFFFF;  // 0xRRGGBB
    bool hasLighting = false;
    uint32_t lightingScheme = 0;
    ViewBox box;
};

// The view box of a 3D annotation under a view's projection: /3DB, else the size of /Rect.
ViewBox AnnotationViewBox(QPDFObjectHandle annotation, QPDFObjectHandle view);

// The name a view is known by: /XN, else /IN, else "View N" with its index.
std::string ViewName(QPDFObjectHandle view, size_t index);

// The view as PDF-syntax text with indirect objects resolved. Only keys the library's view
// reader knows are written, in an order that keeps the ones it cannot fully read last: an
// unknown key would end its reading of the whole text.
std::string WriteViewText(QPDFObjectHandle view, size_t index, const ViewBox& box);

PdfViewSettings ReadViewSettings(QPDFObjectHandle view, size_t index, const ViewBox& box);

}  // namespace KestrumTool
