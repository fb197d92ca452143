#pragma once
// Process-wide root of rendering: starts the GL context, measures what the driver can do,
// keeps the list of render views, hands out uniform block binding points and tracks the blend
// mode of the one context. Used on the render thread only.

#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "rendering/BlendMode.h"

namespace Velmora::Rendering {

class RenderView;

struct RendererCreationInfo {
    int32_t glMajor = 0;  // 0, 0: any version from 3.1 up
    int32_t glMinor = 0;
    uint32_t msaaSamples = 0;
    uint32_t csaaSamples = 0;
    bool autoAntiAliasing = false;
    bool useFramebufferObject = true;
    bool verticalSync = false;
};

struct AntiAliasingMode {
    std::string name;
    uint32_t coverageSamples = 0;
    uint32_t colorSamples = 0;
};

class Renderer {
public:
    static Renderer& Instance();

    // The oldest context the renderer runs on.
    static constexpr int32_t kMinimumMajor = 3;
    static constexpr int32_t kMinimumMinor = 1;

    bool Init(const RendererCreationInfo& info);
    void Shutdown();
    bool IsInitialized() const { return initialised_; }

    bool AddRenderView(const std::shared_ptr<RenderView>& view);
    void RemoveRenderView(const std::shared_ptr<RenderView>& view);
    const std::list<std::shared_ptr<RenderView>>& RenderViews() const { return views_; }

    // Draws every registered view in list order; called once per frame by the render thread.
    void RenderAllViews(uint64_t timeMs);

    // One of BlendMode (rendering/BlendMode.h); skipped when the context already has the mode.
    // Blend state belongs to the context, which every drawable shares, so one record serves
    // all of them.
    void SetBlendMode(uint32_t mode);
    // The next SetBlendMode sets the mode whatever the record says: for a view that starts its
    // frame from a known state, after GL calls that did not go through the renderer.
    void ForgetBlendMode() { blendMode_ = kNoBlendMode; }
    void EnableVerticalSync(bool on);

    int32_t GetAvailableUniformBlockBindingPoint();
    void ReleaseBlockBindingPoint(int32_t point);

    // The points every scene's GlobalMatrices and GlobalLights blocks use, taken once at start.
    // A scene binds its own buffers to them just before it is drawn (SceneResources::
    // BindForDrawing), so any number of scenes can be loaded at once. -1 before a good start.
    int32_t MatricesBlockBindingPoint() const { return matricesBlockPoint_; }
    int32_t LightsBlockBindingPoint() const { return lightsBlockPoint_; }

    const std::vector<AntiAliasingMode>& GetAntiAliasingModes() const { return antiAliasingModes_; }
    bool SupportsAntiAliasingMode(uint32_t colorSamples, uint32_t coverageSamples) const;

    bool UseFramebufferObject() const { return useFramebufferObject_; }
    bool VerticalSync() const { return verticalSync_; }
    uint32_t MaxAnisotropy() const { return maxAnisotropy_; }
    uint32_t MaxSamples() const { return maxSamples_; }
    bool HasCoverageSampling() const { return hasCoverageSampling_; }
    int64_t MaxTextureBufferSize() const { return maxTextureBufferSize_; }
    int32_t MaxBindingPoints() const { return maxBindingPoints_; }

    // Frame-rate window kept by the render thread's loop.
    uint64_t windowStart = 0;
    uint64_t windowEnd = 0;
    uint32_t frames = 0;
    double framesPerSecond = 0.0;

    // Context version and shading language version after a good start.
    uint32_t ContextMajor() const;
    uint32_t ContextMinor() const;
    uint32_t ShaderMajor() const;
    uint32_t ShaderMinor() const;

private:
    static constexpr uint32_t kNoBlendMode = 0;

    Renderer() = default;
    bool StartGL(const RendererCreationInfo& info);
    void InitGLStates();
    void EnumerateAntiAliasingModes();
    void AddAntiAliasingMode(uint32_t coverageSamples, uint32_t colorSamples);

    bool initialised_ = false;
    bool useFramebufferObject_ = true;
    bool verticalSync_ = true;
    uint32_t maxAnisotropy_ = 1;
    uint32_t maxSamples_ = 1;
    bool hasCoverageSampling_ = false;
    std::vector<AntiAliasingMode> antiAliasingModes_;
    int64_t maxTextureBufferSize_ = 0;
    std::list<std::shared_ptr<RenderView>> views_;
    std::set<int32_t> usedBindingPoints_;
    int32_t maxBindingPoints_ = 0;
    int32_t matricesBlockPoint_ = -1;
    int32_t lightsBlockPoint_ = -1;
    uint32_t blendMode_ = kNoBlendMode;  // what the context has; kNoBlendMode when unknown
    bool vrActive_ = false;              // read by EnableVerticalSync; nothing sets it
};

}  // namespace Velmora::Rendering
