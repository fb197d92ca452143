#pragma once
// The reduced levels of a texture, made on the CPU. Drivers that rasterise in software build
// mipmaps by drawing, and the first such draw compiles a blit program: tens of milliseconds
// for what a box filter does in well under one for the texture sizes scenes carry.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Velmora::Rendering {

// One level of 32-bit pixels, tight rows.
struct MipmapLevel {
    uint32_t width = 0;
    uint32_t height = 0;
    std::unique_ptr<uint8_t[]> pixels;
};

class MipmapChain {
public:
    // The size GL gives the level below one of `size` texels: half, rounded down, at least one.
    static uint32_t NextSize(uint32_t size) { return size > 1 ? size / 2 : 1; }

    // The level below `source` (width x height texels, rows `stride` bytes apart, four bytes a
    // texel): each texel the rounded mean, channel by channel, of the 2x2 block it covers; an
    // odd last row or column is left out, a side of one texel is not halved. False on
    // exhaustion or a bad size, with `out` empty.
    static bool Reduce(const uint8_t* source, uint32_t width, uint32_t height, size_t stride, MipmapLevel& out);
};

}  // namespace Velmora::Rendering
