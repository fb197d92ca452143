#pragma once
// The drawable marker of one light: a point marker, a ray, or both plus a cone for a spot.
// It hangs in the scene's light tree and is placed by its local matrix.

#include <memory>

#include "rendering/LightInfo.h"
#include "rendering/LightSceneLink.h"
#include "rendering/Model.h"

namespace Velmora::Rendering {

class LightModel : public Model, public LightMarker {
public:
    static std::shared_ptr<LightModel> Create(SceneHandle handle, const LightModelCreationInfo& info);
    ~LightModel() override;

    void Render(float time, float deltaTime, bool transparentPass) override;

    // LightMarker
    void SetVisible(bool visible) override { Model::SetVisible(visible); }
    void UpdateMarker(uint32_t lightType, const Vec4& color, const Mat4& placement) override;

    bool IsVisible() const override { return Model::IsVisible(); }
    uint32_t GetLightType() const { return lightType_; }
    bool IsActive() const { return active_; }

private:
    LightModel(SceneHandle handle, const LightModelCreationInfo& info);
    bool CreateMeshes();
    void DrawMarker(const std::shared_ptr<Mesh>& mesh, float time);

    bool active_ = false;
    uint32_t lightType_ = LightType::Directional;
    std::shared_ptr<Mesh> pointMesh_, rayMesh_, spotMesh_;
};

}  // namespace Velmora::Rendering
