#include "rendering/MipmapChain.h"

#include <new>

namespace Velmora::Rendering {

namespace {

constexpr uint32_t kTexelBytes = 4;
constexpr uint32_t kBlockTexels = 4;  // a 2x2 block
constexpr uint32_t kRounding = kBlockTexels / 2;

}  // namespace

bool MipmapChain::Reduce(const uint8_t* source, uint32_t width, uint32_t height, size_t stride, MipmapLevel& out) {
    out = MipmapLevel();
    if (!source || width == 0 || height == 0 || stride < size_t(width) * kTexelBytes) return false;
    const uint32_t outWidth = NextSize(width), outHeight = NextSize(height);
    std::unique_ptr<uint8_t[]> pixels(new (std::nothrow) uint8_t[size_t(outWidth) * outHeight * kTexelBytes]);
    if (!pixels) return false;
    // A side of one texel has no neighbour to average with: the block repeats its texel there.
    const size_t stepX = width > 1 ? kTexelBytes : 0;
    const size_t stepY = height > 1 ? stride : 0;
    const uint32_t scaleX = width > 1 ? 2 : 1, scaleY = height > 1 ? 2 : 1;
    uint8_t* target = pixels.get();
    for (uint32_t y = 0; y < outHeight; ++y) {
        const uint8_t* row = source + size_t(y) * scaleY * stride;
        for (uint32_t x = 0; x < outWidth; ++x) {
            const uint8_t* p = row + size_t(x) * scaleX * kTexelBytes;
            for (uint32_t c = 0; c < kTexelBytes; ++c) {
                const uint32_t sum = uint32_t(p[c]) + p[c + stepX] + p[c + stepY] + p[c + stepX + stepY];
                *target++ = uint8_t((sum + kRounding) / kBlockTexels);
            }
        }
    }
    out.width = outWidth;
    out.height = outHeight;
    out.pixels = std::move(pixels);
    return true;
}

}  // namespace Velmora::Rendering
