#pragma once
// The render state of one mesh group from a U3D lit texture shader: blend mode, alpha test,
// texture layers and whether the group makes its model transparent. Pure data, no GL: the
// pool resolves materials and textures by the names this hands back.

#include <array>
#include <cstdint>
#include <string>

#include "rendering/shaders/ShaderDescription.h"
#include "u3d/AuthorShaderPool.h"

namespace Velmora::U3D {

// Bits of AuthorShader::attributes.
namespace ShaderAttribute {
inline constexpr uint32_t Lighting = 0x1;
inline constexpr uint32_t AlphaTest = 0x2;
inline constexpr uint32_t VertexColour = 0x4;
}  // namespace ShaderAttribute

// The file stores OpenGL's enumerants: GL_NEVER (0x610) .. GL_ALWAYS (0x617) for the alpha
// test, and 0x604 .. 0x607 for the frame buffer blend.
uint32_t BlendModeFromColorBlendFunction(uint32_t function);
uint32_t AlphaBlendModeFromAlphaBlendFunction(uint32_t function);
// U3D texture blend (0 replace, 1 add, 2 multiply, 3 blend) to the layer operation of the
// generated shader.
uint32_t GetBlendFunction(uint32_t blendFunction);

struct GroupShading {
    Rendering::ShaderDescription description;
    std::string materialName;                                            // empty: the default material
    std::array<std::string, Rendering::kMaxTextureLayers> textureNames;  // per used layer
    bool transparent = false;
};

// Fills the state of a group whose vertices carry `vertexAttributes`. With a null shader the
// group keeps the defaults (alpha blending, default material, no texture layers).
GroupShading MakeGroupShading(uint32_t vertexAttributes, const AuthorShader* shader, const std::string& meshName);

}  // namespace Velmora::U3D
