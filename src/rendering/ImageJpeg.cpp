// JPEG through the TurboJPEG API. Decoding accepts what libjpeg only warns about (a stream cut
// short after the header decodes with grey rows, as most viewers show it); errors fail.
// Progressive files are limited in their scan count, which bounds the work a hostile file can
// ask for.

#include <turbojpeg.h>

#include <new>

#include "rendering/ImageCodecs.h"
#include "util/Logger.h"

namespace Velmora::Rendering::ImageCodecs {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// The handle is freed on every path.
struct TurboHandle {
    tjhandle handle;
    explicit TurboHandle(tjhandle h) : handle(h) {}
    ~TurboHandle() {
        if (handle) tjDestroy(handle);
    }
    TurboHandle(const TurboHandle&) = delete;
    TurboHandle& operator=(const TurboHandle&) = delete;
};

int PixelFormat(PixelLayout layout) { return layout == PixelLayout::BGRA ? TJPF_BGRA : TJPF_RGBA; }

}  // namespace

ImageStatus DecodeJpeg(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    if (size > 0xFFFFFFFFu) return ImageStatus::ValueOverflow;  // the API counts in unsigned long, keep it 32-bit
    TurboHandle tj(tjInitDecompress());
    if (!tj.handle) return ImageStatus::OutOfMemory;
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    if (tjDecompressHeader3(tj.handle, data, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colorspace) != 0) {
        Logger::Log(LogLevel::Verbose, "JPEG codec: %s", tjGetErrorStr2(tj.handle));
        return ImageStatus::GenericError;
    }
    if (width <= 0 || height <= 0) return ImageStatus::GenericError;
    ImageStatus status = AllocatePixels(out, uint32_t(width), uint32_t(height));
    if (status != ImageStatus::Ok) return status;
    const int flags = TJFLAG_LIMITSCANS | (bottomUp ? TJFLAG_BOTTOMUP : 0);
    if (tjDecompress2(tj.handle, data, static_cast<unsigned long>(size), out.pixels.get(), width, int(out.stride),
                      height, PixelFormat(layout), flags) != 0) {
        const bool warning = tjGetErrorCode(tj.handle) == TJERR_WARNING;
        Logger::Log(LogLevel::Verbose, "JPEG codec%s: %s", warning ? " warning" : "", tjGetErrorStr2(tj.handle));
        if (!warning) return ImageStatus::GenericError;
    }
    out.hasAlpha = false;
    return ImageStatus::Ok;
}

ImageStatus EncodeJpeg(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                       bool /*hasAlpha: JPEG has no alpha*/, bool bottomUp, std::vector<uint8_t>& out) {
    if (stride > 0x7FFFFFFF) return ImageStatus::ValueOverflow;
    TurboHandle tj(tjInitCompress());
    if (!tj.handle) return ImageStatus::OutOfMemory;
    // 4:4:4 keeps thin coloured edges of rendered lines clean.
    const unsigned long bound = tjBufSize(int(width), int(height), TJSAMP_444);
    if (bound == static_cast<unsigned long>(-1)) return ImageStatus::ValueOverflow;
    try {
        out.resize(bound);
    } catch (const std::bad_alloc&) {
        return ImageStatus::OutOfMemory;
    }
    unsigned char* target = out.data();
    unsigned long written = bound;
    const int flags = TJFLAG_NOREALLOC | (bottomUp ? TJFLAG_BOTTOMUP : 0);
    if (tjCompress2(tj.handle, pixels, int(width), int(stride), int(height), PixelFormat(layout), &target, &written,
                    TJSAMP_444, Image::kJpegQuality, flags) != 0) {
        Logger::Log(LogLevel::Verbose, "JPEG codec: %s", tjGetErrorStr2(tj.handle));
        out.clear();
        return ImageStatus::GenericError;
    }
    out.resize(written);
    return ImageStatus::Ok;
}

}  // namespace Velmora::Rendering::ImageCodecs
