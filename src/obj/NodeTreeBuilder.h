#pragma once
// The node tree of an OBJ load, made from the group names of its meshes: a group that alone
// holds a mesh becomes the model node that draws it, other groups become group nodes, and
// group nodes nest by the meshes they hold, the smaller inside the larger.

#include <memory>
#include <vector>

#include "obj/AuthorNode.h"

namespace Velmora::OBJ {

class AuthorMeshPool;

class NodeTreeBuilder {
public:
    // More group nodes than this are not nested (the nesting compares every pair) and the
    // tree is made flat instead.
    static constexpr size_t kMaxNestedGroups = 1024;

    // The top nodes of the tree, to hang below the root. False when no tree could be made.
    static bool Build(const AuthorMeshPool& pool, std::vector<std::shared_ptr<AuthorNode>>& top);
};

}  // namespace Velmora::OBJ
