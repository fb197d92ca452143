#pragma once
// DynamicShader: one generated GLSL program. Init assembles the stage sources from the
// description (ShaderSourceGenerator), compiles them through the scene's ShaderManager2, links,
// binds the uniform blocks and reads every location once. Activate sets the per-draw state.
//
// The object deletes its program when it goes; that takes the context it was made in.

#include <cstdint>
#include <string>
#include <vector>

#include "rendering/MeshRenderInfo.h"
#include "rendering/shaders/ShaderDescription.h"
#include "rendering/shaders/ShaderSceneLink.h"

namespace Velmora::Rendering {

class ShaderManager2;

class DynamicShader {
public:
    DynamicShader(ShaderManager2* manager, SceneHandle scene, std::string name, const ShaderDescription& description);
    ~DynamicShader();
    DynamicShader(const DynamicShader&) = delete;
    DynamicShader& operator=(const DynamicShader&) = delete;

    bool Init();

    // Uses the program and sets the state of sub-object subObject of info.
    void Activate(const RenderInfo& info, uint32_t subObject);

    // Points the attributes of the currently bound VAO and VBO at this program's inputs.
    bool InitVAOAttributes();

    // -1 (and a log line) when the program lacks the name.
    int32_t GetUniformLocation(const char* name) const;
    int32_t GetAttributeLocation(const char* name) const;

    struct Locations {
        int32_t vertexPos = -1;
        int32_t vertexNormal = -1;
        int32_t vertexDiffuse = -1;
        int32_t vertexSpecular = -1;
        int32_t vertexTexCoord[kMaxTextureLayers] = {-1, -1, -1, -1, -1, -1, -1, -1};
        int32_t modelMatrix = -1;
        int32_t normalMatrix = -1;
        int32_t meshColor = -1;
        int32_t matSampler = -1;
        int32_t materialIndex = -1;
        int32_t texSampler[kMaxTextureLayers] = {-1, -1, -1, -1, -1, -1, -1, -1};
        int32_t blendingConstant[kMaxTextureLayers] = {-1, -1, -1, -1, -1, -1, -1, -1};
        int32_t texIntensity[kMaxTextureLayers] = {-1, -1, -1, -1, -1, -1, -1, -1};
        int32_t alphaTestReference = -1;
    };

    const std::string& GetName() const { return name_; }
    bool IsInitialized() const { return initialised_; }
    uint32_t GetProgram() const { return program_; }
    const Locations& GetLocations() const { return locations_; }
    uint32_t GetMatricesBindingPoint() const { return matricesBinding_; }

    // Texture unit of the material table (a buffer texture).
    static constexpr int32_t kMaterialTextureUnit = 8;

private:
    bool CreateStages(uint32_t lightingModel);
    bool CreateProgram();
    bool BindBlock(const char* block, uint32_t bindingPoint);
    void ReadLocations();

    ShaderManager2* manager_;
    SceneHandle scene_;
    std::string name_;
    ShaderDescription description_;
    bool initialised_ = false;
    std::vector<uint32_t> stages_;
    uint32_t program_ = 0;
    Locations locations_;
    bool blockBindingsDone_ = false;
    uint32_t matricesBinding_ = 0;
    uint32_t lightsBinding_ = 0;
};

}  // namespace Velmora::Rendering
