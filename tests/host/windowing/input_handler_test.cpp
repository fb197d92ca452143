// The input handler's pending record (window side) and its per-frame processing (render side).

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/windowing/InputHandler.h"

namespace {

using Velmora::Windowing::InputHandler;
using Velmora::Windowing::InputTarget;

class RecordingTarget : public InputTarget {
public:
    bool CanNavigate() const override { return navigable; }
    void Zoom(float step) override { calls.push_back("zoom " + std::to_string(step)); }
    void BeginDrag(int32_t x, int32_t y) override { calls.push_back(Point("begin", x, y)); }
    void Drag(int32_t x, int32_t y) override { calls.push_back(Point("drag", x, y)); }
    void EndDrag() override { calls.push_back("end"); }
    void Pan(int32_t dx, int32_t dy) override { calls.push_back(Point("pan", dx, dy)); }

    static std::string Point(const char* what, int32_t x, int32_t y) {
        return std::string(what) + " " + std::to_string(x) + "," + std::to_string(y);
    }
    bool navigable = true;
    std::vector<std::string> calls;
};

using Strings = std::vector<std::string>;

TEST(InputHandlerPending, WheelEventsBetweenFramesMergeIntoTheLastDelta) {
    RecordingTarget target;
    InputHandler input(&target, 7);
    input.OnMouseWheel(120);
    input.OnMouseWheel(-240);
    const auto pending = input.PeekPending();
    EXPECT_EQ(pending.flags, InputHandler::kWheel);
    EXPECT_EQ(pending.wheelDelta, -240);
    input.Process();
    EXPECT_EQ(target.calls, (Strings{"zoom " + std::to_string(0.1f)}));
    EXPECT_EQ(input.PeekPending().flags, 0u);
    input.Process();
    EXPECT_EQ(target.calls.size(), 1u);
}

TEST(InputHandlerPending, OneButtonDragShutsOutTheOther) {
    RecordingTarget target;
    InputHandler input(&target, 7);
    input.OnMouseButton(0, true, 10, 20);
    input.OnMouseButton(1, true, 30, 40);  // ignored while the primary is down
    EXPECT_EQ(input.PeekPending().flags, InputHandler::kPrimaryPressed);
    EXPECT_EQ(input.PeekPending().x, 10);
    input.OnMouseMove(15, 25);
    EXPECT_EQ(input.PeekPending().flags, InputHandler::kPrimaryPressed);
    input.OnMouseButton(1, false, 30, 40);
    input.OnMouseMove(16, 26);
    EXPECT_EQ(input.PeekPending().flags, InputHandler::kPrimaryPressed | InputHandler::kPrimaryMove);
    EXPECT_EQ(input.PeekPending().x, 16);
    input.OnMouseButton(2, true, 0, 0);  // middle button: ignored
    EXPECT_EQ(input.PeekPending().flags, InputHandler::kPrimaryPressed | InputHandler::kPrimaryMove);
}

TEST(InputHandlerProcess, PrimaryDragRunsFromPressToRelease) {
    RecordingTarget target;
    InputHandler input(&target, 7);
    input.OnMouseButton(0, true, 10, 10);
    input.Process();
    input.OnMouseMove(12, 14);
    input.Process();
    input.OnMouseMove(13, 15);
    input.OnMouseButton(0, false, 13, 15);
    input.Process();
    EXPECT_EQ(target.calls, (Strings{"begin 10,10", "drag 12,14", "end"}));
}

}  // namespace
