#pragma once
// Texture: one 2D GL texture (GL_RGBA8), made from an image file, from encoded image bytes in
// memory, from two images (colour plus a grey alpha image) or from ready pixels; and the way
// back out: pixels read from the GPU, encoded to a file or to memory.
//
// Pixels in TextureData are 32-bit BGRA in memory order, rows bottom first, the layout GL
// takes and gives back with GL_BGRA / GL_UNSIGNED_BYTE. All functions need the GL context
// current on the calling thread except WriteToFile and WriteToMemory.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "rendering/Image.h"

namespace Velmora::Rendering {

// One decoded image, or an undecoded image file: then width, height and stride are what the
// source claims, size is the byte length and pixels the file bytes.
struct TextureData {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t stride = 0;  // bytes a row (read-back from the GPU reports the width in pixels)
    uint32_t size = 0;    // bytes in all
    std::unique_ptr<uint8_t[]> pixels;

    // Copies size bytes (or zero-fills when source is null); empty on exhaustion.
    static std::shared_ptr<TextureData> Create(uint32_t width, uint32_t height, uint32_t stride, uint32_t size,
                                               const void* source = nullptr);
};

// File-type codes of TextureCreationInfo::format.
namespace TextureFormat {
inline constexpr int32_t PNG = 1;
inline constexpr int32_t JPEG = 2;
inline constexpr int32_t TIFF = 3;
}  // namespace TextureFormat

struct TextureCreationInfo {
    uint32_t magFilter = 0x2601;  // GL_LINEAR
    uint32_t minFilter = 0x2703;  // GL_LINEAR_MIPMAP_LINEAR
    uint32_t wrapS = 0x2901;      // GL_REPEAT
    uint32_t wrapT = 0x2901;
    bool generateMipmaps = true;
    bool hasAlpha = false;
    std::shared_ptr<TextureData> data;
    int32_t format = 0;  // TextureFormat, only for image bytes
};

class Texture {
public:
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    // Any image file the codec reads (PNG, JPEG, TIFF, BMP, GIF, TGA).
    static std::shared_ptr<Texture> CreateFromFile(const std::string& path, const TextureCreationInfo& info);
    // Decodes the image file bytes held in info.data.
    static std::shared_ptr<Texture> CreateFromImageData(const TextureCreationInfo& info);
    // Colour from the first image, alpha from the first byte (blue, of a grey image) of each
    // pixel of the second. Both must hold image bytes of the same claimed and decoded size.
    static std::shared_ptr<Texture> CreateWithAlphaFrom(const TextureCreationInfo& color,
                                                        const TextureCreationInfo& alpha);
    // Uploads the BGRA pixels in info.data.
    static std::shared_ptr<Texture> CreateFromTextureData(const TextureCreationInfo& info);
    // The 8 x 8 white and orange checker that stands in for missing textures.
    static std::shared_ptr<Texture> CreateDefaultTexture(TextureCreationInfo info);
    // Linear filters, repeat, no mipmaps, no alpha: the settings of "___DefaultTexture".
    static TextureCreationInfo DefaultTextureCreationInfo();

    // Level 0 as BGRA, rows bottom first; stride reports the width in pixels.
    std::shared_ptr<TextureData> GetTextureDataFromGPU() const;

    // Encodes data as an opaque image. The file name gets the format's extension when it has
    // none or a different one (compared exactly, case-sensitive): see FinalPath.
    static bool WriteToFile(const std::shared_ptr<TextureData>& data, ImageFormat format, const std::string& path);
    static bool WriteToMemory(const std::shared_ptr<TextureData>& data, ImageFormat format,
                              std::vector<uint8_t>& bytes);
    // The name WriteToFile writes to.
    static std::string FinalPath(const std::string& path, ImageFormat format);

    uint32_t GetId() const { return id_; }
    uint32_t GetWidth() const { return width_; }
    uint32_t GetHeight() const { return height_; }
    bool HasAlpha() const { return hasAlpha_; }

private:
    Texture() = default;

    uint32_t id_ = 0;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    bool hasAlpha_ = false;
};

}  // namespace Velmora::Rendering
