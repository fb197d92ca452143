#include "rendering/Image.h"

#include <cstdio>
#include <cstring>
#include <locale>
#include <new>

#include "rendering/ImageCodecs.h"
#include "util/Paths.h"

namespace Velmora::Rendering {

const char* ImageStatusText(int32_t status) {
    static const char* const kTexts[] = {
        "Ok",
        "Generic Error",
        "Invalid Parameter",
        "Out Of Memory",
        "Object Busy",
        "Insufficient Buffer",
        "Not Implemented",
        "Win32 Error",
        "Wrong State",
        "Aborted",
        "File Not Found",
        "Value Overflow",
        "Access Denied",
        "Unknown ImageFormat",
        "FontFamily Not Found",
        "FontStyle Not Found",
        "Not TrueType Font",
        "Unsupported Gdiplus Version",
        "Gdiplus Not Initialized",
        "Property Not Found",
        "Property Not Supported",
    };
    if (status < 0 || status >= int32_t(sizeof(kTexts) / sizeof(kTexts[0]))) return "Unknown Error";
    return kTexts[status];
}

ImageStatus ImageCodecs::AllocatePixels(ImageBuffer& out, uint32_t width, uint32_t height) {
    if (width == 0 || height == 0) return ImageStatus::GenericError;
    if (width > Image::kMaxDimension || height > Image::kMaxDimension || uint64_t(width) * height > Image::kMaxPixels)
        return ImageStatus::ValueOverflow;
    const size_t size = size_t(width) * height * 4;
    out.pixels.reset(new (std::nothrow) uint8_t[size]);
    if (!out.pixels) return ImageStatus::OutOfMemory;
    out.width = width;
    out.height = height;
    out.stride = width * 4;
    out.size = size;
    return ImageStatus::Ok;
}

ImageFileType Image::Identify(const uint8_t* data, size_t size) {
    if (!data) return ImageFileType::Unknown;
    static const uint8_t kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    if (size >= 8 && std::memcmp(data, kPng, 8) == 0) return ImageFileType::PNG;
    if (size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) return ImageFileType::JPEG;
    if (size >= 4 && ((data[0] == 'I' && data[1] == 'I' && data[2] == 42 && data[3] == 0) ||
                      (data[0] == 'M' && data[1] == 'M' && data[2] == 0 && data[3] == 42)))
        return ImageFileType::TIFF;
    // BigTIFF (version 43) goes to libtiff as well.
    if (size >= 4 && ((data[0] == 'I' && data[1] == 'I' && data[2] == 43 && data[3] == 0) ||
                      (data[0] == 'M' && data[1] == 'M' && data[2] == 0 && data[3] == 43)))
        return ImageFileType::TIFF;
    if (size >= 2 && data[0] == 'B' && data[1] == 'M') return ImageFileType::BMP;
    if (size >= 6 && std::memcmp(data, "GIF8", 4) == 0 && (data[4] == '7' || data[4] == '9') && data[5] == 'a')
        return ImageFileType::GIF;
    return ImageFileType::Unknown;
}

ImageStatus Image::Decode(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    out.Reset();
    if (!data || size == 0) return ImageStatus::InvalidParameter;
    ImageStatus status;
    const ImageFileType type = Identify(data, size);
    switch (type) {
        case ImageFileType::PNG: status = ImageCodecs::DecodePng(data, size, out, layout, bottomUp); break;
        case ImageFileType::JPEG: status = ImageCodecs::DecodeJpeg(data, size, out, layout, bottomUp); break;
        case ImageFileType::TIFF: status = ImageCodecs::DecodeTiff(data, size, out, layout, bottomUp); break;
        default: status = ImageCodecs::DecodeStb(data, size, out, layout, bottomUp); break;
    }
    if (status != ImageStatus::Ok) {
        out.Reset();
        return status;
    }
    if (type != ImageFileType::Unknown) out.type = type;
    return status;
}

namespace {

// Reads a whole file into one block sized once from the file's length.
ImageStatus ReadWholeFile(const std::string& path, std::unique_ptr<uint8_t[]>& bytes, size_t& size) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return ImageStatus::FileNotFound;
    ImageStatus status = ImageStatus::Ok;
    long length = -1;
    if (std::fseek(file, 0, SEEK_END) == 0) length = std::ftell(file);
    if (length <= 0 || std::fseek(file, 0, SEEK_SET) != 0) {
        status = ImageStatus::GenericError;  // empty, a directory, or not seekable
    } else if (uint64_t(length) > Image::kMaxFileBytes) {
        status = ImageStatus::ValueOverflow;
    } else {
        bytes.reset(new (std::nothrow) uint8_t[size_t(length)]);
        if (!bytes)
            status = ImageStatus::OutOfMemory;
        else if (std::fread(bytes.get(), 1, size_t(length), file) != size_t(length))
            status = ImageStatus::GenericError;
        else
            size = size_t(length);
    }
    std::fclose(file);
    return status;
}

}  // namespace

ImageStatus Image::DecodeFile(const std::string& path, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    out.Reset();
    if (path.empty()) return ImageStatus::InvalidParameter;
    std::unique_ptr<uint8_t[]> bytes;
    size_t size = 0;
    const ImageStatus status = ReadWholeFile(path, bytes, size);
    if (status != ImageStatus::Ok) return status;
    return Decode(bytes.get(), size, out, layout, bottomUp);
}

ImageStatus Image::Encode(ImageFormat format, const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride,
                          PixelLayout layout, bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out) {
    out.clear();
    if (!pixels || width == 0 || height == 0 || stride < size_t(width) * 4) return ImageStatus::InvalidParameter;
    if (width > kMaxDimension || height > kMaxDimension) return ImageStatus::ValueOverflow;
    switch (format) {
        case ImageFormat::PNG:
            return ImageCodecs::EncodePng(pixels, width, height, stride, layout, hasAlpha, bottomUp, out);
        case ImageFormat::JPEG:
            return ImageCodecs::EncodeJpeg(pixels, width, height, stride, layout, hasAlpha, bottomUp, out);
        case ImageFormat::TIFF:
            return ImageCodecs::EncodeTiff(pixels, width, height, stride, layout, hasAlpha, bottomUp, out);
    }
    return ImageStatus::UnknownImageFormat;
}

ImageStatus Image::EncodeToFile(ImageFormat format, const std::string& path, const uint8_t* pixels, uint32_t width,
                                uint32_t height, size_t stride, PixelLayout layout, bool hasAlpha, bool bottomUp) {
    if (path.empty()) return ImageStatus::InvalidParameter;
    std::vector<uint8_t> bytes;
    const ImageStatus status = Encode(format, pixels, width, height, stride, layout, hasAlpha, bottomUp, bytes);
    if (status != ImageStatus::Ok) return status;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return ImageStatus::AccessDenied;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        std::remove(path.c_str());
        return ImageStatus::GenericError;
    }
    return ImageStatus::Ok;
}

const char* Image::MimeType(ImageFormat format) {
    switch (format) {
        case ImageFormat::PNG: return "image/png";
        case ImageFormat::JPEG: return "image/jpeg";
        case ImageFormat::TIFF: return "image/tiff";
    }
    return nullptr;
}

const char* Image::Extension(ImageFormat format) {
    switch (format) {
        case ImageFormat::PNG: return ".png";
        case ImageFormat::JPEG: return ".jpeg";
        case ImageFormat::TIFF: return ".tiff";
    }
    return nullptr;
}

ImageFormat Image::FormatForPath(const std::string& path) {
    std::string extension = Utility::Extension(path);
    const std::locale& classic = std::locale::classic();
    for (char& c : extension) c = std::tolower(c, classic);
    if (extension == ".jpg" || extension == ".jpeg" || extension == ".jpe") return ImageFormat::JPEG;
    if (extension == ".tif" || extension == ".tiff") return ImageFormat::TIFF;
    return ImageFormat::PNG;
}

}  // namespace Velmora::Rendering
