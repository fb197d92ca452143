#pragma once
// A staging mesh of an OBJ load: the primitives of one set of group names, one Geometry per
// material.

#include <map>
#include <memory>
#include <set>
#include <string>

#include "obj/Geometry.h"

namespace Velmora::OBJ {

class AuthorMesh {
public:
    using GroupSet = std::set<std::string>;

    explicit AuthorMesh(const GroupSet& groups) { SetGroups(groups); }

    // The name follows the groups: their names joined by "#".
    void SetGroups(const GroupSet& groups);
    const GroupSet& Groups() const { return groups_; }
    const std::string& Name() const { return name_; }

    // Files the geometry under its material. A geometry of a material already present joins
    // it when both have the same kind and layout; otherwise the call fails (logged).
    bool AddGeometry(const std::shared_ptr<Geometry>& geometry);
    // Adds every geometry of other; one that does not fit is logged and the rest still go in.
    bool Merge(const AuthorMesh& other);

    const std::map<std::string, std::shared_ptr<Geometry>>& Geometries() const { return geometries_; }
    bool Empty() const { return geometries_.empty(); }

private:
    GroupSet groups_;
    std::string name_;
    std::map<std::string, std::shared_ptr<Geometry>> geometries_;
};

}  // namespace Velmora::OBJ
