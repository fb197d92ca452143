#pragma once
// Block readers of the four node kinds. A node block holds the node's name, its parent
// entries (name and 4x4 transform each) and the kind's own fields; every parent entry
// becomes one AuthorNode sharing the block's node data.

#include <memory>

#include "u3d/AuthorNode.h"
#include "u3d/BlockBase.h"

namespace Velmora::U3D {

class BitStreamReader;

class NodeBase : public BlockBase {
public:
    NodeBase(uint32_t kind, AuthorNodePool& pool) : BlockBase(kind), pool_(pool) {}
    bool Read(BitStreamReader& reader) override;

protected:
    virtual std::shared_ptr<BaseNodeData> CreateNodeData() = 0;
    virtual bool ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& data) = 0;

private:
    AuthorNodePool& pool_;
};

class GroupNode : public NodeBase {
public:
    explicit GroupNode(AuthorNodePool& pool) : NodeBase(BlockType::GroupNode, pool) {}

protected:
    std::shared_ptr<BaseNodeData> CreateNodeData() override;
    bool ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& data) override;
};

class ModelNode : public NodeBase {
public:
    explicit ModelNode(AuthorNodePool& pool) : NodeBase(BlockType::ModelNode, pool) {}

protected:
    std::shared_ptr<BaseNodeData> CreateNodeData() override;
    bool ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& data) override;
};

class LightNode : public NodeBase {
public:
    explicit LightNode(AuthorNodePool& pool) : NodeBase(BlockType::LightNode, pool) {}

protected:
    std::shared_ptr<BaseNodeData> CreateNodeData() override;
    bool ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& data) override;
};

// Reads up to the viewport; the backdrop and overlay lists behind it are not read.
class ViewNode : public NodeBase {
public:
    explicit ViewNode(AuthorNodePool& pool) : NodeBase(BlockType::ViewNode, pool) {}

protected:
    std::shared_ptr<BaseNodeData> CreateNodeData() override;
    bool ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& data) override;
};

}  // namespace Velmora::U3D
