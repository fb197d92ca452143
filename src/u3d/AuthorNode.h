#pragma once
// The node tree of a U3D file as read: one AuthorNode per parent entry of a node block,
// children keyed by name, lights and views kept aside (their parents are resolved when the
// scene is built).

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Velmora::U3D {

using Matrix4 = std::array<float, 16>;
inline constexpr Matrix4 kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

struct BaseNodeData {
    virtual ~BaseNodeData() = default;
    uint32_t blockKind = 0;
    std::string nodeName;
};
struct GroupNodeData : BaseNodeData {};
struct LightNodeData : BaseNodeData {
    std::string resourceName;
};
struct ModelNodeData : BaseNodeData {
    std::string resourceName;
    uint32_t visibility = 0;
};
struct ViewNodeData : BaseNodeData {
    std::string resourceName;
    uint32_t attributes = 0;
    float nearClip = 0, farClip = 0;
    float fieldOfView = 0;
    float orthoHeight = 0;
    std::array<float, 3> projectionVector{};
    float viewportWidth = 0, viewportHeight = 0, viewportX = 0, viewportY = 0;
};

class AuthorNode;
using AuthorNodeHandle = std::shared_ptr<AuthorNode>;
using AuthorNodeMap = std::multimap<std::string, AuthorNodeHandle>;

class AuthorNode {
public:
    enum Kind : uint32_t { Invalid = 0, Group = 1, Model = 2, Light = 3, View = 4 };

    // Empty handle (logged) without data or for a block kind that isn't a node.
    static AuthorNodeHandle Create(const std::string& parentName, const Matrix4& transform, uint32_t parentIndex,
                                   std::shared_ptr<BaseNodeData> data);

    void AddChild(const AuthorNodeHandle& node);
    // Appends every node of this subtree (this one included) named `name`.
    void FindNodes(const std::string& name, std::vector<AuthorNodeHandle>& listOut);
    // "%s[%s] %s" lines with braces around children.
    void Print(const std::string& indent) const;
    // Nodes below this one, counted through the tree (a node reached twice counts twice),
    // at most `limit`.
    size_t CountDescendants(size_t limit = 1u << 24) const;
    // Whether `target` is this node or lies in its subtree.
    bool Reaches(const AuthorNode* target) const;

    std::shared_ptr<BaseNodeData> data;
    uint32_t kind = Invalid;
    std::string name;
    std::string instanceName;
    std::string parentName;
    Matrix4 transform = kIdentity;
    AuthorNodeMap children;

private:
    AuthorNode() = default;
    void PrintLines(const std::string& indent, size_t& budget) const;
};

class AuthorNodePool {
public:
    // Creates the root "___World".
    bool Init();
    void AddNode(const AuthorNodeHandle& node);
    void FinalizeTree();
    const AuthorNodeHandle& GetRoot() const { return root_; }

    const AuthorNodeMap& Pending() const { return pending_; }
    const AuthorNodeMap& LightNodes() const { return lightNodes_; }
    const AuthorNodeMap& ViewNodes() const { return viewNodes_; }

private:
    AuthorNodeHandle root_;
    AuthorNodeMap pending_;
    AuthorNodeMap lightNodes_;
    AuthorNodeMap viewNodes_;
};

}  // namespace Velmora::U3D
