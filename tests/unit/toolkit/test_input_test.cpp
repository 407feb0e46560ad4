// The test-input socket: its line parser, and scripts playing the operator
// through it into a running toolkit.

#include "test_input.h"

#include "tool_runner.h"

#include "input_recorder.h"
#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using lumitest::InputRecorder;

namespace {

using lumi::InputCommand;

InputCommand parsed(const std::string& line)
{
    InputCommand command;
    std::string error;
    EXPECT_TRUE(lumi::parseInputCommand(line, command, error)) << line << ": " << error;
    return command;
}

std::string rejection(const std::string& line)
{
    InputCommand command;
    std::string error;
    EXPECT_FALSE(lumi::parseInputCommand(line, command, error)) << line;
    EXPECT_FALSE(error.empty()) << line;
    return error;
}

TEST(InputCommandParser, ReadsAKeyWithoutStateAsAPressAndRelease)
{
    InputCommand command = parsed("key 28");
    EXPECT_EQ(command.kind, InputCommand::Key);
    EXPECT_EQ(command.code, 28);
    EXPECT_FALSE(command.hasState);
}

TEST(InputCommandParser, ReadsAKeyDownAndAKeyUp)
{
    InputCommand down = parsed("key 27 down");
    EXPECT_EQ(down.kind, InputCommand::Key);
    EXPECT_EQ(down.code, 27);
    EXPECT_TRUE(down.hasState);
    EXPECT_FALSE(down.up);
    InputCommand up = parsed("key 140 up");
    EXPECT_EQ(up.code, 140);
    EXPECT_TRUE(up.hasState);
    EXPECT_TRUE(up.up);
}

TEST(InputCommandParser, ReadsEveryPointerCommand)
{
    const std::vector<std::pair<std::string, InputCommand::Kind>> forms = { { "press", InputCommand::Press },
        { "move", InputCommand::Move }, { "release", InputCommand::Release }, { "tap", InputCommand::Tap } };
    for (const auto& form : forms) {
        InputCommand command = parsed(form.first + " 799 479");
        EXPECT_EQ(command.kind, form.second) << form.first;
        EXPECT_EQ(command.x, 799) << form.first;
        EXPECT_EQ(command.y, 479) << form.first;
    }
}

TEST(InputCommandParser, AcceptsExtraBlanksTabsAndACarriageReturn)
{
    InputCommand command = parsed("  tap\t10    -3 \r");
    EXPECT_EQ(command.kind, InputCommand::Tap);
    EXPECT_EQ(command.x, 10);
    EXPECT_EQ(command.y, -3);
}

TEST(InputCommandParser, IgnoresBlankLinesAndComments)
{
    EXPECT_EQ(parsed("").kind, InputCommand::None);
    EXPECT_EQ(parsed("   \t").kind, InputCommand::None);
    EXPECT_EQ(parsed("# press the menu key").kind, InputCommand::None);
}

TEST(InputCommandParser, RejectsMissingNumbers)
{
    EXPECT_EQ(rejection("key"), "missing key code");
    EXPECT_EQ(rejection("press"), "missing coordinates");
    EXPECT_EQ(rejection("tap 10"), "missing coordinates");
    EXPECT_EQ(rejection("move 10 "), "missing coordinates");
}

TEST(InputCommandParser, RejectsJunkInNumbersAndUnknownWords)
{
    EXPECT_EQ(rejection("key up"), "bad key code");
    EXPECT_EQ(rejection("key 28x"), "bad key code");
    EXPECT_EQ(rejection("key -1"), "bad key code");
    EXPECT_EQ(rejection("key 65536"), "bad key code");
    EXPECT_EQ(rejection("key 28 sideways"), "bad key state (down or up)");
    EXPECT_EQ(rejection("key 28 down now"), "unexpected text after the key");
    EXPECT_EQ(rejection("tap 1 2 3"), "unexpected text after the coordinates");
    EXPECT_EQ(rejection("tap 1,2 3"), "bad coordinate");
    EXPECT_EQ(rejection("tap 1 0x10"), "bad coordinate");
    EXPECT_EQ(rejection("tap 40000 1"), "bad coordinate");
    EXPECT_EQ(rejection("tap - 1"), "bad coordinate");
    EXPECT_EQ(rejection("tap 99999999999999999999 1"), "bad coordinate");
    EXPECT_EQ(rejection("Key 28"), "unknown command");
    EXPECT_EQ(rejection("poweroff"), "unknown command");
    EXPECT_EQ(rejection(std::string("key\0 28", 7)), "unknown command");
}

TEST(InputCommandParser, RejectsAnOverlongLine)
{
    EXPECT_EQ(rejection("key 28" + std::string(lumi::kMaxInputLine, ' ')), "line too long");
    EXPECT_EQ(parsed("key 28" + std::string(lumi::kMaxInputLine - 6, ' ')).code, 28);
}

TEST(InputCommandParser, LeavesTheOutputAloneOnARejectedLine)
{
    InputCommand command;
    command.kind = InputCommand::Tap;
    command.x = 5;
    std::string error;
    EXPECT_FALSE(lumi::parseInputCommand("tap 1", command, error));
    EXPECT_EQ(command.kind, InputCommand::Tap);
    EXPECT_EQ(command.x, 5);
}

using Key = std::pair<int, bool>;
using Pointer = std::tuple<int, int, unsigned int>;

class TestInputSocketTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        // The test owns the window object; the toolkit must not delete it.
        window.setAutoDelete(false);
        ASSERT_EQ(window.create(Rect(0, 0, screenWidth, screenHeight), WS_VISIBLE, 101), 0);
        settle();
        socketPath = tmp.file("input.sock");
        ASSERT_EQ(rt->openTestInput(socketPath.c_str()), 0);
    }
    void TearDown() override
    {
        rt->closeTestInput();
        if (window.isCreated())
            window.destroy();
        ToolkitTest::TearDown();
    }

    // A connected client socket, or -1.
    int connectClient() const
    {
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return -1;
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketPath.c_str(), sizeof(address.sun_path) - 1);
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            close(fd);
            return -1;
        }
        return fd;
    }

    // Sends text on a new connection and hangs up.
    void send(const std::string& text) const
    {
        int fd = connectClient();
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(fd);
    }

    std::string socketPath;
    InputRecorder window;
};

TEST_F(TestInputSocketTest, CreatesTheSocketForItsOwnerOnly)
{
    struct stat st { };
    ASSERT_EQ(lstat(socketPath.c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(TestInputSocketTest, DeliversAKeyFromAClientToTheWindow)
{
    send("key 28\n");
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 2; }));
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Right, false }, { VK_Right, true } }));
}

TEST_F(TestInputSocketTest, DeliversKeyStatesSeparately)
{
    send("key 27 down\nkey 27 up\nkey 2 down\n");
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 3; }));
    EXPECT_EQ(window.keys, (std::vector<Key> { { 27, false }, { 27, true }, { 2, false } }));
}

TEST_F(TestInputSocketTest, TurnsPointerCommandsIntoPressMoveAndRelease)
{
    send("press 100 200\nmove 110 205\nrelease 110 205\ntap 400 240\n");
    ASSERT_TRUE(pumpUntil([&] { return window.pointer.size() >= 5; }));
    EXPECT_EQ(window.pointer,
        (std::vector<Pointer> { Pointer(100, 200, MOUSE_PRESS), Pointer(110, 205, MOUSE_MOVE),
            Pointer(110, 205, MOUSE_RELEASE), Pointer(400, 240, MOUSE_PRESS),
            Pointer(400, 240, MOUSE_RELEASE) }));
}

TEST_F(TestInputSocketTest, ReportsAMalformedLineAndGoesOnWithTheNext)
{
    testing::internal::CaptureStderr();
    send("key banana\nkey 9\n");
    bool delivered = pumpUntil([&] { return window.keys.size() >= 2; });
    std::string errors = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Tab, false }, { VK_Tab, true } }));
    EXPECT_NE(errors.find("[lumi] test input: bad key code: key banana\n"), std::string::npos) << errors;
}

TEST_F(TestInputSocketTest, DiscardsAnOverlongLineUpToItsNewline)
{
    testing::internal::CaptureStderr();
    // The overlong line ends with a valid-looking command that must not run.
    send(std::string(3000, 'x') + " key 3\nkey 8\n");
    bool delivered = pumpUntil([&] { return window.keys.size() >= 2; });
    std::string errors = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(delivered);
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Back, false }, { VK_Back, true } }));
    EXPECT_NE(errors.find("[lumi] test input: line too long: xxxx"), std::string::npos) << errors;
}

TEST_F(TestInputSocketTest, RunsALastLineThatHasNoNewline)
{
    send("key 30");
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 2; }));
    EXPECT_EQ(window.keys[0], Key(VK_Up, false));
}

TEST_F(TestInputSocketTest, ServesSeveralClientsAtOnce)
{
    int first = connectClient();
    int second = connectClient();
    ASSERT_GE(first, 0);
    ASSERT_GE(second, 0);
    ASSERT_EQ(write(second, "key 31 down\n", 12), 12);
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 1; }));
    ASSERT_EQ(write(first, "key 29 down\n", 12), 12);
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 2; }));
    close(first);
    close(second);
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Down, false }, { VK_Left, false } }));
}

TEST_F(TestInputSocketTest, AcceptsALineSplitOverSeveralWrites)
{
    int fd = connectClient();
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "ke", 2), 2);
    // Everything written is readable at once: turns that do not wait take it in.
    for (int i = 0; i < 5; ++i)
        app->processEvents(0);
    EXPECT_TRUE(window.keys.empty());
    ASSERT_EQ(write(fd, "y 1 down\n", 9), 9);
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 1; }));
    close(fd);
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Select, false } }));
}

TEST_F(TestInputSocketTest, CloseRemovesTheSocketFile)
{
    rt->closeTestInput();
    struct stat st { };
    EXPECT_NE(lstat(socketPath.c_str(), &st), 0);
    EXPECT_LT(connectClient(), 0);
}

TEST_F(TestInputSocketTest, ReplacesAStaleSocketLeftByAnEarlierRun)
{
    rt->closeTestInput();
    // A socket file nobody listens on any more.
    int stale = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(stale, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(stale);

    ASSERT_EQ(rt->openTestInput(socketPath.c_str()), 0);
    send("key 28 down\n");
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 1; }));
}

TEST_F(TestInputSocketTest, LeavesAnOrdinaryFileAtThePathAlone)
{
    rt->closeTestInput();
    const std::string path = tmp.file("not-a-socket");
    FILE* file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("keep me", file);
    std::fclose(file);

    testing::internal::CaptureStderr();
    EXPECT_EQ(rt->openTestInput(path.c_str()), -1);
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("not a socket"), std::string::npos) << errors;
    EXPECT_EQ(toolkittest::readText(path), "keep me");
}

TEST_F(TestInputSocketTest, RefusesAPathTooLongForASocket)
{
    rt->closeTestInput();
    testing::internal::CaptureStderr();
    EXPECT_EQ(rt->openTestInput((tmp.path() + "/" + std::string(200, 's')).c_str()), -1);
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("too long"), std::string::npos) << errors;
}

TEST_F(TestInputSocketTest, LumiInputSendsEachArgumentAsOneLine)
{
    REQUIRE_TOOL(toolkittest::toolPath("lumi-input"));
    const std::string stderrPath = tmp.file("lumi-input.err");
    ASSERT_EQ(toolkittest::runTool(
                  toolkittest::toolPath("lumi-input"), { socketPath, "key 28", "tap 5 6" }, stderrPath),
        0)
        << toolkittest::readText(stderrPath);
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 2 && window.pointer.size() >= 2; }));
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Right, false }, { VK_Right, true } }));
    EXPECT_EQ(
        window.pointer, (std::vector<Pointer> { Pointer(5, 6, MOUSE_PRESS), Pointer(5, 6, MOUSE_RELEASE) }));
}

TEST_F(TestInputSocketTest, LumiInputCopiesStandardInputWhenGivenNoCommands)
{
    REQUIRE_TOOL(toolkittest::toolPath("lumi-input"));
    const std::string script = tmp.file("script.txt");
    FILE* file = std::fopen(script.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("# a recorded session\nkey 30 down\nkey 30 up\n", file);
    std::fclose(file);
    const std::string stderrPath = tmp.file("lumi-input.err");
    ASSERT_EQ(
        toolkittest::runTool(toolkittest::toolPath("lumi-input"), { socketPath }, stderrPath, script), 0)
        << toolkittest::readText(stderrPath);
    ASSERT_TRUE(pumpUntil([&] { return window.keys.size() >= 2; }));
    EXPECT_EQ(window.keys, (std::vector<Key> { { VK_Up, false }, { VK_Up, true } }));
}

TEST(LumiInput, FailsWithAMessageWhenNothingListens)
{
    REQUIRE_TOOL(toolkittest::toolPath("lumi-input"));
    lumitest::TempDir tmp;
    const std::string stderrPath = tmp.file("lumi-input.err");
    EXPECT_EQ(toolkittest::runTool(
                  toolkittest::toolPath("lumi-input"), { tmp.file("nobody.sock"), "key 1" }, stderrPath),
        1);
    EXPECT_NE(toolkittest::readText(stderrPath).find("cannot connect"), std::string::npos);
}

}

namespace {

TEST(TestInputWithoutRunTime, RefusesToListenAndCreatesNoSocket)
{
    ASSERT_EQ(GuiRT::instance(), nullptr);
    lumitest::TempDir tmp;
    testing::internal::CaptureStderr();
    EXPECT_EQ(lumi::listenForTestInput(tmp.file("input.sock").c_str()), nullptr);
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("no run-time"), std::string::npos) << errors;
    struct stat st { };
    EXPECT_NE(lstat(tmp.file("input.sock").c_str(), &st), 0);
}

}
