#pragma once
// The 3D content of a PDF document, read with qpdf: its 3D annotations, the scene bytes of
// each, and their views. What comes out is what the library loads from memory: the bytes,
// their type, and the chosen view as settings and as view text.

#include "PdfView.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KestrumTool {

enum class SceneStreamType { U3D, PRC };

const char* StreamTypeName(SceneStreamType type);

struct PdfAnnotationInfo {
    int page = 0;                        // 1 for the first page
    std::string name;                    // /NM, else /Contents, else empty
    std::string streamType;              // the 3D stream's /Subtype without the slash, or a reason it has none
    std::vector<std::string> viewNames;  // of /VA, in order
    std::string defaultView;             // the view a capture uses without --view; empty: built-in camera
};

struct PdfScene {
    std::vector<uint8_t> bytes;  // decoded stream data
    SceneStreamType type = SceneStreamType::U3D;
    bool hasView = false;
    PdfViewSettings view;                // the chosen view, when hasView
    std::vector<std::string> viewTexts;  // every view of /VA as text, then the chosen one if it is not among them
    uint32_t selectedView = 0;           // entry of viewTexts that is the chosen view
};

class PdfDocument {
public:
    PdfDocument();
    ~PdfDocument();
    PdfDocument(const PdfDocument&) = delete;
    PdfDocument& operator=(const PdfDocument&) = delete;

    // Whether the file starts like a PDF.
    static bool IsPdf(const std::string& path);

    // Opens the document and finds its 3D annotations. False with a reason for unreadable or
    // encrypted documents and for those without 3D annotations.
    bool Open(const std::string& path, std::string& error);
    // The same for a document held in memory; the document keeps the bytes, as its streams
    // are read from them only when extracted.
    bool OpenBytes(std::string bytes, std::string& error);

    const std::vector<PdfAnnotationInfo>& Annotations() const;

    // The scene of annotation `index` (0 for the first) with the view `viewChoice`: empty for
    // the annotation's default view, else a name or a number of /VA. False with a reason for
    // undecodable streams, unknown stream types and unknown views.
    bool ExtractScene(size_t index, const std::string& viewChoice, PdfScene& scene, std::string& error) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace KestrumTool
