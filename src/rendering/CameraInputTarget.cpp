#include "rendering/CameraInputTarget.h"

namespace Velmora::Rendering {

bool CameraInputTarget::CanNavigate() const { return controller_.HasActiveCamera(); }

void CameraInputTarget::Zoom(float step) {
    controller_.Zoom(step);
    changed_ = true;
}

void CameraInputTarget::BeginDrag(int32_t x, int32_t y) {
    controller_.OnPrimaryDown(x, y);
    changed_ = true;  // the rotation sphere appears
}

void CameraInputTarget::Drag(int32_t x, int32_t y) {
    controller_.OnPrimaryMove(x, y);
    changed_ = true;
}

void CameraInputTarget::EndDrag() {
    controller_.OnPrimaryUp();
    changed_ = true;  // the rotation sphere goes
}

void CameraInputTarget::Pan(int32_t dx, int32_t dy) {
    controller_.PanBy(static_cast<float>(dx), static_cast<float>(dy));
    changed_ = true;
}

}  // namespace Velmora::Rendering
