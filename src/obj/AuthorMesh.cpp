#include "obj/AuthorMesh.h"

#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

void AuthorMesh::SetGroups(const GroupSet& groups) {
    groups_ = groups;
    name_.clear();
    for (const std::string& group : groups_) {
        if (!name_.empty()) name_ += '#';
        name_ += group;
    }
}

bool AuthorMesh::AddGeometry(const std::shared_ptr<Geometry>& geometry) {
    if (!geometry) return false;
    const auto [slot, inserted] = geometries_.emplace(geometry->materialName, geometry);
    if (inserted) return true;
    Geometry& present = *slot->second;
    if (!present.CompatibleWith(*geometry)) {
        Logger::Log(LogLevel::Error, "AuthorMesh::AddGeometry() - INCOMPATIBLE GEOMETRY!");
        return false;
    }
    present.faces.insert(present.faces.end(), geometry->faces.begin(), geometry->faces.end());
    return true;
}

bool AuthorMesh::Merge(const AuthorMesh& other) {
    bool all = true;
    for (const auto& [material, geometry] : other.geometries_) {
        if (AddGeometry(geometry)) continue;
        Logger::Log(LogLevel::Error, "AuthorMesh::Merge() - failed to merge geometry '%s' into mesh '%s'",
                    material.c_str(), name_.c_str());
        all = false;
    }
    return all;
}

}  // namespace Velmora::OBJ
