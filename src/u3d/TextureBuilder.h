#pragma once
// Renderable textures from U3D author textures: the encoded images gathered from the
// continuation blocks are decoded and uploaded when the scene is built.
//
// One continuation image is decoded as it stands. Two images are combined when one brings the
// colour and the other the alpha channel (a JPEG colour image with a greyscale alpha image is
// the usual case, since JPEG has no alpha). External images (URLs) are not fetched.

#include <cstdint>
#include <memory>

#include "rendering/Texture.h"
#include "rendering/TextureManager.h"
#include "u3d/AuthorTexture.h"

namespace Velmora::FormatGlue {
class AuthoringProgress;
}

namespace Velmora::U3D {

// Bits of TextureImageDescription::channels.
namespace TextureChannel {
inline constexpr uint8_t Alpha = 0x01;
inline constexpr uint8_t Blue = 0x02;
inline constexpr uint8_t Green = 0x04;
inline constexpr uint8_t Red = 0x08;
inline constexpr uint8_t Luminance = 0x10;
inline constexpr uint8_t Colour = Blue | Green | Red | Luminance;
}  // namespace TextureChannel

// Values of TextureImageDescription::compressionType.
namespace TextureCompression {
inline constexpr uint8_t JPEG24 = 1;
inline constexpr uint8_t PNG = 2;
inline constexpr uint8_t JPEG8 = 3;
inline constexpr uint8_t TIFF = 4;
}  // namespace TextureCompression

// The decoder of a compression type (Rendering::TextureFormat), 0 for none.
int32_t DecoderForCompression(uint8_t compressionType);

// Null (logged) when the texture cannot be made. Needs a current GL context.
std::shared_ptr<Rendering::Texture> CreateRenderableTexture(const AuthorTexture& texture);

// The CreateTextures stage: every texture of the pool in name order into the manager. A
// texture that cannot be made is replaced by a fresh default texture under its name, so that
// models that name it still find a texture. Raw bytes are freed as each texture is done.
// Returns the number of textures the manager refused.
uint32_t CreateTextures(AuthorTexturePool& pool, Rendering::TextureManager& manager,
                        FormatGlue::AuthoringProgress* progress, float step);

}  // namespace Velmora::U3D
