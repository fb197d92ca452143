#include "u3d/TextureBlocks.h"

#include <cstring>
#include <new>

#include "u3d/BitStreamReader.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
// An image description takes at least 8 bytes (two u8, one u16 and one u32).
constexpr uint64_t kMinDescriptionBits = 8 * 8;
}  // namespace

bool TextureDeclaration::Read(BitStreamReader& reader) {
    std::shared_ptr<AuthorTexture> texture(new (std::nothrow) AuthorTexture());
    if (!texture) {
        Logger::Log(LogLevel::Error, "Failed to create AuthorTexture in TextureDeclaration");
        return true;
    }
    reader.ReadString(texture->name);
    texture->height = reader.ReadU32();
    texture->width = reader.ReadU32();
    texture->imageType = reader.ReadU8();
    const uint32_t imageCount = reader.ReadU32();
    const char* name = texture->name.c_str();
    if (texture->width == 0 || texture->height == 0) {
        Logger::Log(LogLevel::Error, "TextureDeclaration '%s' with invalid dimensions (%ux%u) -> IGNORED", name,
                    texture->width, texture->height);
        return true;
    }
    const uint8_t type = texture->imageType;
    if (type != 1 && type != 14 && type != 15 && type != 16 && type != 17) {
        Logger::Log(LogLevel::Error, "TextureDeclaration '%s' with invalid image type (%u) -> IGNORED", name,
                    uint32_t(type));
        return true;
    }
    if (imageCount == 0) {
        Logger::Log(LogLevel::Error, "TextureDeclaration '%s' has no continuation images -> IGNORED", name);
        return true;
    }
    if (imageCount > reader.RemainingBits() / kMinDescriptionBits) {
        Logger::Log(LogLevel::Error, "Texture '%s' with invalid byte count -> will not be available!", name);
        return true;
    }
    try {
        texture->continuations.resize(imageCount);
        texture->rawImages.resize(imageCount);
        for (TextureImageDescription& image : texture->continuations) {
            image.compressionType = reader.ReadU8();
            image.channels = reader.ReadU8();
            image.attributes = reader.ReadU16();
            if (image.External()) {
                const uint32_t urlCount = reader.ReadU32();
                if (urlCount > reader.RemainingBits() / 16) {
                    Logger::Log(LogLevel::Error, "Texture '%s' with invalid byte count -> will not be available!",
                                name);
                    return true;
                }
                image.urls.resize(urlCount);
                for (std::string& url : image.urls) reader.ReadString(url);
            } else {
                image.byteCount = reader.ReadU32();
                if (image.byteCount == 0) {
                    Logger::Log(LogLevel::Error, "Texture '%s' with invalid byte count -> will not be available!",
                                name);
                    return true;
                }
            }
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "Failed to create AuthorTexture in TextureDeclaration");
        return true;
    }
    if (!pool_.AddTexture(texture))
        Logger::Log(LogLevel::Error, "Failed to add texture '%s' to texture pool -> will not be available!", name);
    return true;
}

bool TextureContinuation::Read(BitStreamReader& reader) {
    const std::string name = reader.ReadString();
    const uint32_t index = reader.ReadU32();
    std::shared_ptr<AuthorTexture> texture = pool_.FindTexture(name);
    if (!texture) {
        if (!name.empty())
            Logger::Log(LogLevel::Error, "TextureContinuation unable to find AuthorTexture '%s'", name.c_str());
        return true;
    }
    if (index >= texture->continuations.size()) {
        Logger::Log(LogLevel::Error,
                    "TextureContinuation for AuthorTexture '%s' with invalid continuationIndex (%u, max: %u)",
                    name.c_str(), index, static_cast<uint32_t>(texture->continuations.size()));
        return true;
    }
    if (index >= texture->rawImages.size()) {
        Logger::Log(LogLevel::Error, "TextureContinuation for AuthorTexture '%s' cannot find RawTexture continuation",
                    name.c_str());
        return true;
    }
    const TextureImageDescription& description = texture->continuations[index];
    RawTextureImage& raw = texture->rawImages[index];
    if (raw.started) Logger::Log(LogLevel::Message, "Continuing texture image '%s'", name.c_str());
    const uint32_t available = reader.BytesLeft();
    const uint64_t missing = description.byteCount - std::min<uint64_t>(raw.bytes.size(), description.byteCount);
    if (available > missing) {
        Logger::LogF(LogLevel::Error, "TextureContinuation for AuthorTexture '{:s}' too long", name);
        return true;
    }
    try {
        const uint8_t* bytes = reader.CurrentBytePointer();
        raw.bytes.insert(raw.bytes.end(), bytes, bytes + available);
        raw.started = true;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "TextureContinuation::Read() - OUT OF MEMORY!");
    }
    return true;
}

}  // namespace Velmora::U3D
