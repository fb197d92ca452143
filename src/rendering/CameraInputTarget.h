#pragma once
// The camera side of window navigation: turns its steps into the actions of a view's
// CameraController and remembers that the picture needs drawing again.

#include <cstdint>

#include "rendering/CameraController.h"
#include "rendering/InputTarget.h"

namespace Velmora::Rendering {

class CameraInputTarget : public InputTarget {
public:
    explicit CameraInputTarget(CameraController& controller) : controller_(controller) {}

    bool CanNavigate() const override;
    void Zoom(float step) override;
    void BeginDrag(int32_t x, int32_t y) override;
    void Drag(int32_t x, int32_t y) override;
    void EndDrag() override;
    void Pan(int32_t dx, int32_t dy) override;

    // True once after any step that may have moved the camera.
    bool TakeChanged() {
        const bool changed = changed_;
        changed_ = false;
        return changed;
    }

private:
    CameraController& controller_;
    bool changed_ = false;
};

}  // namespace Velmora::Rendering
