#include "prc/reader/AuthorTexture.h"

#include <new>

#include "rendering/Image.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Rendering::Image;
using Rendering::ImageBuffer;
using Rendering::ImageStatus;
using Rendering::TextureData;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint32_t kBgraBytes = 4;
constexpr uint8_t kOpaqueAlpha = 255;

uint32_t BytesPerPixel(int32_t format) {
    switch (format) {
        case AuthorTexture::BitmapRgb: return 3;
        case AuthorTexture::BitmapRgba: return 4;
        case AuthorTexture::BitmapGrey: return 1;
        case AuthorTexture::BitmapGreyA: return 2;
        default: return 0;
    }
}
}  // namespace

bool AuthorTexture::Init(const FileStructure::Picture& picture, uint32_t pictureIndex, const uint8_t* data,
                         uint32_t size) {
    pixels.reset();
    hasAlpha = false;
    if (!data || size == 0) {
        Logger::Log(LogLevel::Error, "AuthorTexture::Init() - INVALID INPUT DATA!");
        return false;
    }
    switch (picture.format) {
        case Png:
        case Jpeg: return DecodeEncoded(pictureIndex, data, size);
        case BitmapRgb:
        case BitmapRgba:
        case BitmapGrey:
        case BitmapGreyA: return ConvertBitmap(picture, data, size);
        default:
            Logger::Log(LogLevel::Error, "AuthorTexture::CreateFromContinuation: Unsupported image type for texture!");
            return false;
    }
}

bool AuthorTexture::DecodeEncoded(uint32_t pictureIndex, const uint8_t* data, uint32_t size) {
    ImageBuffer image;
    const ImageStatus status = Image::Decode(data, size, image, Rendering::PixelLayout::BGRA, true);
    if (status == ImageStatus::OutOfMemory) {
        Logger::Log(LogLevel::Error, "AuthorTexture::Init() - OUT OF MEMORY");
        return false;
    }
    if (status != ImageStatus::Ok || !image.pixels) {
        Logger::LogF(LogLevel::Error, "AuthorTexture::Init: Failed in Texture::CreateFromImageData() for Pic#{:d}!",
                     pictureIndex);
        return false;
    }
    pixels = TextureData::Create(image.width, image.height, image.stride, uint32_t(image.size), image.pixels.get());
    if (!pixels) {
        Logger::Log(LogLevel::Error, "AuthorTexture::Init() - OUT OF MEMORY");
        return false;
    }
    hasAlpha = image.hasAlpha;
    return true;
}

// Raw bitmaps are rows top first of 1 to 4 bytes a pixel, no padding.
bool AuthorTexture::ConvertBitmap(const FileStructure::Picture& picture, const uint8_t* data, uint32_t size) {
    const uint32_t bpp = BytesPerPixel(picture.format);
    const uint64_t count = uint64_t(picture.width) * picture.height;
    if (picture.width == 0 || picture.height == 0 || picture.width > Image::kMaxDimension ||
        picture.height > Image::kMaxDimension || count > Image::kMaxPixels || count * bpp > size) {
        Logger::Log(LogLevel::Error, "AuthorTexture::Init() - INVALID INPUT DATA!");
        return false;
    }
    const uint32_t stride = picture.width * kBgraBytes;
    pixels = TextureData::Create(picture.width, picture.height, stride, uint32_t(count * kBgraBytes));
    if (!pixels) {
        Logger::Log(LogLevel::Error, "AuthorTexture::Init() - OUT OF MEMORY");
        return false;
    }
    hasAlpha = picture.format == BitmapRgba || picture.format == BitmapGreyA;
    for (uint32_t y = 0; y < picture.height; ++y) {
        const uint8_t* in = data + size_t(y) * picture.width * bpp;
        uint8_t* out = pixels->pixels.get() + size_t(picture.height - 1 - y) * stride;
        for (uint32_t x = 0; x < picture.width; ++x, in += bpp, out += kBgraBytes) {
            const bool grey = bpp <= 2;
            out[0] = grey ? in[0] : in[2];
            out[1] = grey ? in[0] : in[1];
            out[2] = in[0];
            out[3] = bpp == 4 ? in[3] : bpp == 2 ? in[1] : kOpaqueAlpha;
        }
    }
    return true;
}

}  // namespace Velmora::PRC
