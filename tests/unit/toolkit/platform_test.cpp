#include <lumi/platform.h>

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

// Runs fn with stderr sent to a file of the test's own directory and
// returns what it wrote.
template <typename Fn>
std::string captureStderr(const lumitest::TempDir& tmp, Fn fn)
{
    const std::string path = tmp.file("stderr.txt");
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    EXPECT_GE(file, 0);
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
    fn();
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(DoLogDebug, WritesOneTimestampedLineWithTheFormattedText)
{
    lumitest::TempDir tmp;
    const std::string out = captureStderr(tmp, [] { do_log_debug("value %d of %s", 42, "six"); });
    EXPECT_TRUE(std::regex_match(out, std::regex(R"(\[[0-9]+\.[0-9]{6}\] value 42 of six\n)"))) << out;
}

TEST(DoLogDebug, DoesNotDoubleAFinalNewline)
{
    lumitest::TempDir tmp;
    const std::string out = captureStderr(tmp, [] { do_log_debug("done\n"); });
    EXPECT_TRUE(std::regex_match(out, std::regex(R"(\[[0-9]+\.[0-9]{6}\] done\n)"))) << out;
}

TEST(DoLogDebug, TimestampIsTheWallClock)
{
    lumitest::TempDir tmp;
    const long before = static_cast<long>(::time(nullptr));
    const std::string out = captureStderr(tmp, [] { do_log_debug("x"); });
    const long after = static_cast<long>(::time(nullptr));
    ASSERT_GT(out.size(), 2u);
    const long seconds = std::strtol(out.c_str() + 1, nullptr, 10);
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, after);
}

TEST(DoLogDebug, VeryLongTextIsCutButStillOneTerminatedLine)
{
    lumitest::TempDir tmp;
    const std::string text(5000, 'a');
    const std::string out = captureStderr(tmp, [&] { do_log_debug("%s", text.c_str()); });
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(out.back(), '\n');
    EXPECT_EQ(out.find('\n'), out.size() - 1);   // exactly one line
    EXPECT_LE(out.size(), 1024u);
    EXPECT_NE(out.find(std::string(900, 'a')), std::string::npos);
}

// The child installs the hook and crashes; it must report the signal and a
// backtrace, and still die of that signal.
TEST(InstallSigchk, ReportsASegmentationFaultAndDiesOfIt)
{
    EXPECT_EXIT(
        {
            install_sigchk();
            raise(SIGSEGV);
        },
        ::testing::KilledBySignal(SIGSEGV), R"(\*\*\* signal 11 \(SIGSEGV\))");
}

TEST(InstallSigchk, ReportsAnAbortWithABacktrace)
{
    EXPECT_EXIT(
        {
            install_sigchk();
            abort();
        },
        ::testing::KilledBySignal(SIGABRT), R"(\*\*\* signal 6 \(SIGABRT\).\*\*\* backtrace:.*\[0x[0-9a-f]+\])");
}

TEST(InstallSigchk, ReportsAnIllegalInstructionSignal)
{
    EXPECT_EXIT(
        {
            install_sigchk();
            raise(SIGILL);
        },
        ::testing::KilledBySignal(SIGILL), R"(\*\*\* signal 4 \(SIGILL\))");
}

TEST(InstallSigchk, ReturnsZeroAndHooksEveryFatalSignal)
{
    const int fatal[] = { SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT };
    struct sigaction saved[5] {};
    for (int i = 0; i < 5; ++i)
        sigaction(fatal[i], nullptr, &saved[i]);

    EXPECT_EQ(install_sigchk(), 0);
    struct sigaction first {};
    ASSERT_EQ(sigaction(fatal[0], nullptr, &first), 0);
    EXPECT_NE(first.sa_handler, SIG_DFL);
    EXPECT_NE(first.sa_handler, saved[0].sa_handler);
    for (int sig : fatal) {
        struct sigaction now {};
        ASSERT_EQ(sigaction(sig, nullptr, &now), 0);
        EXPECT_EQ(now.sa_handler, first.sa_handler) << "signal " << sig;
    }

    // Leave the test process as it was.
    for (int i = 0; i < 5; ++i)
        sigaction(fatal[i], &saved[i], nullptr);
}

}
