#pragma once
// Process-wide root of rendering. Used on the render thread only.
// (Provisional: initialises without a GL context until the context layer lands.)

#include <cstdint>

namespace Velmora::Rendering {

struct RendererCreationInfo {
    int32_t glMajor = 0;  // 0, 0: any version from 3.1 up
    int32_t glMinor = 0;
    uint32_t msaaSamples = 0;
    uint32_t csaaSamples = 0;
    bool autoAntiAliasing = false;
    bool useFramebufferObject = true;
    bool verticalSync = false;
};

class Renderer {
public:
    static Renderer& Instance();

    bool Init(const RendererCreationInfo& info);
    void Shutdown();
    bool IsInitialized() const { return initialised_; }

    // Draws every registered view; called once per frame by the render thread.
    void RenderAllViews(uint64_t timeMs);

    // Frame-rate window kept by the render thread's loop.
    uint64_t windowStart = 0;
    uint64_t windowEnd = 0;
    uint32_t frames = 0;
    double framesPerSecond = 0.0;

    // Context version and shading language version after a good start.
    uint32_t ContextMajor() const { return contextMajor_; }
    uint32_t ContextMinor() const { return contextMinor_; }
    uint32_t ShaderMajor() const { return shaderMajor_; }
    uint32_t ShaderMinor() const { return shaderMinor_; }

private:
    Renderer() = default;
    bool initialised_ = false;
    uint32_t contextMajor_ = 0, contextMinor_ = 0, shaderMajor_ = 0, shaderMinor_ = 0;
};

}  // namespace Velmora::Rendering
