#pragma once
// TextureManager: the textures of one scene, under a name and under their GL name. Init makes
// "___DefaultTexture", the checker every sub-object starts with until a texture of its own is
// assigned. Anisotropic filtering is a manager-wide setting applied to every texture.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "rendering/Texture.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;

class TextureManager {
public:
    explicit TextureManager(SceneHandle handle) : handle_(handle) {}
    ~TextureManager();
    TextureManager(const TextureManager&) = delete;
    TextureManager& operator=(const TextureManager&) = delete;

    // Creates and registers the default texture; false when that fails. Needs the context.
    bool Init();
    // Drops every texture (each frees its GL name).
    void Shutdown();

    // False for an empty name, a null texture or GL name 0, or a name or GL name already taken.
    bool AddTexture(const std::string& name, std::shared_ptr<Texture> texture);
    std::shared_ptr<Texture> GetTexture(uint32_t id) const;
    uint32_t GetTextureId(const std::string& name) const;  // 0 when unknown
    uint32_t GetDefaultTextureId() const { return defaultTextureId_; }

    // Ignored unless n is a power of two no larger than the GPU's maximum.
    void SetAnisotropy(uint32_t n);
    uint32_t GetAnisotropy() const { return anisotropy_; }

    SceneHandle GetSceneHandle() const { return handle_; }
    const std::map<std::string, uint32_t>& GetTextureNames() const { return names_; }

private:
    void ApplyAnisotropy(uint32_t id) const;

    SceneHandle handle_;
    std::map<std::string, uint32_t> names_;
    std::map<uint32_t, std::shared_ptr<Texture>> textures_;
    uint32_t defaultTextureId_ = 0;
    uint32_t anisotropy_ = 1;
};

}  // namespace Velmora::Rendering
