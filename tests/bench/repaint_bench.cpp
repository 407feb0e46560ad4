// Cost of repainting a typical screen: a full-screen window with a dozen
// labels of Chinese text over a grid of filled rectangles, painted and shown
// on the headless file display.
//
//   repaint_bench                      Google Benchmark timings
//   repaint_bench --count full|region N
//                                      N repaints and nothing else, for
//                                      callgrind --toggle-collect='*repaintLoop*'
//                                      (instructions per repaint = total / N)

#include "screen.h"

#include <lumi/lumi.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

class BenchWindow : public MainWndBase {
public:
    int onDrawBackground(DC* dc, const Rect* rect, WndBase*) override
    {
        dc->fillRect(*rect, 0x7BAF);
        return 0;
    }
    int onPaint() override
    {
        PaintDC dc(this);
        // A 10 x 6 grid of coloured cells with outlines.
        for (int row = 0; row < 6; ++row) {
            for (int col = 0; col < 10; ++col) {
                const Rect cell(20 + col * 76, 200 + row * 44, 20 + col * 76 + 70, 200 + row * 44 + 38);
                dc.fillRect(cell, static_cast<unsigned short>(0x1082 * (row + col + 1)));
                dc.setPenColor(0xFFFF);
                dc.drawRect(cell.left, cell.top, cell.right - 1, cell.bottom - 1);
            }
        }
        return 0;
    }
};

const char* const kTexts[] = {
    "请先插入鼠标和网线", "全部测试通过！", "测试失败!", "请确定此功能是否OK?", "触摸屏校准", "以太网",
    "照相机", "音频 Audio", "震动 Motor", "G-传感器", "充电状态", "按键 Keys",
};

struct Scene {
    std::string dir;
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<GuiApp> app;
    BenchWindow* window { nullptr };

    Scene()
    {
        char templ[] = "/tmp/repaint-bench-XXXXXX";
        dir = mkdtemp(templ);
        const std::string display = "file:" + dir + "/screen.raw:800x480";
        setenv("LUMI_DISPLAY", display.c_str(), 1);
        unsetenv("LUMI_INPUT");
        rt = std::make_unique<GuiRT>();
        rt->init(0);
        app = std::make_unique<GuiApp>();
        app->init("bench", 0);
        window = new BenchWindow;
        window->create(Rect(0, 0, 800, 480), 0x47, 101);
        for (int i = 0; i < 12; ++i) {
            auto* label = new Label;
            const int col = i % 3;
            const int row = i / 3;
            label->create(window, Rect(20 + col * 260, 10 + row * 45, 20 + col * 260 + 250, 10 + row * 45 + 40), 70);
            label->setAlignFlag(18);
            label->setTextColor(0xFFFF);
            if (i % 2)
                label->setBackColor(0x5D5D);
            label->setText(kTexts[i]);
        }
        repaint(nullptr);   // warm the glyph cache
    }
    ~Scene()
    {
        app->term();
        app.reset();
        rt.reset();
        const std::string screen = dir + "/screen.raw";
        unlink(screen.c_str());
        rmdir(dir.c_str());
    }

    void repaint(const Rect* area)
    {
        window->invalidateRect(area);
        lumi::Screen* s = lumi::screen();
        s->paint();
        s->flush();
    }
};

const Rect kRegion(250, 90, 550, 390);

void BM_FullRepaint(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state)
        scene.repaint(nullptr);
}
BENCHMARK(BM_FullRepaint)->Unit(benchmark::kMicrosecond);

void BM_RegionRepaint300(benchmark::State& state)
{
    Scene scene;
    for (auto _ : state)
        scene.repaint(&kRegion);
}
BENCHMARK(BM_RegionRepaint300)->Unit(benchmark::kMicrosecond);

// Kept out of line so callgrind can count exactly these instructions.
__attribute__((noinline)) void repaintLoop(Scene* scene, const Rect* area, int count)
{
    for (int i = 0; i < count; ++i)
        scene->repaint(area);
}

}

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        const bool full = std::strcmp(argv[2], "full") == 0;
        const int count = std::atoi(argv[3]);
        Scene scene;
        repaintLoop(&scene, full ? nullptr : &kRegion, count > 0 ? count : 1);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
