#include "u3d/ShaderStateBuilder.h"

#include <bit>

#include "util/Logger.h"

namespace Velmora::U3D {

using Rendering::ShaderDescription;
namespace Flags = Rendering::ShaderFlags;
namespace VA = Rendering::VertexAttribute;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr uint32_t kGLNever = 0x610;
constexpr uint32_t kGLAlways = 0x617;
// The colour blend functions a U3D shader names.
constexpr uint32_t kColorBlendAdd = 0x604;
constexpr uint32_t kColorBlendMultiply = 0x605;
constexpr uint32_t kColorBlendAlpha = 0x606;
constexpr uint32_t kColorBlendInverseAlpha = 0x607;
}  // namespace

uint32_t BlendModeFromColorBlendFunction(uint32_t function) {
    switch (function) {
        case kColorBlendAdd: return Rendering::BlendMode::Additive;
        case kColorBlendMultiply: return Rendering::BlendMode::Modulate;
        case kColorBlendAlpha: return Rendering::BlendMode::Alpha;
        case kColorBlendInverseAlpha: return Rendering::BlendMode::InverseAlpha;
        default:
            Logger::Log(LogLevel::Error,
                        "BlendModeFromColorBlendFunction - invalid input, falling back to BlendMode_Alpha_Blend");
            return Rendering::BlendMode::Alpha;
    }
}

uint32_t AlphaBlendModeFromAlphaBlendFunction(uint32_t function) {
    if (function >= kGLNever && function < kGLAlways) return function - kGLNever + 1;
    if (function != kGLAlways)
        Logger::Log(LogLevel::Error,
                    "AlphaBlendModeFromAlphaBlendFunction - invalid input, falling back to AlphaTestFunc_Always");
    return 0;
}

uint32_t GetBlendFunction(uint32_t blendFunction) {
    switch (blendFunction) {
        case 2: return Rendering::LayerBlend::Multiply;
        case 1: return Rendering::LayerBlend::Add;
        case 0: return Rendering::LayerBlend::Replace;
        case 3: return Rendering::LayerBlend::Mix;
        default:
            Logger::Log(LogLevel::Error, "GetBlendFunction - invalid input, falling back to TexBlendFunc_Replace");
            return Rendering::LayerBlend::Replace;
    }
}

GroupShading MakeGroupShading(uint32_t vertexAttributes, const AuthorShader* shader, const std::string& meshName) {
    GroupShading result;
    ShaderDescription& d = result.description;
    d.vertexAttributes = vertexAttributes;
    // U3D says nothing of culling, and writers do not keep a consistent winding: both sides
    // are drawn.
    d.flags = Flags::FrontFaces | Flags::BackFaces | Flags::MaterialSampler;
    const bool lit = !shader || (shader->attributes & ShaderAttribute::Lighting) != 0;
    if ((vertexAttributes & VA::Normal) && lit) d.flags |= Flags::Lighting;
    d.blendMode = Rendering::BlendMode::Alpha;
    if (!shader) return result;

    d.blendMode = BlendModeFromColorBlendFunction(shader->colorBlendFunction);
    if ((shader->attributes & ShaderAttribute::AlphaTest) && shader->alphaTestFunction != kGLAlways) {
        d.alphaFunction = AlphaBlendModeFromAlphaBlendFunction(shader->alphaTestFunction);
        d.alphaReference = shader->alphaTestReference;
    }
    result.materialName = shader->materialName;

    const uint32_t meshLayers = uint32_t(std::popcount(vertexAttributes & VA::TexCoordMask));
    uint32_t layers = shader->layerCount;
    if (layers > shader->layers.size()) layers = uint32_t(shader->layers.size());
    if (meshLayers != shader->layerCount) {
        Logger::LogF(LogLevel::Warning,
                     "Mismatching number of available vertex coordinates and active textures for Mesh '{:s}' with "
                     "Shader '{:s}'",
                     meshName, shader->name);
        if (meshLayers < layers) layers = meshLayers;
    }
    // Layer records are packed: the n-th set channel bit owns the n-th record, and draws with
    // the n-th set of tex coords.
    uint32_t record = 0;
    for (uint32_t bit = 0; bit < 8 && record < layers; ++bit) {
        if (!(shader->shaderChannels & (1u << bit))) continue;
        if (record >= Rendering::kMaxTextureLayers) {
            Logger::Log(LogLevel::Error, "Too many active texture layers!");
            break;
        }
        const TextureLayer& layer = shader->layers[record];
        d.textureLayers |= 1u << record;
        d.texIntensity[record] = layer.intensity;
        d.layerBlend[record] = GetBlendFunction(layer.blendFunction);
        if (shader->alphaTextureChannels & (1u << bit)) {
            d.layerBlend[record] |= 0x4;
            if (layer.blendSource != 0) d.layerBlend[record] |= Rendering::LayerBlend::UsesConstant;
            d.blendingConstant[record] = layer.blendConstant;
            result.transparent = true;
        }
        result.textureNames[record] = layer.textureName;
        ++record;
    }
    return result;
}

}  // namespace Velmora::U3D
