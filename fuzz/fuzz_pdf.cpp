// Feeds arbitrary bytes as a PDF document through the kestrum tool's 3D reading: the document
// opened from memory, its 3D annotations listed with their views, and for the first few the
// scene taken in the default view, by a view's name, by number and by a name that is not
// there, as the tool's options choose them. The view texts the tool would hand the library go
// through the library's view reader. Neither the library is loaded nor anything drawn.

#include <cstddef>
#include <cstdint>
#include <string>

#include "PdfDocument.h"
#include "SilentLog.h"
#include "format/Dictionary.h"
#include "format/PDFHelper.h"
#include "u3d/U3DSceneDescription.h"

namespace {

// Annotations beyond these are listed but their scenes are not taken: each extraction decodes
// the stream again, and one is all a run of the tool takes.
constexpr size_t kExtractedAnnotations = 4;
constexpr char kFirstView[] = "0";
constexpr char kMissingView[] = "kestrum fuzz: no such view";

void ReadViewTexts(const KestrumTool::PdfScene& scene) {
    for (const std::string& text : scene.viewTexts) {
        Velmora::FormatGlue::Dictionary dictionary;
        Velmora::FormatGlue::PDFHelper helper;
        if (!helper.ReadDictionaryFromString(text, &dictionary)) continue;
        Velmora::U3D::U3DSceneDescription description;
        description.Create(dictionary);
    }
}

void Extract(const KestrumTool::PdfDocument& document, size_t index, const std::string& view) {
    KestrumTool::PdfScene scene;
    std::string error;
    if (document.ExtractScene(index, view, scene, error)) ReadViewTexts(scene);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    KestrumTool::PdfDocument document;
    std::string error;
    if (!document.OpenBytes(std::string(reinterpret_cast<const char*>(data), size), error)) return 0;
    const auto& annotations = document.Annotations();
    for (size_t i = 0; i < annotations.size() && i < kExtractedAnnotations; ++i) {
        Extract(document, i, "");
        if (!annotations[i].viewNames.empty()) Extract(document, i, annotations[i].viewNames.back());
        Extract(document, i, kFirstView);
        Extract(document, i, kMissingView);
    }
    return 0;
}
