// The camera test's conversion of one frame from the sensor's YUV to the
// frame buffer's 32-bit pixels, at both sensor sizes and in both layouts.
// The frames are the board camera's test picture, so the bars exercise both
// chroma signs and the clamping.
//
//     camera_bench [--count WIDTH LAYOUT N]   (N conversions alone, for callgrind)

#include "testfun/camera_convert.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Colour bars in YUV (white, yellow, cyan, green, magenta, red, blue, black).
const uint8_t kBars[8][3] = { { 235, 128, 128 }, { 210, 16, 146 }, { 170, 166, 16 }, { 145, 54, 34 },
    { 106, 202, 222 }, { 81, 90, 240 }, { 41, 240, 110 }, { 16, 128, 128 } };

std::vector<uint8_t> barsFrame(unsigned w, unsigned h, bool semiPlanar)
{
    std::vector<uint8_t> f(cameraFrameBytes(w, h));
    const size_t n = static_cast<size_t>(w) * h;
    for (unsigned y = 0; y < h; ++y) {
        for (unsigned x = 0; x < w; x += 2) {
            const uint8_t* c = kBars[x * 8 / w];
            const size_t p = static_cast<size_t>(y) * w + x;
            if (semiPlanar) {
                f[p] = f[p + 1] = c[0];
                f[n + p] = c[1];
                f[n + p + 1] = c[2];
            } else {
                f[2 * p] = f[2 * p + 2] = c[0];
                f[2 * p + 1] = c[1];
                f[2 * p + 3] = c[2];
            }
        }
    }
    return f;
}

__attribute__((noinline)) void convertLoop(const std::vector<uint8_t>& frame, unsigned w, unsigned h,
    bool semiPlanar, std::vector<uint8_t>& out, int count)
{
    for (int i = 0; i < count; ++i) {
        convertFrame(frame.data(), w, h, semiPlanar, out.data());
        benchmark::DoNotOptimize(out.data());
    }
}

void BM_Convert(benchmark::State& state)
{
    const unsigned w = static_cast<unsigned>(state.range(0));
    const unsigned h = w * 3 / 4;
    const bool semiPlanar = state.range(1) != 0;
    const std::vector<uint8_t> frame = barsFrame(w, h, semiPlanar);
    std::vector<uint8_t> out(static_cast<size_t>(w) * h * 4);
    for (auto _ : state)
        convertLoop(frame, w, h, semiPlanar, out, 1);
    state.SetItemsProcessed(state.iterations() * w * h);
}
BENCHMARK(BM_Convert)->Args({ 320, 0 })->Args({ 640, 1 })->Args({ 640, 0 })->Args({ 320, 1 });

}

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--count") == 0) {
        const unsigned w = static_cast<unsigned>(std::atoi(argv[2]));
        const unsigned h = w * 3 / 4;
        const bool semiPlanar = std::strcmp(argv[3], "semi-planar") == 0;
        const std::vector<uint8_t> frame = barsFrame(w, h, semiPlanar);
        std::vector<uint8_t> out(static_cast<size_t>(w) * h * 4);
        convertLoop(frame, w, h, semiPlanar, out, std::atoi(argv[4]));
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
