// The decoder is picked by the tessellation's type; markup is not decoded here.

#include "prc/reader/TesselationDecoder.h"

#include "format/AuthoringProgress.h"
#include "prc/reader/Compressed3DTessDecoder.h"
#include "prc/reader/Content3DTessDecoder.h"
#include "prc/reader/WireTessDecoder.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr double kPercent = 100.0;

void ClearDecoded(BaseTessData& tess) {
    tess.triangleIndices.clear();
    tess.normals.clear();
    tess.triangleMaterials.clear();
    tess.textureCoordinates.clear();
}

std::unique_ptr<TesselationDecoder> MakeDecoder(BaseTessData& tess, FormatGlue::AuthoringProgress* progress,
                                                float span) {
    switch (tess.type) {
        case kTypeTess3D:
            return std::make_unique<Content3DTessDecoder>(static_cast<Content3DTess&>(tess), progress, span);
        case kTypeTess3DWire:
            return std::make_unique<WireTessDecoder>(static_cast<Content3DWireTess&>(tess), progress, span);
        case kTypeTessHighlyCompressed:
            return std::make_unique<Compressed3DTessDecoder>(static_cast<HighlyCompressed3DTess&>(tess), progress,
                                                             span);
        default: return nullptr;
    }
}

}  // namespace

void TesselationDecoder::ReportShare(float share) const {
    if (!progress_ || progressSpan_ <= 0.0f) return;
    progress_->UpdateProgress(static_cast<float>(static_cast<double>(share) * progressSpan_ * kPercent));
}

bool TesselationDecoder::DecodeTesselation(const std::shared_ptr<BaseTessData>& tessellation,
                                           FormatGlue::AuthoringProgress* progress, float progressSpan) {
    if (!tessellation) return false;
    BaseTessData& tess = *tessellation;
    if (tess.type == kTypeTessMarkup) {
        Logger::Log(LogLevel::Warning,
                    "TesselationDecoder::DecodeTesselation() - PRC_TYPE_TESS_Markup not yet supported!");
        return true;
    }
    auto decoder = MakeDecoder(tess, progress, progressSpan);
    if (!decoder) {
        Logger::Log(LogLevel::Error, "TesselationDecoder::DecodeTesselation() - invalid tesselation type!");
        return false;
    }
    ClearDecoded(tess);
    if (decoder->PrepareDecode() && decoder->DoDecode()) return true;
    // A half-filled tessellation must not reach the scene.
    ClearDecoded(tess);
    return false;
}

}  // namespace Velmora::PRC
