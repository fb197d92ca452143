#pragma once
// A node of the staging tree that a PRC load builds from its product occurrences: a group, or
// a model that shows one tessellation of one file structure with a style.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "rendering/MathUtil.h"

namespace Velmora::PRC {

class AuthorNode {
public:
    enum Kind : uint32_t { Invalid = 0, Group = 1, Model = 2 };

    static std::shared_ptr<AuthorNode> CreateGroup(const std::string& name, const Rendering::Mat4& matrix);
    static std::shared_ptr<AuthorNode> CreateModel(const std::string& name, const Rendering::Mat4& matrix,
                                                   uint32_t fileStructure, int32_t tessellation, int32_t style);

    // "{name}[{kind}] {display name}", and for a model " [ModelInstance: '{mesh}' Mat: {style}]".
    std::string Description() const;
    // Nodes in this subtree, this one included.
    size_t CountNodes() const;

    std::string name;
    std::string displayName;
    Kind kind = Invalid;
    Rendering::Mat4 matrix = Rendering::MathUtil::Identity4();
    std::vector<std::shared_ptr<AuthorNode>> children;
    uint32_t fileStructure = 0;
    int32_t tessellation = -1;
    int32_t style = -1;
};

}  // namespace Velmora::PRC
