#pragma once
// The hidden window of a headless capture. It is never shown and gets no events, so it has no
// X window: its drawable is an off-screen surface of the window's size (a pbuffer, or nothing
// on a headless display), and its handle is a pseudo id outside the X id range.

#include "host/windowing/WindowBase.h"

namespace Velmora::Windowing {

class CaptureWindow : public WindowBase {
public:
    static constexpr const char16_t* kClassName = u"CaptureWindowClass";
    static constexpr const char* kWindowName = "CaptureWindow";

    ~CaptureWindow() override;
    bool Create(const CreateInfo& info) override;
    void Destroy() override;
};

}  // namespace Velmora::Windowing
