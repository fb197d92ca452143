#pragma once
// Turns a read tessellation into the flat arrays the renderer takes: vertex indices three a
// triangle (two a segment for lines), per-corner normals and texture coordinates, and a style
// reference per triangle. Preparing and decoding are two steps so that the arrays are reserved
// once, from the exact count the preparation works out.

#include <cstdint>
#include <memory>

#include "prc/reader/filestructure/Tessellation.h"

namespace Velmora::FormatGlue {
class AuthoringProgress;
}

namespace Velmora::PRC {

class TesselationDecoder {
public:
    // Shares of the decoder's progress span that each step reports.
    static constexpr float kPrepareShare = 0.2f;
    static constexpr float kDecodeShare = 0.8f;
    // The style reference of a triangle that has none.
    static constexpr uint32_t kNoMaterial = 0xFFFFFFFF;

    // Decodes in place. True when the arrays are filled; on false they are left empty.
    static bool DecodeTesselation(const std::shared_ptr<FileStructure::BaseTessData>& tessellation,
                                  FormatGlue::AuthoringProgress* progress, float progressSpan);

    virtual ~TesselationDecoder() = default;
    virtual bool PrepareDecode() = 0;
    virtual bool DoDecode() = 0;

protected:
    TesselationDecoder(FormatGlue::AuthoringProgress* progress, float progressSpan)
        : progress_(progress), progressSpan_(progressSpan) {}

    // Reports `share` of the span (a fraction of the whole import, as the readers use it).
    void ReportShare(float share) const;

    FormatGlue::AuthoringProgress* progress_;
    float progressSpan_;
};

}  // namespace Velmora::PRC
