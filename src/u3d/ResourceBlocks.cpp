#include "u3d/ResourceBlocks.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>

#include "u3d/BitStreamReader.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool LightResource::Read(BitStreamReader& reader) {
    const std::string name = reader.ReadString();
    const uint32_t attributes = reader.ReadU32();
    const uint8_t type = reader.ReadU8();
    LightData light;
    for (int i = 0; i < 3; ++i) light.diffuse[i] = reader.ReadF32();
    reader.ReadF32();  // fourth colour component, unused
    if (attributes & 0x2) light.specular = light.diffuse;
    for (float& a : light.attenuation) a = reader.ReadF32();
    const float spotAngle = reader.ReadF32();
    if (type == AuthorLightPool::Spot) {
        light.spotCutoff = std::cos(spotAngle * 0.017453292f);
        light.spotExponent = (attributes & 0x4) ? 50.0f : 10.0f;
    } else {
        light.spotCutoff = -1.0f;
        light.spotExponent = 10.0f;
    }
    const float intensity = reader.ReadF32();
    if (intensity != 1.0f)
        Logger::Log(LogLevel::Warning, "Light intensity for light '%s' (%.3f) IGNORED - check effect", name.c_str(),
                    double(intensity));
    if (type == 0) {
        std::array<float, 4> color = light.diffuse;
        color[3] = LightData{}.ambient[3];
        pool_.SetAmbient(name, color);
    } else if (type >= AuthorLightPool::Directional && type <= AuthorLightPool::Spot) {
        pool_.AddLight(name, light, type);
    } else {
        Logger::Log(LogLevel::Error, "LightResource::Read: Invalid light type");
    }
    return true;
}

bool MaterialResource::Read(BitStreamReader& reader) {
    const std::string name = reader.ReadString();
    const uint32_t attributes = reader.ReadU32();
    AuthorMaterial material;
    for (auto* color : {&material.ambient, &material.diffuse, &material.specular, &material.emissive}) {
        for (int i = 0; i < 3; ++i) (*color)[i] = reader.ReadF32();
        (*color)[3] = 1.0f;
    }
    const float reflectivity = reader.ReadF32();
    const float opacity = reader.ReadF32();
    // std::clamp keeps a NaN, which the renderer would take badly: treat it as 0.
    material.reflectivity =
        (attributes & 0x10) && reflectivity == reflectivity ? std::clamp(reflectivity, 0.0f, 1.0f) : 0.0f;
    material.opacity = (attributes & 0x20) ? opacity : 1.0f;
    pool_.AddMaterial(name, material);
    return true;
}

bool LitTextureShader::Read(BitStreamReader& reader) {
    std::shared_ptr<AuthorShader> shader(new (std::nothrow) AuthorShader());
    if (!shader) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    reader.ReadString(shader->name);
    shader->attributes = reader.ReadU32();
    shader->alphaTestReference = reader.ReadF32();
    shader->alphaTestFunction = reader.ReadU32();
    shader->colorBlendFunction = reader.ReadU32();
    shader->renderPassFlags = reader.ReadU32();
    shader->shaderChannels = reader.ReadU32();
    shader->alphaTextureChannels = reader.ReadU32();
    reader.ReadString(shader->materialName);
    // Only the lowest 8 channels exist; their layers are stored packed, whichever bits are set.
    shader->layerCount = static_cast<uint32_t>(std::popcount(shader->shaderChannels & 0xFFu));
    shader->layers.resize(shader->layerCount);
    for (TextureLayer& layer : shader->layers) {
        reader.ReadString(layer.textureName);
        layer.intensity = reader.ReadF32();
        layer.blendFunction = reader.ReadU8();
        layer.blendSource = reader.ReadU8();
        layer.blendConstant = reader.ReadF32();
        layer.textureMode = reader.ReadU8();
        for (float& v : layer.textureTransform) v = reader.ReadF32();
        for (float& v : layer.wrapTransform) v = reader.ReadF32();
        layer.repeat = reader.ReadU8();
    }
    if (!pool_.AddShader(shader))
        Logger::Log(LogLevel::Error, "Failed to add shader '%s' to shader pool -> will not be available!",
                    shader->name.c_str());
    return true;
}

bool ShadingModifier::Read(BitStreamReader& reader) {
    std::shared_ptr<ShadingGroup> group(new (std::nothrow) ShadingGroup());
    if (!group) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    reader.ReadString(group->name);
    group->chainIndex = reader.ReadU32();
    group->shadingAttributes = reader.ReadU32();
    const uint32_t listCount = reader.ReadU32();
    // Each list takes at least its count, each name at least its length: counts beyond what
    // the block holds are corrupt.
    if (listCount > reader.RemainingBits() / 32) return false;
    try {
        group->shaderLists.resize(listCount);
        for (auto& list : group->shaderLists) {
            const uint32_t count = reader.ReadU32();
            if (count > reader.RemainingBits() / 16) return false;
            list.resize(count);
            for (std::string& name : list) reader.ReadString(name);
        }
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    pool_.AddShadingModifier(group);
    return true;
}

}  // namespace Velmora::U3D
