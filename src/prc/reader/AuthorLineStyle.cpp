#include "prc/reader/AuthorLineStyle.h"

#include <algorithm>

#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr int32_t kColourComponents = 3;
constexpr double kByteMaximum = 255.0;
}  // namespace

void AuthorLineStyle::Init(const FileStructure::LineStyle& style) {
    if (style.isMaterial) {
        kind = Material;
        reference = style.materialIndex;
    } else if (!style.isVPicture) {
        // A colour is stored as the offset of its red component in the flat colour table.
        kind = Colour;
        reference = style.materialIndex < 0 ? -1 : style.materialIndex / kColourComponents;
    } else {
        kind = Pattern;
        reference = style.materialIndex;
        Logger::Log(LogLevel::Error,
                    "AuthorLineStyle::Init() - VPattern linestyles not yet implemented, adding placeholder!");
    }
    width = style.width;
    transparency = kOpaque;
    if (style.hasTransparency)
        transparency = static_cast<float>(std::clamp(style.transparency / kByteMaximum, 0.0, 1.0));
    culling = cullFront = cullBack = unlit = false;
    if (style.renderParams != 0) {
        if (style.renderParams & kCullingParam) {
            Logger::Log(LogLevel::Warning, "Test if culling is applied correctly!");
            cullFront = (style.renderParams & kFrontCullParam) != 0;
            cullBack = (style.renderParams & kBackCullParam) != 0;
            culling = true;
        }
        unlit = (style.renderParams & kNoLightParam) != 0;
    }
}

}  // namespace Velmora::PRC
