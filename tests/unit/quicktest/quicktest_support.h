#pragma once
// Shared pieces of the quick-test screen's tests: the window with its fields
// in reach, test items with scripted outcomes, the screen's geometry worked
// out from its layout rules, and a fixture that runs the window in its own
// working directory with a recording shell, a test clock for timers and
// taps, and the test-input socket to play the operator through.

#include "../toolkit/control_host.h"

#include "quicktest/quicktestwnd.h"
#include "shell/notify_protocol.h"
#include "shell/pelguiapp.h"
#include "testfun/log.hpp"
#include "widgets/peledit.h"
#include "widgets/pelmsgbox.h"

#include "lumi_test.h"

#include <lumi/lumi.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace quicktesttest {

using controltest::Snapshot;

// Colours of the screen.
constexpr uint16_t kWhite = 0xFFFF;
constexpr uint16_t kOddRow = 0xF7BE;
constexpr uint16_t kSelectedRow = 0xDEDB;
constexpr uint16_t kLogBack = 0xDEDB;
constexpr uint16_t kWindowBack = 0x7BAF;
constexpr uint16_t kHintBack = 0x5D5D;
constexpr uint16_t kStatusBack = 0x971F;
constexpr uint16_t kButtonFace = 0x5D5D;
constexpr uint16_t kPassGreen = 0x5D82;
constexpr uint16_t kFailRed = 0xF800;
constexpr uint16_t kUntestedGrey = 0x5ACB;
constexpr uint16_t kBoxBack = 0x8C71;
constexpr uint16_t kBoxFrame = 0x5D5D;

// Operator texts: the GBK bytes the program keeps and the UTF-8 the operator sees.
struct OperatorText {
    const char* gbk;
    const char* utf8;
};
// clang-format off
const OperatorText kHintText       { " \xC7\xEB\xCF\xC8\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA\xBA\xCD\xCD\xF8\xCF\xDF", u8" 请先插入鼠标和网线" }; // please first plug in the mouse and the network cable
const OperatorText kPassText       { "\xB3\xC9\xB9\xA6", u8"成功" };             // pass
const OperatorText kFailText       { "\xCA\xA7\xB0\xDC", u8"失败" };             // fail
const OperatorText kUntestedText   { "\xCE\xB4\xB2\xE2", u8"未测" };             // untested
const OperatorText kAllPassedText  { "\xC8\xAB\xB2\xBF\xB2\xE2\xCA\xD4\xCD\xA8\xB9\xFD\xA3\xA1", u8"全部测试通过！" }; // all tests passed!
const OperatorText kTestFailedText { "\xB2\xE2\xCA\xD4\xCA\xA7\xB0\xDC!", u8"测试失败!" }; // test failed!
const OperatorText kRetestText     { "\xCA\xA7\xB0\xDC,\xCA\xC7\xB7\xF1\xD2\xAA\xD6\xD8\xD0\xC2\xB2\xE2\xCA\xD4\xA3\xBF", u8"失败,是否要重新测试？" }; // failed, test again?
const OperatorText kOkText         { "\xC7\xEB\xC8\xB7\xB6\xA8\xB4\xCB\xB9\xA6\xC4\xDC\xCA\xC7\xB7\xF1OK?", u8"请确定此功能是否OK?" }; // please confirm whether this function is OK
const OperatorText kNextText       { "\xCF\xC2\xD2\xBB\xCF\xEE", u8"下一项" };   // next item
const OperatorText kPowerText      { "\xB9\xD8\xBB\xFA", u8"关机" };             // power off
// clang-format on

// Shell commands run while a fixture is up, in order (none really run).
std::vector<std::string>& shellCommands();

// The GBK text converted as the program converts it; "" when it fails.
std::string converted(const OperatorText& text);

// The window with its fields and private steps in reach of the tests.
class ProbeWnd : public QuickTestWnd {
public:
    using QuickTestWnd::currentLabel;
    using QuickTestWnd::failSwatch;
    using QuickTestWnd::failText;
    using QuickTestWnd::grid;
    using QuickTestWnd::hintLabel;
    using QuickTestWnd::itemCount;
    using QuickTestWnd::items;
    using QuickTestWnd::log;
    using QuickTestWnd::logEdit;
    using QuickTestWnd::nextButton;
    using QuickTestWnd::passSwatch;
    using QuickTestWnd::passText;
    using QuickTestWnd::powerButton;
    using QuickTestWnd::report;
    using QuickTestWnd::runTimer;
    using QuickTestWnd::statusLabel;
    using QuickTestWnd::untestedSwatch;
    using QuickTestWnd::untestedText;

    // The run sequence's state.
    int confirmIndex() const { return sequence().confirmIndex(); }
    int nextIndex() const { return sequence().nextIndex(); }
    bool running() const { return sequence().running(); }
    bool runAll() const { return sequence().runAll(); }
    bool failReported() const { return sequence().failReported(); }
    bool allPassReported() const { return sequence().allPassReported(); }

    struct DrawCall {
        Rect rect;
        int index;
        unsigned int state;
    };

    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override
    {
        drawCalls.push_back({ rect, index, state });
        QuickTestWnd::drawItem(dc, rect, index, state);
    }

    struct Notification {
        int type;
        bool hadText;
        bool released;
    };
    std::vector<Notification> notifications;

    // Replaces the catalogue by the given heap items (which the window then
    // owns), before the first step runs.
    void useItems(std::initializer_list<TestItem*> list);

    std::vector<DrawCall> drawCalls;

    // Off: the list paints its background under every row first, as it did
    // before rows could say that they cover their cells.
    bool coverRows { true };
    bool coversItem(int index, unsigned int state) override
    {
        return coverRows && QuickTestWnd::coversItem(index, state);
    }

protected:
    // Records the program's notifications (8195) and whether the window
    // released the text they carried.
    int handleMessage(LUMIMessage& msg) override
    {
        const bool hadText = msg.id == MSG_PEL_NOTIFY && msg.data;
        const int rc = QuickTestWnd::handleMessage(msg);
        if (msg.id == MSG_PEL_NOTIFY)
            notifications.push_back({ msg.param1, hadText, msg.data == nullptr });
        return rc;
    }
};

// A test whose outcome the test chooses; it counts its runs and, when
// counters are given, its deletions.
class ScriptedItem : public TestItem {
public:
    ScriptedItem(const char* name, int outcome, bool autoRun = false, int* deletions = nullptr)
        : TestItem(const_cast<char*>(name), autoRun)
        , outcome(outcome)
        , deletions(deletions)
    {
    }
    ~ScriptedItem() override
    {
        if (deletions)
            ++*deletions;
    }

    int execute(Log* log) override
    {
        ++runs;
        if (log)
            log->Message("%s run %d", name, runs);
        return outcome;
    }

    int outcome;
    int runs { 0 };
    int* deletions;
};

// Where the screen's parts lie on a width x height screen, worked out from
// the layout rules of the screen (all in screen coordinates).
struct Layout {
    explicit Layout(int width, int height);

    // Row index of the list, unscrolled.
    Rect row(int index) const;
    int rowCentreX() const { return (work.left + work.right) / 2; }
    int rowCentreY(int index) const { return (row(index).top + row(index).bottom) / 2; }

    Rect hint;
    Rect status;
    Rect grid;
    Rect work; // the cells' area inside the grid
    int rows;
    int rowHeight;
    Rect log;
    Rect current;
    Rect swatch[3]; // untested, pass, fail
    Rect text[3];
    Rect power;
    Rect next;
};

// The application object of the program, counting the operator's input as
// it passes, so that a test knows when a tap or a key has arrived.
class CountingApp : public PelGuiApp {
public:
    int filterMsg(LUMIMessage& msg) override
    {
        if (msg.id == MSG_MOUSE && msg.param2 == static_cast<int>(MOUSE_RELEASE))
            ++releases;
        if (msg.id == MSG_KEY && msg.param2 == 1)
            ++keyUps;
        return PelGuiApp::filterMsg(msg);
    }
    int releases { 0 };
    int keyUps { 0 };
};

class QuickTestFixture : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<CountingApp>(); }
    CountingApp& counting() { return static_cast<CountingApp&>(*app); }

    void SetUp() override;
    void TearDown() override;

    // config.ini in the working directory of the test.
    void writeConfig(const std::string& text);
    // The demo catalogue (five items) with the run-all setting given.
    void writeDemoConfig(bool runAll);

    // Creates and shows the window as start-up does; the first step is due
    // 50 ms later.
    ProbeWnd* openWindow();

    // The message box on top, or null.
    PmpMsgBox* topBox() const;
    // The text of the box on top ("" without one).
    std::string boxText() const;
    int boxCount() const;

    // The operator, through the test-input socket.
    void openOperator();
    void tap(int x, int y);
    void key(int code);
    void tapRow(int index) { tap(layout.rowCentreX(), layout.rowCentreY(index)); }
    void tapNext()
    {
        tap((layout.next.left + layout.next.right) / 2, (layout.next.top + layout.next.bottom) / 2);
    }
    void tapPower()
    {
        tap((layout.power.left + layout.power.right) / 2, (layout.power.top + layout.power.bottom) / 2);
    }
    // Taps button 0 ("yes") or 1 ("no") of the box on top.
    void answer(int button);

    // One step of the automatic run.
    void step() { advance(QuickTestWnd::kStepMs, 1); }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }
    // Saves the screen under name in the test's directory; returns the path.
    std::string screenshot(const std::string& name) const;

    // Shell commands the window ran (none really run).
    static std::vector<std::string>& commands() { return shellCommands(); }

    Layout layout { 800, 480 };
    std::string previousDir;
    int client { -1 };
    bool inputOpen { false };
};

}
