// The update mode of the real program: "uishull 7" in the sandbox, driven by
// real datagrams on its notifier socket (sent by the test itself or by
// uishull-notify, the sender update scripts use), checked through its
// output, its exit and the headless screen file.

#include "../unit/update/test_bmp.h"
#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"
#include "sandbox.h"
#include "screen_file.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 480;

constexpr uint16_t kBlack = 0x0000;
constexpr uint16_t kWhite = 0xFFFF;
constexpr uint16_t kHeader = 0x192B;
constexpr uint16_t kPanel = 0x7BAF;
constexpr uint16_t kRed = 0xF800;
constexpr uint16_t kTrack = 0x5AEB;
constexpr uint16_t kFill = 0x87FF;
constexpr uint16_t kThumb = 0xAD55;

// The bar's track on an 800x480 screen: x 20 to 720, y 415 to 429 (700
// pixels: 7 a percent).
constexpr int kTrackLeft = 20;
constexpr int kTrackY = 420;
const Rect kStatusRect(20, 434, 720, 464);
const Rect kTitleRect(120, 0, 800, 80);

// The shown screen, read from the program's screen file.
using Screen = lumitest::ScreenFile;

class UpdateModeTest : public lumitest::ProgramTest {
protected:

    // Starts "uishull 7" and waits until its window is up (the socket is
    // bound before the window is made).
    lumitest::ChildProcess& start()
    {
        lumitest::ChildProcess& p = startProgram({ "7" });
        EXPECT_TRUE(p.started());
        EXPECT_TRUE(p.waitForOutput("UpdateWnd::create()\n", kStartMs)) << p.errors();
        return p;
    }

    // Sends one datagram as a script would, waiting while the program's
    // queue is full (up to 60 s). True when it went out whole.
    bool send(const std::string& bytes) const { return sendDatagram(bytes, 60); }

    // Runs uishull-notify (under the emulator of a cross build) against the
    // program's socket; returns its exit status.
    int notify(const std::vector<std::string>& args, std::string* errors = nullptr)
    {
        std::vector<std::string> all { "--socket", socketPath() };
        all.insert(all.end(), args.begin(), args.end());
        lumitest::ChildProcess sender(lumitest::buildProgram("tools/uishull-notify"), all, {});
        const int status = sender.wait(kSenderMs);
        if (errors)
            *errors = sender.errors();
        return status;
    }

    Screen screen() const { return Screen(tmp.file("screen.raw")); }

    // Polls the screen file until pred holds for what it shows.
    bool waitForScreen(const std::function<bool(const Screen&)>& pred, int timeoutMs = 20000)
    {
        return pollUntil(
            [&] {
                const Screen s = screen();
                return s.valid() && pred(s);
            },
            timeoutMs);
    }

    std::string received(const std::string& text) const { return "[PelNotifier::onRead()] " + text + "\n"; }

    // Generous: the armhf build runs under an emulator, the asan build slowly.
    static constexpr int kStartMs = 30000;
    static constexpr int kSenderMs = 30000;

};

}

TEST_F(UpdateModeTest, StartsWithTheHeaderBandAnEmptyListAndAnEmptyBar)
{
    lumitest::ChildProcess& p = start();
    EXPECT_NE(p.output().find("[--I] receive startup type=7 \n"), std::string::npos);
    // The first frame may land in pieces: wait for the whole screen, then say which part is wrong.
    const auto whole = [](const Screen& s) {
        return s.all(Rect(0, 0, 800, 80), kHeader) && s.all(Rect(0, 80, 800, 390), kWhite)
            && s.all(Rect(0, 390, 800, 410), kPanel) && s.all(Rect(kTrackLeft, 415, 720, 429), kTrack)
            && s.all(Rect(0, 464, 800, 480), kPanel);
    };
    if (!waitForScreen(whole)) {
        const Screen s = screen();
        EXPECT_TRUE(s.all(Rect(0, 0, 800, 80), kHeader));
        EXPECT_TRUE(s.all(Rect(0, 80, 800, 390), kWhite));
        EXPECT_TRUE(s.all(Rect(0, 390, 800, 410), kPanel));
        EXPECT_TRUE(s.all(Rect(kTrackLeft, 415, 720, 429), kTrack));
        EXPECT_TRUE(s.all(Rect(0, 464, 800, 480), kPanel));
        FAIL() << "the update screen's first frame never showed whole";
    }
    EXPECT_TRUE(p.running());
}

TEST_F(UpdateModeTest, Progress75FillsThreeQuartersOfTheBar)
{
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(send("3@75"));
    EXPECT_TRUE(p.waitForOutput(received("3@75")));
    // 75 % of 700 pixels: 525.
    EXPECT_TRUE(waitForScreen([](const Screen& s) {
        return s.all(Rect(kTrackLeft, 415, kTrackLeft + 525, 429), kFill)
            && s.all(Rect(kTrackLeft + 525, 415, 720, 429), kTrack);
    }));
}

TEST_F(UpdateModeTest, AStatusDatagramWritesTheStatusLine)
{
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(send("5@Copying files"));
    EXPECT_TRUE(p.waitForOutput(received("5@Copying files")));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.count(kStatusRect, kRed) > 20; }));
}

TEST_F(UpdateModeTest, ADatagramWithoutSeparatorPrintsReceiveNullAndIsDropped)
{
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(waitForScreen([](const Screen& s) { return s.all(Rect(0, 0, 800, 80), kHeader); }));
    ASSERT_TRUE(send("hello"));
    EXPECT_TRUE(p.waitForOutput(received("hello") + "Receive NULL \n"));
    // Still serving: a later datagram is shown.
    ASSERT_TRUE(send("3@50"));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.at(kTrackLeft + 340, kTrackY) == kFill; }));
    EXPECT_TRUE(p.running());
}

TEST_F(UpdateModeTest, ADatagramOfTypeZeroChangesNothing)
{
    lumitest::ChildProcess& p = start();
    // The picture to compare with is taken once a first status is shown: the
    // program handles datagrams only after it has shown its first screen, so
    // nothing outside the status line is still being written then.
    ASSERT_TRUE(send("5@a"));
    ASSERT_TRUE(waitForScreen([](const Screen& s) { return s.count(kStatusRect, kRed) > 0; }));
    const Screen before = screen();
    const int redBefore = before.count(kStatusRect, kRed);
    ASSERT_TRUE(send("@x"));
    ASSERT_TRUE(p.waitForOutput(received("@x")));
    // Datagrams are handled in order: once the longer status that follows is
    // shown, "@x" has been handled, and only the status line differs.
    ASSERT_TRUE(send("5@a longer marker"));
    ASSERT_TRUE(waitForScreen([&](const Screen& s) { return s.count(kStatusRect, kRed) > redBefore; }));
    EXPECT_TRUE(screen().sameOutside(before, kStatusRect));
    EXPECT_TRUE(p.running());
}

TEST_F(UpdateModeTest, Progress150AndMinus5ShowTheEmptyTrack)
{
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(send("3@50"));
    ASSERT_TRUE(waitForScreen([](const Screen& s) { return s.at(kTrackLeft + 100, kTrackY) == kFill; }));
    ASSERT_TRUE(send("3@150"));
    EXPECT_TRUE(p.waitForOutput(received("3@150")));
    EXPECT_TRUE(
        waitForScreen([](const Screen& s) { return s.all(Rect(kTrackLeft, 415, 720, 429), kTrack); }));

    ASSERT_TRUE(send("3@50"));
    ASSERT_TRUE(waitForScreen([](const Screen& s) { return s.at(kTrackLeft + 100, kTrackY) == kFill; }));
    ASSERT_TRUE(send("3@-5"));
    EXPECT_TRUE(p.waitForOutput(received("3@-5")));
    EXPECT_TRUE(
        waitForScreen([](const Screen& s) { return s.all(Rect(kTrackLeft, 415, 720, 429), kTrack); }));
    // The percentage label shows the raw numbers (checked in-process); here
    // it holds red text all along.
    EXPECT_GT(screen().count(Rect(730, 410, 800, 434), kRed), 0);
}

TEST_F(UpdateModeTest, TwoDonesEndTheProgramOnceAfterTheSecond)
{
    // The one second of grace and its restart by a second "done" are timed
    // with the test clock in-process; here only the order of the program's
    // own lines counts, which no slow emulator can upset.
    lumitest::ChildProcess& p = start();
    ASSERT_TRUE(send("4@first"));
    ASSERT_TRUE(send("4@second"));
    ASSERT_TRUE(p.waitForOutput("[--I]exit app \n", 30000));
    EXPECT_EQ(p.wait(30000), 0);
    const std::string out = p.output();
    const size_t first = out.find(received("4@first"));
    const size_t second = out.find(received("4@second"));
    const size_t exited = out.find("[--I]exit app \n");
    ASSERT_NE(first, std::string::npos) << out;
    ASSERT_NE(second, std::string::npos) << out;
    EXPECT_LT(first, second);
    EXPECT_LT(second, exited) << "both were taken before the end";
    EXPECT_EQ(occurrences(out, "[--I]exit app "), 1);
    // "rm /tmp/autorun_msg.dat" ran in the sandbox, where /tmp is the test's directory.
    EXPECT_FALSE(exists(socketPath()));
    const Screen s = screen();
    ASSERT_TRUE(s.valid());
    EXPECT_TRUE(s.all(Rect(0, 0, 800, 480), kBlack));
}

TEST_F(UpdateModeTest, AStaleSocketFileIsReplacedAtStart)
{
    {
        std::ofstream stale(socketPath());
        stale << "left over";
    }
    lumitest::ChildProcess& p = start();
    struct stat st { };
    ASSERT_EQ(stat(socketPath().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    ASSERT_TRUE(send("3@30"));
    EXPECT_TRUE(p.waitForOutput(received("3@30")));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.at(kTrackLeft + 200, kTrackY) == kFill; }));
}

TEST_F(UpdateModeTest, AFull1024ByteDatagramWithoutTerminatorIsShown)
{
    lumitest::ChildProcess& p = start();
    const std::string big = "5@" + std::string(1022, 'A');
    ASSERT_EQ(big.size(), 1024u);
    ASSERT_TRUE(send(big));
    EXPECT_TRUE(p.waitForOutput(received(big)));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.count(kStatusRect, kRed) > 20; }));
    // The program goes on as before.
    ASSERT_TRUE(send("3@20"));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.at(kTrackLeft + 100, kTrackY) == kFill; }));
    ASSERT_TRUE(send("4@"));
    EXPECT_EQ(p.wait(15000), 0);
}

TEST_F(UpdateModeTest, ABurstOf10000DatagramsIsServedAndTheExitIsClean)
{
    lumitest::ChildProcess& p = start();
    // Sent from a second thread: while the program's queue is full the
    // sender waits, and this thread must go on reading the program's output
    // meanwhile, or the program would wait on its output in turn.
    std::atomic<int> sent { 0 };
    std::thread sender([&] {
        for (int i = 0; i < 10000; ++i) {
            std::string text;
            switch (i % 5) {
            case 0:
                text = "1@step " + std::to_string(i);
                break;
            case 1:
                text = "3@" + std::to_string(i % 101);
                break;
            case 2:
                text = "5@status " + std::to_string(i);
                break;
            case 3:
                text = "2@title " + std::to_string(i);
                break;
            default:
                text = i % 2 ? "hello" : "@x";
                break;
            }
            if (!send(text))
                return;
            ++sent;
        }
        if (send("5@burst end"))
            ++sent;
    });
    const bool ended = p.waitForOutput(received("5@burst end"), 600000);
    sender.join();
    ASSERT_TRUE(ended) << "sent " << sent.load();
    EXPECT_EQ(sent.load(), 10001);
    EXPECT_EQ(occurrences(p.output(), "[PelNotifier::onRead()] "), 10001);
    EXPECT_EQ(occurrences(p.output(), "Receive NULL "), 1000);

    // Still responsive: a new value reaches the screen, with 2000 steps in
    // the list and the scroll bar showing it.
    ASSERT_TRUE(send("3@33"));
    EXPECT_TRUE(waitForScreen(
        [](const Screen& s) {
            return s.at(kTrackLeft + 200, kTrackY) == kFill && s.at(kTrackLeft + 240, kTrackY) == kTrack;
        },
        60000));
    EXPECT_GT(screen().count(Rect(792, 80, 800, 390), kThumb), 0);

    ASSERT_TRUE(send("4@"));
    EXPECT_EQ(p.wait(60000), 0) << p.errors();
    // The asan build's leak checker reports at exit.
    EXPECT_EQ(p.errors().find("LeakSanitizer"), std::string::npos) << p.errors();
    EXPECT_EQ(p.errors().find("AddressSanitizer"), std::string::npos) << p.errors();
    EXPECT_EQ(p.errors().find("runtime error"), std::string::npos) << p.errors();
}

TEST_F(UpdateModeTest, TheLogoComesFromTheConfigInTheWorkingDirectory)
{
    // The program's /tmp (and working directory) is the test's directory.
    ASSERT_TRUE(updatetest::writeBmp(tmp.file("logo.bmp"), 300, 50, 0, 255, 0));
    {
        std::ofstream config(tmp.file("config.ini"));
        config << "[Log]\nlog_path = /tmp/logo.bmp\n";
    }
    start();
    // Centred in (0, 0, 310, 80); the title starts at 330.
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.all(Rect(5, 15, 305, 65), 0x07E0); }));
    ASSERT_TRUE(send("2@Title"));
    EXPECT_TRUE(waitForScreen([](const Screen& s) { return s.count(Rect(330, 0, 800, 80), kWhite) > 0; }));
    const Screen s = screen();
    EXPECT_EQ(s.count(Rect(305, 0, 330, 80), kWhite), 0);
    EXPECT_EQ(s.at(4, 40), kHeader);
}

TEST_F(UpdateModeTest, TheSenderDrivesTheScreenAndEndsTheProgram)
{
    lumitest::ChildProcess& p = start();
    EXPECT_EQ(notify({ "--utf8", "title", "系统升级" }), 0);
    EXPECT_EQ(notify({ "step", "Erasing flash" }), 0);
    EXPECT_EQ(notify({ "progress", "40" }), 0);
    EXPECT_EQ(notify({ "status", "Writing", "kernel" }), 0);
    EXPECT_TRUE(p.waitForOutput(received("5@Writing kernel")));
    // The title arrived as GBK bytes.
    EXPECT_NE(p.output().find(received("2@\xCF\xB5\xCD\xB3\xC9\xFD\xBC\xB6")), std::string::npos);
    EXPECT_TRUE(waitForScreen([](const Screen& s) {
        return s.count(kTitleRect, kWhite) > 0 && s.at(kTrackLeft + 270, kTrackY) == kFill
            && s.at(kTrackLeft + 290, kTrackY) == kTrack && s.count(kStatusRect, kRed) > 0
            && s.at(600, 100) == 0xDEDB; // the step, selected
    }));
    EXPECT_EQ(notify({ "done" }), 0);
    EXPECT_EQ(p.wait(15000), 0);
    EXPECT_FALSE(exists(socketPath()));
}

TEST_F(UpdateModeTest, TheSenderFailsClearlyWhenNoProgramListens)
{
    std::string errors;
    EXPECT_EQ(notify({ "progress", "10" }, &errors), 1);
    EXPECT_NE(errors.find("uishull-notify: no socket at " + socketPath()), std::string::npos) << errors;
}

TEST_F(UpdateModeTest, TheSenderRefusesADatagramLongerThan1024Bytes)
{
    lumitest::ChildProcess& p = start();
    std::string errors;
    EXPECT_EQ(notify({ "status", std::string(1023, 'a') }, &errors), 1);
    EXPECT_NE(errors.find("1025 bytes"), std::string::npos) << errors;
    // Nothing reached the program.
    EXPECT_EQ(notify({ "status", "after" }), 0);
    EXPECT_TRUE(p.waitForOutput(received("5@after")));
    EXPECT_EQ(occurrences(p.output(), "[PelNotifier::onRead()] "), 1);
}

TEST_F(UpdateModeTest, TheSenderExplainsItsUsage)
{
    std::string errors;
    EXPECT_EQ(notify({ "frobnicate" }, &errors), 2);
    EXPECT_NE(errors.find("usage: uishull-notify"), std::string::npos) << errors;
    lumitest::ChildProcess help(lumitest::buildProgram("tools/uishull-notify"), { "--help" }, {});
    EXPECT_EQ(help.wait(kSenderMs), 0);
    EXPECT_NE(help.output().find("progress N"), std::string::npos);
}

TEST_F(UpdateModeTest, TheDemoScriptRunsAWholeUpdate)
{
    // The script runs on the host; a cross build's sender needs its emulator.
    std::string sender = lumitest::buildProgram("tools/uishull-notify");
    if (!lumitest::emulator().empty()) {
        const std::string wrapper = tmp.file("notify-wrapper.sh");
        std::ofstream out(wrapper);
        out << "#!/bin/sh\nexec " << lumitest::emulator() << " '" << sender << "' \"$@\"\n";
        out.close();
        chmod(wrapper.c_str(), 0755);
        sender = wrapper;
    }
    lumitest::ChildProcess& p = start();
    const std::string command = "timeout 300 sh '" + lumitest::sourceDir()
        + "/tools/update-demo.sh' --delay 0.02 --socket '" + socketPath() + "' --sender '" + sender
        + "' --no-done > '" + tmp.file("demo.log") + "' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_TRUE(p.waitForOutput(received("3@100")));
    // Ten steps: more than the seven rows, so the list scrolled and shows its bar.
    EXPECT_TRUE(waitForScreen([](const Screen& s) {
        return s.all(Rect(kTrackLeft, 415, 720, 429), kFill) && s.count(Rect(792, 80, 800, 390), kThumb) > 0
            && s.count(kTitleRect, kWhite) > 0 && s.count(kStatusRect, kRed) > 0;
    }));
    EXPECT_EQ(occurrences(p.output(), "[PelNotifier::onRead()] 1@"), 10);
    EXPECT_TRUE(p.running());
    EXPECT_EQ(notify({ "done" }), 0);
    EXPECT_EQ(p.wait(15000), 0);
}
