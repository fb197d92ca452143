#include "prc/reader/AuthorMaterialPool.h"

#include <new>

#include "rendering/SceneGraph.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr const char* kMaterialPrefix = "__Material_";
constexpr const char* kTexturePrefix = "__Texture_";

template <typename Map, typename Value>
bool Insert(Map& map, const std::string& key, const Value& value) {
    try {
        return map.emplace(key, value).second;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
}
}  // namespace

bool AuthorMaterialPool::AddMaterial(uint32_t fileStructure, uint32_t index,
                                     const std::shared_ptr<AuthorMaterial>& material) {
    if (!material) {
        Logger::Log(LogLevel::Error, "AuthorMaterialPool::AddMaterial() - Invalid input data!");
        return false;
    }
    if (!Insert(materials_, EntityKey(fileStructure, index), material)) {
        Logger::Log(LogLevel::Error, "Failed to add material F%u#%u to material pool -> DUPLICATE", fileStructure,
                    index);
        return false;
    }
    return true;
}

bool AuthorMaterialPool::AddColorMaterial(uint32_t fileStructure, uint32_t styleIndex,
                                          const std::shared_ptr<AuthorMaterial>& material) {
    if (!material) {
        Logger::Log(LogLevel::Error, "AuthorMaterialPool::AddColorMaterial() - Invalid input data!");
        return false;
    }
    if (!Insert(colorMaterials_, EntityKey(fileStructure, styleIndex), material)) {
        Logger::Log(LogLevel::Error, "Failed to add color material F%u#%u to material pool -> DUPLICATE", fileStructure,
                    styleIndex);
        return false;
    }
    return true;
}

bool AuthorMaterialPool::AddLinestyle(uint32_t fileStructure, uint32_t index,
                                      const std::shared_ptr<AuthorLineStyle>& style) {
    if (!style) {
        Logger::Log(LogLevel::Error, "AuthorMaterialPool::AddLinestyle() - Invalid input data!");
        return false;
    }
    if (!Insert(lineStyles_, EntityKey(fileStructure, index), StyleEntry{fileStructure, index, style})) {
        Logger::Log(LogLevel::Error, "Failed to add linestyle F%u#%u to material pool -> DUPLICATE", fileStructure,
                    index);
        return false;
    }
    return true;
}

bool AuthorMaterialPool::AddTexture(uint32_t fileStructure, uint32_t index,
                                    const std::shared_ptr<AuthorTexture>& texture) {
    if (!texture || !texture->pixels) return false;
    return Insert(textures_, EntityKey(fileStructure, index), texture);
}

const AuthorLineStyle* AuthorMaterialPool::FindLinestyle(uint32_t fileStructure, int32_t index) const {
    if (index < 0) return nullptr;
    const auto found = lineStyles_.find(EntityKey(fileStructure, uint32_t(index)));
    return found == lineStyles_.end() ? nullptr : found->second.style.get();
}

const AuthorMaterial* AuthorMaterialPool::FindMaterialByLinestyle(uint32_t fileStructure, int32_t styleIndex) const {
    const AuthorLineStyle* style = FindLinestyle(fileStructure, styleIndex);
    if (!style) {
        Logger::Log(LogLevel::Error, "AuthorMaterialPool::FindMaterialByLinestyle() - cannot find linestyle!");
        return nullptr;
    }
    switch (style->kind) {
        case AuthorLineStyle::Colour: {
            const auto found = colorMaterials_.find(EntityKey(fileStructure, uint32_t(styleIndex)));
            if (found != colorMaterials_.end()) return found->second.get();
            Logger::Log(
                LogLevel::Error,
                "AuthorMaterialPool::FindMaterialByLinestyle() - cannot find color material linked to this style!");
            return nullptr;
        }
        case AuthorLineStyle::Material: {
            const auto found = style->reference < 0
                                   ? materials_.end()
                                   : materials_.find(EntityKey(fileStructure, uint32_t(style->reference)));
            if (found != materials_.end()) return found->second.get();
            Logger::Log(LogLevel::Error,
                        "AuthorMaterialPool::FindMaterialByLinestyle() - cannot find material linked to this style!");
            return nullptr;
        }
        default: Logger::Log(LogLevel::Error, "Pattern styles not yet implemented!"); return nullptr;
    }
}

bool AuthorMaterialPool::UploadTextures(Rendering::SceneGraph& scene) {
    Rendering::TextureManager& manager = scene.GetResources().textureManager;
    if (manager.GetDefaultTextureId() == 0) Logger::Log(LogLevel::Error, "No default texture available!");
    for (auto& [key, texture] : textures_) {
        const std::string name = kTexturePrefix + key;
        Rendering::TextureCreationInfo info;
        info.data = texture->pixels;
        info.hasAlpha = texture->hasAlpha;
        std::shared_ptr<Rendering::Texture> uploaded = Rendering::Texture::CreateFromTextureData(info);
        if (!uploaded || !manager.AddTexture(name, uploaded)) {
            Logger::LogF(LogLevel::Error, "Cannot upload texture '{:s}' to renderer!", name);
            continue;
        }
        // The pixels live in the GPU now.
        texture->pixels.reset();
    }
    return true;
}

bool AuthorMaterialPool::UploadToRenderer(Rendering::SceneGraph& scene) {
    Rendering::MaterialManager& materials = scene.GetResources().materialManager;
    if (!materials.IsInitialized()) {
        Logger::Log(LogLevel::Error, "AuthorMaterialPool::UploadToRenderer() - failed to get scene graph!");
        return false;
    }
    UploadTextures(scene);
    const Rendering::TextureManager& textures = scene.GetResources().textureManager;
    bindings_.clear();
    for (const auto& [key, entry] : lineStyles_) {
        const AuthorLineStyle* style = entry.style.get();
        const AuthorMaterial* material = FindMaterialByLinestyle(entry.fileStructure, int32_t(entry.index));
        if (!material) {
            Logger::Log(LogLevel::Error,
                        "AuthorMaterialPool::UploadToRenderer() - cannot find material for linestyle!");
            continue;
        }
        StyleBinding binding;
        binding.materialName = kMaterialPrefix + key;
        Rendering::MaterialValues values = material->values;
        // The style's transparency acts on top of the material's own.
        values.attributes[1] *= style->transparency;
        values.diffuse[3] *= style->transparency;
        binding.transparent = values.attributes[1] < 1.0f;
        binding.unlit = style->unlit;
        if (!material->textureKey.empty()) {
            const std::string textureName = kTexturePrefix + material->textureKey;
            if (textures.GetTextureId(textureName) != 0)
                binding.textureName = textureName;
            else
                Logger::Log(
                    LogLevel::Error,
                    "AuthoringPool_PRC::UploadToRenderer() - cannot find generic material for texture application!");
        }
        if (materials.AddMaterial(binding.materialName, values) == 0) {
            Logger::LogF(LogLevel::Error, "Cannot upload material '{:s}' to renderer!", binding.materialName);
            continue;
        }
        Insert(bindings_, key, binding);
    }
    if (!materials.UploadMaterials()) Logger::Log(LogLevel::Error, "Failed to uplopd materials!");
    return true;
}

const AuthorMaterialPool::StyleBinding* AuthorMaterialPool::FindBinding(uint32_t fileStructure,
                                                                        int32_t styleIndex) const {
    if (styleIndex < 0) return nullptr;
    const auto found = bindings_.find(EntityKey(fileStructure, uint32_t(styleIndex)));
    return found == bindings_.end() ? nullptr : &found->second;
}

}  // namespace Velmora::PRC
