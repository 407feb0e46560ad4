#pragma once
// Test support: a temporary directory and a toolkit run-time on a headless
// "file:" screen whose clock the test steps by hand.

#include <lumi/lumi.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lumitest {

// A fresh directory under $TMPDIR (or /tmp), removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Source tree and build tree, from the environment CTest sets (or the
// locations compiled in).
std::string sourceDir();
std::string binaryDir();
// The command that runs programs of the build ("" for a native build;
// "qemu-arm -L SYSROOT" for armhf), words separated by blanks.
std::string emulator();

// Fixture: GuiRT on "file:<tmp>/screen.raw:800x480" (width and height can be
// changed by a subclass constructor before SetUp), a GuiApp, and a clock that
// only moves when the test calls advance() or changes nowMs: the toolkit's
// test clock, so the loop's timers and the wall clock (millisec_tick) read it.
class ToolkitTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Delivers every queued message, runs idle work, paints and shows the
    // screen, without waiting and without moving the clock.
    void settle();
    // Moves the clock by ms in steps of at most step ms, settling after each,
    // so that repeating timers fire once per period.
    void advance(int ms, int step = 1);
    // Runs loop turns that may wait up to 20 ms for descriptors (real I/O from
    // another process or socket) until done() holds or turns run out; returns done().
    bool pumpUntil(const std::function<bool()>& done, int turns = 200);
    // A pixel as the display shows it (read from the screen file).
    uint16_t shownPixel(int x, int y) const;
    std::string screenFile() const { return tmp.file("screen.raw"); }
    // Writes the shown screen as a PNG (for looking at a failing test).
    void saveScreenshot(const std::string& path) const;

    // The application object the fixture runs; subclasses may return their own.
    virtual std::unique_ptr<GuiApp> makeApp() { return std::make_unique<GuiApp>(); }

    int screenWidth { 800 };
    int screenHeight { 480 };
    uint64_t nowMs { 100000 };
    TempDir tmp;
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<GuiApp> app;
};

}
