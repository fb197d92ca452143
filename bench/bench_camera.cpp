// Per-frame and per-event costs of the camera and light side: one arcball drag step, one
// frame of the controller with a camera-following light, and a lighting scheme switch.

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

#include "rendering/CameraController.h"
#include "rendering/LightManager.h"
#include "rendering/LightingSchemeManager.h"

namespace {

using namespace Velmora::Rendering;

constexpr SceneHandle kHandle = 7;

class NullElement : public CameraUIElement {
public:
    void SetVisible(bool v) override { visible_ = v; }
    bool IsVisible() const override { return visible_; }
    void SetMatrix(const Mat4& m) override { benchmark::DoNotOptimize(m); }
    void Render(float, float) override {}

private:
    bool visible_ = false;
};

class NullMarker : public LightMarker {
public:
    void SetVisible(bool) override {}
    void UpdateMarker(uint32_t, const Vec4&, const Mat4& placement) override { benchmark::DoNotOptimize(placement); }
};

// A scene without geometry: what remains is the cameras' and lights' own work.
class BenchScene : public CameraScene, public LightScene {
public:
    BenchScene() : lights(kHandle) {
        lights.InitWithoutBuffer();
        CameraInfo info;
        info.type = CameraType::Orbit;
        info.name = kDefaultCameraName;
        info.isDefault = true;
        info.orientation[0] = {-1, 0, 0};
        info.orientation[2] = {0, 0, -1};
        info.eye = {0, 0, 100};
        cameras[info.name] = info;
        CameraSceneLink::Install([](SceneHandle) -> CameraScene* { return Instance(); });
        LightSceneLink::Install([](SceneHandle) -> LightScene* { return Instance(); });
    }
    ~BenchScene() override { lights.Shutdown(); }
    static BenchScene* Instance() {
        static BenchScene scene;
        return &scene;
    }

    const std::map<std::string, CameraInfo>& GetCameras() const override { return cameras; }
    float GetGridSize() const override { return 100.0f; }
    float GetRescaleFactor() const override { return 1.0f; }
    Vec3 GetCenter() const override { return {0, 0, 0}; }
    bool IsRenderable() const override { return true; }
    void WriteViewMatrix(const Mat4& m) override { view = m; }
    void WriteProjectionMatrix(const Mat4& m) override { projection = m; }
    LightManager* GetLightManager() override { return &lights; }
    void RenderPass(ScenePass, float, float) override {}
    std::shared_ptr<CameraUIElement> CreateUIElement(uint32_t, uint32_t, const Vec4&) override {
        return std::make_shared<NullElement>();
    }
    std::shared_ptr<LightMarker> FindLightMarker(const std::string& name) override {
        const auto found = markers.find(name);
        return found == markers.end() ? nullptr : found->second;
    }
    std::shared_ptr<LightMarker> CreateLightMarker(const LightModelCreationInfo& info) override {
        auto marker = std::make_shared<NullMarker>();
        markers[info.name] = marker;
        return marker;
    }
    bool AddLightMarker(const std::shared_ptr<LightMarker>&) override { return true; }

    LightManager lights;
    std::map<std::string, CameraInfo> cameras;
    std::map<std::string, std::shared_ptr<LightMarker>> markers;
    Mat4 view{}, projection{};
};

void BM_OrbitDragStep(benchmark::State& state) {
    BenchScene::Instance();
    CameraController controller;
    controller.OnViewportChanged({0, 0, 1280, 720});
    controller.OnSceneGraphSet(kHandle);
    controller.OnPrimaryDown(640, 360);
    int32_t x = 640;
    for (auto _ : state) {
        x = x >= 900 ? 400 : x + 3;
        controller.OnPrimaryMove(x, 360 + (x & 15));
    }
    controller.OnPrimaryUp();
    benchmark::DoNotOptimize(BenchScene::Instance()->view);
}
BENCHMARK(BM_OrbitDragStep);

void BM_ControllerFrameWithHeadlamp(benchmark::State& state) {
    BenchScene* scene = BenchScene::Instance();
    CameraController controller;
    controller.OnViewportChanged({0, 0, 1280, 720});
    controller.OnSceneGraphSet(kHandle);
    LightingSchemeManager schemes(kHandle);
    schemes.ActivateScheme(LightingScheme::Headlamp);
    controller.Zoom(-0.1f);  // keeps the camera travelling
    float t = 0.0f;
    for (auto _ : state) {
        scene->lights.MarkCameraAttachedDirty();
        controller.Render(false, *scene, t, 0.0001f);
        t += 0.0001f;
    }
    benchmark::DoNotOptimize(scene->lights.GetBlock());
}
BENCHMARK(BM_ControllerFrameWithHeadlamp);

void BM_LightingSchemeSwitch(benchmark::State& state) {
    BenchScene* scene = BenchScene::Instance();
    LightingSchemeManager schemes(kHandle);
    uint32_t id = LightingScheme::CAD;
    for (auto _ : state) {
        id = id == LightingScheme::CAD ? LightingScheme::Cube : LightingScheme::CAD;
        schemes.ActivateScheme(id);
    }
    benchmark::DoNotOptimize(scene->lights.GetBlock());
}
BENCHMARK(BM_LightingSchemeSwitch);

}  // namespace

BENCHMARK_MAIN();
