#pragma once
// Helpers shared by the image, texture, mesh and material tests: synthetic pictures with
// structure in every channel (so a swapped channel or flipped row shows).

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace image_test {

// width x height RGBA pixels: gradients in R and G, a checker in B, alpha from a seeded noise
// (or 255 when opaque).
inline std::vector<uint8_t> MakePattern(uint32_t width, uint32_t height, bool opaque, uint32_t seed = 1) {
    std::vector<uint8_t> p(size_t(width) * height * 4);
    std::mt19937 random(seed);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t* px = &p[(size_t(y) * width + x) * 4];
            px[0] = uint8_t(x * 255 / (width > 1 ? width - 1 : 1));
            px[1] = uint8_t(y * 255 / (height > 1 ? height - 1 : 1));
            px[2] = ((x / 4 + y / 4) & 1) ? 200 : 30;
            px[3] = opaque ? 255 : uint8_t(random() & 0xFF);
        }
    }
    return p;
}

// Smooth content for lossy codecs: no hard edges.
inline std::vector<uint8_t> MakeSmooth(uint32_t width, uint32_t height) {
    std::vector<uint8_t> p(size_t(width) * height * 4);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t* px = &p[(size_t(y) * width + x) * 4];
            px[0] = uint8_t(40 + x * 160 / width);
            px[1] = uint8_t(60 + y * 120 / height);
            px[2] = uint8_t(100 + (x + y) * 100 / (width + height));
            px[3] = 255;
        }
    return p;
}

// RGBA top-first to BGRA bottom-first, the texture layout.
inline std::vector<uint8_t> ToTextureLayout(const std::vector<uint8_t>& rgba, uint32_t width, uint32_t height) {
    std::vector<uint8_t> out(rgba.size());
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t* s = &rgba[(size_t(y) * width + x) * 4];
            uint8_t* d = &out[(size_t(height - 1 - y) * width + x) * 4];
            d[0] = s[2], d[1] = s[1], d[2] = s[0], d[3] = s[3];
        }
    return out;
}

inline void Put16(std::vector<uint8_t>& b, uint32_t v) { b.push_back(uint8_t(v)), b.push_back(uint8_t(v >> 8)); }
inline void Put32(std::vector<uint8_t>& b, uint32_t v) { Put16(b, v & 0xFFFF), Put16(b, v >> 16); }

// A 24-bit bottom-up BMP of the pattern's colours (alpha dropped).
inline std::vector<uint8_t> MakeBmp(const std::vector<uint8_t>& rgba, uint32_t w, uint32_t h) {
    const uint32_t rowBytes = (w * 3 + 3) & ~3u;
    std::vector<uint8_t> b = {'B', 'M'};
    Put32(b, 54 + rowBytes * h), Put32(b, 0), Put32(b, 54);
    Put32(b, 40), Put32(b, w), Put32(b, h), Put16(b, 1), Put16(b, 24), Put32(b, 0), Put32(b, rowBytes * h);
    Put32(b, 2835), Put32(b, 2835), Put32(b, 0), Put32(b, 0);
    for (uint32_t y = h; y-- > 0;) {
        for (uint32_t x = 0; x < w; ++x) {
            const uint8_t* p = &rgba[(size_t(y) * w + x) * 4];
            b.push_back(p[2]), b.push_back(p[1]), b.push_back(p[0]);
        }
        for (uint32_t pad = w * 3; pad < rowBytes; ++pad) b.push_back(0);
    }
    return b;
}

// An 8-bit (palette) GIF of four colours. The LZW stream sends a clear code before every
// second index, so the code width stays at 3 bits and no string table is needed.
inline std::vector<uint8_t> MakeGif(const std::vector<uint8_t>& indices, uint32_t w, uint32_t h,
                                    const uint8_t palette[12]) {
    std::vector<uint8_t> b = {'G', 'I', 'F', '8', '9', 'a'};
    Put16(b, w), Put16(b, h);
    b.insert(b.end(), {0x81, 0, 0});
    b.insert(b.end(), palette, palette + 12);
    b.push_back(0x2C), Put16(b, 0), Put16(b, 0), Put16(b, w), Put16(b, h), b.push_back(0);
    b.push_back(2);  // minimum code size
    std::vector<uint8_t> packed;
    uint32_t accumulator = 0, bits = 0;
    auto emit = [&](uint32_t code) {
        accumulator |= code << bits;
        bits += 3;
        while (bits >= 8) packed.push_back(uint8_t(accumulator)), accumulator >>= 8, bits -= 8;
    };
    for (size_t i = 0; i < indices.size(); ++i) {
        if (i % 2 == 0) emit(4);
        emit(indices[i]);
    }
    emit(5);
    if (bits) packed.push_back(uint8_t(accumulator));
    for (size_t i = 0; i < packed.size(); i += 255) {
        const size_t n = std::min<size_t>(255, packed.size() - i);
        b.push_back(uint8_t(n));
        b.insert(b.end(), packed.begin() + long(i), packed.begin() + long(i + n));
    }
    b.push_back(0);
    b.push_back(0x3B);
    return b;
}

}  // namespace image_test
