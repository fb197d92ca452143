#include "prc/reader/AuthorNode.h"

#include <new>

#include <fmt/format.h>

#include "prc/reader/AuthorMaterial.h"

namespace Velmora::PRC {

std::shared_ptr<AuthorNode> AuthorNode::CreateGroup(const std::string& name, const Rendering::Mat4& matrix) {
    std::shared_ptr<AuthorNode> node(new (std::nothrow) AuthorNode());
    if (!node) return nullptr;
    node->name = name;
    node->kind = Group;
    node->matrix = matrix;
    return node;
}

std::shared_ptr<AuthorNode> AuthorNode::CreateModel(const std::string& name, const Rendering::Mat4& matrix,
                                                    uint32_t fileStructure, int32_t tessellation, int32_t style) {
    std::shared_ptr<AuthorNode> node = CreateGroup(name, matrix);
    if (!node) return nullptr;
    node->kind = Model;
    node->fileStructure = fileStructure;
    node->tessellation = tessellation;
    node->style = style;
    return node;
}

std::string AuthorNode::Description() const {
    const char* kindName = kind == Group ? "Group" : kind == Model ? "Model" : "Invalid";
    std::string text = fmt::format("{:s}[{:s}] {:s}", name, kindName, displayName);
    if (kind == Model) {
        const std::string mesh =
            tessellation < 0 ? std::string() : "__Tesselation_" + EntityKey(fileStructure, uint32_t(tessellation));
        text += fmt::format(" [ModelInstance: '{:s}' Mat: {:d}]", mesh, style);
    }
    return text;
}

size_t AuthorNode::CountNodes() const {
    // Iterative: a hostile tree is bounded in size by the pool, but not made shallow.
    size_t count = 0;
    std::vector<const AuthorNode*> pending{this};
    while (!pending.empty()) {
        const AuthorNode* node = pending.back();
        pending.pop_back();
        ++count;
        for (const auto& child : node->children)
            if (child) pending.push_back(child.get());
    }
    return count;
}

}  // namespace Velmora::PRC
