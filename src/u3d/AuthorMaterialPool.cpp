#include "u3d/AuthorMaterialPool.h"

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

bool AuthorMaterialPool::AddMaterial(const std::string& name, const AuthorMaterial& material) {
    if (name.empty()) {
        Logger::Log(LogLevel::Error, "Trying to add invalid material to material pool");
        return false;
    }
    if (!materials_.emplace(name, material).second) {
        Logger::Log(LogLevel::Error, "Failed to add material %s to material pool -> DUPLICATE", name.c_str());
        return false;
    }
    return true;
}

const AuthorMaterial* AuthorMaterialPool::FindMaterial(const std::string& name) const {
    auto it = materials_.find(name);
    return it != materials_.end() ? &it->second : nullptr;
}

}  // namespace Velmora::U3D
