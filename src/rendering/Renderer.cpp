#include "rendering/Renderer.h"

#include "util/Logger.h"

namespace Velmora::Rendering {

using Utility::Logger;

Renderer& Renderer::Instance() {
    static Renderer renderer;
    return renderer;
}

bool Renderer::Init(const RendererCreationInfo&) {
    Logger::Log(4, "Initializing renderer... ");
    if (initialised_) {
        Logger::Log(1, "Renderer already initialized...");
        return false;
    }
    initialised_ = true;
    return true;
}

void Renderer::Shutdown() {
    Logger::Log(4, "Shutting down renderer");
    initialised_ = false;
}

void Renderer::RenderAllViews(uint64_t) {}

}  // namespace Velmora::Rendering
