#pragma once
// Nodes of the scene tree: Model draws one mesh with per-sub-object shading and owns its
// children; InvisibleModel is a group node; SimpleModel is a helper that draws one mesh with a
// fixed local matrix and no children (axes, grids, boxes, overlays).
//
// Children are kept in a map ordered by name: that order is the drawing order, and a second
// child of the same name is dropped. Matrices are column major; a node's local matrix is
// Translation * Rotation * Scale, decomposed from whatever matrix it was given, so shear is lost.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/Mesh.h"
#include "rendering/MeshRenderInfo.h"
#include "rendering/Renderable.h"
#include "rendering/SceneBoundingBox.h"
#include "rendering/shaders/ShaderDescription.h"

namespace Velmora::Rendering {

class DynamicShader;
class SimpleModel;

struct ModelCreationInfo {
    std::string name;
    std::shared_ptr<Mesh> mesh;
    bool addBoundingBox = false;
    bool boundingBoxVisible = false;
    bool addAxis = false;
    bool axisVisible = false;
    std::vector<ShaderDescription> shaderDescriptions;  // one per sub-object of the mesh
};

struct ShaderSet {
    std::shared_ptr<DynamicShader> front, back, frontAndBack;
};

namespace AnimationFlags {
inline constexpr uint32_t Translate = 1;
inline constexpr uint32_t Rotate = 2;
inline constexpr uint32_t Scale = 4;
}  // namespace AnimationFlags

class Model : public Renderable {
public:
    static std::shared_ptr<Model> Create(SceneHandle handle, const ModelCreationInfo& info);
    ~Model() override;

    void Render(float time, float deltaTime, bool transparentPass) override;
    void SetParentMatrix(const Mat4& parent) override;

    bool AddChild(std::shared_ptr<Model> child, const std::string& parentName);
    std::shared_ptr<Model> FindChild(const std::string& name) const;
    uint32_t CountChildren() const;
    void ClearChildren();
    const std::map<std::string, std::shared_ptr<Model>>& GetChildren() const { return children_; }

    void CalculateBoundingBox(SceneBoundingBox& box) const;
    void AddBoundingBoxAndAxis(const SceneBoundingBox& box);
    // Bit 0 acts on this model's box, bit 1 passes the setting to all children with mask 3.
    void SetBoundingBoxVisible(bool visible, uint32_t mask);
    // The same setting for every direct child (and, with bit 1, their subtrees), as the
    // render proxy applies it to a node's children.
    void SetChildrenBoundingBoxVisible(bool visible, uint32_t mask);

    void SetMaterial(uint32_t subObject, uint32_t materialIndex);
    void SetTexture(uint32_t subObject, uint32_t layer, uint32_t textureId);

    void SetMatrix(const Mat4& matrix);
    void UpdateWorldMatrix();

    void SetTranslation(const Vec3& translation) {
        translation_ = translation;
        dirty_ = true;
    }
    const Vec3& GetTranslation() const { return translation_; }
    void SetScale(const Vec3& scale) {
        scale_ = scale;
        dirty_ = true;
    }
    const Vec3& GetScale() const { return scale_; }
    const Mat4& GetRotation() const { return rotation_; }
    const Mat4& GetWorldMatrix() const { return renderInfo_.modelMatrix; }
    bool IsDirty() const { return dirty_; }

    void SetAnimation(uint32_t flags, const Vec3& translationSpeed, const Vec3& rotationSpeed, const Vec3& scaleSpeed,
                      bool inLocalSpace);

    void SetTransparent(bool transparent) { transparent_ = transparent; }
    bool IsTransparent() const { return transparent_; }

    const std::string& GetName() const { return name_; }
    const std::shared_ptr<Mesh>& GetMesh() const { return mesh_; }
    RenderInfo& GetRenderInfo() { return renderInfo_; }
    const RenderInfo& GetRenderInfo() const { return renderInfo_; }
    const std::vector<ShaderDescription>& GetShaderDescriptions() const { return descriptions_; }
    int32_t GetFaceVisibility() const { return faceVisibility_; }
    const std::shared_ptr<SimpleModel>& GetBoundingBoxModel() const { return boundingBox_; }
    const std::shared_ptr<SimpleModel>& GetAxisModel() const { return axis_; }

protected:
    Model(SceneHandle handle, std::string name, std::shared_ptr<Mesh> mesh, int32_t faceVisibility);

    bool Init(const ModelCreationInfo& info);
    bool CreateModel(int32_t visibility);
    bool PickShaders();
    void Update(float deltaTime);
    void RenderHelpers(float time, float deltaTime);
    bool MakeHelpers(const SceneBoundingBox& box, bool addBox, bool boxVisible, bool addAxis, bool axisVisible);

    std::string name_;
    std::shared_ptr<Mesh> mesh_;
    std::map<std::string, std::shared_ptr<Model>> children_;
    bool dirty_ = true;
    RenderInfo renderInfo_;
    std::shared_ptr<SimpleModel> boundingBox_;
    std::shared_ptr<SimpleModel> axis_;
    Mat4 parentMatrix_ = MathUtil::Identity4();
    Vec3 translation_{0.0f, 0.0f, 0.0f};
    Vec3 scale_{1.0f, 1.0f, 1.0f};
    Mat4 rotation_ = MathUtil::Identity4();
    Mat4 localMatrix_ = MathUtil::Identity4();
    bool animateInLocalSpace_ = true;
    Vec3 translationSpeed_{0.0f, 0.0f, 0.0f};
    Vec3 rotationSpeed_{0.0f, 0.0f, 0.0f};
    Vec3 scaleSpeed_{0.0f, 0.0f, 0.0f};
    uint32_t animationFlags_ = 0;
    int32_t faceVisibility_ = 1;
    std::vector<ShaderSet> shaderSets_;
    std::vector<ShaderDescription> descriptions_;
    bool transparent_ = false;
};

// A group node: no geometry, and it cannot be hidden (hiding is done on the leaves).
class InvisibleModel : public Model {
public:
    static std::shared_ptr<InvisibleModel> Create(SceneHandle handle, const std::string& name);

    void Render(float time, float deltaTime, bool transparentPass) override;
    void SetVisible(bool) override {}

protected:
    InvisibleModel(SceneHandle handle, const std::string& name);
};

class SimpleModel : public Renderable {
public:
    static std::shared_ptr<SimpleModel> Create(SceneHandle handle, std::shared_ptr<Mesh> mesh, const Mat4& localMatrix,
                                               bool visible, const ShaderDescription& description);
    ~SimpleModel() override;

    void Render(float time, float deltaTime, bool transparentPass) override;
    void SetParentMatrix(const Mat4& parent) override;

    void SetLocalMatrix(const Mat4& matrix);
    void SetMeshColor(const Vec4& color) { renderInfo_.meshColor = color; }
    RenderInfo& GetRenderInfo() { return renderInfo_; }
    const std::shared_ptr<Mesh>& GetMesh() const { return mesh_; }

private:
    SimpleModel(SceneHandle handle, std::shared_ptr<Mesh> mesh, const Mat4& localMatrix);

    std::shared_ptr<Mesh> mesh_;
    Mat4 localMatrix_;
    RenderInfo renderInfo_;
};

}  // namespace Velmora::Rendering
