#include "obj/NodeTreeBuilder.h"

#include <algorithm>
#include <map>
#include <string>

#include <fmt/format.h>

#include "obj/AuthorMeshPool.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr const char* kMethod = "AuthoringPool_OBJ::CreateAuthoringObjectsFromParsedData()";
constexpr size_t kNone = size_t(-1);

using MeshSet = std::vector<uint32_t>;  // mesh indices, ascending

struct GroupNode {
    std::shared_ptr<AuthorNode> node;
    MeshSet meshes;
};

struct ModelNode {
    std::shared_ptr<AuthorNode> node;
    uint32_t mesh = 0;
};

struct Collected {
    std::vector<std::string> meshNames;            // in pool order
    std::map<std::string, MeshSet> meshesByGroup;  // in name order
};

Collected CollectGroups(const AuthorMeshPool& pool) {
    Collected collected;
    for (const auto& [name, mesh] : pool.Meshes()) {
        const uint32_t index = uint32_t(collected.meshNames.size());
        collected.meshNames.push_back(name);
        for (const std::string& group : mesh->Groups()) collected.meshesByGroup[group].push_back(index);
    }
    return collected;
}

std::shared_ptr<AuthorNode> MakeModel(const std::string& name, const std::string& meshName) {
    std::shared_ptr<AuthorNode> node = AuthorNode::Create(name, AuthorNode::Model);
    if (node) node->meshName = meshName;
    return node;
}

// The group node with the fewest meshes that holds all of `meshes`. For a group (self set)
// the holder must hold more than the group itself: groups of equal sets are siblings, never
// one inside the other, which also keeps the nesting free of cycles.
size_t SmallestHolder(const std::vector<GroupNode>& groups, const MeshSet& meshes, size_t self) {
    const size_t least = self == kNone ? meshes.size() : meshes.size() + 1;
    size_t best = kNone;
    for (size_t i = 0; i < groups.size(); ++i) {
        const MeshSet& candidate = groups[i].meshes;
        if (i == self || candidate.size() < least) continue;
        if (best != kNone && candidate.size() >= groups[best].meshes.size()) continue;
        if (std::includes(candidate.begin(), candidate.end(), meshes.begin(), meshes.end())) best = i;
    }
    return best;
}

void NestNodes(std::vector<GroupNode>& groups, std::vector<ModelNode>& models,
               std::vector<std::shared_ptr<AuthorNode>>& top) {
    std::vector<size_t> groupParents(groups.size(), kNone);
    for (size_t g = 0; g < groups.size(); ++g) groupParents[g] = SmallestHolder(groups, groups[g].meshes, g);
    for (size_t g = 0; g < groups.size(); ++g) {
        if (groupParents[g] == kNone)
            top.push_back(groups[g].node);
        else
            groups[groupParents[g]].node->children.push_back(groups[g].node);
    }
    for (ModelNode& model : models) {
        const size_t parent = SmallestHolder(groups, MeshSet{model.mesh}, kNone);
        if (parent == kNone)
            top.push_back(model.node);
        else
            groups[parent].node->children.push_back(model.node);
    }
}

// Groups by their number of meshes, fewest first; each mesh not yet placed becomes a model
// named after the first of them that holds it, all below the root.
bool BuildSimplified(const Collected& collected, std::vector<std::shared_ptr<AuthorNode>>& top) {
    Logger::LogF(LogLevel::Warning, "{:s} - Indeterminate hierarchy, creating simplified hierarchy", kMethod);
    top.clear();
    std::vector<const std::pair<const std::string, MeshSet>*> order;
    for (const auto& entry : collected.meshesByGroup) order.push_back(&entry);
    std::stable_sort(order.begin(), order.end(),
                     [](const auto* a, const auto* b) { return a->second.size() < b->second.size(); });
    std::vector<bool> claimed(collected.meshNames.size(), false);
    std::map<std::string, bool> used;
    for (const auto* group : order) {
        for (uint32_t mesh : group->second) {
            if (claimed[mesh]) continue;
            // A second mesh of one group takes its own name: siblings need distinct names.
            const std::string& name = used.count(group->first) ? collected.meshNames[mesh] : group->first;
            std::shared_ptr<AuthorNode> node = MakeModel(name, collected.meshNames[mesh]);
            if (!node) {
                Logger::LogF(LogLevel::Error, "{:s} - failed to find node '{:s}'", kMethod, name);
                return false;
            }
            used[name] = true;
            claimed[mesh] = true;
            top.push_back(node);
        }
    }
    return true;
}

}  // namespace

bool NodeTreeBuilder::Build(const AuthorMeshPool& pool, std::vector<std::shared_ptr<AuthorNode>>& top) {
    top.clear();
    const Collected collected = CollectGroups(pool);
    std::vector<bool> claimed(collected.meshNames.size(), false);
    std::vector<GroupNode> groups;
    std::vector<ModelNode> models;
    for (const auto& [name, meshes] : collected.meshesByGroup) {
        if (meshes.size() == 1 && !claimed[meshes[0]]) {
            std::shared_ptr<AuthorNode> node = MakeModel(name, collected.meshNames[meshes[0]]);
            if (!node) {
                Logger::LogF(LogLevel::Error, "{:s} - failed to add model-node '{:s}'", kMethod, name);
                continue;
            }
            claimed[meshes[0]] = true;
            models.push_back({node, meshes[0]});
            continue;
        }
        std::shared_ptr<AuthorNode> node = AuthorNode::Create(name, AuthorNode::Group);
        if (!node) {
            Logger::LogF(LogLevel::Error, "{:s} - failed to add group-node '{:s}' [{:d}]", kMethod, name,
                         meshes.size() == 1 ? 0 : 1);
            continue;
        }
        groups.push_back({node, meshes});
    }
    const bool allClaimed = std::find(claimed.begin(), claimed.end(), false) == claimed.end();
    if (!allClaimed || groups.size() > kMaxNestedGroups) return BuildSimplified(collected, top);
    NestNodes(groups, models, top);
    return true;
}

}  // namespace Velmora::OBJ
