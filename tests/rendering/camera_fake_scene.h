#pragma once
// A scene double for the camera and light tests: it answers both scene lookups for one
// handle, records what the cameras write and draw, and holds a CPU-only LightManager.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rendering/CameraSceneLink.h"
#include "rendering/LightManager.h"
#include "rendering/LightSceneLink.h"

// Kept in their own namespace: other rendering suites of this program have helpers of
// similar names.
namespace kestrum_test::cam {

using namespace Velmora::Rendering;

class FakeUIElement : public CameraUIElement {
public:
    void SetVisible(bool v) override { visible = v; }
    bool IsVisible() const override { return visible; }
    void SetMatrix(const Mat4& m) override { matrix = m; }
    void Render(float, float) override { ++renders; }
    bool visible = true;
    Mat4 matrix = MathUtil::Identity4();
    int renders = 0;
};

class FakeMarker : public LightMarker {
public:
    explicit FakeMarker(LightModelCreationInfo i) : info(std::move(i)), visible(info.visible) {}
    void SetVisible(bool v) override { visible = v; }
    void UpdateMarker(uint32_t type, const Vec4& c, const Mat4& p) override {
        lightType = type;
        color = c;
        placement = p;
        ++updates;
    }
    LightModelCreationInfo info;
    bool visible = false;
    uint32_t lightType = 0;
    Vec4 color{};
    Mat4 placement = MathUtil::Identity4();
    int updates = 0;
};

class FakeScene : public CameraScene, public LightScene {
public:
    explicit FakeScene(SceneHandle h) : handle(h), lights(h) {
        Registry()[h] = this;
        previousCameraLookup_ = CameraSceneLink::Installed();
        previousLightLookup_ = LightSceneLink::Installed();
        CameraSceneLink::Install(&FindCamera);
        LightSceneLink::Install(&FindLight);
        lights.InitWithoutBuffer();
    }
    ~FakeScene() override {
        Registry().erase(handle);
        lights.Shutdown();
        // Other suites in this program may rely on the real scene registry's lookups.
        CameraSceneLink::Install(previousCameraLookup_);
        LightSceneLink::Install(previousLightLookup_);
    }

    // Adds the camera a scene of this size builds for itself.
    void AddDefaultCamera() {
        CameraInfo info;
        info.type = CameraType::Orbit;
        info.name = kDefaultCameraName;
        info.isDefault = true;
        info.nearClip = gridSize * 0.0001f;
        info.farClip = gridSize * 100.0f;
        info.orientation[0] = {-1.0f, 0.0f, 0.0f};
        info.orientation[1] = {0.0f, 1.0f, 0.0f};
        info.orientation[2] = {0.0f, 0.0f, -1.0f};
        const float distance = (maxDimension + maxDimension) / rescale;
        info.target = {center[0] / rescale, center[1] / rescale, center[2] / rescale};
        info.eye = MathUtil::Sub(info.target, MathUtil::Mul(info.orientation[2], distance));
        cameras[info.name] = info;
    }

    // CameraScene
    const std::map<std::string, CameraInfo>& GetCameras() const override { return cameras; }
    float GetGridSize() const override { return gridSize; }
    float GetRescaleFactor() const override { return rescale; }
    Vec3 GetCenter() const override { return center; }
    bool IsRenderable() const override { return renderable; }
    void WriteViewMatrix(const Mat4& m) override {
        view = m;
        ++viewWrites;
    }
    void WriteProjectionMatrix(const Mat4& m) override {
        projection = m;
        ++projectionWrites;
    }
    LightManager* GetLightManager() override { return &lights; }
    void RenderPass(ScenePass pass, float, float delta) override {
        passes.push_back(pass);
        passDeltas.push_back(delta);
    }
    std::shared_ptr<CameraUIElement> CreateUIElement(uint32_t, uint32_t, const Vec4&) override {
        auto element = std::make_shared<FakeUIElement>();
        uiElements.push_back(element);
        return element;
    }

    // LightScene
    std::shared_ptr<LightMarker> FindLightMarker(const std::string& name) override {
        const auto found = markers.find(name);
        return found == markers.end() ? nullptr : found->second;
    }
    std::shared_ptr<LightMarker> CreateLightMarker(const LightModelCreationInfo& info) override {
        return std::make_shared<FakeMarker>(info);
    }
    bool AddLightMarker(const std::shared_ptr<LightMarker>& marker) override {
        auto fake = std::static_pointer_cast<FakeMarker>(marker);
        markers[fake->info.name] = fake;
        return true;
    }

    SceneHandle handle;
    LightManager lights;
    std::map<std::string, CameraInfo> cameras;
    float gridSize = 100.0f;
    float maxDimension = 50.0f;
    float rescale = 1.0f;
    Vec3 center{0.0f, 0.0f, 0.0f};
    bool renderable = true;
    Mat4 view = MathUtil::Identity4();
    Mat4 projection = MathUtil::Identity4();
    int viewWrites = 0;
    int projectionWrites = 0;
    std::vector<ScenePass> passes;
    std::vector<float> passDeltas;
    std::vector<std::shared_ptr<FakeUIElement>> uiElements;
    std::map<std::string, std::shared_ptr<FakeMarker>> markers;

private:
    CameraSceneLink::Lookup previousCameraLookup_ = nullptr;
    LightSceneLink::Lookup previousLightLookup_ = nullptr;

    static std::map<SceneHandle, FakeScene*>& Registry() {
        static std::map<SceneHandle, FakeScene*> registry;
        return registry;
    }
    static CameraScene* FindCamera(SceneHandle h) {
        const auto found = Registry().find(h);
        return found == Registry().end() ? nullptr : found->second;
    }
    static LightScene* FindLight(SceneHandle h) {
        const auto found = Registry().find(h);
        return found == Registry().end() ? nullptr : found->second;
    }
};

// Clip-space position of a world point.
inline Vec4 ToClip(const Mat4& projection, const Mat4& view, const Vec3& p) {
    return MathUtil::Transform(MathUtil::Multiply(projection, view), {p[0], p[1], p[2], 1.0f});
}

}  // namespace kestrum_test::cam
