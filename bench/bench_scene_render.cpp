// Frame cost of a render view on this machine's GL: a lit sphere of one million triangles at
// 1024 x 768, drawn through the view's framebuffer and screen quad (frames per second), and the
// latency of one RenderToMemory of that size (draw plus read-back).

#include <benchmark/benchmark.h>

#include <epoxy/gl.h>

#include <cmath>
#include <memory>
#include <vector>

#include "host/windowing/CaptureWindow.h"
#include "rendering/LightingSchemeManager.h"
#include "rendering/Mesh.h"
#include "rendering/Model.h"
#include "rendering/OpenGLContext.h"
#include "rendering/RenderView.h"
#include "rendering/Renderer.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"

namespace {

using namespace Velmora::Rendering;

constexpr uint32_t kWidth = 1024;
constexpr uint32_t kHeight = 768;
constexpr uint32_t kRings = 500;
constexpr uint32_t kSegments = 1000;  // 2 * rings * segments = 1,000,000 triangles

std::shared_ptr<Mesh> BuildSphere(SceneHandle handle) {
    constexpr uint32_t floats = 10;  // position, normal, diffuse
    std::vector<float> rows;
    rows.reserve(size_t(kRings + 1) * (kSegments + 1) * floats);
    const float pi = 3.14159265358979f;
    for (uint32_t i = 0; i <= kRings; ++i) {
        const float theta = pi * float(i) / float(kRings);
        for (uint32_t j = 0; j <= kSegments; ++j) {
            const float phi = 2.0f * pi * float(j) / float(kSegments);
            const float n[3] = {std::sin(theta) * std::cos(phi), std::cos(theta), std::sin(theta) * std::sin(phi)};
            rows.insert(rows.end(), {n[0], n[1], n[2], n[0], n[1], n[2], 0.8f, 0.8f, 0.8f, 1.0f});
        }
    }
    std::vector<uint32_t> indices;
    indices.reserve(size_t(kRings) * kSegments * 6);
    for (uint32_t i = 0; i < kRings; ++i) {
        for (uint32_t j = 0; j < kSegments; ++j) {
            const uint32_t a = i * (kSegments + 1) + j, b = a + kSegments + 1;
            indices.insert(indices.end(), {a, a + 1, b + 1, a, b + 1, b});
        }
    }
    MeshCreationInfo info;
    info.name = "benchSphere";
    MeshSubObjectData sub;
    sub.attributes = VertexAttribute::Position | VertexAttribute::Normal | VertexAttribute::Diffuse;
    sub.vertices = DataBuffer<float>::Create(uint32_t(rows.size() / floats), floats, rows.data());
    sub.indices = DataBuffer<uint32_t>::Create(uint32_t(indices.size()), 1, indices.data());
    info.subObjects.push_back(sub);
    auto mesh = Mesh::Create(info);
    if (mesh) SceneManager::Instance().GetScene(handle)->GetResources().meshManager.AddMesh(info.name, mesh);
    return mesh;
}

// One view on a hidden capture window showing the sphere under the "Day" scheme; built once.
struct Stage {
    std::unique_ptr<Velmora::Windowing::CaptureWindow> window;
    std::shared_ptr<RenderView> view;
    SceneHandle handle = 0;
    bool ok = false;

    Stage() {
        RendererCreationInfo rendererInfo;
        rendererInfo.verticalSync = false;
        if (!Renderer::Instance().IsInitialized() && !Renderer::Instance().Init(rendererInfo)) return;
        OpenGLContext::Instance().Activate(OpenGLContext::Instance().SharedDC());
        handle = SceneManager::Instance().CreateScene();
        if (handle == 0) return;
        auto root = InvisibleModel::Create(handle, "benchRoot");
        ModelCreationInfo modelInfo;
        modelInfo.name = "sphere";
        modelInfo.mesh = BuildSphere(handle);
        ShaderDescription description;
        description.vertexAttributes = VertexAttribute::Position | VertexAttribute::Normal | VertexAttribute::Diffuse;
        description.flags = ShaderFlags::FrontFaces | ShaderFlags::Lighting;
        description.blendMode = 3;
        modelInfo.shaderDescriptions.push_back(description);
        auto sphere = Model::Create(handle, modelInfo);
        if (!root || !sphere || !root->AddChild(sphere, "")) return;
        root->UpdateWorldMatrix();
        SceneCreationInfo sceneInfo;
        sceneInfo.modelTree = root;
        auto scene = SceneManager::Instance().GetScene(handle);
        if (!scene->Init(sceneInfo)) return;
        scene->GetResources().lightingSchemeManager.ActivateScheme(LightingScheme::Day);

        window = std::make_unique<Velmora::Windowing::CaptureWindow>();
        if (!window->Create({0, int32_t(kWidth), int32_t(kHeight)})) return;
        RenderViewCreationInfo viewInfo;
        viewInfo.name = "bench";
        viewInfo.window = window->GetHandle();
        viewInfo.width = kWidth;
        viewInfo.height = kHeight;
        view = RenderView::Create(viewInfo);
        ok = view && SceneManager::Instance().LinkSceneToRenderView(handle, view.get());
    }
};

Stage& TheStage() {
    static Stage stage;
    return stage;
}

void BM_RenderFrame(benchmark::State& state) {
    Stage& stage = TheStage();
    if (!stage.ok) {
        state.SkipWithError("no GL stage");
        return;
    }
    stage.view->SetFBOAAModeExplicitely(uint32_t(state.range(0)), 0);
    uint64_t time = 1000;
    stage.view->Render(time);
    glFinish();
    for (auto _ : state) {
        time += 16;
        stage.view->Render(time);
        glFinish();  // the frame is done only when the rasteriser has finished it
    }
    state.counters["fps"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["triangles"] = double(2 * kRings * kSegments);
    stage.view->SetFBOAAModeExplicitely(0, 0);
}
BENCHMARK(BM_RenderFrame)->Arg(0)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_RenderToMemory(benchmark::State& state) {
    Stage& stage = TheStage();
    if (!stage.ok) {
        state.SkipWithError("no GL stage");
        return;
    }
    std::vector<uint8_t> pixels;
    uint32_t size = 0;
    stage.view->RenderToMemory(pixels, size, false);
    for (auto _ : state) {
        if (!stage.view->RenderToMemory(pixels, size, state.range(0) != 0))
            state.SkipWithError("RenderToMemory failed");
        benchmark::DoNotOptimize(pixels.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
}
BENCHMARK(BM_RenderToMemory)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

// The read-back alone, to separate it from the draw.
void BM_ReadFramebuffer(benchmark::State& state) {
    Stage& stage = TheStage();
    if (!stage.ok) {
        state.SkipWithError("no GL stage");
        return;
    }
    std::vector<uint8_t> pixels;
    uint32_t size = 0;
    stage.view->RenderToMemory(pixels, size, false);
    for (auto _ : state) {
        stage.view->ReadFramebuffer(pixels, size, false);
        benchmark::DoNotOptimize(pixels.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
}
BENCHMARK(BM_ReadFramebuffer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
