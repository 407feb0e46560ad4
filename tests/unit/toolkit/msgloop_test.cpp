#include "lumi_test.h"

#include "loop_impl.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

class Recorder : public MainWndBase {
public:
    std::vector<int> commands;
    std::vector<int> ticks;
    int onCommand(LUMIMessage& msg) override
    {
        commands.push_back(msg.param1);
        return 0;
    }
    int onTimer(int id) override
    {
        ticks.push_back(id);
        return 0;
    }
};

class CountingApp : public GuiApp {
public:
    int idle { 0 };
    std::vector<int> seen;
    int swallowParam { -1 };
    void onIdle() override { ++idle; }
    int filterMsg(LUMIMessage& msg) override
    {
        seen.push_back(msg.id);
        return msg.id == MSG_COMMAND && msg.param1 == swallowParam ? 1 : 0;
    }
};

class MsgLoopTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<CountingApp>(); }
    CountingApp& counting() { return static_cast<CountingApp&>(*app); }

    Recorder* makeWindow()
    {
        auto* w = new Recorder;
        EXPECT_EQ(w->create(Rect(0, 0, 100, 100), 0x47, 101), 0);
        return w;
    }
};

struct Pipe {
    int fds[2] { -1, -1 };
    Pipe() { EXPECT_EQ(pipe(fds), 0); }
    ~Pipe()
    {
        close(fds[0]);
        close(fds[1]);
    }
};

class CountingHandler : public EventHandler {
public:
    int reads { 0 };
    std::function<void(int)> also;
    void onRead(int fd) override
    {
        char buf[64];
        ssize_t n = read(fd, buf, sizeof buf);
        (void)n;
        ++reads;
        if (also)
            also(fd);
    }
};

}

TEST_F(MsgLoopTest, MessagesAreDeliveredInTheOrderTheyWerePosted)
{
    Recorder* w = makeWindow();
    for (int i = 1; i <= 5; ++i)
        app->addMsg(LUMIMessage(w, MSG_COMMAND, i));
    EXPECT_TRUE(w->commands.empty());
    settle();
    EXPECT_EQ(w->commands, (std::vector<int> { 1, 2, 3, 4, 5 }));
}

TEST_F(MsgLoopTest, FilterSeesEveryMessageAndSwallowsWhatItClaims)
{
    Recorder* w = makeWindow();
    counting().swallowParam = 2;
    app->addMsg(LUMIMessage(w, MSG_COMMAND, 1));
    app->addMsg(LUMIMessage(w, MSG_COMMAND, 2));
    app->addMsg(LUMIMessage(w, MSG_COMMAND, 3));
    settle();
    EXPECT_EQ(w->commands, (std::vector<int> { 1, 3 }));
    EXPECT_EQ(counting().seen, (std::vector<int> { MSG_COMMAND, MSG_COMMAND, MSG_COMMAND }));
}

TEST_F(MsgLoopTest, IdleWorkRunsWhenTheQueueIsEmpty)
{
    Recorder* w = makeWindow();
    const int before = counting().idle;
    app->addMsg(LUMIMessage(w, MSG_COMMAND, 1));
    app->processEvents(0);
    EXPECT_EQ(w->commands.size(), 1u);
    EXPECT_GT(counting().idle, before);
}

TEST_F(MsgLoopTest, WindowTimerRepeatsUntilKilled)
{
    Recorder* w = makeWindow();
    const int id = w->setTimer(50);
    ASSERT_NE(id, 0);
    advance(49);
    EXPECT_TRUE(w->ticks.empty());
    advance(1);
    EXPECT_EQ(w->ticks.size(), 1u);
    advance(100);
    EXPECT_EQ(w->ticks.size(), 3u);
    w->killTimer(id);
    advance(200);
    EXPECT_EQ(w->ticks.size(), 3u);
    for (int t : w->ticks)
        EXPECT_EQ(t, id);
}

TEST_F(MsgLoopTest, TimerIdsAreUniqueAndNeverZero)
{
    Recorder* w = makeWindow();
    const int a = w->setTimer(10);
    const int b = w->setTimer(10);
    const int c = rt->addTimer(
        10, [](void*, int) {}, nullptr);
    EXPECT_NE(a, 0);
    EXPECT_NE(a, b);
    EXPECT_NE(b, c);
    EXPECT_NE(a, c);
}

namespace {
struct LoopTimerLog {
    std::vector<std::pair<void*, int>> calls;
};
void logTimer(void* arg, int id)
{
    static_cast<LoopTimerLog*>(arg)->calls.emplace_back(arg, id);
}
}

TEST_F(MsgLoopTest, LoopTimerCallsBackWithItsArgumentAndIdUntilDeleted)
{
    LoopTimerLog log;
    const int id = rt->addTimer(1000, logTimer, &log);
    advance(3000, 10);
    ASSERT_EQ(log.calls.size(), 3u);
    EXPECT_EQ(log.calls[0].first, &log);
    EXPECT_EQ(log.calls[2].second, id);
    EXPECT_EQ(rt->delTimer(id), 0);
    advance(2000, 10);
    EXPECT_EQ(log.calls.size(), 3u);
    EXPECT_EQ(rt->delTimer(id), -1);
}

namespace {
int s_selfKillCalls = 0;
void killSelf(void*, int id)
{
    ++s_selfKillCalls;
    GuiRT::instance()->delTimer(id);
}
}

TEST_F(MsgLoopTest, TimerMayDeleteItselfInItsCallback)
{
    s_selfKillCalls = 0;
    rt->addTimer(20, killSelf, nullptr);
    advance(200);
    EXPECT_EQ(s_selfKillCalls, 1);
}

TEST_F(MsgLoopTest, TimerKilledByAnEarlierCallbackOfTheSameTurnDoesNotFire)
{
    static int victim = 0;
    static int victimCalls = 0;
    victimCalls = 0;
    rt->addTimer(
        10, [](void*, int) { GuiRT::instance()->delTimer(victim); }, nullptr);
    victim = rt->addTimer(
        10, [](void*, int) { ++victimCalls; }, nullptr);
    nowMs += 10; // both are due in the same turn
    settle();
    EXPECT_EQ(victimCalls, 0);
}

TEST_F(MsgLoopTest, DescriptorHandlerRunsWhenReadableUntilUnregistered)
{
    Pipe p;
    CountingHandler h;
    ASSERT_EQ(rt->registerHandler(p.fds[0], &h), 0);
    settle();
    EXPECT_EQ(h.reads, 0);
    ASSERT_EQ(write(p.fds[1], "x", 1), 1);
    EXPECT_TRUE(pumpUntil([&] { return h.reads == 1; }));
    EXPECT_EQ(rt->unregisterHandler(p.fds[0]), 0);
    ASSERT_EQ(write(p.fds[1], "y", 1), 1);
    app->processEvents(0);
    EXPECT_EQ(h.reads, 1);
    EXPECT_EQ(rt->unregisterHandler(p.fds[0]), -1);
}

TEST_F(MsgLoopTest, HandlerMayUnregisterAnotherReadyDescriptor)
{
    Pipe a;
    Pipe b;
    CountingHandler ha;
    CountingHandler hb;
    ha.also = [&](int) { rt->unregisterHandler(b.fds[0]); };
    hb.also = [&](int) { rt->unregisterHandler(a.fds[0]); };
    ASSERT_EQ(rt->registerHandler(a.fds[0], &ha), 0);
    ASSERT_EQ(rt->registerHandler(b.fds[0], &hb), 0);
    ASSERT_EQ(write(a.fds[1], "x", 1), 1);
    ASSERT_EQ(write(b.fds[1], "x", 1), 1);
    pumpUntil([&] { return ha.reads + hb.reads > 0; });
    settle();
    // Whichever ran first unregistered the other before it could run.
    EXPECT_EQ(ha.reads + hb.reads, 1);
}

TEST_F(MsgLoopTest, RegisteringABadDescriptorFails)
{
    CountingHandler h;
    EXPECT_EQ(rt->registerHandler(-1, &h), -1);
    EXPECT_EQ(rt->registerHandler(0, nullptr), -1);
}

namespace {
void wakeFromSignal(int)
{
    GuiRT::instance()->wakeup();
}
}

TEST_F(MsgLoopTest, WakeupFromASignalHandlerReleasesAWaitingLoop)
{
    struct sigaction sa { };
    struct sigaction old { };
    sa.sa_handler = wakeFromSignal;
    sigemptyset(&sa.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &sa, &old), 0);
    settle();
    const int idleBefore = counting().idle;

    raise(SIGUSR1);
    // The handler's wake-up is pending on the loop's descriptor...
    pollfd pfd { rt->impl()->wakeFd, POLLIN, 0 };
    EXPECT_EQ(::poll(&pfd, 1, 0), 1);
    // ...so a loop with nothing else to wait for returns and runs its idle work.
    ASSERT_EQ(rt->nextTimeout(), -1);
    app->processEvents(-1);
    app->processEvents(0);
    EXPECT_GT(counting().idle, idleBefore);
    EXPECT_EQ(::poll(&pfd, 1, 0), 0);
    sigaction(SIGUSR1, &old, nullptr);
}

TEST_F(MsgLoopTest, ExitEndsRunWithTheGivenCode)
{
    Recorder* w = makeWindow();
    (void)w;
    rt->addTimer(
        1, [](void*, int) { theGuiApp()->exit(3); }, nullptr);
    nowMs += 5;
    EXPECT_EQ(app->run(), 3);
}

namespace {

// The action the process has for signo now.
struct sigaction actionOf(int signo)
{
    struct sigaction sa { };
    sigaction(signo, nullptr, &sa);
    return sa;
}

bool wakePending(MsgLoop& loop)
{
    pollfd pfd { loop.impl()->wakeFd, POLLIN, 0 };
    return ::poll(&pfd, 1, 0) == 1;
}

}

TEST_F(MsgLoopTest, WatchedSignalIsRecordedByTheHandlerAndRunOnTheLoop)
{
    std::vector<int> calls;
    const int id = rt->watchSignal(SIGUSR1, [&calls](int signo) { calls.push_back(signo); });
    ASSERT_GT(id, 0);
    settle();
    raise(SIGUSR1);
    // The handler has run: it only recorded the signal and woke the loop.
    EXPECT_TRUE(calls.empty());
    EXPECT_TRUE(wakePending(*rt));
    rt->poll(0);
    EXPECT_EQ(calls, (std::vector<int> { SIGUSR1 }));
    EXPECT_FALSE(wakePending(*rt));
    rt->poll(0);
    EXPECT_EQ(calls.size(), 1u); // once for one arrival
    EXPECT_EQ(rt->unwatchSignal(id), 0);
}

TEST_F(MsgLoopTest, ArrivalsBeforeTheLoopRunsAreOneCall)
{
    int calls = 0;
    const int id = rt->watchSignal(SIGUSR1, [&calls](int) { ++calls; });
    raise(SIGUSR1);
    raise(SIGUSR1);
    raise(SIGUSR1);
    rt->poll(0);
    EXPECT_EQ(calls, 1);
    rt->unwatchSignal(id);
}

TEST_F(MsgLoopTest, EveryWatchOfASignalIsCalledAndMayEndItsOwnWatch)
{
    std::vector<char> calls;
    int first = 0;
    first = rt->watchSignal(SIGUSR2, [&](int) {
        calls.push_back('a');
        rt->unwatchSignal(first);
    });
    const int second = rt->watchSignal(SIGUSR2, [&](int) { calls.push_back('b'); });
    raise(SIGUSR2);
    rt->poll(0);
    raise(SIGUSR2);
    rt->poll(0);
    EXPECT_EQ(calls, (std::vector<char> { 'a', 'b', 'b' }));
    rt->unwatchSignal(second);
}

TEST_F(MsgLoopTest, TheLastUnwatchGivesTheSignalItsPreviousActionBack)
{
    struct sigaction ignore { };
    ignore.sa_handler = SIG_IGN;
    struct sigaction old { };
    ASSERT_EQ(sigaction(SIGUSR2, &ignore, &old), 0);
    const int a = rt->watchSignal(SIGUSR2, [](int) {});
    const int b = rt->watchSignal(SIGUSR2, [](int) {});
    EXPECT_EQ(actionOf(SIGUSR2).sa_flags & SA_SIGINFO, SA_SIGINFO);
    EXPECT_EQ(rt->unwatchSignal(a), 0);
    EXPECT_EQ(actionOf(SIGUSR2).sa_flags & SA_SIGINFO, SA_SIGINFO); // still watched by b
    EXPECT_EQ(rt->unwatchSignal(b), 0);
    EXPECT_EQ(actionOf(SIGUSR2).sa_handler, SIG_IGN);
    EXPECT_EQ(rt->unwatchSignal(b), -1);
    sigaction(SIGUSR2, &old, nullptr);
}

TEST_F(MsgLoopTest, TheLoopsEndGivesWatchedSignalsTheirPreviousActionBack)
{
    // The run-time watches SIGTERM and SIGINT; without it they kill again.
    EXPECT_EQ(actionOf(SIGTERM).sa_flags & SA_SIGINFO, SA_SIGINFO);
    app->term();
    app.reset();
    rt.reset();
    EXPECT_EQ(actionOf(SIGTERM).sa_handler, SIG_DFL);
    EXPECT_EQ(actionOf(SIGINT).sa_handler, SIG_DFL);
}

TEST_F(MsgLoopTest, SignalsThatCannotBeWatchedAreRefused)
{
    auto nothing = [](int) {};
    errno = 0;
    EXPECT_EQ(rt->watchSignal(0, nothing), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(rt->watchSignal(NSIG, nothing), -1);
    EXPECT_EQ(rt->watchSignal(SIGKILL, nothing), -1);
    EXPECT_EQ(rt->watchSignal(SIGUSR1, nullptr), -1);
}

TEST_F(MsgLoopTest, ASignalArrivingWhileTheLoopWaitsWakesIt)
{
    int calls = 0;
    const int id = rt->watchSignal(SIGUSR1, [&calls](int) { ++calls; });
    ASSERT_EQ(rt->nextTimeout(), -1); // nothing else would end the wait
    settle();
    const pthread_t loopThread = pthread_self();
    std::thread sender([loopThread] { pthread_kill(loopThread, SIGUSR1); });
    // Returns only once the signal has arrived (before or during the wait).
    while (calls == 0)
        app->processEvents(-1);
    sender.join();
    EXPECT_EQ(calls, 1);
    rt->unwatchSignal(id);
}

TEST_F(MsgLoopTest, SigtermEndsRunCleanly)
{
    Recorder* w = makeWindow();
    (void)w;
    rt->addTimer(
        1, [](void*, int) { raise(SIGTERM); }, nullptr);
    nowMs += 5;
    EXPECT_EQ(app->run(), 0);
    EXPECT_TRUE(app->isExiting());
}

TEST_F(MsgLoopTest, SigintEndsRunCleanly)
{
    rt->addTimer(
        1, [](void*, int) { raise(SIGINT); }, nullptr);
    nowMs += 5;
    EXPECT_EQ(app->run(), 0);
    EXPECT_TRUE(app->isExiting());
}

TEST_F(MsgLoopTest, TheTestClockDrivesTimersAndTheWallClockAlike)
{
    const uint64_t wall = lumi::wallClockMs();
    const uint64_t loop = rt->now();
    EXPECT_EQ(wall, nowMs);
    EXPECT_EQ(lumi::monotonicMs(), loop);
    int fired = 0;
    rt->addTimer(
        50, [](void* arg, int) { ++*static_cast<int*>(arg); }, &fired);
    advance(50);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(lumi::wallClockMs() - wall, 50u);
    EXPECT_EQ(rt->now() - loop, 50u);
}

TEST(LumiClock, WithoutATestClockTheWallClockIsTheTimeOfDay)
{
    lumi::setTestClock(nullptr);
    const auto timeOfDay = [] {
        timeval now {};
        gettimeofday(&now, nullptr);
        return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_usec / 1000);
    };
    const uint64_t before = timeOfDay();
    const uint64_t reading = lumi::wallClockMs();
    const uint64_t after = timeOfDay();
    EXPECT_LE(before, reading);
    EXPECT_LE(reading, after);
    const uint64_t a = lumi::monotonicMs();
    EXPECT_LE(a, lumi::monotonicMs());
}

namespace {

// A window that counts its paints and asks for one on every command.
class PaintCounter : public Recorder {
public:
    int paints { 0 };
    int onPaint() override
    {
        ++paints;
        return 0;
    }
    int onCommand(LUMIMessage& msg) override
    {
        invalidateRect(nullptr);
        return Recorder::onCommand(msg);
    }
};

} // namespace

TEST_F(MsgLoopTest, ABurstOfReadyInputAndItsMessagesIsServedBeforeOnePaint)
{
    auto* w = new PaintCounter;
    ASSERT_EQ(w->create(Rect(0, 0, 100, 100), 0x47, 101), 0);
    settle();
    w->paints = 0;

    // Fifty bytes ready at once, read one at a time; each read posts a
    // command that asks for a paint.
    Pipe p;
    struct OneByte : EventHandler {
        PaintCounter* window { nullptr };
        int reads { 0 };
        void onRead(int fd) override
        {
            char c;
            if (read(fd, &c, 1) == 1)
                theGuiApp()->addMsg(LUMIMessage(window, MSG_COMMAND, reads++));
        }
    } h;
    h.window = w;
    ASSERT_EQ(rt->registerHandler(p.fds[0], &h), 0);
    const std::string bytes(50, 'x');
    ASSERT_EQ(write(p.fds[1], bytes.data(), bytes.size()), 50);

    app->processEvents(0);
    EXPECT_EQ(h.reads, 50);
    EXPECT_EQ(static_cast<int>(w->commands.size()), 50);
    EXPECT_EQ(w->paints, 0);
    app->processEvents(0);
    EXPECT_EQ(w->paints, 1);
    EXPECT_EQ(rt->unregisterHandler(p.fds[0]), 0);
}

TEST_F(MsgLoopTest, InputThatNeverStopsStillLetsTheScreenPaint)
{
    auto* w = new PaintCounter;
    ASSERT_EQ(w->create(Rect(0, 0, 100, 100), 0x47, 101), 0);
    settle();
    w->paints = 0;

    // Every read puts a byte back: the descriptor is always ready.
    Pipe p;
    CountingHandler h;
    h.also = [&](int) {
        w->invalidateRect(nullptr);
        ASSERT_EQ(write(p.fds[1], "x", 1), 1);
    };
    ASSERT_EQ(rt->registerHandler(p.fds[0], &h), 0);
    ASSERT_EQ(write(p.fds[1], "x", 1), 1);

    app->processEvents(0);
    const int firstTurn = h.reads;
    EXPECT_GT(firstTurn, 1); // more than one read before the paint
    EXPECT_LE(firstTurn, 257); // but a bounded number
    app->processEvents(0);
    EXPECT_EQ(w->paints, 1);
    EXPECT_GT(h.reads, firstTurn);
    EXPECT_EQ(rt->unregisterHandler(p.fds[0]), 0);
}
