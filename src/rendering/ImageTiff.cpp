// TIFF through libtiff on memory, with its error and warning handlers bound per handle, so that
// nothing reaches standard error and a hostile file only costs its own decode.
//
// 8-bit RGB and RGBA images in strips, the common case and what the encoder writes, are read
// scanline by scanline with the alpha passed through untouched. Everything else (palettes,
// grey, 16-bit, tiles, YCbCr, CMYK, ...) goes through libtiff's RGBA interface, which hands
// back unassociated alpha premultiplied.

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "rendering/ImageCodecs.h"
#include "util/Logger.h"

namespace Velmora::Rendering::ImageCodecs {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// Largest single block libtiff may allocate for one image (strips, its RGBA rows, ...).
constexpr tmsize_t kMaxTiffAllocation = tmsize_t(Image::kMaxPixels) * 4;

int TiffError(TIFF*, void*, const char* module, const char* format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof(text), format, args);
    Logger::Log(LogLevel::Verbose, "TIFF codec: %s: %s", module ? module : "", text);
    return 1;  // handled: the process-wide handlers stay silent
}

int TiffWarning(TIFF*, void*, const char* module, const char* format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof(text), format, args);
    Logger::Log(LogLevel::ExtraVerbose, "TIFF codec warning: %s: %s", module ? module : "", text);
    return 1;
}

// A byte range that libtiff reads through its client procedures, or a growing block it writes.
struct TiffStream {
    const uint8_t* source = nullptr;       // reading
    std::vector<uint8_t>* sink = nullptr;  // writing
    uint64_t size = 0;
    uint64_t position = 0;
};

tmsize_t TiffRead(thandle_t handle, void* buffer, tmsize_t length) {
    auto* s = static_cast<TiffStream*>(handle);
    if (length < 0 || s->position >= s->size) return 0;
    const uint64_t n = std::min<uint64_t>(uint64_t(length), s->size - s->position);
    const uint8_t* from = s->source ? s->source : s->sink->data();
    std::memcpy(buffer, from + s->position, size_t(n));
    s->position += n;
    return tmsize_t(n);
}

tmsize_t TiffWrite(thandle_t handle, void* buffer, tmsize_t length) {
    auto* s = static_cast<TiffStream*>(handle);
    if (!s->sink || length < 0) return -1;
    const uint64_t end = s->position + uint64_t(length);
    try {
        if (end > s->sink->size()) s->sink->resize(size_t(end));
    } catch (const std::bad_alloc&) {
        return -1;
    }
    std::memcpy(s->sink->data() + s->position, buffer, size_t(length));
    s->position = end;
    s->size = s->sink->size();
    return length;
}

toff_t TiffSeek(thandle_t handle, toff_t offset, int whence) {
    auto* s = static_cast<TiffStream*>(handle);
    uint64_t base = 0;
    if (whence == SEEK_CUR)
        base = s->position;
    else if (whence == SEEK_END)
        base = s->size;
    const uint64_t target = base + offset;
    // A read stream cannot move past its end; a write stream fills the gap on the next write.
    if (target < base || (s->source && target > s->size)) return toff_t(-1);
    s->position = target;
    return target;
}

int TiffClose(thandle_t) { return 0; }
toff_t TiffSize(thandle_t handle) { return static_cast<TiffStream*>(handle)->size; }

int TiffMap(thandle_t handle, void** base, toff_t* size) {
    auto* s = static_cast<TiffStream*>(handle);
    if (!s->source) return 0;
    *base = const_cast<uint8_t*>(s->source);
    *size = s->size;
    return 1;
}

void TiffUnmap(thandle_t, void*, toff_t) {}

TIFF* Open(TiffStream& stream, const char* mode) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxTiffAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options, TiffError, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TiffWarning, nullptr);
    TIFF* tif = TIFFClientOpenExt("memory", mode, &stream, TiffRead, TiffWrite, TiffSeek, TiffClose, TiffSize, TiffMap,
                                  TiffUnmap, options);
    TIFFOpenOptionsFree(options);
    return tif;
}

struct TiffCloser {
    TIFF* tif;
    ~TiffCloser() {
        if (tif) TIFFClose(tif);
    }
};

struct TiffLayout {
    uint32_t width = 0, height = 0;
    uint16_t bitsPerSample = 1, samplesPerPixel = 1, photometric = 0, planar = PLANARCONFIG_CONTIG;
    uint16_t extraCount = 0;
    bool tiled = false;
};

// The scanline path: 8-bit RGB or RGBA (alpha as the one extra sample), contiguous, in strips.
bool IsPlainRgb(const TiffLayout& t) {
    return !t.tiled && t.bitsPerSample == 8 && t.photometric == PHOTOMETRIC_RGB && t.planar == PLANARCONFIG_CONTIG &&
           (t.samplesPerPixel == 3 || (t.samplesPerPixel == 4 && t.extraCount == 1));
}

ImageStatus ReadScanlines(TIFF* tif, const TiffLayout& t, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    const tmsize_t lineSize = TIFFScanlineSize(tif);
    if (lineSize < tmsize_t(t.width) * t.samplesPerPixel) return ImageStatus::GenericError;
    std::unique_ptr<uint8_t[]> line(new (std::nothrow) uint8_t[size_t(lineSize)]);
    if (!line) return ImageStatus::OutOfMemory;
    const uint32_t spp = t.samplesPerPixel;
    const int r = layout == PixelLayout::BGRA ? 2 : 0, b = 2 - r;
    for (uint32_t y = 0; y < t.height; ++y) {
        if (TIFFReadScanline(tif, line.get(), y, 0) < 0) return ImageStatus::GenericError;
        uint8_t* dst = out.pixels.get() + size_t(bottomUp ? t.height - 1 - y : y) * out.stride;
        const uint8_t* src = line.get();
        for (uint32_t x = 0; x < t.width; ++x, src += spp, dst += 4) {
            dst[r] = src[0];
            dst[1] = src[1];
            dst[b] = src[2];
            dst[3] = spp == 4 ? src[3] : 0xFF;
        }
    }
    return ImageStatus::Ok;
}

ImageStatus ReadRgbaInterface(TIFF* tif, const TiffLayout& t, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    char message[1024];
    if (!TIFFRGBAImageOK(tif, message)) {
        Logger::Log(LogLevel::Verbose, "TIFF codec: %s", message);
        return ImageStatus::GenericError;
    }
    // The raster is packed ABGR words (R in the low byte); the pixel block is word-aligned.
    auto* raster = reinterpret_cast<uint32_t*>(out.pixels.get());
    if (!TIFFReadRGBAImageOriented(tif, t.width, t.height, raster, bottomUp ? ORIENTATION_BOTLEFT : ORIENTATION_TOPLEFT,
                                   1))
        return ImageStatus::GenericError;
    const size_t count = size_t(t.width) * t.height;
    uint8_t* p = out.pixels.get();
    const int r = layout == PixelLayout::BGRA ? 2 : 0, b = 2 - r;
    for (size_t i = 0; i < count; ++i, p += 4) {
        uint32_t word;
        std::memcpy(&word, p, 4);
        p[r] = uint8_t(TIFFGetR(word));
        p[1] = uint8_t(TIFFGetG(word));
        p[b] = uint8_t(TIFFGetB(word));
        p[3] = uint8_t(TIFFGetA(word));
    }
    return ImageStatus::Ok;
}

}  // namespace

ImageStatus DecodeTiff(const uint8_t* data, size_t size, ImageBuffer& out, PixelLayout layout, bool bottomUp) {
    TiffStream stream;
    stream.source = data;
    stream.size = size;
    TiffCloser closer{Open(stream, "r")};
    if (!closer.tif) return ImageStatus::GenericError;
    TIFF* tif = closer.tif;

    TiffLayout t;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &t.width) || !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &t.height))
        return ImageStatus::GenericError;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &t.bitsPerSample);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &t.samplesPerPixel);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &t.planar);
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &t.photometric)) t.photometric = 0xFFFF;
    uint16_t* extraTypes = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &t.extraCount, &extraTypes);
    t.tiled = TIFFIsTiled(tif) != 0;

    ImageStatus status = AllocatePixels(out, t.width, t.height);
    if (status != ImageStatus::Ok) return status;
    out.hasAlpha = t.extraCount > 0;
    return IsPlainRgb(t) ? ReadScanlines(tif, t, out, layout, bottomUp)
                         : ReadRgbaInterface(tif, t, out, layout, bottomUp);
}

ImageStatus EncodeTiff(const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride, PixelLayout layout,
                       bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out) {
    const uint32_t channels = hasAlpha ? 4 : 3;
    std::unique_ptr<uint8_t[]> line(new (std::nothrow) uint8_t[size_t(width) * channels]);
    if (!line) return ImageStatus::OutOfMemory;
    try {
        out.reserve(size_t(width) * height * channels / 2 + 1024);
    } catch (const std::bad_alloc&) {
        return ImageStatus::OutOfMemory;
    }
    TiffStream stream;
    stream.sink = &out;
    ImageStatus status = ImageStatus::GenericError;
    {
        TiffCloser closer{Open(stream, "w")};
        TIFF* tif = closer.tif;
        if (!tif) return ImageStatus::GenericError;
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        if (hasAlpha) {
            const uint16_t extra[1] = {EXTRASAMPLE_UNASSALPHA};
            TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, extra);
        }
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));

        const int r = layout == PixelLayout::BGRA ? 2 : 0, b = 2 - r;
        status = ImageStatus::Ok;
        for (uint32_t y = 0; y < height && status == ImageStatus::Ok; ++y) {
            const uint8_t* src = pixels + size_t(bottomUp ? height - 1 - y : y) * stride;
            uint8_t* dst = line.get();
            for (uint32_t x = 0; x < width; ++x, src += 4, dst += channels) {
                dst[0] = src[r];
                dst[1] = src[1];
                dst[2] = src[b];
                if (hasAlpha) dst[3] = src[3];
            }
            if (TIFFWriteScanline(tif, line.get(), y, 0) < 0) status = ImageStatus::GenericError;
        }
        if (status == ImageStatus::Ok && !TIFFWriteDirectory(tif)) status = ImageStatus::GenericError;
    }  // TIFFClose flushes; the stream must outlive it
    if (status != ImageStatus::Ok) out.clear();
    return status;
}

}  // namespace Velmora::Rendering::ImageCodecs
