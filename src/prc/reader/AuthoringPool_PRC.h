#pragma once
// The staging pool of a PRC import. LoadFromFile / LoadFromMemory take the file apart, decode
// its tessellations and make the author objects (materials, line styles, textures, meshes)
// and a tree of author nodes from the product occurrences; BuildSceneGraph turns them into a
// render scene.
//
// Progress: 60 points go to taking the file apart, 30 to the tessellations, 9 to the models
// of the build and the last one at the end.

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "format/AuthoringPool.h"
#include "prc/reader/AuthorMaterialPool.h"
#include "prc/reader/AuthorMeshPool.h"
#include "prc/reader/AuthorNode.h"
#include "prc/reader/PRCFile.h"
#include "rendering/Model.h"

namespace Velmora::Rendering {
class SceneGraph;
}

namespace Velmora::PRC {

class AuthoringPool_PRC : public FormatGlue::AuthoringPool {
public:
    // Occurrences below one another, and nodes of the whole tree: a prototype shared by many
    // occurrences is built once per use, so a few bytes could describe an exponential tree.
    static constexpr uint32_t kMaxTreeDepth = 256;
    static constexpr size_t kMaxNodes = size_t(1) << 17;

    bool LoadFromFile(const std::string& path, Timer timer) override;
    bool LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) override;
    bool BuildSceneGraph(uint32_t& sceneHandle, Timer timer) override;
    bool Init() override;
    void Shutdown() override;

    // The read step on a file already taken apart. Needs no GL context.
    bool CreateAuthoringObjectsFromFile(const std::shared_ptr<PRCFile>& file, const Timer& timer);

    // The staging tree (after a load): the master node and its subtrees.
    const std::shared_ptr<AuthorNode>& MasterNode() const { return master_; }
    const AuthorMeshPool& MeshPool() const { return *meshPool_; }
    const AuthorMaterialPool& MaterialPool() const { return *materialPool_; }

private:
    using OccurrenceKey = std::pair<uint32_t, uint32_t>;  // file structure, occurrence

    // Stages of CreateAuthoringObjectsFromFile for one file structure block.
    void CreateTextures(const FileStructureBlock& block, uint32_t fileStructure);
    void CreateMaterials(const FileStructureBlock& block, uint32_t fileStructure);
    void CreateLineStyles(const FileStructureBlock& block, uint32_t fileStructure);
    void CreateMeshes(const FileStructureBlock& block, uint32_t fileStructure, float span);
    bool CreateAuthorMeshFromTesselation(const std::shared_ptr<FileStructure::BaseTessData>& tessellation,
                                         uint32_t fileStructure, uint32_t index);
    const UncompressedFileBlock* FindUncompressedFile(const FileStructureBlock& block, int32_t index) const;

    // The tree (AuthoringPool_PRC_Tree.cpp).
    bool CreateAuthoringTree(uint32_t fileStructure);
    std::shared_ptr<AuthorNode> CreateAuthorNode(uint32_t fileStructure, int32_t occurrence, const std::string& name,
                                                 int32_t inheritedStyle);
    std::shared_ptr<AuthorNode> CreateOccurrenceNode(uint32_t fileStructure,
                                                     const FileStructure::ProductOccurrence& occ,
                                                     const std::string& name, int32_t currentStyle);
    void AddSons(uint32_t fileStructure, const FileStructure::ProductOccurrence& occ, AuthorNode& node,
                 int32_t handedDown);
    void AddLinkedOccurrence(uint32_t fileStructure, const FileStructure::ProductOccurrence& occ, AuthorNode& node,
                             int32_t handedDown, bool prototype);
    std::shared_ptr<AuthorNode> CreateItemNode(uint32_t fileStructure, const FileStructureBlock& block,
                                               const FileStructure::RepresentationItem& item,
                                               const Rendering::Mat4& occurrenceMatrix, const std::string& name,
                                               int32_t currentStyle);
    // False (logged once) when the tree has all the nodes it may have.
    bool NodeBudgetLeft(const std::string& name);
    bool CreateMasterTree();
    void LogTree() const;

    // The build (AuthoringPool_PRC_Build.cpp).
    bool CreateChildInstancesForNode(Rendering::SceneHandle scene, const AuthorNode& node,
                                     const std::shared_ptr<Rendering::Model>& parent, uint32_t depth);
    // name: the node's name made unique among its siblings, since a parent keys its children by name.
    std::shared_ptr<Rendering::Model> CreateModelInstance(Rendering::SceneHandle scene, const AuthorNode& node,
                                                          const std::string& name);
    bool RunBuild(Rendering::SceneGraph& scene, Rendering::SceneHandle handle, const Timer& timer);

    std::shared_ptr<PRCFile> file_;
    std::unique_ptr<AuthorMaterialPool> materialPool_;
    std::unique_ptr<AuthorMeshPool> meshPool_;
    // The node of each file structure's root occurrence.
    std::map<OccurrenceKey, std::shared_ptr<AuthorNode>> treeRoots_;
    std::shared_ptr<AuthorNode> master_;
    // Occurrences on the path from the current tree's root: a second visit is a cycle.
    std::set<OccurrenceKey> path_;
    size_t nodesMade_ = 0;
    bool nodeBudgetLogged_ = false;
    float buildStep_ = 0.0f;
};

}  // namespace Velmora::PRC
