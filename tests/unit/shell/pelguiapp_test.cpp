#include "lumi_test.h"

#include "shell/dummywindow.h"
#include "shell/pelguiapp.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

class MainPanel : public MainWndBase {
public:
    std::vector<int> keys;
    std::vector<unsigned> pointer;
    int onDrawBackground(DC* dc, const Rect* rect, WndBase*) override
    {
        dc->fillRect(*rect, 0x07E0);
        return 0;
    }
    int onKeydown(int key, int) override
    {
        keys.push_back(key);
        return 0;
    }
    int onMouseEvent(int, int, unsigned int flags) override
    {
        pointer.push_back(flags);
        return 0;
    }
};

class PelGuiAppTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<PelGuiApp>(); }
    PelGuiApp& pel() { return static_cast<PelGuiApp&>(*app); }

    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        ASSERT_EQ(pel().init("uishull"), 0);
        main = new MainPanel;
        ASSERT_EQ(main->create(Rect(0, 0, 800, 480), 71, 101), 0);
        settle();
    }
    void TearDown() override
    {
        pel().term();
        signal(SIGCHLD, SIG_DFL);
        lumitest::ToolkitTest::TearDown();
    }

    // count children that have all ended before the first SIGCHLD is let
    // through, so that their signals merge into one; returns their pids.
    // The handler has run when this returns; nothing has been reaped.
    std::vector<pid_t> endChildren(int count)
    {
        sigset_t block;
        sigset_t old;
        sigemptyset(&block);
        sigaddset(&block, SIGCHLD);
        sigprocmask(SIG_BLOCK, &block, &old);
        std::vector<pid_t> pids;
        for (int i = 0; i < count; ++i) {
            const pid_t pid = fork();
            if (pid == 0)
                _exit(0);
            pids.push_back(pid);
        }
        // Wait for each exit without reaping, so the loop finds the children.
        for (pid_t pid : pids) {
            siginfo_t info {};
            waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
        }
        sigprocmask(SIG_SETMASK, &old, nullptr); // the pending signal runs the handler now
        return pids;
    }
    pid_t endChild() { return endChildren(1).front(); }

    // One turn of the loop's descriptors and signals, without idle work.
    void loopTurn() { rt->poll(0); }

    // The state letter of /proc/PID/stat ('Z' for an unreaped child), or 0
    // when the process is gone.
    static char processState(pid_t pid)
    {
        const std::string path = "/proc/" + std::to_string(pid) + "/stat";
        FILE* f = std::fopen(path.c_str(), "r");
        if (!f)
            return 0;
        char line[512] = {};
        const bool read = std::fgets(line, sizeof line, f) != nullptr;
        std::fclose(f);
        const char* end = read ? std::strrchr(line, ')') : nullptr;
        return end && end[1] == ' ' ? end[2] : 0;
    }

    // The pids of the "child process %d exited" lines in text, in order.
    static std::vector<pid_t> exitLines(const std::string& text)
    {
        std::vector<pid_t> pids;
        const std::string tag = "child process ";
        for (size_t at = text.find(tag); at != std::string::npos; at = text.find(tag, at + 1)) {
            int pid = 0;
            char end[16] = {};
            if (std::sscanf(text.c_str() + at, "child process %d exited%15[\n]", &pid, end) == 2)
                pids.push_back(pid);
        }
        return pids;
    }

    MainPanel* main { nullptr };
};

}

TEST_F(PelGuiAppTest, StartsWithNoExternalProgram)
{
    PelGuiApp fresh;
    EXPECT_FALSE(fresh.childExited);
    EXPECT_EQ(fresh.exitedPid, 0);
    EXPECT_EQ(fresh.externalMsgHandler, nullptr);
    EXPECT_EQ(fresh.externalPid, 0);
    EXPECT_TRUE(fresh.notifyList.empty());
    EXPECT_FALSE(fresh.inputClosed);
    EXPECT_FALSE(fresh.externalAppExist());
    EXPECT_EQ(fresh.dummyWindow, nullptr);
}

TEST_F(PelGuiAppTest, InitInstallsAChildHandlerWithSignalInformationAndNothingElse)
{
    struct sigaction sa { };
    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &sa), 0);
    // The C library adds its own return trampoline flag (the kernel's
    // SA_RESTORER, 0x04000000); every other flag is ours.
    EXPECT_EQ(sa.sa_flags & ~0x04000000, SA_SIGINFO);
    EXPECT_NE(reinterpret_cast<void*>(sa.sa_sigaction), reinterpret_cast<void*>(SIG_DFL));
    for (int signo = 1; signo < NSIG; ++signo)
        EXPECT_FALSE(sigismember(&sa.sa_mask, signo)) << signo;
}

TEST_F(PelGuiAppTest, ChildAndTerminationSignalsShareTheLoopsOneHandler)
{
    struct sigaction child { };
    struct sigaction term { };
    struct sigaction interrupt { };
    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &child), 0);
    ASSERT_EQ(sigaction(SIGTERM, nullptr, &term), 0);
    ASSERT_EQ(sigaction(SIGINT, nullptr, &interrupt), 0);
    EXPECT_EQ(reinterpret_cast<void*>(child.sa_sigaction), reinterpret_cast<void*>(term.sa_sigaction));
    EXPECT_EQ(reinterpret_cast<void*>(child.sa_sigaction), reinterpret_cast<void*>(interrupt.sa_sigaction));
}

TEST_F(PelGuiAppTest, InitFailsWithoutARunTime)
{
    rt.reset();
    PelGuiApp orphan;
    EXPECT_EQ(orphan.init("uishull"), -1);
}

TEST_F(PelGuiAppTest, TheSignalHandlerOnlyRecordsNeitherReapingNorPrinting)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const pid_t pid = endChild();
    const std::string err = testing::internal::GetCapturedStderr();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "");
    EXPECT_FALSE(pel().childExited);
    EXPECT_EQ(pel().exitedPid, 0);
    EXPECT_EQ(processState(pid), 'Z'); // still there for the loop to reap
    loopTurn();
    EXPECT_EQ(processState(pid), 0);
}

TEST_F(PelGuiAppTest, AnEndedChildIsReapedOnTheLoopAndRecordedForTheIdleTurn)
{
    const pid_t pid = endChild();
    testing::internal::CaptureStderr();
    loopTurn();
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("child process " + std::to_string(pid) + " exited\n"), std::string::npos);
    EXPECT_TRUE(pel().childExited);
    EXPECT_EQ(pel().exitedPid, pid);
    // Reaped: nothing is left to wait for.
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
    testing::internal::CaptureStdout();
    settle();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(pel().childExited);
    EXPECT_EQ(pel().exitedPid, 0);
    EXPECT_NE(out.find("unknown process " + std::to_string(pid) + " terminated.\n"), std::string::npos);
}

TEST_F(PelGuiAppTest, TwoChildrenWhoseSignalsMergedAreBothReapedAndTheLastPidKept)
{
    const std::vector<pid_t> pids = endChildren(2);
    testing::internal::CaptureStderr();
    loopTurn();
    const std::string log = testing::internal::GetCapturedStderr();
    std::vector<pid_t> logged = exitLines(log);
    ASSERT_EQ(logged.size(), 2u) << log;
    EXPECT_EQ(pel().exitedPid, logged.back());
    std::sort(logged.begin(), logged.end());
    std::vector<pid_t> expected = pids;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(logged, expected);
    for (pid_t pid : pids) {
        EXPECT_EQ(processState(pid), 0) << pid;
        EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1) << pid;
    }
}

TEST_F(PelGuiAppTest, ManyChildrenEndingAtOnceLeaveNoZombie)
{
    const std::vector<pid_t> pids = endChildren(40);
    testing::internal::CaptureStderr();
    loopTurn();
    const std::string log = testing::internal::GetCapturedStderr();
    std::vector<pid_t> logged = exitLines(log);
    EXPECT_EQ(logged.size(), pids.size());
    ASSERT_FALSE(logged.empty());
    EXPECT_EQ(pel().exitedPid, logged.back());
    for (pid_t pid : pids)
        EXPECT_EQ(processState(pid), 0) << pid;
    siginfo_t info {};
    EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG), -1); // no child at all is left
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(PelGuiAppTest, TwoChildrenEndingBeforeTheIdleTurnKeepOnlyTheLastPid)
{
    const pid_t first = endChild();
    loopTurn();
    pel().setExternalApp(first, true, false, "app");
    const pid_t second = endChild();
    loopTurn();
    EXPECT_EQ(pel().exitedPid, second);
    testing::internal::CaptureStdout();
    settle();
    const std::string out = testing::internal::GetCapturedStdout();
    // The first end was overwritten: the external program still counts as running.
    EXPECT_NE(out.find("unknown process " + std::to_string(second) + " terminated.\n"), std::string::npos);
    EXPECT_EQ(out.find("ExternApp " + std::to_string(first)), std::string::npos);
    EXPECT_EQ(pel().externalPid, first);
    EXPECT_NE(pel().dummyWindow, nullptr);
}

TEST_F(PelGuiAppTest, AChildEndingWhileTheLoopWaitsEndsTheExternalProgram)
{
    sigset_t block;
    sigset_t old;
    sigemptyset(&block);
    sigaddset(&block, SIGCHLD);
    sigprocmask(SIG_BLOCK, &block, &old);
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        char c;
        _exit(read(go[0], &c, 1) == 1 ? 0 : 1); // ends when the test lets it
    }
    close(go[0]);
    pel().setExternalApp(pid, true, false, "app");
    sigprocmask(SIG_SETMASK, &old, nullptr);
    ASSERT_EQ(write(go[1], "x", 1), 1);
    close(go[1]);
    testing::internal::CaptureStdout();
    // Waits with no timer at all: only the signal's wake-up can end the wait.
    for (int turn = 0; turn < 20 && pel().externalAppExist(); ++turn)
        app->processEvents(-1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(pel().externalAppExist());
    EXPECT_EQ(pel().dummyWindow, nullptr);
    EXPECT_NE(out.find("ExternApp " + std::to_string(pid) + " terminated.\n"), std::string::npos);
    EXPECT_EQ(processState(pid), 0);
}

TEST_F(PelGuiAppTest, StartingAnExternalProgramShowsTheLoadingCover)
{
    testing::internal::CaptureStdout();
    pel().setExternalApp(4242, true, false, "camera");
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_NE(pel().dummyWindow, nullptr);
    EXPECT_EQ(pel().externalPid, 4242);
    EXPECT_TRUE(pel().externalAppExist());
    EXPECT_STREQ(pel().dummyWindow->title, "camera");
    EXPECT_NE(out.find("s_dummyWindow = 0x"), std::string::npos);
    // Painted at once: black, with white text in the middle of the screen.
    EXPECT_EQ(shownPixel(5, 5), 0x0000);
    EXPECT_EQ(shownPixel(795, 475), 0x0000);
    int white = 0;
    for (int y = 220; y < 260; ++y)
        for (int x = 250; x < 550; ++x)
            white += shownPixel(x, y) == 0xFFFF;
    EXPECT_GT(white, 20);
    EXPECT_EQ(app->getTopWnd(), pel().dummyWindow);
}

TEST_F(PelGuiAppTest, CoverIsPaintedOnceSoTheExternalProgramKeepsTheScreen)
{
    pel().setExternalApp(4242, true, false, nullptr);
    ASSERT_NE(pel().dummyWindow, nullptr);
    EXPECT_FALSE(pel().dummyWindow->needPaint);
    // The external program draws straight into the frame buffer.
    drawBehindToolkit(10, 10, 0x1234);
    pel().dummyWindow->invalidateRect(nullptr);
    settle();
    EXPECT_EQ(shownPixel(10, 10), 0x1234);
}

TEST_F(PelGuiAppTest, CoverWithoutATitleSaysLoading)
{
    pel().setExternalApp(1, true, false, nullptr);
    ASSERT_NE(pel().dummyWindow, nullptr);
    EXPECT_EQ(pel().dummyWindow->title, nullptr);
}

TEST_F(PelGuiAppTest, SecondStartReplacesThePidAndKeepsTheCover)
{
    pel().setExternalApp(10, true, false, "one");
    DummyWindow* cover = pel().dummyWindow;
    pel().setExternalApp(11, true, false, "two");
    EXPECT_EQ(pel().dummyWindow, cover);
    EXPECT_EQ(pel().externalPid, 11);
}

TEST_F(PelGuiAppTest, EndOfTheExternalProgramRemovesTheCoverAndRepaints)
{
    pel().setExternalApp(77, true, true, "app");
    settle();
    EXPECT_EQ(shownPixel(5, 5), 0x0000);
    testing::internal::CaptureStdout();
    pel().setExternalApp(77, false, false, nullptr);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(pel().dummyWindow, nullptr);
    EXPECT_EQ(pel().externalPid, 0);
    EXPECT_FALSE(pel().inputClosed);
    EXPECT_NE(out.find("ExternApp 77 terminated.\n"), std::string::npos);
    EXPECT_NE(out.find("ExternApp exit, close input."), std::string::npos);
    EXPECT_NE(out.find("close dummywindow "), std::string::npos);
    settle();
    EXPECT_EQ(shownPixel(5, 5), 0x07E0);
    EXPECT_EQ(app->getTopWnd(), main);
}

TEST_F(PelGuiAppTest, EndOfAnUnknownProcessOnlyPrints)
{
    pel().setExternalApp(77, true, false, "app");
    testing::internal::CaptureStdout();
    pel().setExternalApp(78, false, false, nullptr);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "unknown process 78 terminated.\n");
    EXPECT_NE(pel().dummyWindow, nullptr);
    EXPECT_EQ(pel().externalPid, 77);
}

TEST_F(PelGuiAppTest, ClosingInputIsAnnouncedWithTheSameLineAsOnExit)
{
    testing::internal::CaptureStdout();
    pel().setExternalApp(5, true, true, "x");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("ExternApp exit, close input."), std::string::npos);
    EXPECT_TRUE(pel().inputClosed);
}

TEST_F(PelGuiAppTest, EscapeIsWithheldWhileAnExternalProgramRuns)
{
    pel().setExternalApp(5, true, false, "x");
    testing::internal::CaptureStdout();
    rt->deliverKeyEvent(VK_Escape, 0);
    rt->deliverKeyEvent('a', 0);
    settle();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("filt VK_Escape"), std::string::npos);
    EXPECT_EQ(
        out.find("filt VK_Escape", out.find("filt VK_Escape") + 1), std::string::npos); // only for Escape
    EXPECT_TRUE(main->keys.empty());
    pel().setExternalApp(5, false, false, nullptr);
    rt->deliverKeyEvent(VK_Escape, 0);
    settle();
    EXPECT_EQ(main->keys, (std::vector<int> { VK_Escape }));
}

TEST_F(PelGuiAppTest, KeysAreDeliveredWhenNoExternalProgramRuns)
{
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    EXPECT_EQ(main->keys, (std::vector<int> { VK_Select }));
}

namespace {
int s_externalMessages = 0;
int countExternal(LUMIMessage&)
{
    ++s_externalMessages;
    return 0;
}
}

TEST_F(PelGuiAppTest, NegativeMessagesGoToTheExternalHandlerAndAreSwallowed)
{
    s_externalMessages = 0;
    LUMIMessage msg(main, -5);
    EXPECT_EQ(pel().filterMsg(msg), 1); // swallowed even without a handler
    EXPECT_EQ(pel().setExternalMsgHandler(countExternal), nullptr);
    EXPECT_EQ(pel().filterMsg(msg), 1);
    EXPECT_EQ(s_externalMessages, 1);
    EXPECT_EQ(pel().setExternalMsgHandler(nullptr), countExternal);
}

TEST_F(PelGuiAppTest, TermClearsTheExternalMessageHandler)
{
    pel().setExternalMsgHandler(countExternal);
    pel().term();
    EXPECT_EQ(pel().externalMsgHandler, nullptr);
}

TEST_F(PelGuiAppTest, AMoveStraightAfterAReleaseBecomesAPress)
{
    LUMIMessage release(nullptr, MSG_MOUSE, 0, MOUSE_RELEASE);
    LUMIMessage move(nullptr, MSG_MOUSE, 0, MOUSE_MOVE);
    LUMIMessage move2(nullptr, MSG_MOUSE, 0, MOUSE_MOVE);
    EXPECT_EQ(pel().filterMsg(release), 0);
    EXPECT_EQ(pel().filterMsg(move), 0);
    EXPECT_EQ(move.param2, MOUSE_PRESS);
    EXPECT_EQ(pel().filterMsg(move2), 0);
    EXPECT_EQ(move2.param2, MOUSE_MOVE); // the previous one now reads as a press
}

TEST_F(PelGuiAppTest, OtherMessagesPassTheFilter)
{
    LUMIMessage cmd(main, MSG_COMMAND, 110);
    EXPECT_EQ(pel().filterMsg(cmd), 0);
    pel().setExternalApp(3, true, false, nullptr);
    EXPECT_EQ(pel().filterMsg(cmd), 0);
}

namespace {
std::vector<std::string> s_calls;
ExternalAppNotify* s_selfRemoving = nullptr;
void listenerA(bool started)
{
    s_calls.push_back(started ? "A+" : "A-");
}
void listenerB(bool started)
{
    s_calls.push_back(started ? "B+" : "B-");
    static_cast<PelGuiApp*>(theGuiApp())->setExternAppNotify(*s_selfRemoving, false);
}
}

TEST_F(PelGuiAppTest, ListenersAreToldOfStartAndEndAndMayRemoveThemselves)
{
    s_calls.clear();
    ExternalAppNotify a;
    a.callback = listenerA;
    ExternalAppNotify b;
    b.callback = listenerB;
    s_selfRemoving = &b;
    pel().setExternAppNotify(a, true);
    pel().setExternAppNotify(b, true); // front: called first
    pel().setExternalApp(9, true, false, nullptr);
    pel().setExternalApp(9, false, false, nullptr);
    EXPECT_EQ(s_calls, (std::vector<std::string> { "B+", "A+", "A-" }));
    pel().setExternAppNotify(a, false);
    EXPECT_TRUE(pel().notifyList.empty());
}
