#include "rendering/TextureManager.h"

#include <epoxy/gl.h>

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;
using Utility::LogLevel;

namespace {

// The GPU's limit, as the renderer reads it at start: truncated, 0 taken as 1.
uint32_t MaxAnisotropy() {
    GLfloat max = 0.0f;
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &max);
    const uint32_t n = uint32_t(max);
    return n == 0 ? 1 : n;
}

}  // namespace

TextureManager::~TextureManager() {
    if (!names_.empty() || !textures_.empty())
        Logger::Log(LogLevel::Error, "TextureManager instance was not shut down!");
}

bool TextureManager::Init() {
    std::shared_ptr<Texture> texture = Texture::CreateDefaultTexture(Texture::DefaultTextureCreationInfo());
    if (!texture || !AddTexture("___DefaultTexture", texture)) return false;
    defaultTextureId_ = texture->GetId();
    return true;
}

void TextureManager::Shutdown() {
    names_.clear();
    textures_.clear();
    defaultTextureId_ = 0;
}

bool TextureManager::AddTexture(const std::string& name, std::shared_ptr<Texture> texture) {
    if (name.empty() || !texture || texture->GetId() == 0) return false;
    const uint32_t id = texture->GetId();
    if (names_.count(name) || textures_.count(id)) return false;
    names_.emplace(name, id);
    textures_.emplace(id, std::move(texture));
    if (float(anisotropy_) > 0.0f) {
        ApplyAnisotropy(id);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    return true;
}

std::shared_ptr<Texture> TextureManager::GetTexture(uint32_t id) const {
    auto it = textures_.find(id);
    return it == textures_.end() ? nullptr : it->second;
}

uint32_t TextureManager::GetTextureId(const std::string& name) const {
    auto it = names_.find(name);
    return it == names_.end() ? 0 : it->second;
}

void TextureManager::ApplyAnisotropy(uint32_t id) const {
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, float(anisotropy_));
}

void TextureManager::SetAnisotropy(uint32_t n) {
    if (n > MaxAnisotropy() || n == 0 || (n & (n - 1)) != 0) return;
    anisotropy_ = n;
    Logger::Log(LogLevel::Info, "TextureManager: Anisotropic filtering set to %u", n);
    for (const auto& [id, texture] : textures_) ApplyAnisotropy(id);
    glBindTexture(GL_TEXTURE_2D, 0);
}

}  // namespace Velmora::Rendering
