#pragma once
// ShaderDescription: everything that decides the text of a generated GLSL program. Pools,
// models and helpers fill one per sub-object; ShaderManager2 turns it into a program name and
// shares one program among all descriptions with that name.
//
// The record is 31 words and is copied by value. Texture intensities, blending constants and
// the alpha reference are uniforms: they are carried here so that the drawable can initialise
// its per-draw state, but they never change the program.

#include <cstdint>

#include "rendering/BlendMode.h"
#include "rendering/Mesh.h"  // vertex attribute word, kMaxTextureLayers

namespace Velmora::Rendering {

// Bits of ShaderDescription::flags.
namespace ShaderFlags {
inline constexpr uint32_t FrontFaces = 0x01;
inline constexpr uint32_t BackFaces = 0x02;
inline constexpr uint32_t Lighting = 0x04;
inline constexpr uint32_t MeshColor = 0x08;
inline constexpr uint32_t MaterialSampler = 0x10;
// Positions skip the view and projection matrices.
inline constexpr uint32_t NoGlobalMatrices = 0x20;
// Positions skip the model matrix; together with NoGlobalMatrices they are clip coordinates.
inline constexpr uint32_t NoModelMatrix = 0x40;
}  // namespace ShaderFlags

// layerBlend word of one texture layer: operation in bits 0-1, alpha source in bits 2-3.
namespace LayerBlend {
inline constexpr uint32_t OperationMask = 0x3;
inline constexpr uint32_t Multiply = 0;
inline constexpr uint32_t Add = 1;
inline constexpr uint32_t Replace = 2;
inline constexpr uint32_t Mix = 3;
inline constexpr uint32_t AlphaSourceMask = 0xC;  // 0: the layer's alpha, else the constant
inline constexpr uint32_t UsesConstant = 0x8;     // bit 3: blendingConstant uniform is read
}  // namespace LayerBlend

// geometryMode values.
namespace GeometryMode {
inline constexpr uint32_t None = 0;
inline constexpr uint32_t Points = 1;
inline constexpr uint32_t Lines = 2;
inline constexpr uint32_t SolidWireframe = 3;
inline constexpr uint32_t NormalsOnly = 4;
}  // namespace GeometryMode

struct ShaderDescription {
    uint32_t vertexAttributes = 0;
    uint32_t flags = 0;
    uint32_t geometryMode = 0;
    uint32_t textureLayers = 0;  // bit n: layer n is used
    uint32_t layerBlend[kMaxTextureLayers] = {};
    float texIntensity[kMaxTextureLayers] = {};
    float blendingConstant[kMaxTextureLayers] = {};
    uint32_t blendMode = 0;      // BlendMode value, applied at every activation
    uint32_t alphaFunction = 0;  // 0: no alpha test
    float alphaReference = 0.0f;

    bool Has(uint32_t attribute) const { return (vertexAttributes & attribute) != 0; }
    bool HasFlag(uint32_t flag) const { return (flags & flag) != 0; }
    // A layer counts only when the vertex data carries its coordinates and it is switched on.
    bool LayerUsed(uint32_t layer) const {
        return layer < kMaxTextureLayers && (vertexAttributes & textureLayers & (1u << layer)) != 0;
    }
    uint32_t UsedLayers() const { return vertexAttributes & textureLayers & VertexAttribute::TexCoordMask; }

    // What helper geometry (bounding boxes, axes, grid, light markers, camera overlays) draws
    // with: no textures, alpha blending.
    static ShaderDescription ForHelper(uint32_t attributes, uint32_t flags) {
        ShaderDescription description;
        description.vertexAttributes = attributes;
        description.flags = flags;
        description.blendMode = BlendMode::Alpha;
        return description;
    }
};

static_assert(sizeof(ShaderDescription) == 31 * 4, "ShaderDescription is a 31-word record");

}  // namespace Velmora::Rendering
