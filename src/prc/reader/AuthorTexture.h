#pragma once
// The picture of a texture definition, decoded on the CPU out of an uncompressed file of the
// PRC file: BGRA pixels, rows bottom first, ready for the renderer. Decoding needs no GL
// context; the upload happens in the build.

#include <cstdint>
#include <memory>
#include <string>

#include "prc/reader/filestructure/GraphicsDefinitions.h"
#include "rendering/Texture.h"

namespace Velmora::PRC {

class AuthorTexture {
public:
    // Picture formats of the PRC format.
    enum PictureFormat : int32_t { Png = 0, Jpeg = 1, BitmapRgb = 2, BitmapRgba = 3, BitmapGrey = 4, BitmapGreyA = 5 };

    // Decodes `size` bytes of an uncompressed file with the picture's format. False (logged)
    // for a format it cannot read, bytes that are not such a picture, or exhausted memory.
    bool Init(const FileStructure::Picture& picture, uint32_t pictureIndex, const uint8_t* data, uint32_t size);

    std::string name;
    std::shared_ptr<Rendering::TextureData> pixels;
    bool hasAlpha = false;

private:
    bool DecodeEncoded(uint32_t pictureIndex, const uint8_t* data, uint32_t size);
    bool ConvertBitmap(const FileStructure::Picture& picture, const uint8_t* data, uint32_t size);
};

}  // namespace Velmora::PRC
