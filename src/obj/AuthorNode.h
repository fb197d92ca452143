#pragma once
// A node of the tree an OBJ load makes from its group names: a group (an invisible model) or a
// model that draws one mesh.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::OBJ {

class AuthorNode {
public:
    enum Type : uint32_t { Group = 1, Model = 2 };

    // Null for an empty name or another type (and when out of memory, logged).
    static std::shared_ptr<AuthorNode> Create(const std::string& name, uint32_t type);

    std::string name;
    uint32_t type = Group;
    std::string meshName;  // the mesh a model node draws
    std::vector<std::shared_ptr<AuthorNode>> children;

private:
    AuthorNode() = default;
};

}  // namespace Velmora::OBJ
