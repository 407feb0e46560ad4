// The path of a touch sample: from the 8-byte record as the driver delivers
// it (pressure, x, y, unused; x and y already mapped by the driver's
// calibration) in the touch descriptor's queue, through the loop's wait, the
// input layer's read of the descriptor (TsReadHandler), the touch screen's
// delivery (MultiTouchScreen: filter, pen threshold, Mouse::addPoint), the
// pointer message in the application's queue, to the window's handler
// (onMouseEvent). The descriptor is a FIFO of the benchmark's own, opened
// non-blocking as the device is; the window is a full-screen main window on
// the headless file display.
//
//   touch_bench                        Google Benchmark timings
//   touch_bench --count one|burst N    N rounds and nothing else, for
//                                      callgrind --toggle-collect='*touchLoop*'
//                                      (one: a sample a round; burst: 64)

#include "touch/multitouchscreen.h"

#include <lumi/lumi.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kBurst = 64; // 512 bytes: what one read of the handler takes

class TouchWindow : public MainWndBase {
public:
    long events { 0 };
    long lastX { 0 };

protected:
    int onMouseEvent(int x, int, unsigned int) override
    {
        ++events;
        lastX = x;
        return 0;
    }
};

struct Scene {
    std::string dir;
    std::string fifo;
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<GuiApp> app;
    TouchWindow* window { nullptr };
    int writer { -1 };
    int x { 100 };

    Scene()
    {
        char templ[] = "/tmp/touch-bench-XXXXXX";
        dir = mkdtemp(templ);
        const std::string display = "file:" + dir + "/screen.raw:800x480";
        setenv("LUMI_DISPLAY", display.c_str(), 1);
        unsetenv("LUMI_INPUT");
        rt = std::make_unique<GuiRT>();
        rt->init(0);
        app = std::make_unique<GuiApp>();
        app->init("bench", 0);
        window = new TouchWindow;
        window->create(Rect(0, 0, 800, 480), 0x47, 101);
        fifo = dir + "/ts";
        if (mkfifo(fifo.c_str(), 0600) != 0) {
            std::perror("touch_bench: mkfifo");
            std::abort();
        }
        // Read and write ends of the benchmark's own: opening for both
        // never waits for a peer.
        writer = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (writer < 0 || MultiTouchScreen::getTs()->open(fifo.c_str()) != 0) {
            std::perror("touch_bench: open");
            std::abort();
        }
        // Pen down once: every measured sample is then a move.
        send(1);
        serve(1);
    }

    ~Scene()
    {
        // Pen up: the touch screen (one for the process) starts the next
        // scene with the pen raised.
        send(1, 0);
        serve(1);
        MultiTouchScreen::getTs()->close();
        ::close(writer);
        app->term();
        app.reset();
        rt.reset();
        unlink(fifo.c_str());
        const std::string screen = dir + "/screen.raw";
        unlink(screen.c_str());
        rmdir(dir.c_str());
    }

    // Queues count samples, each one pixel to the right of the last
    // (wrapping inside the screen), as the driver would; pressure 800 is
    // pen down.
    void send(int count, int pressure = 800)
    {
        unsigned char bytes[kBurst * MultiTouchScreen::kSampleSize];
        for (int i = 0; i < count; ++i) {
            x = x >= 700 ? 100 : x + 1;
            const int y = 240;
            unsigned char* s = bytes + i * MultiTouchScreen::kSampleSize;
            s[0] = static_cast<unsigned char>(pressure);
            s[1] = static_cast<unsigned char>(pressure >> 8);
            s[2] = static_cast<unsigned char>(x);
            s[3] = static_cast<unsigned char>(x >> 8);
            s[4] = static_cast<unsigned char>(y);
            s[5] = static_cast<unsigned char>(y >> 8);
            s[6] = 0;
            s[7] = 0;
        }
        const ssize_t size = static_cast<ssize_t>(count) * MultiTouchScreen::kSampleSize;
        if (::write(writer, bytes, static_cast<size_t>(size)) != size) {
            std::perror("touch_bench: write");
            std::abort();
        }
    }

    // Runs loop turns until the window has had count more events.
    void serve(int count)
    {
        const long want = window->events + count;
        for (int turn = 0; window->events < want; ++turn) {
            if (turn > 1000) {
                std::fprintf(stderr, "touch_bench: %ld of %d events arrived\n", window->events - (want - count),
                    count);
                std::abort();
            }
            app->processEvents(100);
        }
    }

    void round(int count)
    {
        send(count);
        serve(count);
    }
};

void BM_TouchSampleToWindow(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state)
        scene.round(1);
    state.counters["events"] = static_cast<double>(scene.window->events);
}
BENCHMARK(BM_TouchSampleToWindow)->Unit(benchmark::kMicrosecond);

// 64 samples queued at once (a fast stroke the loop fell behind on), taken
// by one read: the time per round is for 64 samples.
void BM_TouchBurstOf64ToWindow(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state)
        scene.round(kBurst);
    state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_TouchBurstOf64ToWindow)->Unit(benchmark::kMicrosecond);

// Kept out of line so callgrind can count exactly these instructions.
__attribute__((noinline)) void touchLoop(Scene* scene, int samples, int rounds)
{
    for (int i = 0; i < rounds; ++i)
        scene->round(samples);
}

}

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        const int samples = std::strcmp(argv[2], "burst") == 0 ? kBurst : 1;
        const int rounds = std::atoi(argv[3]);
        Scene scene;
        touchLoop(&scene, samples, rounds > 0 ? rounds : 1);
        std::printf("%ld events\n", scene.window->events);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
