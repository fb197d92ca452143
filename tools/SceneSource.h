#pragma once
// What a load reads: a scene file, or the 3D stream of a PDF document in memory with the view
// chosen for it. The load record points into the source, so the source outlives the request.

#include "Kestrum.h"
#include "PdfDocument.h"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrumTool {

// Upper bound of --annotation: far beyond any real document, small enough for any counter.
constexpr long kMaxAnnotationIndex = 1L << 20;

struct SceneRequest {
    std::string camera;     // a camera of the scene, by name
    std::string view;       // a view of a PDF's annotation, by name or number; for other scenes a camera
    size_t annotation = 0;  // a PDF's 3D annotation, 0 for the first
};

struct SceneSource {
    std::string path;    // absolute
    std::string camera;  // the scene camera asked for, if any
    bool fromPdf = false;
    PdfScene pdf;

    // Points `load` at the file or at the PDF's bytes and view texts.
    void Fill(Kestrum::LoadSceneParameters& load);

private:
    std::u16string path16_;
    std::vector<std::u16string> viewTexts_;
    std::vector<const char16_t*> viewPointers_;
};

// Takes the scene of a document that is open already.
bool ExtractPdfScene(const PdfDocument& document, const SceneRequest& request, SceneSource& source, std::string& error);

// A scene file as it is, or a PDF's 3D content. False with a reason.
bool PrepareSource(const std::string& input, const SceneRequest& request, SceneSource& source, std::string& error);

// What the command line fixed: the picture's height, and the settings that win over the view's.
struct CaptureOverrides {
    int32_t pictureHeight = 0;
    bool background = false;
    bool lighting = false;
};

// A capture's view record from a PDF view: the settings its view text holds.
void ApplyPdfView(const PdfViewSettings& pdfView, const CaptureOverrides& overrides, Kestrum::ViewParameters& view,
                  std::u16string& cameraName, std::u16string& viewName);

}  // namespace KestrumTool
