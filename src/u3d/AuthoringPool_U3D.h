#pragma once
// The staging pool of a U3D import. LoadFromFile / LoadFromMemory split the file into raw
// blocks and decode them into the six pools (nodes, lights, materials, textures, shaders,
// meshes); BuildSceneGraph turns the pools into a render scene.
//
// Progress: 70 points are spread over the blocks of the read, 29 over the build, and the
// last one is given at the end.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "format/AuthoringPool.h"
#include "rendering/CameraInfo.h"
#include "rendering/Model.h"
#include "u3d/AuthorLightPool.h"
#include "u3d/AuthorMaterialPool.h"
#include "u3d/AuthorMeshPool.h"
#include "u3d/AuthorNode.h"
#include "u3d/AuthorShaderPool.h"
#include "u3d/AuthorTexture.h"
#include "u3d/U3DFile.h"

namespace Velmora::Rendering {
class SceneGraph;
struct SceneCreationInfo;
}  // namespace Velmora::Rendering

namespace Velmora::U3D {

class AuthoringPool_U3D : public FormatGlue::AuthoringPool {
public:
    enum BlockResult : uint32_t { Read = 0, Skipped = 1, SkippedAnimation = 2, Failed = 3 };

    bool LoadFromFile(const std::string& path, Timer timer) override;
    bool LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) override;
    bool BuildSceneGraph(uint32_t& sceneHandle, Timer timer) override;
    bool Init() override;
    void Shutdown() override;

    // The read step alone, on a file already split into blocks.
    bool LoadFromU3DFile(const std::shared_ptr<U3DFile>& file, Timer timer);
    uint32_t ReadRawDataBlock(const std::shared_ptr<RawDataBlock>& block);

    AuthorNodePool& NodePool() { return *nodePool_; }
    AuthorLightPool& LightPool() { return *lightPool_; }
    AuthorMaterialPool& MaterialPool() { return *materialPool_; }
    AuthorTexturePool& TexturePool() { return *texturePool_; }
    AuthorShaderPool& ShaderPool() { return *shaderPool_; }
    AuthorMeshPool& MeshPool() { return *meshPool_; }
    bool NoCompression() const { return noCompression_; }
    float LoadStep() const { return loadStep_; }
    float BuildStep() const { return buildStep_; }
    // Blocks decoded (result 0) and failed (result 3) over the last load.
    uint32_t BlocksRead() const { return blocksRead_; }
    uint32_t BlocksFailed() const { return blocksFailed_; }

    // Build side (AuthoringPool_U3D_Build.cpp). Each works on the scene being built.
    bool CreateChildInstancesForNode(Rendering::SceneHandle scene, const AuthorNode& node,
                                     const std::shared_ptr<Rendering::Model>& parentModel);
    std::shared_ptr<Rendering::Model> CreateModelInstance(Rendering::SceneHandle scene, const AuthorNode& node);
    bool CreateCameraInfo(const AuthorNode& viewNode, Rendering::CameraInfo& camera) const;
    bool CreateLightInstance(Rendering::SceneHandle scene, const AuthorNode& lightNode);
    void PrepareLighting(Rendering::SceneHandle scene);

private:
    // Reads a block list in order; returns false when the interrupt flag stopped it.
    bool SweepBlocks(RawDataBlockList& blocks, bool defer, bool progress, RawDataBlockList* deferred);

    // The build in its fixed order of stages, each under a subtimer of its name and each
    // followed by an interrupt check. A stage gives false only when the build cannot go on.
    bool RunBuildStages(Rendering::SceneGraph& scene, Rendering::SceneHandle handle, const Timer& timer);
    bool BuildMaterials(Rendering::SceneGraph& scene);
    bool BuildTextures(Rendering::SceneGraph& scene);
    bool BuildMeshes(Rendering::SceneHandle handle);
    bool BuildModels(Rendering::SceneHandle handle, const std::shared_ptr<Rendering::Model>& rootModel);
    bool BuildCameras(Rendering::SceneCreationInfo& creation) const;
    static bool InitScene(Rendering::SceneGraph& scene, const std::shared_ptr<Rendering::Model>& rootModel,
                          Rendering::SceneCreationInfo& creation);
    bool BuildLights(Rendering::SceneHandle handle);

    // Stages of CreateLightInstance.
    const AuthorLightPool::Entry* FindValidLight(const AuthorNode& lightNode, const std::string& resource) const;
    Matrix4 LightTransform(const Rendering::SceneGraph& graph, const AuthorNode& lightNode) const;
    static void AddLightMarker(Rendering::SceneGraph& graph, Rendering::SceneHandle scene, const AuthorNode& lightNode,
                               const AuthorLightPool::Entry& entry, float scale);
    static bool HangLightMarker(Rendering::SceneGraph& graph, Rendering::SceneHandle scene,
                                const std::shared_ptr<Rendering::Model>& marker, uint32_t lightType);

    bool noCompression_ = false;
    RawDataBlockList chainBlocks_;
    std::unique_ptr<AuthorNodePool> nodePool_;
    std::unique_ptr<AuthorLightPool> lightPool_;
    std::unique_ptr<AuthorMaterialPool> materialPool_;
    std::unique_ptr<AuthorTexturePool> texturePool_;
    std::unique_ptr<AuthorShaderPool> shaderPool_;
    std::unique_ptr<AuthorMeshPool> meshPool_;
    float loadStep_ = 0.0f;
    float buildStep_ = 0.0f;
    uint32_t blocksRead_ = 0;
    uint32_t blocksFailed_ = 0;
    int chainDepth_ = 0;

    // Build state: the first model made for each node name (views find their parents here),
    // and how many models the walk may still make (a tree reached through many parents can
    // multiply far beyond the file's size).
    std::multimap<std::string, std::shared_ptr<Rendering::Model>> modelsByNode_;
    size_t modelBudget_ = 0;
    uint32_t buildDepth_ = 0;
};

}  // namespace Velmora::U3D
