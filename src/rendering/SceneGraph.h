#pragma once
// One loaded document as the renderer holds it: a model tree under two invisible roots
// ("root" with "lights" below it), the world helpers (axis, grid, grid axis), the document's
// cameras and the GPU resources of the scene. Built by an authoring pool, completed once by
// Init, which measures the scene, brings its size into range and centres it at the origin.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/CameraInfo.h"
#include "rendering/CameraSceneLink.h"
#include "rendering/LightSceneLink.h"
#include "rendering/Model.h"
#include "rendering/SceneBoundingBox.h"
#include "rendering/SceneResources.h"

namespace Velmora::Rendering {

struct SceneCreationInfo {
    std::shared_ptr<Model> modelTree;
    std::vector<CameraInfo> cameras;
    bool axisVisible = true;
    bool gridVisible = true;
    bool createDefaultCamera = true;
    uint32_t lightingModel = 1;
};

class SceneGraph : public CameraScene, public LightScene {
public:
    explicit SceneGraph(SceneHandle handle);
    ~SceneGraph() override;
    SceneGraph(const SceneGraph&) = delete;
    SceneGraph& operator=(const SceneGraph&) = delete;

    bool Init(const SceneCreationInfo& info);
    void Shutdown();

    bool AddCamera(const CameraInfo& info);
    bool RemoveCamera(const std::string& name);
    bool AddLightModel(std::shared_ptr<Model> model);
    std::shared_ptr<Model> FindLightModel(const std::string& name) const;
    void SetHelperVisibility();
    void SetAxisVisible(bool visible) {
        axisVisible_ = visible;
        SetHelperVisibility();
    }
    void SetGridVisible(bool visible) {
        gridVisible_ = visible;
        SetHelperVisibility();
    }
    uint32_t CountModels() const;

    SceneHandle GetHandle() const { return handle_; }
    SceneResources& GetResources() { return resources_; }
    const SceneResources& GetResources() const { return resources_; }
    const std::shared_ptr<Model>& GetRootModel() const { return rootModel_; }
    const std::shared_ptr<Model>& GetModelTree() const { return modelTree_; }
    const std::shared_ptr<Model>& GetLightModelTree() const { return lightModelTree_; }
    const SceneBoundingBox& GetBoundingBox() const { return boundingBox_; }
    float GetMaxDimension() const { return maxDimension_; }
    uint32_t GetLightingModel() const { return lightingModel_; }
    bool IsVisible() const { return visible_; }
    void SetVisible(bool visible) { visible_ = visible; }
    bool IsAxisVisible() const { return axisVisible_; }
    bool IsGridVisible() const { return gridVisible_; }
    const std::shared_ptr<SimpleModel>& GetWorldAxis() const { return worldAxis_; }
    const std::shared_ptr<SimpleModel>& GetWorldGrid() const { return worldGrid_; }
    const std::shared_ptr<SimpleModel>& GetWorldGridAxis() const { return worldGridAxis_; }

    // The grid size for a scene of largest extent d: the next power of ten above it.
    static float GridSizeFor(float maxDimension);

    // CameraScene
    const std::map<std::string, CameraInfo>& GetCameras() const override { return cameras_; }
    // The cameras as the document (and the built-in camera) brought them, before any view
    // replaced one: views start from these records, so applying a view twice gives one result.
    const std::map<std::string, CameraInfo>& GetViewNodeCameras() const { return viewNodeCameras_; }
    float GetGridSize() const override { return gridSize_; }
    float GetRescaleFactor() const override { return rescaleFactor_; }
    Vec3 GetCenter() const override { return center_; }
    bool IsRenderable() const override { return visible_ && rootModel_ != nullptr; }
    void WriteViewMatrix(const Mat4& view) override { resources_.SetViewMatrix(view); }
    void WriteProjectionMatrix(const Mat4& projection) override { resources_.SetProjectionMatrix(projection); }
    LightManager* GetLightManager() override { return &resources_.lightManager; }
    void RenderPass(ScenePass pass, float time, float deltaTime) override;
    std::shared_ptr<CameraUIElement> CreateUIElement(uint32_t meshType, uint32_t shaderFlags,
                                                     const Vec4& color) override;

    // LightScene
    std::shared_ptr<LightMarker> FindLightMarker(const std::string& name) override;
    std::shared_ptr<LightMarker> CreateLightMarker(const LightModelCreationInfo& info) override;
    bool AddLightMarker(const std::shared_ptr<LightMarker>& marker) override;

private:
    bool CalculateSceneDimensions();
    bool CreateHelperModels();
    bool CreateDefaultCamera();
    bool CreateSceneCameras(const std::vector<CameraInfo>& cameras);

    SceneHandle handle_;
    SceneResources resources_;
    bool visible_ = true;
    std::shared_ptr<Model> rootModel_;
    std::shared_ptr<Model> modelTree_;
    std::shared_ptr<Model> lightModelTree_;
    std::shared_ptr<SimpleModel> worldAxis_, worldGrid_, worldGridAxis_;
    bool axisVisible_ = true;
    bool gridVisible_ = true;
    float gridSize_ = 0.0f;
    std::map<std::string, CameraInfo> cameras_;
    std::map<std::string, CameraInfo> viewNodeCameras_;
    SceneBoundingBox boundingBox_;
    Vec3 center_{0.0f, 0.0f, 0.0f};
    float maxDimension_ = 0.0f;
    float rescaleFactor_ = 1.0f;
    uint32_t lightingModel_ = 1;
};

}  // namespace Velmora::Rendering
