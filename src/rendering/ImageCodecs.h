#pragma once
// Per-library halves of the image codec; Image.cpp validates arguments and dispatches here.
// Each decoder fills out (pixels sized width * height * 4) or leaves it for the caller to reset.

#include "rendering/Image.h"

namespace Velmora::Rendering::ImageCodecs {

// Allocates out.pixels for a checked size; false for a size over the limits or no memory.
ImageStatus AllocatePixels(ImageBuffer& out, uint32_t width, uint32_t height);

ImageStatus DecodePng(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp);
ImageStatus DecodeJpeg(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp);
ImageStatus DecodeTiff(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp);
// BMP, GIF and TGA.
ImageStatus DecodeStb(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp);

ImageStatus EncodePng(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                      bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out);
ImageStatus EncodeJpeg(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                       bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out);
ImageStatus EncodeTiff(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                       bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out);

}  // namespace Velmora::Rendering::ImageCodecs
