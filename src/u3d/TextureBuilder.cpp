#include "u3d/TextureBuilder.h"

#include <vector>

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Rendering::Texture;
using Rendering::TextureCreationInfo;
using Rendering::TextureData;
using Utility::Logger;
using Utility::LogLevel;

namespace {

// The creation info of one continuation image, its bytes copied into the texture data.
// False (logged with `caller`) for external or unfinished images and unknown decoders.
bool ImageInfo(const AuthorTexture& texture, uint32_t index, const char* caller, TextureCreationInfo& info) {
    const TextureImageDescription& description = texture.continuations[index];
    const RawTextureImage& raw = texture.rawImages[index];
    if (description.External()) {
        Logger::LogF(LogLevel::Error, "AuthorTexture::{:s}: External images not supported! (Texture: '{:s}')", caller,
                     texture.name);
        return false;
    }
    if (raw.bytes.size() < description.byteCount || raw.bytes.empty()) {
        Logger::LogF(LogLevel::Error, "AuthorTexture::{:s}: TextureContinuation '{:s}' NOT FINISHED", caller,
                     texture.name);
        return false;
    }
    info.format = DecoderForCompression(description.compressionType);
    if (info.format == 0) {
        Logger::LogF(LogLevel::Error, "AuthorTexture::{:s}: Invalid image type for texture!", caller);
        return false;
    }
    // Width and height are what the declaration claims; the decoder goes by the bytes.
    const uint32_t size = uint32_t(raw.bytes.size());
    info.data = TextureData::Create(texture.width, texture.height, texture.width * 4u, size, raw.bytes.data());
    if (!info.data) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    return true;
}

std::shared_ptr<Texture> CreateFromContinuation(const AuthorTexture& texture, uint32_t index) {
    TextureCreationInfo info;
    if (!ImageInfo(texture, index, "CreateFromContinuation", info)) return nullptr;
    std::shared_ptr<Texture> result = Texture::CreateFromImageData(info);
    if (!result)
        Logger::LogF(LogLevel::Error,
                     "AuthorTexture::CreateFromContinuation: Failed in Texture::CreateFromImageData() for '{:s}'!",
                     texture.name);
    return result;
}

// Colour from one image, alpha from the other, whichever way round the file has them.
std::shared_ptr<Texture> BlendFromContinuation(const AuthorTexture& texture, uint32_t first, uint32_t second) {
    const uint8_t a = texture.continuations[first].channels;
    const uint8_t b = texture.continuations[second].channels;
    uint32_t colour = first, alpha = second;
    if ((a & TextureChannel::Colour) && !(a & TextureChannel::Alpha) && (b & TextureChannel::Alpha)) {
        colour = first;
        alpha = second;
    } else if ((b & TextureChannel::Colour) && !(b & TextureChannel::Alpha) && (a & TextureChannel::Alpha)) {
        colour = second;
        alpha = first;
    } else {
        Logger::Log(LogLevel::Error, "Unsupported arrangment of texture continuations!");
        return nullptr;
    }
    TextureCreationInfo colourInfo, alphaInfo;
    if (!ImageInfo(texture, colour, "BlendFromContinuation", colourInfo) ||
        !ImageInfo(texture, alpha, "BlendFromContinuation", alphaInfo))
        return nullptr;
    return Texture::CreateWithAlphaFrom(colourInfo, alphaInfo);
}

}  // namespace

int32_t DecoderForCompression(uint8_t compressionType) {
    switch (compressionType) {
        case TextureCompression::JPEG24:
        case TextureCompression::JPEG8: return Rendering::TextureFormat::JPEG;
        case TextureCompression::PNG: return Rendering::TextureFormat::PNG;
        case TextureCompression::TIFF: return Rendering::TextureFormat::TIFF;
        default: return 0;
    }
}

std::shared_ptr<Texture> CreateRenderableTexture(const AuthorTexture& texture) {
    const size_t images = texture.continuations.size();
    if (images == 0) {
        Logger::Log(LogLevel::Error, "Invalid AuthorTexture");
        return nullptr;
    }
    if (images != texture.rawImages.size()) {
        Logger::Log(LogLevel::Error,
                    "CreateRenderableTexture: Discrepancy between number of continuation images and raw images!");
        return nullptr;
    }
    if (images == 1) return CreateFromContinuation(texture, 0);
    if (images == 2) return BlendFromContinuation(texture, 0, 1);
    Logger::LogF(LogLevel::Error,
                 "CreateRenderableTexture: Texture '{:s}' contains {:d} continuation images! NOT SUPPORTED",
                 texture.name, images);
    return nullptr;
}

uint32_t CreateTextures(AuthorTexturePool& pool, Rendering::TextureManager& manager,
                        FormatGlue::AuthoringProgress* progress, float step) {
    uint32_t failed = 0;
    if (manager.GetDefaultTextureId() == 0) {
        Logger::Log(LogLevel::Error, "No default texture available!");
        return uint32_t(pool.Textures().size());
    }
    for (const auto& [name, texture] : pool.Textures()) {
        if (FormatGlue::AuthoringInterrupt::Interrupted()) break;
        if (!texture) continue;
        std::shared_ptr<Texture> renderable = CreateRenderableTexture(*texture);
        if (!renderable) {
            Logger::Log(LogLevel::Warning, "Failed to create renderable texture from '%s'", name.c_str());
            renderable = Texture::CreateDefaultTexture(Texture::DefaultTextureCreationInfo());
        }
        if (!manager.AddTexture(name, renderable)) {
            Logger::Log(LogLevel::Warning, "Cannot upload texture '%s' to renderer!", name.c_str());
            ++failed;
        }
        if (progress && step > 0.0f) progress->UpdateProgress(step);
        for (RawTextureImage& raw : texture->rawImages) std::vector<uint8_t>().swap(raw.bytes);
    }
    return failed;
}

}  // namespace Velmora::U3D
