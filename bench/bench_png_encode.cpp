// Encoding a 1920 x 1080 capture: the pixels as the render view reads them back (BGRA, bottom
// row first), written as PNG (the default capture format), and as JPEG and TIFF beside it.
// Counters report the encoded size. Time is also reported as thread CPU time, which stays
// meaningful on a machine shared with other work.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "rendering/Image.h"

using namespace Velmora::Rendering;

namespace {

constexpr uint32_t kWidth = 1920, kHeight = 1080;

// A rendered-looking frame: a diagonal background gradient and three shaded spheres with
// soft edges, stored bottom row first as BGRA.
const std::vector<uint8_t>& CaptureFrame() {
    static const std::vector<uint8_t> frame = [] {
        std::vector<uint8_t> p(size_t(kWidth) * kHeight * 4);
        for (uint32_t y = 0; y < kHeight; ++y) {
            for (uint32_t x = 0; x < kWidth; ++x) {
                uint8_t* q = &p[(size_t(kHeight - 1 - y) * kWidth + x) * 4];
                const float t = (float(y) + 0.5f * float(x)) / (1.5f * float(kHeight));
                float r = 200 - 60 * t, g = 210 - 50 * t, b = 230 - 40 * t;
                for (int s = 0; s < 3; ++s) {
                    const float cx = kWidth * (0.25f + 0.25f * float(s)), cy = kHeight * 0.5f, radius = kHeight * 0.2f;
                    const float dx = float(x) - cx, dy = float(y) - cy, d2 = dx * dx + dy * dy;
                    if (d2 >= radius * radius) continue;
                    const float nz = std::sqrt(1.0f - d2 / (radius * radius));
                    const float light =
                        0.2f + 0.8f * std::max(0.0f, nz * 0.8f - dx / radius * 0.3f - dy / radius * 0.4f);
                    r = light * (s == 0 ? 220 : 60), g = light * (s == 1 ? 200 : 80), b = light * (s == 2 ? 230 : 70);
                }
                q[0] = uint8_t(b), q[1] = uint8_t(g), q[2] = uint8_t(r), q[3] = 255;
            }
        }
        return p;
    }();
    return frame;
}

void EncodeCapture(benchmark::State& state, ImageFormat format) {
    const auto& frame = CaptureFrame();
    std::vector<uint8_t> bytes;
    for (auto _ : state) {
        const ImageStatus status =
            Image::Encode(format, frame.data(), kWidth, kHeight, kWidth * 4, PixelLayout::BGRA, false, true, bytes);
        if (status != ImageStatus::Ok) state.SkipWithError("encoding failed");
        benchmark::DoNotOptimize(bytes.data());
    }
    state.counters["bytes"] = double(bytes.size());
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

void BM_EncodeCapturePng(benchmark::State& state) { EncodeCapture(state, ImageFormat::PNG); }
void BM_EncodeCaptureJpeg(benchmark::State& state) { EncodeCapture(state, ImageFormat::JPEG); }
void BM_EncodeCaptureTiff(benchmark::State& state) { EncodeCapture(state, ImageFormat::TIFF); }

void BM_DecodeCapturePng(benchmark::State& state) {
    std::vector<uint8_t> bytes;
    Image::Encode(ImageFormat::PNG, CaptureFrame().data(), kWidth, kHeight, kWidth * 4, PixelLayout::BGRA, false, true,
                  bytes);
    ImageBuffer image;
    for (auto _ : state) {
        if (Image::Decode(bytes.data(), bytes.size(), image, PixelLayout::BGRA, true) != ImageStatus::Ok)
            state.SkipWithError("decoding failed");
        benchmark::DoNotOptimize(image.pixels.get());
    }
}

}  // namespace

BENCHMARK(BM_EncodeCapturePng)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_EncodeCaptureJpeg)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_EncodeCaptureTiff)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_DecodeCapturePng)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

BENCHMARK_MAIN();
