#pragma once
// Test support: a temporary directory and a toolkit run-time on a headless
// "file:" screen whose clock the test steps by hand.

#include <lumi/lumi.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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

    // Input the way the device gives it; each settles the loop afterwards.
    // Keys go through GuiRT::deliverKeyEvent to the focused window of the top
    // window; tapKey is a press and a release.
    void pressKey(int code);
    void releaseKey(int code);
    void tapKey(int code);
    // The pointer through the toolkit's own pointer source, in screen
    // coordinates: press, moves while held, release; tap is a press and a
    // release at one point. The clock does not move in between.
    void press(int x, int y);
    void move(int x, int y);
    void release(int x, int y);
    void tap(int x, int y);
    // The toolkit's own pointer source that press, move and release feed, for
    // samples without settling in between.
    Mouse* pointerSource() const;

    // Queues a message to window and settles, as any sender in the program
    // would (the window's handlers see it through its dispatcher).
    void post(WndBase* window, int id, int param1 = 0, int param2 = 0, void* data = nullptr);
    // A pointer message addressed to window (client coordinates, flags
    // MOUSE_PRESS, MOUSE_MOVE or MOUSE_RELEASE), as the pointer capture
    // delivers it, queued and settled.
    void postPointer(WndBase* window, int x, int y, unsigned int flags);
    // A command message (MSG_COMMAND with the command id), queued and settled.
    void sendCommand(WndBase* window, int commandId);
    // A character message (MSG_CHAR), queued and settled.
    void typeChar(WndBase* window, int ch);
    // Delivers a message to window through its dispatcher at once, without
    // settling: for what a handler leaves queued. The handler's result.
    int deliverNow(WndBase* window, int id, int param1 = 0, int param2 = 0, void* data = nullptr);

    // The open main windows, bottom of the stack first.
    const std::vector<MainWndBase*>& mainWindows() const { return app->mainWindows(); }
    // Writes a pixel straight into the screen's frame and shows it, the way a
    // program drawing into the frame buffer behind the toolkit's back would.
    void drawBehindToolkit(int x, int y, uint16_t colour);

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
