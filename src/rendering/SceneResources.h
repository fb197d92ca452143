#pragma once
// All GPU state of one scene: the GlobalMatrices uniform block (view and projection), lights,
// lighting schemes, materials, meshes, textures and generated shaders. Each manager knows the
// scene only by its handle.

#include <cstdint>

#include "rendering/LightManager.h"
#include "rendering/LightingSchemeManager.h"
#include "rendering/MaterialManager.h"
#include "rendering/MathUtil.h"
#include "rendering/MeshManager.h"
#include "rendering/TextureManager.h"
#include "rendering/shaders/ShaderManager2.h"

namespace Velmora::Rendering {

class SceneResources {
public:
    explicit SceneResources(SceneHandle handle);
    ~SceneResources();
    SceneResources(const SceneResources&) = delete;
    SceneResources& operator=(const SceneResources&) = delete;

    // Needs a current GL context.
    bool Init();
    void Shutdown();
    // Binds this scene's matrices and lights blocks to the renderer's block points and its
    // material table to the material texture unit. All scenes share those slots of the one
    // context, so a scene's draws must come after this call and before another scene's.
    void BindForDrawing() const;

    void SetViewMatrix(const Mat4& view);
    void SetProjectionMatrix(const Mat4& projection);
    const Mat4& GetViewMatrix() const { return viewMatrix; }
    const Mat4& GetProjectionMatrix() const { return projectionMatrix; }
    uint32_t GetMatricesBindingPoint() const { return matricesBindingPoint; }

    uint32_t matricesBuffer = 0;
    uint32_t matricesBindingPoint = 0;
    Mat4 viewMatrix = MathUtil::Identity4();
    Mat4 projectionMatrix = MathUtil::Identity4();
    LightManager lightManager;
    LightingSchemeManager lightingSchemeManager;
    MaterialManager materialManager;
    MeshManager meshManager;
    TextureManager textureManager;
    ShaderManager2 shaderManager;

private:
    bool initialised_ = false;
};

}  // namespace Velmora::Rendering
