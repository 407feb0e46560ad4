#include "lumi_test.h"

#include "shell/pelguiapp.h"
#include "shell/pelnotifier.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

struct Received {
    int type;
    int value;
    std::string text;
    bool hasText;
};

class Receiver : public MainWndBase {
public:
    std::vector<Received> got;
    int handleMessage(LUMIMessage& msg) override
    {
        if (msg.id == MSG_PEL_NOTIFY) {
            Received r { msg.param1, msg.param2, "", msg.data != nullptr };
            if (msg.data) {
                r.text = static_cast<char*>(msg.data);
                free(msg.data);   // the receiver owns the string
            }
            got.push_back(r);
        }
        return MainWndBase::handleMessage(msg);
    }
};

class PelNotifierTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<PelGuiApp>(); }

    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        PelNotifier::setPath(socketPath().c_str());
    }
    void TearDown() override
    {
        PelNotifier::close();
        PelNotifier::setPath(nullptr);
        lumitest::ToolkitTest::TearDown();
    }
    std::string socketPath() const { return tmp.file("autorun_msg.dat"); }

    Receiver* makeReceiver()
    {
        auto* w = new Receiver;
        EXPECT_EQ(w->create(Rect(0, 0, 800, 480), 71, 101), 0);
        return w;
    }

    // Sends one datagram without blocking: the receiver is this very
    // thread, so while its queue is full the loop is run to drain it.
    bool send(const void* data, size_t size)
    {
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr {};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socketPath().c_str());
        ssize_t n = -1;
        for (int attempt = 0; attempt < 200; ++attempt) {
            n = sendto(fd, data, size, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
            if (n >= 0 || errno != EAGAIN)
                break;
            app->processEvents(10);
        }
        close(fd);
        return n == static_cast<ssize_t>(size);
    }
    bool send(const std::string& text) { return send(text.data(), text.size()); }
};

}

TEST_F(PelNotifierTest, ProgressDatagramPostsTheValueAndNoString)
{
    Receiver* w = makeReceiver();
    ASSERT_EQ(PelNotifier::init(), 0);
    testing::internal::CaptureStdout();
    ASSERT_TRUE(send("3@75"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(w->got[0].type, 3);
    EXPECT_EQ(w->got[0].value, 75);
    EXPECT_FALSE(w->got[0].hasText);
    EXPECT_NE(out.find("[PelNotifier::onRead()] 3@75\n"), std::string::npos);
}

TEST_F(PelNotifierTest, TextDatagramPostsItsTypeAndACopyOfThePayload)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("5@Copying files"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    EXPECT_EQ(w->got[0].type, 5);
    EXPECT_EQ(w->got[0].value, 0);
    ASSERT_TRUE(w->got[0].hasText);
    EXPECT_EQ(w->got[0].text, "Copying files");
}

TEST_F(PelNotifierTest, DatagramWithoutSeparatorIsDroppedWithReceiveNull)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    testing::internal::CaptureStdout();
    ASSERT_TRUE(send("hello"));
    ASSERT_TRUE(send("1@after"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Receive NULL "), std::string::npos);
    ASSERT_EQ(w->got.size(), 1u);   // only the second one
    EXPECT_EQ(w->got[0].text, "after");
}

TEST_F(PelNotifierTest, EmptyTypePostsTypeZeroWithTheString)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("@x"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    EXPECT_EQ(w->got[0].type, 0);
    EXPECT_EQ(w->got[0].text, "x");
}

TEST_F(PelNotifierTest, EmptyPayloadGivesAnEmptyString)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("4@"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    EXPECT_EQ(w->got[0].type, 4);
    EXPECT_TRUE(w->got[0].hasText);
    EXPECT_EQ(w->got[0].text, "");
}

TEST_F(PelNotifierTest, OnlyTheFirstSeparatorSplits)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("2@Title @ home"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
    EXPECT_EQ(w->got[0].type, 2);
    EXPECT_EQ(w->got[0].text, "Title @ home");
}

TEST_F(PelNotifierTest, ProgressValuesAreReadWithAtoi)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("3@-5"));
    ASSERT_TRUE(send("3@150%"));
    ASSERT_TRUE(send("3@abc"));
    ASSERT_TRUE(pumpUntil([&] { return w->got.size() == 3; }));
    EXPECT_EQ(w->got[0].value, -5);
    EXPECT_EQ(w->got[1].value, 150);
    EXPECT_EQ(w->got[2].value, 0);
}

TEST_F(PelNotifierTest, AnOverlongTypeIsCutToTheFieldAndCannotOverflow)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("000000000000000000000000000003@x"));
    ASSERT_TRUE(send("12345678901234@y"));
    ASSERT_TRUE(pumpUntil([&] { return w->got.size() == 2; }));
    EXPECT_EQ(w->got[0].type, 0);           // only the first nine digits count
    EXPECT_EQ(w->got[1].type, 123456789);
}

TEST_F(PelNotifierTest, AFullDatagramWithoutTerminatorIsReadSafely)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    std::string big = "1@" + std::string(1022, 'a');
    ASSERT_EQ(big.size(), 1024u);
    ASSERT_TRUE(send(big.data(), big.size()));
    std::string bigger = "1@" + std::string(2000, 'b');   // cut to 1024 bytes by the receive
    ASSERT_TRUE(send(bigger.data(), bigger.size()));
    ASSERT_TRUE(pumpUntil([&] { return w->got.size() == 2; }));
    EXPECT_EQ(w->got[0].text, std::string(1022, 'a'));
    EXPECT_EQ(w->got[1].text, std::string(1022, 'b'));
}

TEST_F(PelNotifierTest, DatagramsWithoutWindow101AreDropped)
{
    PelNotifier::init();
    testing::internal::CaptureStdout();
    ASSERT_TRUE(send("1@lost"));
    pumpUntil([&] { return false; }, 5);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("[PelNotifier::onRead()] 1@lost"), std::string::npos);
    EXPECT_EQ(app->pendingMessages(), 0);
}

TEST_F(PelNotifierTest, AStaleSocketFileDoesNotPreventBinding)
{
    const int fd = open(socketPath().c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    Receiver* w = makeReceiver();
    ASSERT_EQ(PelNotifier::init(), 0);
    struct stat st {};
    ASSERT_EQ(stat(socketPath().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    ASSERT_TRUE(send("1@fresh"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
}

TEST_F(PelNotifierTest, DatagramsArriveInOrderInABurst)
{
    Receiver* w = makeReceiver();
    PelNotifier::init();
    int sent = 0;
    for (int i = 0; i < 100; ++i)
        sent += send("3@" + std::to_string(i));
    ASSERT_TRUE(pumpUntil([&] { return static_cast<int>(w->got.size()) == sent; }, 2000));
    for (int i = 0; i < sent; ++i)
        EXPECT_EQ(w->got[i].value, i);
}

TEST_F(PelNotifierTest, UndeliveredStringsAreFreedWhenTheWindowGoes)
{
    // Checked by the leak checker of the asan build: the queued copy must be
    // released by the application when its window is destroyed first.
    Receiver* w = makeReceiver();
    PelNotifier::init();
    ASSERT_TRUE(send("1@orphan"));
    ASSERT_TRUE(pumpUntil([&] { return app->pendingMessages() > 0 || !w->got.empty(); }, 50));
    if (app->pendingMessages() > 0) {
        w->destroy();
        EXPECT_EQ(app->pendingMessages(), 0);
    }
}

TEST_F(PelNotifierTest, TheSocketIsOwnerOnlyEvenUnderUmaskZero)
{
    const mode_t old = umask(0);
    PelNotifier::init();
    umask(old);
    struct stat st {};
    ASSERT_EQ(lstat(socketPath().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & (S_IRWXG | S_IRWXO), 0u) << std::oct << st.st_mode;
    // The process umask is as it was.
    const mode_t now = umask(old);
    EXPECT_EQ(now, old);
}

TEST_F(PelNotifierTest, AStaleSocketLeftByADeadInstanceIsReplaced)
{
    // Bound and closed: the file stays, nobody answers on it.
    const int dead = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socketPath().c_str());
    ASSERT_EQ(bind(dead, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    close(dead);
    Receiver* w = makeReceiver();
    ASSERT_EQ(PelNotifier::init(), 0);
    ASSERT_TRUE(send("1@fresh"));
    ASSERT_TRUE(pumpUntil([&] { return !w->got.empty(); }));
}

TEST_F(PelNotifierTest, ClosingRemovesTheSocketFile)
{
    PelNotifier::init();
    struct stat st {};
    ASSERT_EQ(lstat(socketPath().c_str(), &st), 0);
    PelNotifier::close();
    EXPECT_NE(lstat(socketPath().c_str(), &st), 0);
    EXPECT_EQ(PelNotifier::fd(), -1);
}

TEST_F(PelNotifierTest, ClosingLeavesASuccessorsSocketAlone)
{
    PelNotifier::init();
    // Another instance has taken the path since (after removing our file).
    ASSERT_EQ(unlink(socketPath().c_str()), 0);
    const int successor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socketPath().c_str());
    ASSERT_EQ(bind(successor, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    PelNotifier::close();
    struct stat st {};
    EXPECT_EQ(lstat(socketPath().c_str(), &st), 0);
    // It still receives.
    ASSERT_TRUE(send("1@still here"));
    char buf[32] = {};
    EXPECT_EQ(recv(successor, buf, sizeof buf - 1, MSG_DONTWAIT), 12);
    close(successor);
}

TEST_F(PelNotifierTest, ASecondInstanceRefusesToStartWhileTheFirstAnswers)
{
    // The first instance: a socket bound and open at the path.
    const int first = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socketPath().c_str());
    ASSERT_EQ(bind(first, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    const std::string path = socketPath();
    EXPECT_EXIT(PelNotifier::init(), testing::ExitedWithCode(1), "^bind: " + path + ": .*another instance");
    // The first one's socket is still there and still receives.
    ASSERT_TRUE(send("1@first"));
    char buf[32] = {};
    EXPECT_EQ(recv(first, buf, sizeof buf - 1, MSG_DONTWAIT), 7);
    close(first);
}

TEST(PelNotifierDeathTest, ABindFailureEndsTheProcessWithStatusOne)
{
    EXPECT_EXIT(
        {
            PelNotifier::setPath("/nonexistent-dir-for-uishull-tests/autorun_msg.dat");
            PelNotifier::init();
        },
        testing::ExitedWithCode(1),
        "^bind: /nonexistent-dir-for-uishull-tests/autorun_msg.dat: No such file or directory");
}

TEST(PelNotifierDeathTest, AnOverlongPathIsRefusedByName)
{
    const std::string path = "/tmp/" + std::string(200, 'p');
    EXPECT_EXIT(
        {
            PelNotifier::setPath(path.c_str());
            PelNotifier::init();
        },
        testing::ExitedWithCode(1), "^bind: /tmp/p+: File name too long");
}
