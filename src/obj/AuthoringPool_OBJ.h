#pragma once
// The staging pool of an OBJ import. LoadFromFile parses the OBJ file (and the material
// libraries it names) and forms the node tree from its group names; BuildSceneGraph makes the
// materials and diffuse textures, then one model per model node, each building its mesh.
// OBJ has no cameras and no lights: the scene gets the defaults. Loads from memory are refused,
// as OBJ text names its material files relative to its own place.
//
// Progress: 50 points for the read, 49 over the models of the build, the last at the end.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "format/AuthoringPool.h"
#include "obj/AuthorMaterialPool.h"
#include "obj/AuthorMeshPool.h"
#include "obj/AuthorNode.h"
#include "obj/ObjParser.h"

namespace Velmora::Rendering {
class Model;
class SceneGraph;
struct SceneCreationInfo;
}  // namespace Velmora::Rendering

namespace Velmora::OBJ {

class AuthoringPool_OBJ : public FormatGlue::AuthoringPool {
public:
    static constexpr const char* kRootModelName = "___OBJ_ROOT_MODEL";

    bool LoadFromFile(const std::string& path, Timer timer) override;
    bool LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) override;
    bool BuildSceneGraph(uint32_t& sceneHandle, Timer timer) override;
    bool Init() override;
    void Shutdown() override;

    AuthorMeshPool& MeshPool() { return *meshPool_; }
    AuthorMaterialPool& MaterialPool() { return *materialPool_; }
    const std::shared_ptr<AuthorNode>& RootNode() const { return rootNode_; }
    ObjParser& Parser() { return *parser_; }

    // The node tree from the parsed meshes' group names, below a root named after the file's
    // object (or kRootModelName).
    bool CreateAuthoringObjectsFromParsedData();

private:
    bool RunBuildStages(Rendering::SceneGraph& scene, const Timer& timer);
    static bool InitScene(Rendering::SceneGraph& scene, const std::shared_ptr<Rendering::Model>& rootModel);

    bool CreateChildInstancesForNode(Rendering::SceneGraph& scene, const AuthorNode& node,
                                     const std::shared_ptr<Rendering::Model>& parentModel, uint32_t depth);
    std::shared_ptr<Rendering::Model> CreateModelInstance(Rendering::SceneGraph& scene, const AuthorNode& node);

    std::unique_ptr<AuthorMeshPool> meshPool_;
    std::shared_ptr<AuthorNode> rootNode_;
    std::unique_ptr<AuthorMaterialPool> materialPool_;
    std::shared_ptr<ObjParser> parser_;
    float modelStep_ = 0.0f;
};

}  // namespace Velmora::OBJ
