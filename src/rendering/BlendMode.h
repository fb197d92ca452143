#pragma once
// The blend modes Renderer::SetBlendMode knows, as ShaderDescription::blendMode carries them.

#include <cstdint>

namespace Velmora::Rendering::BlendMode {

inline constexpr uint32_t Additive = 1;      // one, one
inline constexpr uint32_t Modulate = 2;      // zero, source colour
inline constexpr uint32_t Alpha = 3;         // source alpha, one minus source alpha
inline constexpr uint32_t InverseAlpha = 4;  // one minus source alpha, source alpha

}  // namespace Velmora::Rendering::BlendMode
