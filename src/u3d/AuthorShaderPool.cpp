#include "u3d/AuthorShaderPool.h"

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool AuthorShaderPool::AddShader(const std::shared_ptr<AuthorShader>& shader) {
    if (!shader || shader->name.empty()) {
        Logger::Log(LogLevel::Error, "Invalid data in AuthorShaderPool::AddShader");
        return false;
    }
    if (!shaders_.emplace(shader->name, shader).second) {
        Logger::Log(LogLevel::Error, "AuthorShaderPool::AddShader('%s') -> cannot add, DUPLICATE",
                    shader->name.c_str());
        return false;
    }
    return true;
}

bool AuthorShaderPool::AddShadingModifier(const std::shared_ptr<ShadingGroup>& group) {
    if (!group || group->name.empty()) {
        Logger::Log(LogLevel::Error, "Invalid data in AuthorShaderPool::AddShadingModifier");
        return false;
    }
    if (!modifiers_.emplace(group->name, group).second) {
        Logger::Log(LogLevel::Error, "AuthorShaderPool::AddShadingModifier('%s') -> cannot add, DUPLICATE",
                    group->name.c_str());
        return false;
    }
    return true;
}

std::shared_ptr<AuthorShader> AuthorShaderPool::FindShader(const std::string& name) const {
    auto it = shaders_.find(name);
    return it != shaders_.end() ? it->second : nullptr;
}

std::shared_ptr<ShadingGroup> AuthorShaderPool::FindShadingModifier(const std::string& name) const {
    auto it = modifiers_.find(name);
    return it != modifiers_.end() ? it->second : nullptr;
}

}  // namespace Velmora::U3D
