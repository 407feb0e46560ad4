#pragma once
// Shared pieces of the update screen's tests: a window whose fields the tests
// can read, a fixture that runs it on the headless 800x480 screen with a
// stepped clock, the notifier path inside the test's directory, the test's
// directory as the working directory (where "config.ini" is looked for), and
// a shell runner that records commands instead of running them.

#include "platform/charset.h"
#include "platform/shell_command.h"
#include "shell/pelguiapp.h"
#include "shell/pelnotifier.h"
#include "update/updatewnd.h"
#include "widgets/pelprogresswnd.h"

#include "lumi_test.h"
#include "screen_file.h"

#include <lumi/lumi.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace updatetest {

constexpr unsigned short kBlack = 0x0000;
constexpr unsigned short kWhite = 0xFFFF;
constexpr unsigned short kHeader = 0x192B;
constexpr unsigned short kPanel = 0x7BAF;
constexpr unsigned short kRed = 0xF800;
constexpr unsigned short kThumb = 0xAD55;
constexpr unsigned short kSelectedRow = 0xDEDB;
constexpr unsigned short kOddRow = 0xF7BE;
constexpr unsigned short kSelectedText = 0x0339;
constexpr unsigned short kRowText = 0x5ACB;
constexpr unsigned short kTrack = 0x5AEB;
constexpr unsigned short kFill = 0x87FF;

// The screen of an 800x480 display, worked out from the layout rules by hand.
const Rect kHeaderRect(0, 0, 800, 80);
const Rect kTitleRect(120, 0, 800, 80);
const Rect kGridRect(0, 80, 800, 390);
const Rect kProgressRect(20, 410, 720, 434);
const Rect kPercentRect(730, 410, 800, 434);
const Rect kStatusRect(20, 434, 720, 464);
// The grid's cells: the work region (10, 8) to (790, 302) in the grid's own
// coordinates holds 7 rows of 294 / 7 = 42 pixels.
constexpr int kCellLeft = 10;
constexpr int kCellRight = 790;
constexpr int kCellsTop = 80 + 8;
constexpr int kRowHeight = 42;

inline Rect cellRect(int visibleRow)
{
    const int top = kCellsTop + visibleRow * kRowHeight;
    return Rect(kCellLeft, top, kCellRight, top + kRowHeight);
}

// The update window with its fields and handlers open to the tests.
class ProbeUpdateWnd : public UpdateWnd {
public:
    using UpdateWnd::m_finished;
    using UpdateWnd::m_finishTimer;
    using UpdateWnd::m_grid;
    using UpdateWnd::m_headerRect;
    using UpdateWnd::m_logo;
    using UpdateWnd::m_logoRect;
    using UpdateWnd::m_percentLabel;
    using UpdateWnd::m_progress;
    using UpdateWnd::m_startTimer;
    using UpdateWnd::m_statusLabel;
    using UpdateWnd::m_steps;
    using UpdateWnd::m_titleLabel;
    using UpdateWnd::stepAt;

    // Rows the grid asked for in the paints since the last clear, with the
    // state they were drawn in.
    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override
    {
        drawnRows.push_back({ index, state });
        UpdateWnd::drawItem(dc, rect, index, state);
    }
    struct DrawnRow {
        int index;
        unsigned int state;
    };
    std::vector<DrawnRow> drawnRows;

    std::vector<int> commands;

protected:
    int onCommand(LUMIMessage& msg) override
    {
        commands.push_back(msg.param1);
        return 0;
    }
};

// Commands "run" by the program during a test.
inline std::vector<std::string>& shellCommands()
{
    static std::vector<std::string> s_commands;
    return s_commands;
}

inline int recordShellCommand(const char* command)
{
    shellCommands().push_back(command ? command : "");
    return 0;
}

// A window rectangle in screen coordinates.
inline Rect screenRectOf(const WndBase* w)
{
    return w ? w->screenRect() : Rect();
}

// The whole shown screen, read once.
using Shot = lumitest::ScreenFile;

class UpdateWndTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<PelGuiApp>(); }

    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        // "config.ini" is read from the working directory: the test's own.
        char* cwd = getcwd(nullptr, 0);
        m_oldCwd = cwd ? cwd : "/";
        std::free(cwd);
        ASSERT_EQ(chdir(tmp.path().c_str()), 0);
        PelNotifier::setPath(tmp.file("autorun_msg.dat").c_str());
        shellCommands().clear();
        m_oldRunner = setShellCommandRunner(recordShellCommand);
    }

    void TearDown() override
    {
        setShellCommandRunner(m_oldRunner);
        PelNotifier::setPath(nullptr);
        lumitest::ToolkitTest::TearDown();
        if (chdir(m_oldCwd.c_str()) != 0)
            ADD_FAILURE() << "cannot return to " << m_oldCwd;
    }

    void writeConfig(const std::string& text)
    {
        std::ofstream out(tmp.file("config.ini"));
        out << text;
    }

    // Creates and shows the window as start-up does, and paints it.
    ProbeUpdateWnd* makeWindow()
    {
        testing::internal::CaptureStdout();
        auto* w = new ProbeUpdateWnd; // auto-delete: the toolkit owns it
        m_createResult = w->create();
        w->showWindow(true);
        m_createOutput = testing::internal::GetCapturedStdout();
        settle();
        return w;
    }

    // Queues message 8195 as the notifier socket does: a heap copy of text
    // (GBK bytes) for every type but 3, the value for type 3.
    void post(WndBase* w, int type, const char* text, int value = 0)
    {
        LUMIMessage msg(w, MSG_PEL_NOTIFY, type, value, text ? strdup(text) : nullptr);
        app->addMsg(msg);
    }
    void postAndSettle(WndBase* w, int type, const char* text, int value = 0)
    {
        post(w, type, text, value);
        settle();
    }
    void progress(WndBase* w, int value)
    {
        post(w, 3, nullptr, value);
        settle();
    }

    Shot shot() const { return Shot(screenFile(), screenWidth, screenHeight); }

    // GBK bytes of a UTF-8 text, as an update script on the device sends it.
    static std::string gbk(const char* utf8)
    {
        char* converted = utf82str(utf8, CHARSET_GBK);
        std::string bytes = converted ? converted : "";
        std::free(converted);
        return bytes;
    }

    int m_createResult { -1 };
    std::string m_createOutput;

private:
    std::string m_oldCwd;
    ShellCommandRunner m_oldRunner { nullptr };
};

}
