#pragma once
// The image codec: encoded image bytes in, 8-bit RGBA or BGRA pixels out, and back. PNG
// (libpng), JPEG (TurboJPEG) and TIFF (libtiff) read and write; BMP, GIF (first frame) and TGA
// (stb_image) read only. The file type is taken from the bytes, never from a name.
//
// Every decoder checks what the file claims before it allocates: a side above kMaxDimension or
// more than kMaxPixels pixels is refused, so a few hostile bytes cannot ask for gigabytes.
// Library errors (libpng longjmp, TurboJPEG error codes, libtiff handlers) end in a status;
// their text goes to the log at level 4, never to standard error.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::Rendering {

// Formats that can be written, numbered as the file-type codes of the texture interface.
enum class ImageFormat : int32_t { PNG = 1, JPEG = 2, TIFF = 3 };

// What the bytes of an image file turned out to be.
enum class ImageFileType : int32_t { Unknown = 0, PNG, JPEG, TIFF, BMP, GIF, TGA };

// Byte order of one pixel in memory.
enum class PixelLayout : int32_t { RGBA, BGRA };

// Status words of the codecs; messages of every codec read them from one text table
// (ImageStatusText), so the numbers are fixed.
enum class ImageStatus : int32_t {
    Ok = 0,
    GenericError = 1,      // the bytes are not a valid image of their type
    InvalidParameter = 2,  // a null pointer, a zero size, an unknown format
    OutOfMemory = 3,
    FileNotFound = 10,
    ValueOverflow = 11,  // the image is larger than the codec accepts
    AccessDenied = 12,   // a file that cannot be written
    UnknownImageFormat = 13,
};

// "Ok", "Generic Error", ... for the status numbers 0..20, "Unknown Error" otherwise.
const char* ImageStatusText(int32_t status);
inline const char* ImageStatusText(ImageStatus status) { return ImageStatusText(int32_t(status)); }

// Decoded pixels: 4 bytes a pixel, rows stride bytes apart (stride == width * 4).
struct ImageBuffer {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t stride = 0;
    size_t size = 0;  // bytes in pixels
    std::unique_ptr<uint8_t[]> pixels;
    bool hasAlpha = false;  // the source carried an alpha channel or a transparency key
    ImageFileType type = ImageFileType::Unknown;

    void Reset() { *this = ImageBuffer(); }
};

class Image {
public:
    static constexpr uint32_t kMaxDimension = 32768;
    static constexpr uint64_t kMaxPixels = uint64_t(1) << 26;  // 256 MiB of RGBA
    static constexpr uint64_t kMaxFileBytes = uint64_t(1) << 30;

    // The file type by its signature; TGA, which has none, is reported only by Decode.
    static ImageFileType Identify(const uint8_t* data, size_t size);

    // Decodes one image. bottomUp puts the last image row first in memory, as GL expects
    // texture rows. On failure out is empty.
    static ImageStatus Decode(const uint8_t* data, size_t size, ImageBuffer& out,
                              PixelLayout layout = PixelLayout::RGBA, bool bottomUp = false);
    static ImageStatus DecodeFile(const std::string& path, ImageBuffer& out, PixelLayout layout = PixelLayout::RGBA,
                                  bool bottomUp = false);

    // Encodes width x height pixels of 4 bytes, rows stride bytes apart, first row first unless
    // bottomUp. Without hasAlpha the fourth byte is dropped and the file is opaque RGB. The
    // encoded bytes replace the contents of out.
    static ImageStatus Encode(ImageFormat format, const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride,
                              PixelLayout layout, bool hasAlpha, bool bottomUp, std::vector<uint8_t>& out);
    static ImageStatus EncodeToFile(ImageFormat format, const std::string& path, const uint8_t* pixels, uint32_t width,
                                    uint32_t height, size_t stride, PixelLayout layout, bool hasAlpha, bool bottomUp);

    // "image/png", "image/jpeg", "image/tiff"; null for a value outside the enum.
    static const char* MimeType(ImageFormat format);
    // ".png", ".jpeg", ".tiff"; null for a value outside the enum.
    static const char* Extension(ImageFormat format);
    // The format a target path asks for by its extension, compared without case: ".jpg",
    // ".jpeg" and ".jpe" are JPEG, ".tif" and ".tiff" TIFF, anything else PNG.
    static ImageFormat FormatForPath(const std::string& path);

    // The fixed JPEG encoder settings.
    static constexpr int kJpegQuality = 90;
};

}  // namespace Velmora::Rendering
