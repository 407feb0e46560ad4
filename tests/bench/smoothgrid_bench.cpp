// Cost of one frame of the smooth grid's slide animation: one 20 ms tick of
// the slide timer (the position step and the invalidation), the grid's
// double-buffered paint and the flush to the headless file display. The grid
// is a quick-test list of 40 rows, 12 of them visible, with row texts.
//
//   smoothgrid_bench                       Google Benchmark timings
//   smoothgrid_bench --count text|plain N  N frames and nothing else, for
//                                          callgrind --toggle-collect='*frameLoop*'
//                                          (instructions per frame = total / N)

#include "widgets/pelsmoothgrid.h"

#include "screen.h"

#include <lumi/lumi.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

const char* const kNames[] = {
    "按键测试",
    "触摸屏校准",
    "以太网",
    "无线网络",
    "照相机",
    "音频 Audio",
    "震动 Motor",
    "G-传感器",
    "充电状态",
    "NAND Flash",
    "U盘",
    "屏幕颜色",
};

// Rows as the quick-test window paints them: white cell, inner fill by
// parity or selection, separator, the test's name.
class Rows : public GridSupplier {
public:
    explicit Rows(bool withText)
        : m_withText(withText)
    {
    }
    int getItemCount() override { return 40; }
    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override
    {
        if (index < 0 || index >= 40)
            return;
        dc.fillRect(rect, 0xFFFF);
        Rect inner = rect;
        inner.shrink(1, 1);
        if (state & GRID_STATE_SELECTED) {
            dc.fillRect(inner, 0xDEDB);
        } else {
            dc.fillRect(inner, index % 2 ? 0xF7BE : 0xFFFF);
            dc.setPenColor(0xDEDB);
            dc.drawLine(rect.left, rect.bottom - 2, rect.right, rect.bottom);
        }
        if (!m_withText)
            return;
        Rect text = rect;
        text.shrink(3, 3);
        dc.setTextColor(index % 3 == 0 ? 0x5D82 : 0x5ACB);
        dc.drawText(text, kNames[index % 12], 18, -1);
    }

private:
    bool m_withText;
};

class Host : public MainWndBase {
public:
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override
    {
        dc->fillRect(*rect, child == this ? 0x7BAF : 0xFFFF);
        return 0;
    }
};

class BenchGrid : public PelSmoothGrid {
public:
    bool gliding() const { return m_yPos != m_yTarget; }
    int position() const { return m_yPos; }
};

struct Scene {
    std::string dir;
    uint64_t nowMs { 1000 };
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<GuiApp> app;
    std::unique_ptr<Rows> rows;
    BenchGrid* grid { nullptr };
    bool down { true };
    int moved { 0 }; // frames in which the list moved

    explicit Scene(bool withText)
    {
        char templ[] = "/tmp/smoothgrid-bench-XXXXXX";
        dir = mkdtemp(templ);
        const std::string display = "file:" + dir + "/screen.raw:800x480";
        setenv("LUMI_DISPLAY", display.c_str(), 1);
        unsetenv("LUMI_INPUT");
        rt = std::make_unique<GuiRT>();
        rt->init(0);
        lumi::setTestClock([this] { return nowMs; });
        app = std::make_unique<GuiApp>();
        app->init("bench", 0);
        auto* host = new Host;
        host->create(Rect(0, 0, 800, 480), 0x47, 101);
        rows = std::make_unique<Rows>(withText);
        grid = new BenchGrid;
        const Rect area(0, 0, 320, 480);
        grid->create(host, area, 0x0A080046);
        grid->setSupplier(rows.get(), false);
        grid->setRowCol(12, 1);
        grid->setScrollBarWidth(10);
        grid->setScrollBarColor(0xFFFF, 0xAD55);
        Rect work = area;
        work.shrink(12, 0);
        grid->setWorkRegion(work);
        grid->setSelected(5);
        settle(); // first paint: glyph cache warm
    }
    ~Scene()
    {
        app->term();
        app.reset();
        rt.reset();
        lumi::setTestClock(nullptr);
        const std::string screen = dir + "/screen.raw";
        unlink(screen.c_str());
        rmdir(dir.c_str());
    }

    void settle()
    {
        lumi::Screen* s = lumi::screen();
        s->paint();
        s->flush();
    }

    // One animation frame. A new slide starts whenever the last one has
    // snapped, so that every frame moves the list.
    void frame()
    {
        if (!grid->gliding()) {
            grid->slideTo(0, down ? 1120 : 0, false);
            down = !down;
        }
        const int before = grid->position();
        nowMs += 20;
        rt->poll(0); // the slide timer: step and invalidate
        lumi::Screen* s = lumi::screen();
        s->paint();
        s->flush();
        if (grid->position() != before)
            ++moved;
    }
};

void BM_SlideFrame(benchmark::State& state)
{
    Scene scene(true);
    for (auto _ : state)
        scene.frame();
}
BENCHMARK(BM_SlideFrame)->Unit(benchmark::kMicrosecond);

void BM_SlideFrameWithoutText(benchmark::State& state)
{
    Scene scene(false);
    for (auto _ : state)
        scene.frame();
}
BENCHMARK(BM_SlideFrameWithoutText)->Unit(benchmark::kMicrosecond);

// Kept out of line so callgrind can count exactly these instructions.
__attribute__((noinline)) void frameLoop(Scene* scene, int count)
{
    for (int i = 0; i < count; ++i)
        scene->frame();
}

}

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        const bool text = std::strcmp(argv[2], "text") == 0;
        const int count = std::atoi(argv[3]);
        Scene scene(text);
        frameLoop(&scene, count > 0 ? count : 1);
        // Proof that every frame counted was a real slide step.
        std::printf("frames %d, of which the list moved in %d\n", count, scene.moved);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
