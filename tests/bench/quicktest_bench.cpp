// Cost of repainting the whole quick-test screen against the cost of the one
// copy of the frame that showing it needs anyway, in the same run: the list
// of tests (every catalogue row switched on), the log, the top band, the
// legend and the two buttons, on the headless file display.
//
//   quicktest_bench                    Google Benchmark timings
//   quicktest_bench --count repaint|copy N
//                                      N full repaints (or N frame copies) and
//                                      nothing else, for callgrind
//                                      --toggle-collect='*Loop*'

#include "display/backend.h"
#include "screen.h"

#include "quicktest/quicktestwnd.h"
#include "shell/pelguiapp.h"

#include <lumi/lumi.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

struct QuickTestScene {
    std::string dir;
    std::string previousDir;
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<PelGuiApp> app;
    QuickTestWnd* window { nullptr };

    QuickTestScene()
    {
        char templ[] = "/tmp/quicktest-bench-XXXXXX";
        if (!mkdtemp(templ))
            std::abort();
        dir = templ;
        char cwd[4096];
        if (!getcwd(cwd, sizeof cwd) || chdir(dir.c_str()) != 0)
            std::abort();
        previousDir = cwd;
        // Every row of the catalogue: the list is full and scrolls.
        FILE* f = std::fopen("config.ini", "w");
        if (!f)
            std::abort();
        std::fputs("[function]\ntest_mouse=1\n[autorun]\nrunall=1\n", f);
        std::fclose(f);
        const std::string display = "file:" + dir + "/screen.raw:800x480";
        setenv("LUMI_DISPLAY", display.c_str(), 1);
        unsetenv("LUMI_INPUT");
        rt = std::make_unique<GuiRT>();
        rt->init(0);
        app = std::make_unique<PelGuiApp>();
        app->init("bench");
        window = new QuickTestWnd; // the toolkit deletes it
        if (window->create() != 0)
            std::abort();
        // The automatic run's step timer never fires: the loop is not run.
        window->showWindow(true);
        repaint(); // warms the glyph cache and the list's picture
    }
    ~QuickTestScene()
    {
        app->term();
        app.reset();
        rt.reset();
        for (const char* name : { "screen.raw", "config.ini" })
            unlink((dir + "/" + name).c_str());
        if (chdir(previousDir.c_str()) != 0)
            std::perror("chdir");
        rmdir(dir.c_str());
    }

    void repaint()
    {
        window->invalidateRect(nullptr);
        lumi::Screen* s = lumi::screen();
        s->paint();
        s->flush();
    }

    // What showing a whole frame costs, paint or no paint.
    void copyFrame()
    {
        lumi::Screen* s = lumi::screen();
        const Rect all(0, 0, s->width(), s->height());
        s->backend()->flush(s->pixels(), s->stride(), &all, 1);
    }
};

QuickTestScene& scene()
{
    static QuickTestScene s_scene;
    return s_scene;
}

void BM_QuickTestFullRepaint(benchmark::State& state)
{
    QuickTestScene& s = scene();
    for (auto _ : state)
        s.repaint();
}
BENCHMARK(BM_QuickTestFullRepaint)->Unit(benchmark::kMicrosecond);

void BM_FrameCopy(benchmark::State& state)
{
    QuickTestScene& s = scene();
    for (auto _ : state)
        s.copyFrame();
}
BENCHMARK(BM_FrameCopy)->Unit(benchmark::kMicrosecond);

// Kept out of line so callgrind can count exactly these instructions.
__attribute__((noinline)) void repaintLoop(QuickTestScene* s, int count)
{
    for (int i = 0; i < count; ++i)
        s->repaint();
}

__attribute__((noinline)) void copyLoop(QuickTestScene* s, int count)
{
    for (int i = 0; i < count; ++i)
        s->copyFrame();
}

}

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--count") == 0) {
        const int count = std::atoi(argv[3]);
        QuickTestScene& s = scene();
        if (std::strcmp(argv[2], "copy") == 0)
            copyLoop(&s, count > 0 ? count : 1);
        else
            repaintLoop(&s, count > 0 ? count : 1);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
