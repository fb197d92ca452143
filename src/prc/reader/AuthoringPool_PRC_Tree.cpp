// The staging tree of AuthoringPool_PRC: author nodes from the product occurrences of every
// file structure, with their placements, styles, prototypes and external data, and the master
// node over the roots of the model file.
//
// Occurrences refer to one another by index and by file structure, so the graph they form is
// the file's to choose: the walk keeps the occurrences of its current path and refuses a second
// visit (a cycle), bounds the depth, and bounds the nodes of the whole tree, since a prototype
// is built anew for every occurrence that uses it.

#include <fmt/format.h>

#include "prc/reader/AuthoringPool_PRC.h"
#include "prc/reader/TransformMatrix.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using FileStructure::ProductOccurrence;
using Rendering::Mat4;
using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr const char* kMasterNodeName = "Velmora-Model";
constexpr const char* kPrototypeSuffix = "proto";
constexpr const char* kExternalPrototypeSuffix = "protoExt";
constexpr const char* kExternalSuffix = "ext";
constexpr const char* kExternalOtherSuffix = "extExt";
// Lines of the tree that the log gets; a large tree is cut off.
constexpr size_t kMaxLoggedNodes = 2000;

bool ValidIndex(int32_t index, size_t size) { return index >= 0 && size_t(index) < size; }

// The style the scene display parameters of an occurrence set, or -1.
int32_t DisplayStyle(const ProductOccurrence& occ) {
    if (occ.sceneDisplayParameters.empty() || !occ.sceneDisplayParameters.front() ||
        !occ.sceneDisplayParameters.front()->isActive)
        return -1;
    if (occ.sceneDisplayParameters.size() > 1)
        Logger::Log(LogLevel::Error,
                    "AuthoringPool_PRC::CreateAuthorNode() - Unexpected number of scene display parameters!");
    return occ.sceneDisplayParameters.front()->defaultStyle;
}
}  // namespace

bool AuthoringPool_PRC::CreateAuthoringTree(uint32_t fileStructure) {
    const std::shared_ptr<FileStructureBlock> block = file_ ? file_->GetFileStructureBlock(fileStructure) : nullptr;
    if (!block) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringTree() - Invalid input data!");
        return false;
    }
    const int32_t root = block->tree.rootOccurrenceIndex;
    if (!ValidIndex(root, block->tree.productOccurrences.size()) || !block->tree.productOccurrences[size_t(root)]) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringTree() - Invalid root node");
        return false;
    }
    path_.clear();
    std::shared_ptr<AuthorNode> node = CreateAuthorNode(fileStructure, root, std::string(), -1);
    if (!node) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthoringTree() - Failed to create model root node");
        return false;
    }
    try {
        treeRoots_[{fileStructure, uint32_t(root)}] = node;
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return false;
    }
    return true;
}

bool AuthoringPool_PRC::NodeBudgetLeft(const std::string& name) {
    if (nodesMade_ < kMaxNodes) return true;
    if (!nodeBudgetLogged_)
        Logger::LogF(LogLevel::Error,
                     "AuthoringPool_PRC::CreateAuthorNode() - too many nodes, '{:s}' and what follows is IGNORED",
                     name);
    nodeBudgetLogged_ = true;
    return false;
}

std::shared_ptr<AuthorNode> AuthoringPool_PRC::CreateAuthorNode(uint32_t fileStructure, int32_t occurrence,
                                                                const std::string& name, int32_t inheritedStyle) {
    const std::shared_ptr<FileStructureBlock> block = file_ ? file_->GetFileStructureBlock(fileStructure) : nullptr;
    if (!block || !ValidIndex(occurrence, block->tree.productOccurrences.size()) ||
        !block->tree.productOccurrences[size_t(occurrence)]) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - Invalid input data!");
        return nullptr;
    }
    const ProductOccurrence& occ = *block->tree.productOccurrences[size_t(occurrence)];
    std::string nodeName = name;
    if (nodeName.empty())
        nodeName = occ.base.name.empty() ? fmt::format("__ProductOccurence_F{:d}#{:d}", fileStructure, occurrence)
                                         : occ.base.name;
    const OccurrenceKey key{fileStructure, uint32_t(occurrence)};
    if (path_.count(key)) {
        Logger::LogF(LogLevel::Error,
                     "AuthoringPool_PRC::CreateAuthorNode() - occurrence F{:d}#{:d} refers back to itself ('{:s}') -> "
                     "IGNORED",
                     fileStructure, occurrence, nodeName);
        return nullptr;
    }
    if (path_.size() >= kMaxTreeDepth) {
        Logger::LogF(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - occurrences nested too deeply at '{:s}'",
                     nodeName);
        return nullptr;
    }
    try {
        path_.insert(key);
    } catch (const std::bad_alloc&) {
        Logger::Log(LogLevel::Error, "OUT OF MEMORY");
        return nullptr;
    }
    std::shared_ptr<AuthorNode> node = CreateOccurrenceNode(fileStructure, occ, nodeName, inheritedStyle);
    path_.erase(key);
    return node;
}

std::shared_ptr<AuthorNode> AuthoringPool_PRC::CreateOccurrenceNode(uint32_t fileStructure,
                                                                    const ProductOccurrence& occ,
                                                                    const std::string& name, int32_t inheritedStyle) {
    if (!NodeBudgetLeft(name)) return nullptr;
    const std::shared_ptr<FileStructureBlock> block = file_->GetFileStructureBlock(fileStructure);
    const int32_t ownStyle = occ.graphics.lineStyleIndex;
    int32_t currentStyle = DisplayStyle(occ);
    if (currentStyle == -1) currentStyle = ownStyle != -1 ? ownStyle : inheritedStyle;

    Mat4 matrix = Rendering::MathUtil::Identity4();
    if (occ.location && !GetMatrixFromTransform(occ.location.get(), matrix)) {
        Logger::Log(LogLevel::Error,
                    "AuthoringPool_PRC::CreateAuthorNode() - failed to get matrix from transformation!");
        return nullptr;
    }

    const auto& parts = block->tree.partDefinitions;
    std::shared_ptr<AuthorNode> node;
    const bool hasPart =
        occ.partIndex != -1 && !(ValidIndex(occ.partIndex, parts.size()) && parts[size_t(occ.partIndex)] &&
                                 parts[size_t(occ.partIndex)]->representationItems.empty());
    if (!hasPart) {
        node = AuthorNode::CreateGroup(name, matrix);
        ++nodesMade_;
    } else {
        if (!ValidIndex(occ.partIndex, parts.size()) || !parts[size_t(occ.partIndex)]) {
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - invalid part index");
            return nullptr;
        }
        const FileStructure::PartDefinition& part = *parts[size_t(occ.partIndex)];
        if (part.graphics.lineStyleIndex != -1) currentStyle = part.graphics.lineStyleIndex;
        const size_t items = part.representationItems.size();
        if (items > 1) {
            node = AuthorNode::CreateGroup(name, matrix);
            ++nodesMade_;
            if (!node) {
                Logger::Log(LogLevel::Error,
                            "AuthoringPool_PRC::CreateAuthorNode() - Failed to create intermediate group node");
                return nullptr;
            }
        }
        for (size_t i = 0; i < items && nodesMade_ < kMaxNodes; ++i) {
            const auto& item = part.representationItems[i];
            if (!item) {
                Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - invalid representation item");
                continue;
            }
            std::shared_ptr<AuthorNode> itemNode =
                CreateItemNode(fileStructure, *block, *item, matrix, fmt::format("{:s}_r#{:d}", name, i), currentStyle);
            if (!itemNode) continue;
            if (items == 1)
                node = itemNode;
            else
                node->children.push_back(itemNode);
        }
    }
    if (!node) return nullptr;
    node->displayName = occ.base.name;
    const int32_t handedDown = ownStyle != -1 ? ownStyle : inheritedStyle;
    AddSons(fileStructure, occ, *node, handedDown);
    if (occ.prototypeIndex != -1) AddLinkedOccurrence(fileStructure, occ, *node, handedDown, true);
    if (occ.externalDataIndex != -1) AddLinkedOccurrence(fileStructure, occ, *node, handedDown, false);
    return node;
}

std::shared_ptr<AuthorNode> AuthoringPool_PRC::CreateItemNode(uint32_t fileStructure, const FileStructureBlock& block,
                                                              const FileStructure::RepresentationItem& item,
                                                              const Mat4& occurrenceMatrix, const std::string& name,
                                                              int32_t currentStyle) {
    Mat4 matrix = occurrenceMatrix;
    const int32_t system = item.localCoordinateSystemIndex;
    const auto& systems = block.globals.referenceCoordinateSystems;
    if (system != -1) {
        if (!ValidIndex(system, systems.size())) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthorNode() - invalid local coordinate system index!");
        } else if (!systems[size_t(system)] || systems[size_t(system)]->base.type != kTypeCoordinateSystem) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateAuthorNode() - invalid local coordinate system (RepItem)");
        } else {
            const auto& coordinates = static_cast<const FileStructure::RI_CoordinateSystem&>(*systems[size_t(system)]);
            Mat4 local = Rendering::MathUtil::Identity4();
            if (GetMatrixFromTransform(coordinates.transformation.get(), local))
                matrix = Rendering::MathUtil::Multiply(matrix, local);
            else
                Logger::Log(LogLevel::Error,
                            "AuthoringPool_PRC::CreateAuthorNode() - failed to get matrix from transform (RepItem)");
        }
    }
    const int32_t style = item.graphics.lineStyleIndex != -1 ? item.graphics.lineStyleIndex : currentStyle;
    std::shared_ptr<AuthorNode> node =
        AuthorNode::CreateModel(name, matrix, fileStructure, item.tessellationIndex, style);
    if (!node) return nullptr;
    ++nodesMade_;
    node->displayName = item.base.name;
    return node;
}

void AuthoringPool_PRC::AddSons(uint32_t fileStructure, const ProductOccurrence& occ, AuthorNode& node,
                                int32_t handedDown) {
    for (const uint32_t son : occ.sons) {
        if (!NodeBudgetLeft(node.name)) return;
        std::shared_ptr<AuthorNode> child =
            son > uint32_t(INT32_MAX) ? nullptr
                                      : CreateAuthorNode(fileStructure, int32_t(son), std::string(), handedDown);
        if (!child) {
            Logger::LogF(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - Failed to create child node '{:s}'",
                         fmt::format("__ProductOccurence_F{:d}#{:d}", fileStructure, son));
            continue;
        }
        node.children.push_back(child);
    }
}

void AuthoringPool_PRC::AddLinkedOccurrence(uint32_t fileStructure, const ProductOccurrence& occ, AuthorNode& node,
                                            int32_t handedDown, bool prototype) {
    const int32_t index = prototype ? occ.prototypeIndex : occ.externalDataIndex;
    const bool sameStructure = prototype ? occ.prototypeInSameFileStructure : occ.externalInSameFileStructure;
    uint32_t target = fileStructure;
    if (!sameStructure) {
        const auto& map = file_->FileStructureBlockMap();
        const auto found = map.find(UniqueIDKey(prototype ? occ.prototypeFileStructure : occ.externalFileStructure));
        if (found == map.end()) {
            Logger::Log(LogLevel::Error,
                        prototype ? "AuthoringPool_PRC::CreateAuthorNode() - failed to find external prototype!"
                                  : "AuthoringPool_PRC::CreateAuthorNode() - failed to find external data!");
            return;
        }
        target = found->second;
    }
    const char* suffix = prototype ? (sameStructure ? kPrototypeSuffix : kExternalPrototypeSuffix)
                                   : (sameStructure ? kExternalSuffix : kExternalOtherSuffix);
    const std::string name = node.name + suffix;
    std::shared_ptr<AuthorNode> linked = CreateAuthorNode(target, index, name, handedDown);
    if (!linked) {
        if (prototype && sameStructure)
            Logger::LogF(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - Failed to add prototype node '{:s}'",
                         name);
        else if (!prototype && sameStructure)
            Logger::LogF(LogLevel::Error, "AuthoringPool_PRC::CreateAuthorNode() - Failed to add external node '{:s}'",
                         name);
        else
            Logger::LogF(LogLevel::Error,
                         "AuthoringPool_PRC::CreateAuthorNode() - Failed to add external prototype node '{:s}'", name);
        return;
    }
    node.children.push_back(linked);
}

bool AuthoringPool_PRC::CreateMasterTree() {
    const auto& roots = file_->ModelFile().rootOccurrences;
    if (roots.empty()) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateMasterTree() - cannot find root occurence info!");
        return false;
    }
    master_ = AuthorNode::CreateGroup(kMasterNodeName, Rendering::MathUtil::Identity4());
    if (!master_) {
        Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateMasterTree() - FAILED TO CREATE MASTER ROOT NODE!");
        return false;
    }
    const auto& map = file_->FileStructureBlockMap();
    for (const FileStructure::RootOccurrence& root : roots) {
        const auto block = map.find(UniqueIDKey(root.fileStructure));
        std::shared_ptr<AuthorNode> node;
        if (block != map.end() && root.occurrenceIndex >= 0) {
            const auto known = treeRoots_.find({block->second, uint32_t(root.occurrenceIndex)});
            if (known != treeRoots_.end()) {
                node = known->second;
            } else {
                path_.clear();
                node = CreateAuthorNode(block->second, root.occurrenceIndex, std::string(), -1);
            }
        }
        if (!node) {
            Logger::Log(LogLevel::Error,
                        "AuthoringPool_PRC::CreateMasterTree() - failed to look up root product occurence!");
            Logger::Log(LogLevel::Error, "AuthoringPool_PRC::CreateMasterTree() - FAILED TO LOOK UP ROOT NODE!");
            continue;
        }
        Logger::Log(LogLevel::Info, "Master root node = '%s'", node->name.c_str());
        master_->children.push_back(node);
    }
    if (master_->children.empty()) return false;
    LogTree();
    return true;
}

void AuthoringPool_PRC::LogTree() const {
    if (!Logger::Passes(LogLevel::Verbose)) return;
    Logger::Log(LogLevel::Verbose, "Treeroot children:");
    for (const auto& [key, root] : treeRoots_) {
        Logger::Log(LogLevel::Verbose,
                    "Filestructure '%s' children:", UniqueIDKey(file_->GetFileStructureBlock(key.first)->uuid).c_str());
        std::vector<std::pair<const AuthorNode*, size_t>> pending{{root.get(), 1}};
        size_t logged = 0;
        while (!pending.empty() && logged++ < kMaxLoggedNodes) {
            const auto [node, depth] = pending.back();
            pending.pop_back();
            Logger::LogF(LogLevel::Verbose, "{:s}{:s}", std::string(depth * 2, ' '), node->Description());
            for (auto it = node->children.rbegin(); it != node->children.rend(); ++it)
                if (*it) pending.push_back({it->get(), depth + 1});
        }
    }
}

}  // namespace Velmora::PRC
