// BMP, GIF (first frame) and TGA through stb_image, read only. This file holds the one compiled
// copy of stb_image in the library, limited to those three formats and to memory input;
// everything it allocates is freed here. PNG, JPEG and TIFF go to their own libraries.

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_BMP
#define STBI_ONLY_GIF
#define STBI_ONLY_TGA
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_HDR
#define STBI_FAILURE_USERMSG
#define STBI_MAX_DIMENSIONS 32768

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#endif
#include <stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#include <cstring>

#include "rendering/ImageCodecs.h"
#include "util/Logger.h"

namespace Velmora::Rendering::ImageCodecs {

using Utility::Logger;
using Utility::LogLevel;

static_assert(Image::kMaxDimension == STBI_MAX_DIMENSIONS, "one size limit for every decoder");

ImageStatus DecodeStb(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    if (size > 0x7FFFFFFF) return ImageStatus::ValueOverflow;
    int width = 0, height = 0, channels = 0;
    // The header alone first: the pixel limit applies before stb allocates anything.
    if (!stbi_info_from_memory(data, int(size), &width, &height, &channels)) return ImageStatus::UnknownImageFormat;
    if (width <= 0 || height <= 0) return ImageStatus::GenericError;
    if (uint64_t(width) * uint64_t(height) > Image::kMaxPixels) return ImageStatus::ValueOverflow;

    stbi_uc* decoded = stbi_load_from_memory(data, int(size), &width, &height, &channels, 4);
    if (!decoded) {
        Logger::Log(LogLevel::Verbose, "Image codec: %s", stbi_failure_reason());
        return ImageStatus::GenericError;
    }
    ImageStatus status = AllocatePixels(out, uint32_t(width), uint32_t(height));
    if (status == ImageStatus::Ok) {
        const size_t rowBytes = size_t(width) * 4;
        for (uint32_t y = 0; y < out.height; ++y) {
            const uint8_t* src = decoded + size_t(y) * rowBytes;
            uint8_t* dst = out.pixels.get() + size_t(bottomUp ? out.height - 1 - y : y) * out.stride;
            if (layout == PixelLayout::RGBA) {
                std::memcpy(dst, src, rowBytes);
            } else {
                for (uint32_t x = 0; x < out.width; ++x, src += 4, dst += 4) {
                    dst[0] = src[2];
                    dst[1] = src[1];
                    dst[2] = src[0];
                    dst[3] = src[3];
                }
            }
        }
        // GIF always comes back with four channels; only a transparent pixel makes it alpha.
        if (channels == 2 || channels == 4) {
            const uint8_t* p = out.pixels.get() + 3;
            for (size_t i = 0, n = size_t(out.width) * out.height; i < n && !out.hasAlpha; ++i, p += 4)
                out.hasAlpha = *p != 0xFF;
        }
        if (size >= 2 && data[0] == 'B' && data[1] == 'M')
            out.type = ImageFileType::BMP;
        else if (size >= 3 && std::memcmp(data, "GIF", 3) == 0)
            out.type = ImageFileType::GIF;
        else
            out.type = ImageFileType::TGA;
    }
    stbi_image_free(decoded);
    return status;
}

}  // namespace Velmora::Rendering::ImageCodecs
