#pragma once
// What one drawable hands to Mesh::Draw: its matrices, face setting, colour and, per sub-object
// of the mesh, the shader, material row and texture layers to use. A model owns one RenderInfo;
// the mesh it draws is shared and keeps no per-model state.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmora::Rendering {

class DynamicShader;

using Mat4 = std::array<float, 16>;  // column major, translation in elements 12..14
using Mat3 = std::array<float, 9>;   // column major
using Vec3 = std::array<float, 3>;
using Vec4 = std::array<float, 4>;

inline constexpr Mat4 kIdentity4{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
inline constexpr Mat3 kIdentity3{1, 0, 0, 0, 1, 0, 0, 0, 1};

inline constexpr uint32_t kMaxTextureLayers = 8;

// Per-sub-object draw state. Texture unit n carries layer n; unit 8 is the material table.
struct RenderShaderInfo {
    std::shared_ptr<DynamicShader> shader;
    uint32_t materialIndex = 0;                // row in the material buffer texture
    uint16_t textureMask = 0;                  // bit n: layer n has a texture assigned
    uint32_t texture[kMaxTextureLayers] = {};  // GL texture names
    float texIntensity[kMaxTextureLayers] = {};
    float blendingConstant[kMaxTextureLayers] = {};
    float alphaReference = 0.0f;
};

struct RenderInfo {
    Mat4 modelMatrix = kIdentity4;
    Mat3 normalMatrix = kIdentity3;
    int32_t faceVisibility = 1;  // 1 front, 2 back, 3 both
    Vec4 meshColor{1.0f, 1.0f, 1.0f, 1.0f};
    std::vector<RenderShaderInfo> shaderInfos;  // one per sub-object of the mesh
};

}  // namespace Velmora::Rendering
