// Concurrent capture hosts without any live view (see capture_stress.h); the same run beside
// render proxies is in windowing/capture_stress_proxies_test.cpp.

#include "capture_stress.h"

namespace {

class CaptureStress : public KestrumCaptureTest::CaptureTest {};

TEST_F(CaptureStress, ConcurrentHostsGetEveryAnswerOnceAndTheLonePicture) { KestrumCaptureStress::RunCaptureStress(); }

}  // namespace
