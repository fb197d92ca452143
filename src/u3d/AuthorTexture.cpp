#include "u3d/AuthorTexture.h"

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

const TextureImageDescription* AuthorTexture::GetContinuation(uint32_t index) const {
    if (index >= continuations.size()) {
        Logger::Log(LogLevel::Error, "AuthorTexture::GetContinuation trying to access texture out of bounds!");
        return nullptr;
    }
    return &continuations[index];
}

bool AuthorTexture::Complete() const {
    if (continuations.size() != rawImages.size()) return false;
    for (size_t i = 0; i < continuations.size(); ++i)
        if (!continuations[i].External() && rawImages[i].bytes.size() < continuations[i].byteCount) return false;
    return true;
}

bool AuthorTexturePool::AddTexture(const std::shared_ptr<AuthorTexture>& texture) {
    if (!texture || texture->name.empty()) {
        Logger::Log(LogLevel::Error, "Invalid data in AuthorTexturePool::AddTexture");
        return false;
    }
    if (!textures_.emplace(texture->name, texture).second) {
        Logger::Log(LogLevel::Error, "AuthorTexturePool::AddTexture('%s') -> cannot add, DUPLICATE",
                    texture->name.c_str());
        return false;
    }
    return true;
}

std::shared_ptr<AuthorTexture> AuthorTexturePool::FindTexture(const std::string& name) const {
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "AuthorTexturePool - trying to look up texture with empty name!");
        return nullptr;
    }
    auto it = textures_.find(name);
    return it != textures_.end() ? it->second : nullptr;
}

}  // namespace Velmora::U3D
