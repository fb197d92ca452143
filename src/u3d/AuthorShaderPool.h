#pragma once
// Lit texture shaders and shading modifiers of a U3D file, each by name. Modifiers are
// keyed by the name of the node or mesh they shade, whatever their chain index.

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::U3D {

struct TextureLayer {
    std::string textureName;
    float intensity = 0.0f;
    uint8_t blendFunction = 0;
    uint8_t blendSource = 0;
    float blendConstant = 0.0f;
    uint8_t textureMode = 0;
    std::array<float, 16> textureTransform{};
    std::array<float, 16> wrapTransform{};
    uint8_t repeat = 0;
};

struct AuthorShader {
    std::string name;
    uint32_t attributes = 0;
    float alphaTestReference = 0.0f;
    uint32_t alphaTestFunction = 0;
    uint32_t colorBlendFunction = 0;
    uint32_t renderPassFlags = 0;
    uint32_t shaderChannels = 0;
    uint32_t layerCount = 0;  // set bits among the lowest 8 of shaderChannels
    uint32_t alphaTextureChannels = 0;
    std::string materialName;
    std::vector<TextureLayer> layers;
};

struct ShadingGroup {
    std::string name;
    uint32_t chainIndex = 0;
    uint32_t shadingAttributes = 0;
    std::vector<std::vector<std::string>> shaderLists;
};

class AuthorShaderPool {
public:
    bool AddShader(const std::shared_ptr<AuthorShader>& shader);
    bool AddShadingModifier(const std::shared_ptr<ShadingGroup>& group);
    std::shared_ptr<AuthorShader> FindShader(const std::string& name) const;
    std::shared_ptr<ShadingGroup> FindShadingModifier(const std::string& name) const;

    const std::map<std::string, std::shared_ptr<AuthorShader>>& Shaders() const { return shaders_; }
    const std::map<std::string, std::shared_ptr<ShadingGroup>>& ShadingModifiers() const { return modifiers_; }

private:
    std::map<std::string, std::shared_ptr<AuthorShader>> shaders_;
    std::map<std::string, std::shared_ptr<ShadingGroup>> modifiers_;
};

}  // namespace Velmora::U3D
