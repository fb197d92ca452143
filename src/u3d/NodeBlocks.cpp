#include "u3d/NodeBlocks.h"

#include <new>
#include <vector>

#include "u3d/BitStreamReader.h"
#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

namespace {

struct ParentEntry {
    std::string parentName;
    Matrix4 transform;
};

// A parent entry takes at least a string length and 16 floats.
constexpr uint64_t kMinParentBits = (2 + 16 * 4) * 8;

template <typename T>
std::shared_ptr<BaseNodeData> MakeData(uint32_t kind) {
    std::shared_ptr<T> data(new (std::nothrow) T());
    if (data) data->blockKind = kind;
    return data;
}

}  // namespace

bool NodeBase::Read(BitStreamReader& reader) {
    std::shared_ptr<BaseNodeData> data = CreateNodeData();
    if (!data) {
        Logger::Log(LogLevel::Error, "NodeBase::Read() - failed to create node specific data!");
        return false;
    }
    reader.ReadString(data->nodeName);
    const uint32_t parentCount = reader.ReadU32();
    // Parent entries come from the block: a count beyond what the block can hold is corrupt.
    if (parentCount > reader.RemainingBits() / kMinParentBits) {
        Logger::Log(LogLevel::Error, "NodeBase::Read() - failed to read node specific data for '%s'!",
                    data->nodeName.c_str());
        return false;
    }
    std::vector<ParentEntry> parents;
    try {
        parents.resize(parentCount);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    for (ParentEntry& parent : parents) {
        reader.ReadString(parent.parentName);
        for (int row = 0; row < 4; ++row) {
            float* r = &parent.transform[size_t(row) * 4];
            for (int c = 0; c < 4; ++c) r[c] = reader.ReadF32();
            // Writers sometimes leave a zero row in the rotation part; mend its diagonal.
            if (row < 3 && r[0] == 0.0f && r[1] == 0.0f && r[2] == 0.0f) {
                Logger::Log(
                    LogLevel::Warning,
                    "NodeBase::Read() - bad input data for parent.transform, trying to auto-correct! (Node: '%s')",
                    data->nodeName.c_str());
                r[row] = 1.0f;
            }
        }
    }
    if (!ReadNodeSpecific(reader, *data)) {
        Logger::Log(LogLevel::Error, "NodeBase::Read() - failed to read node specific data for '%s'!",
                    data->nodeName.c_str());
        return false;
    }
    if (parents.empty()) {
        Logger::Log(LogLevel::Warning, "Unable to create authoring node for '%s' - no parents available!",
                    data->nodeName.c_str());
        return true;
    }
    for (uint32_t i = 0; i < parents.size(); ++i) {
        AuthorNodeHandle node = AuthorNode::Create(parents[i].parentName, parents[i].transform, i, data);
        if (!node) {
            Logger::Log(LogLevel::Warning, "Failed to create authoring node for '%s'!", data->nodeName.c_str());
            Logger::Log(LogLevel::Error, "NodeBase::Read() - failed to create authoring node for '%s'!",
                        data->nodeName.c_str());
            continue;
        }
        pool_.AddNode(node);
    }
    return true;
}

std::shared_ptr<BaseNodeData> GroupNode::CreateNodeData() { return MakeData<GroupNodeData>(Kind()); }
bool GroupNode::ReadNodeSpecific(BitStreamReader&, BaseNodeData&) { return true; }

std::shared_ptr<BaseNodeData> ModelNode::CreateNodeData() { return MakeData<ModelNodeData>(Kind()); }
bool ModelNode::ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& base) {
    auto& data = static_cast<ModelNodeData&>(base);
    reader.ReadString(data.resourceName);
    data.visibility = reader.ReadU32();
    return true;
}

std::shared_ptr<BaseNodeData> LightNode::CreateNodeData() { return MakeData<LightNodeData>(Kind()); }
bool LightNode::ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& base) {
    reader.ReadString(static_cast<LightNodeData&>(base).resourceName);
    return true;
}

std::shared_ptr<BaseNodeData> ViewNode::CreateNodeData() { return MakeData<ViewNodeData>(Kind()); }
bool ViewNode::ReadNodeSpecific(BitStreamReader& reader, BaseNodeData& base) {
    auto& data = static_cast<ViewNodeData&>(base);
    reader.ReadString(data.resourceName);
    data.attributes = reader.ReadU32();
    data.nearClip = reader.ReadF32();
    data.farClip = reader.ReadF32();
    // Bit 0 is the unit of the screen position; the rest selects the projection.
    const uint32_t projection = data.attributes & ~1u;
    static const char* const kProjectionNames[] = {"3-point Perspective Projection", "Orthographic Projection",
                                                   "2-point Perspective Projection", "1-point Perspective Projection"};
    if (projection == 2) {
        data.orthoHeight = reader.ReadF32();
    } else if (projection == 4 || projection == 6) {
        Logger::Log(LogLevel::Warning, "ViewNode %s is using unsupported %s", data.nodeName.c_str(),
                    kProjectionNames[projection / 2]);
        for (float& v : data.projectionVector) v = reader.ReadF32();
    } else {
        data.fieldOfView = reader.ReadF32();
    }
    data.viewportWidth = reader.ReadF32();
    data.viewportHeight = reader.ReadF32();
    data.viewportX = reader.ReadF32();
    data.viewportY = reader.ReadF32();
    return true;
}

}  // namespace Velmora::U3D
