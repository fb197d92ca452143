#include "SceneSource.h"

#include "KestrumLibrary.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace KestrumTool {

void SceneSource::Fill(Kestrum::LoadSceneParameters& load) {
    path16_ = ToUtf16(path);
    load.path = path16_.c_str();
    if (!fromPdf) {
        load.flags = Kestrum::KESTRUM_LOAD_FROM_FILE;
        return;
    }
    load.flags = Kestrum::KESTRUM_LOAD_FROM_MEMORY;
    load.data = pdf.bytes.data();
    load.dataSize = static_cast<uint32_t>(pdf.bytes.size());
    viewTexts_.clear();
    viewPointers_.clear();
    for (const std::string& text : pdf.viewTexts) viewTexts_.push_back(ToUtf16(text));
    for (const std::u16string& text : viewTexts_) viewPointers_.push_back(text.c_str());
    load.viewStringFlags = Kestrum::KESTRUM_VIEW_STRINGS_ARE_TEXT;
    load.viewStrings = viewPointers_.empty() ? nullptr : viewPointers_.data();
    load.viewStringCount = static_cast<int32_t>(viewPointers_.size());
    load.selectedViewIndex = pdf.selectedView;
}

bool ExtractPdfScene(const PdfDocument& document, const SceneRequest& request, SceneSource& source,
                     std::string& error) {
    std::string why;
    if (!document.ExtractScene(request.annotation, request.view, source.pdf, why)) {
        error = "'" + source.path + "': " + why;
        return false;
    }
    source.fromPdf = true;
    return true;
}

bool PrepareSource(const std::string& input, const SceneRequest& request, SceneSource& source, std::string& error) {
    std::error_code ignored;
    source.path = std::filesystem::absolute(input, ignored).string();
    source.camera = request.camera;
    if (!PdfDocument::IsPdf(source.path)) {
        // A scene's views are its cameras.
        if (source.camera.empty()) source.camera = request.view;
        return true;
    }
    PdfDocument document;
    std::string why;
    if (!document.Open(source.path, why)) {
        error = "'" + input + "': " + why;
        return false;
    }
    return ExtractPdfScene(document, request, source, error);
}

void ApplyPdfView(const PdfViewSettings& pdfView, const CaptureOverrides& overrides, Kestrum::ViewParameters& view,
                  std::u16string& cameraName, std::u16string& viewName) {
    viewName = ToUtf16(pdfView.name);
    view.viewName = viewName.c_str();
    if (!pdfView.cameraNode.empty()) {
        cameraName = ToUtf16(pdfView.cameraNode);
        view.cameraName = cameraName.c_str();
    } else if (pdfView.hasMatrix) {
        view.flags |= Kestrum::KESTRUM_VIEW_EXPLICIT_MATRIX;
        std::memcpy(view.cameraToWorld, pdfView.cameraToWorld, sizeof view.cameraToWorld);
    }
    if (pdfView.orthographic) {
        view.flags |= Kestrum::KESTRUM_VIEW_ORTHOGRAPHIC;
        // The capture's view box is the picture: the scale carries the document's box.
        view.orthoScale = pdfView.orthoScale * static_cast<float>(overrides.pictureHeight) / pdfView.box.height;
    } else {
        view.fieldOfView = pdfView.fieldOfView;
        view.projectionScaling = static_cast<uint32_t>(pdfView.scaling);
        view.projectionScalingValue = pdfView.scalingValue;
    }
    if (pdfView.explicitClipping) {
        view.flags |= Kestrum::KESTRUM_VIEW_EXPLICIT_CLIPPING;
        view.nearClip = pdfView.nearClip;
        view.farClip = pdfView.farClip;
    }
    if (pdfView.hasCenterOfOrbit) view.centerOfOrbit = pdfView.centerOfOrbit;
    if (pdfView.hasBackground && !overrides.background) view.backgroundColor = pdfView.background;
    if (pdfView.hasLighting && !overrides.lighting) view.lightingScheme = pdfView.lightingScheme;
}

}  // namespace KestrumTool
