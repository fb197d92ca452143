#include "rendering/Texture.h"

#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <cstring>
#include <new>

#include "rendering/MipmapChain.h"
#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

std::shared_ptr<TextureData> TextureData::Create(uint32_t width, uint32_t height, uint32_t stride, uint32_t size,
                                                 const void* source) {
    std::shared_ptr<TextureData> data(new (std::nothrow) TextureData());
    if (!data) return {};
    if (size) {
        data->pixels.reset(new (std::nothrow) uint8_t[size]);
        if (!data->pixels) return {};
        if (source)
            std::memcpy(data->pixels.get(), source, size);
        else
            std::memset(data->pixels.get(), 0, size);
    }
    data->width = width;
    data->height = height;
    data->stride = stride;
    data->size = size;
    return data;
}

namespace {

// Decoded pixels as texture data: BGRA, bottom row first, tight rows.
std::shared_ptr<TextureData> ToTextureData(ImageBuffer& image) {
    if (image.size > 0xFFFFFFFFu) return {};
    std::shared_ptr<TextureData> data(new (std::nothrow) TextureData());
    if (!data) return {};
    data->width = image.width;
    data->height = image.height;
    data->stride = image.stride;
    data->size = uint32_t(image.size);
    data->pixels = std::move(image.pixels);
    image.Reset();
    return data;
}

// Decodes image file bytes; logs nothing, the callers say what failed in their terms.
ImageStatus DecodeImageBytes(const TextureData* bytes, ImageBuffer& image) {
    if (!bytes || !bytes->pixels || bytes->size == 0) return ImageStatus::InvalidParameter;
    return Image::Decode(bytes->pixels.get(), bytes->size, image, PixelLayout::BGRA, true);
}

// Bytes one row of texture data occupies: the stride when it is a byte width of at least
// four bytes a pixel, else tight rows (read-back data reports the width in pixels).
size_t RowBytes(const TextureData& data) {
    const size_t tight = size_t(data.width) * 4;
    return (data.stride >= tight && data.stride % 4 == 0) ? data.stride : tight;
}

bool HoldsPixels(const TextureData* data) {
    if (!data || !data->pixels || data->width == 0 || data->height == 0 || data->stride == 0 || data->size == 0)
        return false;
    return RowBytes(*data) * (data->height - 1) + size_t(data->width) * 4 <= data->size;
}

// Levels 1 down to 1x1 of the bound texture, reduced from the level-0 pixels of `data` on the
// CPU; the driver's own generation takes over should memory run short.
void UploadReducedLevels(const TextureData& data) {
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);  // reduced levels have tight rows
    const uint8_t* source = data.pixels.get();
    uint32_t width = data.width, height = data.height;
    size_t stride = RowBytes(data);
    MipmapLevel level, previous;
    for (GLint index = 1; width > 1 || height > 1; ++index) {
        if (!MipmapChain::Reduce(source, width, height, stride, level)) {
            glGenerateMipmap(GL_TEXTURE_2D);
            return;
        }
        glTexImage2D(GL_TEXTURE_2D, index, GL_RGBA8, GLsizei(level.width), GLsizei(level.height), 0, GL_BGRA,
                     GL_UNSIGNED_BYTE, level.pixels.get());
        previous = std::move(level);
        source = previous.pixels.get();
        width = previous.width;
        height = previous.height;
        stride = size_t(width) * 4;
    }
}

}  // namespace

Texture::~Texture() {
    // Names die with the context when it is gone or current elsewhere.
    if (id_ != 0 && eglGetCurrentContext() != EGL_NO_CONTEXT) glDeleteTextures(1, &id_);
}

std::shared_ptr<Texture> Texture::CreateFromTextureData(const TextureCreationInfo& info) {
    const TextureData* data = info.data.get();
    if (!HoldsPixels(data)) {
        Logger::Log(LogLevel::Error, "Texture::CreateFromTextureData() - INVALID INPUT DATA!");
        return {};
    }
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    if (maxSize > 0 && (data->width > uint32_t(maxSize) || data->height > uint32_t(maxSize))) {
        Logger::Log(LogLevel::Error, "Texture::CreateFromTextureData() - texture too large (%ux%u)", data->width,
                    data->height);
        return {};
    }
    std::shared_ptr<Texture> texture(new (std::nothrow) Texture());
    if (!texture) return {};
    texture->width_ = data->width;
    texture->height_ = data->height;
    texture->hasAlpha_ = info.hasAlpha;

    GLint alignment = 4, rowLength = 0;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, GLint(RowBytes(*data) / 4));

    glGenTextures(1, &texture->id_);
    if (texture->id_ == 0) {
        glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
        Logger::Log(LogLevel::Error, "Texture::CreateFromTextureData() - failed to create texture");
        return {};
    }
    glBindTexture(GL_TEXTURE_2D, texture->id_);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, GLsizei(data->width), GLsizei(data->height), 0, GL_BGRA, GL_UNSIGNED_BYTE,
                 data->pixels.get());
    GLint minFilter = GLint(info.minFilter);
    if (info.generateMipmaps)
        UploadReducedLevels(*data);
    else
        minFilter = GL_LINEAR;  // a mipmapped filter on a single level would leave it incomplete
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GLint(info.magFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GLint(info.wrapS));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GLint(info.wrapT));
    glBindTexture(GL_TEXTURE_2D, 0);
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
    return texture;
}

std::shared_ptr<Texture> Texture::CreateFromFile(const std::string& path, const TextureCreationInfo& info) {
    if (path.empty()) return {};
    ImageBuffer image;
    const ImageStatus status = Image::DecodeFile(path, image, PixelLayout::BGRA, true);
    if (status == ImageStatus::OutOfMemory)
        Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
    if (status != ImageStatus::Ok) {
        Logger::Log(LogLevel::Error, "Texture::CreateFromFile() - failed to load '%s' (Error: '%s')", path.c_str(),
                    ImageStatusText(status));
        return {};
    }
    TextureCreationInfo upload = info;
    upload.hasAlpha = info.hasAlpha || image.hasAlpha;
    upload.data = ToTextureData(image);
    if (!upload.data) {
        Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
        return {};
    }
    return CreateFromTextureData(upload);
}

std::shared_ptr<Texture> Texture::CreateFromImageData(const TextureCreationInfo& info) {
    ImageBuffer image;
    const ImageStatus status = DecodeImageBytes(info.data.get(), image);
    if (status == ImageStatus::OutOfMemory)
        Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
    if (status != ImageStatus::Ok) {
        Logger::Log(LogLevel::Warning, "Texture::CreateFromImageData() - failed to decode image (Error: '%s')",
                    ImageStatusText(status));
        return {};
    }
    TextureCreationInfo upload = info;
    upload.hasAlpha = info.hasAlpha || image.hasAlpha;
    upload.data = ToTextureData(image);
    if (!upload.data) {
        Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
        return {};
    }
    return CreateFromTextureData(upload);
}

std::shared_ptr<Texture> Texture::CreateWithAlphaFrom(const TextureCreationInfo& color,
                                                      const TextureCreationInfo& alpha) {
    auto usable = [](const TextureCreationInfo& info) {
        const TextureData* d = info.data.get();
        return d && d->width && d->height && d->stride && d->size && d->pixels && info.format >= TextureFormat::PNG &&
               info.format <= TextureFormat::TIFF;
    };
    if (!usable(color) || !usable(alpha) || color.data->width != alpha.data->width ||
        color.data->height != alpha.data->height)
        return {};

    ImageBuffer colorImage, alphaImage;
    ImageStatus status = DecodeImageBytes(color.data.get(), colorImage);
    if (status == ImageStatus::Ok) status = DecodeImageBytes(alpha.data.get(), alphaImage);
    if (status != ImageStatus::Ok) {
        if (status == ImageStatus::OutOfMemory)
            Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
        Logger::Log(LogLevel::Warning, "Texture::CreateWithAlphaFrom() - failed to decode image (Error: '%s')",
                    ImageStatusText(status));
        return {};
    }
    // What the files hold decides, whatever their declarations said.
    if (colorImage.width != alphaImage.width || colorImage.height != alphaImage.height) {
        Logger::Log(LogLevel::Warning, "Texture::CreateWithAlphaFrom() - image sizes differ (%ux%u, %ux%u)",
                    colorImage.width, colorImage.height, alphaImage.width, alphaImage.height);
        return {};
    }
    uint8_t* dst = colorImage.pixels.get();
    const uint8_t* src = alphaImage.pixels.get();
    for (size_t i = 0, n = size_t(colorImage.width) * colorImage.height; i < n; ++i, dst += 4, src += 4)
        dst[3] = src[0];

    TextureCreationInfo upload = color;
    upload.hasAlpha = true;
    upload.data = ToTextureData(colorImage);
    if (!upload.data) {
        Logger::Log(LogLevel::Error, "Texture->CreationInfoDataFromBitmap() - OUT OF MEMORY!");
        return {};
    }
    return CreateFromTextureData(upload);
}

TextureCreationInfo Texture::DefaultTextureCreationInfo() {
    TextureCreationInfo info;
    info.magFilter = GL_LINEAR;
    info.minFilter = GL_LINEAR;
    info.wrapS = GL_REPEAT;
    info.wrapT = GL_REPEAT;
    info.generateMipmaps = false;
    info.hasAlpha = false;
    return info;
}

std::shared_ptr<Texture> Texture::CreateDefaultTexture(TextureCreationInfo info) {
    constexpr uint32_t kSide = 8;
    info.data = TextureData::Create(kSide, kSide, kSide * 4, kSide * kSide * 4);
    if (!info.data) {
        Logger::Log(LogLevel::Error, "Texture::CreateDefaultTexture() - OUT OF MEMORY!");
        return {};
    }
    // A 2 x 2 checker of white and orange (A R G B 0xFFFF6633), stored B G R A.
    static const uint8_t kWhite[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    static const uint8_t kOrange[4] = {0x33, 0x66, 0xFF, 0xFF};
    for (uint32_t y = 0; y < kSide; ++y) {
        for (uint32_t x = 0; x < kSide; ++x) {
            const bool white = (x < 4) == (y < 4);
            std::memcpy(info.data->pixels.get() + (size_t(y) * kSide + x) * 4, white ? kWhite : kOrange, 4);
        }
    }
    return CreateFromTextureData(info);
}

std::shared_ptr<TextureData> Texture::GetTextureDataFromGPU() const {
    GLint alignment = 4;
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glBindTexture(GL_TEXTURE_2D, id_);
    GLint width = 0, height = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
    std::shared_ptr<TextureData> data;
    const uint64_t bytes = uint64_t(width > 0 ? width : 0) * uint64_t(height > 0 ? height : 0) * 4;
    if (bytes > 0 && bytes <= 0xFFFFFFFFu)
        data = TextureData::Create(uint32_t(width), uint32_t(height), uint32_t(width), uint32_t(bytes));
    if (!data && bytes > 0) Logger::Log(LogLevel::Error, "Texture::GetTextureDataFromGPU() - OUT OF MEMORY!");
    if (data) glGetTexImage(GL_TEXTURE_2D, 0, GL_BGRA, GL_UNSIGNED_BYTE, data->pixels.get());
    glBindTexture(GL_TEXTURE_2D, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, alignment);
    return data;
}

std::string Texture::FinalPath(const std::string& path, ImageFormat format) {
    const char* extension = Image::Extension(format);
    if (!extension) return path;
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    if (hasExtension && path.compare(dot, std::string::npos, extension) == 0) return path;
    return path + extension;
}

bool Texture::WriteToFile(const std::shared_ptr<TextureData>& data, ImageFormat format, const std::string& path) {
    const TextureData* d = data.get();
    if (!HoldsPixels(d)) {
        Logger::Log(LogLevel::Warning, "Failed to create bitmap from byte data!");
        return false;
    }
    if (!Image::MimeType(format)) return false;  // no encoder for it
    const ImageStatus status = Image::EncodeToFile(format, FinalPath(path, format), d->pixels.get(), d->width,
                                                   d->height, RowBytes(*d), PixelLayout::BGRA, false, true);
    if (status != ImageStatus::Ok) {
        Logger::Log(LogLevel::Error, "Failed to write image!");
        return false;
    }
    return true;
}

bool Texture::WriteToMemory(const std::shared_ptr<TextureData>& data, ImageFormat format, std::vector<uint8_t>& bytes) {
    const TextureData* d = data.get();
    if (!HoldsPixels(d)) {
        Logger::Log(LogLevel::Warning, "Failed to create bitmap from byte data!");
        return false;
    }
    if (!Image::MimeType(format)) return false;
    // The texture's pixels are kept as a 32-bit bottom-up bitmap: opaque, bottom row first in
    // memory.
    const ImageStatus status = Image::Encode(format, d->pixels.get(), d->width, d->height, RowBytes(*d),
                                             PixelLayout::BGRA, false, true, bytes);
    if (status == ImageStatus::OutOfMemory) {
        Logger::Log(LogLevel::Error, "WriteBitmapToMemory() - OUT OF MEMORY");
        return false;
    }
    if (status != ImageStatus::Ok) {
        Logger::Log(LogLevel::Error, "Failed to write image to stream!");
        return false;
    }
    return true;
}

}  // namespace Velmora::Rendering
