#include "host/windowing/InputHandler.h"

#include <cstdlib>

namespace Velmora::Windowing {

void InputHandler::OnMouseButton(uint32_t button, bool down, int32_t x, int32_t y) {
    if (button > 1) return;
    const bool primary = button == 0;
    (primary ? primaryDown_ : secondaryDown_) = down;
    // A drag of one button shuts out the other until it ends.
    if (primary ? secondaryDown_ : primaryDown_) return;
    if (down) {
        anchorX_ = x;
        anchorY_ = y;
        dragging_ = true;
        std::lock_guard<std::mutex> lock(lock_);
        pending_.flags |= primary ? kPrimaryPressed : kSecondaryPressed;
        pending_.x = x;
        pending_.y = y;
    } else {
        dragging_ = false;
        std::lock_guard<std::mutex> lock(lock_);
        pending_.flags |= primary ? kPrimaryReleased : kSecondaryReleased;
    }
}

void InputHandler::OnMouseMove(int32_t x, int32_t y) {
    if (!(primaryDown_ || secondaryDown_) || !dragging_) return;
    if (fineZoom_) {
        // Fine mode holds the move to its dominant axis.
        if (std::abs(x - anchorX_) < std::abs(y - anchorY_))
            x = anchorX_;
        else
            y = anchorY_;
    }
    if (primaryDown_ && secondaryDown_) return;
    std::lock_guard<std::mutex> lock(lock_);
    pending_.flags |= primaryDown_ ? kPrimaryMove : kSecondaryMove;
    pending_.x = x;
    pending_.y = y;
}

void InputHandler::OnMouseWheel(int32_t delta) {
    std::lock_guard<std::mutex> lock(lock_);
    pending_.flags |= kWheel;
    pending_.wheelDelta = delta;
}

InputHandler::Pending InputHandler::PeekPending() const {
    std::lock_guard<std::mutex> lock(lock_);
    return pending_;
}

void InputHandler::Process() {
    Pending work;
    {
        std::lock_guard<std::mutex> lock(lock_);
        work = pending_;
        pending_.flags = 0;
    }
    if (work.flags == 0 || !target_ || !target_->CanNavigate()) return;

    if (work.flags & kWheel) {
        float step = fineZoom_ ? kFineWheelStep : kWheelStep;
        // Wheel away from the user (positive) brings the camera closer.
        if (work.wheelDelta >= 0) step = -step;
        target_->Zoom(step);
    }

    if (!panActive_) {
        if ((work.flags & kPrimaryReleased) && dragActive_) {
            target_->EndDrag();
            dragActive_ = false;
        }
        if ((work.flags & kPrimaryMove) && dragActive_) target_->Drag(work.x, work.y);
        if (work.flags & kPrimaryPressed) {
            target_->BeginDrag(work.x, work.y);
            dragActive_ = true;
        }
    }

    if (!dragActive_) {
        if (work.flags & kSecondaryReleased) panActive_ = false;
        if ((work.flags & kSecondaryMove) && panActive_) {
            target_->Pan(work.x - panAnchorX_, work.y - panAnchorY_);
            panAnchorX_ = work.x;
            panAnchorY_ = work.y;
        }
        if (work.flags & kSecondaryPressed) {
            panAnchorX_ = work.x;
            panAnchorY_ = work.y;
            panActive_ = true;
        }
    }
}

}  // namespace Velmora::Windowing
