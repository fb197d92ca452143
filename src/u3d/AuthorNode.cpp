#include "u3d/AuthorNode.h"

#include <new>
#include <unordered_set>

#include "u3d/BlockBase.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {
// A hostile file can make a node its own ancestor through shared names; the tree walks stop
// at this depth rather than recurse without end.
constexpr int kMaxDepth = 256;

const char* KindWord(uint32_t kind) {
    switch (kind) {
        case AuthorNode::Group: return "Group";
        case AuthorNode::Model: return "Model";
        case AuthorNode::Light: return "Light";
        case AuthorNode::View: return "View";
        default: return "Invalid";
    }
}
}  // namespace

AuthorNodeHandle AuthorNode::Create(const std::string& parentName, const Matrix4& transform, uint32_t parentIndex,
                                    std::shared_ptr<BaseNodeData> data) {
    if (!data) {
        Logger::Log(LogLevel::Error, "AuthorNode::Create() - invalid node data");
        return nullptr;
    }
    uint32_t kind = Invalid;
    switch (data->blockKind) {
        case BlockType::GroupNode: kind = Group; break;
        case BlockType::ModelNode: kind = Model; break;
        case BlockType::LightNode: kind = Light; break;
        case BlockType::ViewNode: kind = View; break;
        default: Logger::Log(LogLevel::Error, "AuthorNode::Create() - invalid input block type"); return nullptr;
    }
    try {
        AuthorNodeHandle node(new AuthorNode());
        node->kind = kind;
        node->name = data->nodeName;
        node->instanceName = data->nodeName + "_p" + std::to_string(parentIndex);
        node->parentName = parentName;
        node->transform = transform;
        node->data = std::move(data);
        return node;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "AuthorNode::Create() - failed to create instance");
        return nullptr;
    }
}

void AuthorNode::AddChild(const AuthorNodeHandle& node) {
    if (node) children.emplace(node->name, node);
}

void AuthorNode::FindNodes(const std::string& name, std::vector<AuthorNodeHandle>& listOut) {
    // Shared subtrees are visited once: a node under several parents is one object, and a
    // hostile chain of equally named nodes must not turn the walk exponential.
    std::unordered_set<const AuthorNode*> visited;
    std::vector<std::pair<AuthorNodeHandle, int>> stack;
    for (auto it = children.rbegin(); it != children.rend(); ++it) stack.emplace_back(it->second, 1);
    while (!stack.empty()) {
        auto [node, depth] = stack.back();
        stack.pop_back();
        if (depth > kMaxDepth || !visited.insert(node.get()).second) continue;
        if (node->name == name) listOut.push_back(node);
        for (auto it = node->children.rbegin(); it != node->children.rend(); ++it)
            stack.emplace_back(it->second, depth + 1);
    }
}

bool AuthorNode::Reaches(const AuthorNode* target) const {
    std::unordered_set<const AuthorNode*> visited;
    std::vector<const AuthorNode*> stack{this};
    while (!stack.empty()) {
        const AuthorNode* node = stack.back();
        stack.pop_back();
        if (node == target) return true;
        if (!visited.insert(node).second) continue;
        for (const auto& [n, child] : node->children) stack.push_back(child.get());
    }
    return false;
}

size_t AuthorNode::CountDescendants(size_t limit) const {
    // Counted through the tree, so a shared subtree counts once per path; `limit` stops
    // the count where a hostile graph would make it explode.
    size_t total = 0;
    std::vector<std::pair<const AuthorNode*, int>> stack{{this, 0}};
    while (!stack.empty() && total < limit) {
        auto [node, depth] = stack.back();
        stack.pop_back();
        if (depth >= kMaxDepth) continue;
        for (const auto& [n, child] : node->children) {
            ++total;
            stack.emplace_back(child.get(), depth + 1);
        }
    }
    return total < limit ? total : limit;
}

void AuthorNode::Print(const std::string& indent) const {
    size_t budget = 100000;
    PrintLines(indent, budget);
}

void AuthorNode::PrintLines(const std::string& indent, size_t& budget) const {
    if (budget == 0) return;
    --budget;
    Logger::Log(LogLevel::Message, "%s[%s] %s", indent.c_str(), KindWord(kind), name.c_str());
    if (children.empty() || indent.size() > 2 * kMaxDepth) return;
    Logger::Log(LogLevel::Message, "%s{", indent.c_str());
    for (const auto& [n, child] : children) child->PrintLines(indent + "  ", budget);
    Logger::Log(LogLevel::Message, "%s}", indent.c_str());
}

bool AuthorNodePool::Init() {
    root_.reset();
    pending_.clear();
    lightNodes_.clear();
    viewNodes_.clear();
    auto data = std::make_shared<GroupNodeData>();
    data->blockKind = BlockType::GroupNode;
    data->nodeName = "___World";
    root_ = AuthorNode::Create("", kIdentity, 0, data);
    return root_ != nullptr;
}

void AuthorNodePool::AddNode(const AuthorNodeHandle& node) {
    if (!node || !root_) {
        Logger::Log(LogLevel::Error, "Invalid data in AuthorNodePool::AddNode");
        return;
    }
    if (node->kind == AuthorNode::Light) {
        lightNodes_.emplace(node->name, node);
        return;
    }
    if (node->kind == AuthorNode::View) {
        viewNodes_.emplace(node->name, node);
        return;
    }
    // "PDF3D Scene" stands for the world in files made for PDF.
    if (node->parentName.empty() || node->parentName == "PDF3D Scene") {
        root_->AddChild(node);
        return;
    }
    std::vector<AuthorNodeHandle> parents;
    root_->FindNodes(node->parentName, parents);
    if (parents.empty()) {
        pending_.emplace(node->name, node);
        return;
    }
    for (const AuthorNodeHandle& parent : parents) parent->AddChild(node);
}

void AuthorNodePool::FinalizeTree() {
    while (!pending_.empty()) {
        auto first = pending_.begin();
        AuthorNodeHandle node = first->second;
        pending_.erase(first);
        bool attached = false;
        std::vector<AuthorNodeHandle> parents;
        root_->FindNodes(node->parentName, parents);
        for (const AuthorNodeHandle& parent : parents) {
            if (node->Reaches(parent.get())) continue;  // never a child of its own subtree
            parent->AddChild(node);
            attached = true;
        }
        for (auto& [pendingName, other] : pending_) {
            if (other == node) continue;
            if (other->name == node->parentName && !node->Reaches(other.get())) {
                other->AddChild(node);
                attached = true;
            }
            std::vector<AuthorNodeHandle> inside;
            other->FindNodes(node->parentName, inside);
            for (const AuthorNodeHandle& parent : inside) {
                if (node->Reaches(parent.get())) continue;
                parent->AddChild(node);
                attached = true;
            }
        }
        if (!attached) {
            root_->AddChild(node);
            Logger::Log(LogLevel::Warning, "Parent '%s' for node '%s' not found -> REPARENTED TO ROOT!",
                        node->parentName.c_str(), node->name.c_str());
        }
    }
    if (Logger::Instance().MaxLevel() > 4) {
        Logger::Log(LogLevel::Message, "SceneNodes:");
        root_->Print("");
    }
}

}  // namespace Velmora::U3D
