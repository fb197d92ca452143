// PNG through libpng. libpng reports errors by longjmp to the setjmp point of the caller, so the
// functions that call into it hold nothing with a destructor between setjmp and the calls:
// buffers live in the caller-owned ImageBuffer or vector, row pointers in a block freed on
// both paths.

#include <png.h>

#include <csetjmp>
#include <cstring>
#include <new>

#include "rendering/ImageCodecs.h"
#include "util/Logger.h"

namespace Velmora::Rendering::ImageCodecs {

using Utility::Logger;
using Utility::LogLevel;

namespace {

struct PngSource {
    const uint8_t* data;
    size_t size;
    size_t position;
};

void PngError(png_structp png, png_const_charp message) {
    Logger::Log(LogLevel::Verbose, "PNG codec: %s", message ? message : "error");
    png_longjmp(png, 1);
}

void PngWarning(png_structp, png_const_charp message) {
    Logger::Log(LogLevel::ExtraVerbose, "PNG codec warning: %s", message ? message : "");
}

void PngRead(png_structp png, png_bytep target, size_t length) {
    PngSource* source = static_cast<PngSource*>(png_get_io_ptr(png));
    if (length > source->size - source->position) png_error(png, "unexpected end of data");
    std::memcpy(target, source->data + source->position, length);
    source->position += length;
}

void PngWrite(png_structp png, png_bytep data, size_t length) {
    auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    // A std::bad_alloc must not unwind through libpng's C frames.
    try {
        out->insert(out->end(), data, data + length);
    } catch (const std::bad_alloc&) {
        png_error(png, "out of memory");
    }
}

void PngFlush(png_structp) {}

// Row pointers in the order the caller wants the image laid out.
png_bytep* MakeRows(uint8_t* base, uint32_t height, size_t stride, bool bottomUp) {
    png_bytep* rows = new (std::nothrow) png_bytep[height];
    if (!rows) return nullptr;
    for (uint32_t y = 0; y < height; ++y) rows[y] = base + size_t(bottomUp ? height - 1 - y : y) * stride;
    return rows;
}

// The part that libpng may leave by longjmp. Returns Ok or the status to report.
ImageStatus ReadPng(png_structp png, png_infop info, PngSource* source, ImageBuffer& out, PixelLayout layout,
                    bool bottomUp) {
    png_bytep* volatile rows = nullptr;
    volatile ImageStatus status = ImageStatus::GenericError;
    if (setjmp(png_jmpbuf(png))) {
        delete[] rows;
        return status;
    }
    png_set_read_fn(png, source, PngRead);
    png_set_user_limits(png, Image::kMaxDimension, Image::kMaxDimension);
    png_read_info(png, info);

    const uint32_t width = png_get_image_width(png, info);
    const uint32_t height = png_get_image_height(png, info);
    const int colorType = png_get_color_type(png, info);
    const bool hasTransparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    out.hasAlpha = (colorType & PNG_COLOR_MASK_ALPHA) != 0 || hasTransparency;

    // Everything becomes 8-bit RGBA (or BGRA).
    png_set_expand(png);  // palette to RGB, grey below 8 bits to 8, tRNS to alpha
    png_set_strip_16(png);
    if (!(colorType & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(png);
    if (!out.hasAlpha) png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
    if (layout == PixelLayout::BGRA) png_set_bgr(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != size_t(width) * 4) return ImageStatus::GenericError;

    status = AllocatePixels(out, width, height);
    if (status != ImageStatus::Ok) return status;
    status = ImageStatus::GenericError;
    rows = MakeRows(out.pixels.get(), height, out.stride, bottomUp);
    if (!rows) return ImageStatus::OutOfMemory;
    png_read_image(png, rows);
    png_read_end(png, nullptr);
    delete[] rows;
    return ImageStatus::Ok;
}

ImageStatus WritePng(png_structp png, png_infop info, const uint8_t* pixels, uint32_t width, uint32_t height,
                     size_t stride, PixelLayout layout, bool hasAlpha, bool bottomUp, std::vector<uint8_t>* out) {
    if (setjmp(png_jmpbuf(png))) return ImageStatus::GenericError;
    png_set_write_fn(png, out, PngWrite, PngFlush);
    png_set_IHDR(png, info, width, height, 8, hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Captures are encoded on the render thread while the host waits, so speed comes first.
    // Rendered frames are mostly flat or smoothly shaded runs; zlib level 1 without row filters
    // finds them as short-distance matches and, on 1080p test frames, was both the fastest and
    // the smallest of the fast settings (filters cost a pass and helped level 1 little).
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_compression_level(png, 1);
    png_write_info(png, info);
    if (!hasAlpha) png_set_filler(png, 0, PNG_FILLER_AFTER);  // drops the fourth byte
    if (layout == PixelLayout::BGRA) png_set_bgr(png);
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* row = pixels + size_t(bottomUp ? height - 1 - y : y) * stride;
        png_write_row(png, const_cast<png_bytep>(row));
    }
    png_write_end(png, info);
    return ImageStatus::Ok;
}

}  // namespace

ImageStatus DecodePng(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    if (!png) return ImageStatus::OutOfMemory;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return ImageStatus::OutOfMemory;
    }
    PngSource source{data, size, 0};
    const ImageStatus status = ReadPng(png, info, &source, out, layout, bottomUp);
    png_destroy_read_struct(&png, &info, nullptr);
    return status;
}

ImageStatus EncodePng(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                      bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    if (!png) return ImageStatus::OutOfMemory;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return ImageStatus::OutOfMemory;
    }
    // One reservation for the usual case: rendered frames compress to well under half.
    try {
        out.reserve(size_t(width) * height * (hasAlpha ? 4 : 3) / 2 + 1024);
    } catch (const std::bad_alloc&) {
        png_destroy_write_struct(&png, &info);
        return ImageStatus::OutOfMemory;
    }
    const ImageStatus status = WritePng(png, info, pixels, width, height, stride, layout, hasAlpha, bottomUp, &out);
    png_destroy_write_struct(&png, &info);
    if (status != ImageStatus::Ok) out.clear();
    return status;
}

}  // namespace Velmora::Rendering::ImageCodecs
