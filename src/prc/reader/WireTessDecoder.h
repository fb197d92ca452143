#pragma once
// Line tessellations: each wire becomes one segment, two indices, per pair of neighbouring
// points.

#include "prc/reader/TesselationDecoder.h"

namespace Velmora::PRC {

class WireTessDecoder : public TesselationDecoder {
public:
    WireTessDecoder(FileStructure::Content3DWireTess& tess, FormatGlue::AuthoringProgress* progress, float progressSpan)
        : TesselationDecoder(progress, progressSpan), tess_(tess) {}

    bool PrepareDecode() override;
    bool DoDecode() override;

private:
    FileStructure::Content3DWireTess& tess_;
};

}  // namespace Velmora::PRC
