#pragma once
// Root of the scene tree's node family. Every node is drawn through Render in one of two
// passes (opaque, then transparent) and placed by the world matrix of its parent.

#include <cstdint>

#include "rendering/MathUtil.h"

namespace Velmora::Rendering {

using SceneHandle = uint32_t;

class Renderable {
public:
    explicit Renderable(SceneHandle handle) : handle_(handle) {}
    virtual ~Renderable() = default;
    Renderable(const Renderable&) = delete;
    Renderable& operator=(const Renderable&) = delete;

    virtual void Render(float time, float deltaTime, bool transparentPass) = 0;
    virtual void SetParentMatrix(const Mat4& parent) = 0;
    virtual void SetVisible(bool visible) { visible_ = visible; }
    virtual bool IsVisible() const { return visible_; }

    SceneHandle GetSceneHandle() const { return handle_; }

protected:
    SceneHandle handle_;
    bool visible_ = true;
};

}  // namespace Velmora::Rendering
