#pragma once
// What the renderer needs of a render target: a name that is unique among the registered
// views, the drawable it presents to, and its per-frame draw.

#include <cstdint>
#include <string>

#include "rendering/DeviceContext.h"

namespace Velmora::Rendering {

class RenderView {
public:
    virtual ~RenderView() = default;
    virtual void Render(uint64_t timeMs) = 0;
    virtual const std::string& GetName() const = 0;
    virtual DeviceContext* GetDC() const = 0;

    // The scene shown, by handle (0: none). The scene registry links and unlinks views.
    virtual uint32_t GetSceneHandle() const { return 0; }
    virtual void SetSceneGraph(uint32_t) {}
    virtual void ClearSceneGraph() {}
};

}  // namespace Velmora::Rendering
