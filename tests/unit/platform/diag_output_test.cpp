#include "lumi_test.h"

#include "platform/diag_output.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

// A pipe whose reader the test plays: it reads only when told to.
struct Pipe {
    int read { -1 };
    int write { -1 };
    Pipe()
    {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) == 0) {
            read = fds[0];
            write = fds[1];
            // The smallest pipe, so that a stall comes after a few lines.
            fcntl(write, F_SETPIPE_SZ, 4096);
            // The test's own reads must not block; the channel's writes are
            // on a description of their own.
            fcntl(read, F_SETFL, O_NONBLOCK);
        }
    }
    ~Pipe()
    {
        if (read >= 0)
            close(read);
        if (write >= 0)
            close(write);
    }
    std::string take()
    {
        std::string out;
        char buf[4096];
        ssize_t n;
        while ((n = ::read(read, buf, sizeof buf)) > 0)
            out.append(buf, static_cast<size_t>(n));
        return out;
    }
};

std::string numberedLine(int i)
{
    char text[128];
    std::snprintf(text, sizeof text, "line %05d %s\n", i, std::string(80, 'x').c_str());
    return text;
}

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t nl = text.find('\n'); nl != std::string::npos; nl = text.find('\n', start)) {
        lines.push_back(text.substr(start, nl - start + 1));
        start = nl + 1;
    }
    if (start < text.size())
        lines.push_back(text.substr(start));
    return lines;
}

// Signals the test process would otherwise die of, as the program ignores them.
class IgnoreSigpipe {
public:
    IgnoreSigpipe() { m_old = std::signal(SIGPIPE, SIG_IGN); }
    ~IgnoreSigpipe() { std::signal(SIGPIPE, m_old); }

private:
    void (*m_old)(int) = SIG_DFL;
};

}

TEST(DiagChannel, PipesFifosAndSocketsGetAChannelTerminalsAndFilesDoNot)
{
    Pipe p;
    EXPECT_TRUE(DiagChannel::wantsChannel(p.write));
    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv), 0);
    EXPECT_TRUE(DiagChannel::wantsChannel(sv[0]));
    close(sv[0]);
    close(sv[1]);
    lumitest::TempDir tmp;
    const int file = open(tmp.file("log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    EXPECT_FALSE(DiagChannel::wantsChannel(file));
    close(file);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_FALSE(DiagChannel::wantsChannel(null));
    close(null);
}

TEST(DiagChannel, CompleteLinesGoOutAtOnceAndAnUnendedLineWaitsForItsEnd)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout");
    channel.write("first\nsec", 9);
    EXPECT_EQ(p.take(), "first\n");
    channel.write("ond\n", 4);
    EXPECT_EQ(p.take(), "second\n");
    EXPECT_FALSE(channel.pending());
}

TEST(DiagChannel, TheSharedDescriptionStaysBlocking)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout", 8 * 1024);
    for (int i = 0; i < 200; ++i)
        channel.write(numberedLine(i).data(), numberedLine(i).size());
    EXPECT_GT(channel.droppedLines(), 0u);
    // Whoever else holds the pipe still writes in blocking mode.
    EXPECT_EQ(fcntl(p.write, F_GETFL) & O_NONBLOCK, 0);
}

TEST(DiagChannel, AStalledReaderCostsWholeLinesAndTheGapIsToldWhereItWas)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout", 8 * 1024);
    const int total = 1000;
    for (int i = 0; i < total; ++i)
        channel.write(numberedLine(i).data(), numberedLine(i).size());
    const size_t dropped = channel.droppedLines();
    EXPECT_GT(dropped, 0u);
    EXPECT_LE(channel.queuedBytes(), 8u * 1024u);

    // The reader comes back: what waited goes out, then the notice.
    std::string out = p.take();
    for (int turn = 0; turn < 1000 && channel.pending(); ++turn) {
        channel.drain();
        out += p.take();
    }
    EXPECT_FALSE(channel.pending());
    // Printing resumes after the notice.
    channel.write(numberedLine(total).data(), numberedLine(total).size());
    out += p.take();

    const std::string notice = "***ERR: stdout: " + std::to_string(dropped)
        + " lines dropped: the reader did not take them in time\n";
    const std::vector<std::string> lines = splitLines(out);
    int previous = -1;
    size_t kept = 0;
    bool noticeSeen = false;
    for (const std::string& line : lines) {
        if (line == notice) {
            EXPECT_FALSE(noticeSeen);
            noticeSeen = true;
            continue;
        }
        int number = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "line %d", &number), 1) << line;
        EXPECT_EQ(line, numberedLine(number)); // whole, never cut
        EXPECT_GT(number, previous); // in order
        previous = number;
        ++kept;
    }
    EXPECT_TRUE(noticeSeen) << out.substr(out.size() > 300 ? out.size() - 300 : 0);
    EXPECT_EQ(kept + dropped, static_cast<size_t>(total) + 1);
    EXPECT_EQ(lines.back(), numberedLine(total));
}

TEST(DiagChannel, LinesPrintedAfterAGapFollowTheNotice)
{
    Pipe p;
    DiagChannel channel(p.write, "stderr", 8 * 1024);
    for (int i = 0; i < 300; ++i)
        channel.write(numberedLine(i).data(), numberedLine(i).size());
    ASSERT_GT(channel.droppedLines(), 0u);
    // The reader takes some: the next line is accepted after the notice.
    std::string out = p.take();
    channel.drain();
    out += p.take();
    channel.write(numberedLine(999).data(), numberedLine(999).size());
    for (int turn = 0; turn < 1000 && channel.pending(); ++turn) {
        channel.drain();
        out += p.take();
    }
    const size_t notice = out.find("***ERR: stderr: ");
    const size_t last = out.find(numberedLine(999));
    ASSERT_NE(notice, std::string::npos);
    ASSERT_NE(last, std::string::npos);
    EXPECT_LT(notice, last);
}

TEST(DiagChannel, AReaderThatGoesAwayEndsTheOutputWithoutAnError)
{
    IgnoreSigpipe ignore;
    Pipe p;
    DiagChannel channel(p.write, "stdout");
    channel.write("before\n", 7);
    EXPECT_EQ(p.take(), "before\n");
    close(p.read);
    p.read = -1;
    channel.write("after\n", 6);
    EXPECT_TRUE(channel.readerGone());
    EXPECT_FALSE(channel.pending());
    channel.write("later\n", 6);
    EXPECT_FALSE(channel.pending());
}

TEST(DiagChannel, ASocketReaderThatStallsOrGoesAwayNeverBlocksNorRaisesSigpipe)
{
    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv), 0);
    int small = 4096;
    setsockopt(sv[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    {
        DiagChannel channel(sv[0], "stdout", 8 * 1024);
        for (int i = 0; i < 2000; ++i)
            channel.write(numberedLine(i).data(), numberedLine(i).size());
        EXPECT_GT(channel.droppedLines(), 0u);
        // The default action of SIGPIPE is in place here: a send that
        // raised it would end the test.
        close(sv[1]);
        channel.drain();
        EXPECT_TRUE(channel.readerGone());
    }
    close(sv[0]);
}

TEST(DiagChannel, AnUnendedTextCannotGrowBeyondTheLimit)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout", 1024);
    const std::string text(3000, 'y');
    std::string out;
    for (size_t at = 0; at < text.size(); at += 100) {
        channel.write(text.data() + at, 100);
        out += p.take();
    }
    // Pieces of the limit's size went out; the rest waits for its line end.
    EXPECT_EQ(out, std::string(2048, 'y'));
    channel.write("\n", 1);
    EXPECT_EQ(p.take(), std::string(952, 'y') + "\n");
}

TEST(DiagChannel, FinishSendsAnUnendedLastLine)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout");
    channel.write("no end", 6);
    EXPECT_EQ(p.take(), "");
    channel.finish(0);
    EXPECT_EQ(p.take(), "no end");
}

class DiagChannelLoopTest : public lumitest::ToolkitTest {};

TEST_F(DiagChannelLoopTest, TheLoopDrainsWhatWaitsOnceTheReaderReads)
{
    Pipe p;
    DiagChannel channel(p.write, "stdout", 8 * 1024);
    channel.attachLoop(rt.get());
    for (int i = 0; i < 300; ++i)
        channel.write(numberedLine(i).data(), numberedLine(i).size());
    ASSERT_TRUE(channel.pending());
    ASSERT_GT(channel.droppedLines(), 0u);
    std::string out;
    for (int turn = 0; turn < 100 && channel.pending(); ++turn) {
        out += p.take();
        advance(DiagChannel::kRetryMs);
    }
    out += p.take();
    EXPECT_FALSE(channel.pending());
    EXPECT_NE(out.find(numberedLine(0)), std::string::npos);
    EXPECT_NE(out.find("lines dropped"), std::string::npos);
    channel.detachLoop();
}
