#pragma once
// A line style of a file structure as the pool resolves it: what it refers to (a colour, a
// material or a picture pattern), its width, its transparency and its render flags.

#include <cstdint>

#include "prc/reader/filestructure/GraphicsDefinitions.h"

namespace Velmora::PRC {

class AuthorLineStyle {
public:
    enum Kind : uint32_t { Colour = 0, Material = 1, Pattern = 2 };
    // Bits of the style's render parameters byte.
    static constexpr uint8_t kCullingParam = 0x01;
    static constexpr uint8_t kFrontCullParam = 0x02;
    static constexpr uint8_t kBackCullParam = 0x04;
    static constexpr uint8_t kNoLightParam = 0x08;
    static constexpr float kOpaque = 1.0f;

    void Init(const FileStructure::LineStyle& style);

    Kind kind = Colour;
    double width = 0.0;
    // Colour: an entry of the colour table; material and pattern: the index as stored.
    int32_t reference = -1;
    float transparency = kOpaque;  // 1 opaque, 0 fully see-through
    bool cullFront = false;
    bool cullBack = false;
    bool culling = false;
    bool unlit = false;
};

}  // namespace Velmora::PRC
