#pragma once
// Textures of a U3D file as read: the declaration (size, image type, one description per
// continuation image) and the encoded image bytes gathered from continuation blocks.
// Decoding into a renderable texture happens when the scene is built.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::U3D {

struct TextureImageDescription {
    uint8_t compressionType = 0;
    uint8_t channels = 0;
    uint16_t attributes = 0;        // bit 0: external image
    uint32_t byteCount = 0;         // internal images
    std::vector<std::string> urls;  // external images
    bool External() const { return attributes & 1; }
};

// Bytes received for one continuation image. They grow with the pieces that arrive, never
// beyond the declared byte count, so a hostile count costs nothing until bytes back it.
struct RawTextureImage {
    std::vector<uint8_t> bytes;
    bool started = false;
};

class AuthorTexture {
public:
    std::string name;
    uint32_t height = 0;
    uint32_t width = 0;
    uint8_t imageType = 0;
    std::vector<TextureImageDescription> continuations;
    std::vector<RawTextureImage> rawImages;

    // Null (logged) out of bounds.
    const TextureImageDescription* GetContinuation(uint32_t index) const;
    // Whether every internal image has received all its declared bytes.
    bool Complete() const;
};

class AuthorTexturePool {
public:
    bool AddTexture(const std::shared_ptr<AuthorTexture>& texture);
    std::shared_ptr<AuthorTexture> FindTexture(const std::string& name) const;
    const std::map<std::string, std::shared_ptr<AuthorTexture>>& Textures() const { return textures_; }

private:
    std::map<std::string, std::shared_ptr<AuthorTexture>> textures_;
};

}  // namespace Velmora::U3D
