#pragma once
// Turns mouse events of a window into camera actions on the render thread. The window side
// (OnMouseButton, OnMouseMove, OnMouseWheel) only records what happened in a pending record
// under a lock; Process, once per frame on the render thread, takes that record and drives
// the camera through an InputTarget.

#include <cstdint>
#include <mutex>

#include "rendering/InputTarget.h"

namespace Velmora::Windowing {

using Rendering::InputTarget;

class InputHandler {
public:
    // Bits of the pending record.
    enum PendingFlag : uint32_t {
        kPrimaryPressed = 1u << 0,
        kPrimaryMove = 1u << 1,
        kPrimaryReleased = 1u << 2,
        kSecondaryPressed = 1u << 3,
        kSecondaryMove = 1u << 4,
        kSecondaryReleased = 1u << 5,
        kWheel = 1u << 6,
    };
    struct Pending {
        int32_t wheelDelta = 0;
        int32_t x = 0;
        int32_t y = 0;
        uint32_t flags = 0;
    };

    // Wheel steps: a tenth of the scale or distance per notch, a hundredth in fine mode.
    static constexpr float kWheelStep = 0.1f;
    static constexpr float kFineWheelStep = 0.01f;

    InputHandler(InputTarget* target, uint32_t threadId) : target_(target), threadId_(threadId) {}

    // Window side. button: 0 primary (left), 1 secondary (right), 2 middle (ignored).
    void OnMouseButton(uint32_t button, bool down, int32_t x, int32_t y);
    void OnMouseMove(int32_t x, int32_t y);
    void OnMouseWheel(int32_t delta);

    // Render thread, once per frame.
    void Process();

    void SetFineZoom(bool on) { fineZoom_ = on; }
    uint32_t ThreadId() const { return threadId_; }
    // A copy of the record not yet processed (for inspection).
    Pending PeekPending() const;

private:
    InputTarget* target_;
    uint32_t threadId_;
    bool fineZoom_ = false;
    bool primaryDown_ = false;
    bool secondaryDown_ = false;
    int32_t anchorX_ = 0;
    int32_t anchorY_ = 0;
    bool dragging_ = false;
    mutable std::mutex lock_;
    Pending pending_;

    // Render side: which navigation runs.
    bool dragActive_ = false;
    bool panActive_ = false;
    int32_t panAnchorX_ = 0;
    int32_t panAnchorY_ = 0;
};

}  // namespace Velmora::Windowing
