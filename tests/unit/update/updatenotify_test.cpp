// The command line of uishull-notify, the sender update scripts use, and
// its sending.

#include "update/updatenotify.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

struct Parsed {
    int status;
    NotifyRequest request;
    std::string error;
};

Parsed parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "uishull-notify");
    std::vector<const char*> argv;
    for (const std::string& w : words)
        argv.push_back(w.c_str());
    argv.push_back(nullptr);
    Parsed p;
    p.status = parseNotifyArgs(static_cast<int>(words.size()), argv.data(), p.request, p.error);
    return p;
}

std::string datagramOf(const std::vector<std::string>& words)
{
    const Parsed p = parse(words);
    EXPECT_EQ(p.status, NOTIFY_EXIT_OK) << p.error;
    return p.request.datagram;
}

// A bound datagram socket in a test directory, to receive what is sent.
class Receiver {
public:
    explicit Receiver(const std::string& path)
        : m_path(path)
    {
        m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr {};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
        m_bound = bind(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    }
    ~Receiver() { close(m_fd); }
    bool bound() const { return m_bound; }
    // One datagram, or "" when none is waiting.
    std::string take()
    {
        char buffer[4096];
        const ssize_t n = recv(m_fd, buffer, sizeof buffer, MSG_DONTWAIT);
        return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
    }

private:
    std::string m_path;
    int m_fd { -1 };
    bool m_bound { false };
};

NotifyRequest requestFor(const std::string& path, const std::string& datagram)
{
    NotifyRequest r;
    r.socketPath = path;
    r.datagram = datagram;
    return r;
}

}

TEST(UpdateNotifyArgs, TypeAndPayloadMakeOneDatagram)
{
    EXPECT_EQ(datagramOf({ "5", "Copying files" }), "5@Copying files");
    EXPECT_EQ(datagramOf({ "3", "75" }), "3@75");
}

TEST(UpdateNotifyArgs, SeveralWordsOfPayloadAreJoinedWithBlanks)
{
    EXPECT_EQ(datagramOf({ "5", "Copying", "files" }), "5@Copying files");
    EXPECT_EQ(datagramOf({ "status", "Writing", "rootfs:", "35", "%" }), "5@Writing rootfs: 35 %");
}

TEST(UpdateNotifyArgs, TheJoinedFormIsSentAsItIs)
{
    EXPECT_EQ(datagramOf({ "5@Copying files" }), "5@Copying files");
    EXPECT_EQ(datagramOf({ "4@" }), "4@");
    // Only the first '@' separates; the rest belongs to the payload.
    EXPECT_EQ(datagramOf({ "2@Title @ home" }), "2@Title @ home");
    EXPECT_EQ(datagramOf({ "5@Copying", "files" }), "5@Copying files");
}

TEST(UpdateNotifyArgs, ATypeWithoutPayloadSendsAnEmptyOne)
{
    EXPECT_EQ(datagramOf({ "4" }), "4@");
    EXPECT_EQ(datagramOf({ "1", "" }), "1@");
}

TEST(UpdateNotifyArgs, VerbsNameTheTypes)
{
    EXPECT_EQ(datagramOf({ "step", "Erasing flash" }), "1@Erasing flash");
    EXPECT_EQ(datagramOf({ "title", "System update" }), "2@System update");
    EXPECT_EQ(datagramOf({ "progress", "42" }), "3@42");
    EXPECT_EQ(datagramOf({ "done" }), "4@");
    EXPECT_EQ(datagramOf({ "status", "Copying files" }), "5@Copying files");
}

TEST(UpdateNotifyArgs, ProgressTakesAnyWholeNumberTheScreenCanShow)
{
    EXPECT_EQ(datagramOf({ "progress", "150" }), "3@150");
    EXPECT_EQ(datagramOf({ "progress", "-5" }), "3@-5");
    EXPECT_EQ(datagramOf({ "progress", "+7" }), "3@7");
    EXPECT_EQ(datagramOf({ "progress", "007" }), "3@7");
    EXPECT_EQ(datagramOf({ "progress", "2147483647" }), "3@2147483647");
    EXPECT_EQ(datagramOf({ "progress", "-2147483648" }), "3@-2147483648");
}

TEST(UpdateNotifyArgs, ProgressRefusesWhatIsNotAWholeNumber)
{
    for (const char* bad : { "", "abc", "12x", "1.5", "-", "+", " 5", "2147483648", "-2147483649",
             "99999999999999999999", "0x10" }) {
        const Parsed p = parse({ "progress", bad });
        EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE) << "'" << bad << "'";
        EXPECT_NE(p.error.find("progress"), std::string::npos);
        EXPECT_TRUE(p.request.datagram.empty());
    }
    EXPECT_EQ(parse({ "progress" }).status, NOTIFY_EXIT_USAGE);
    EXPECT_EQ(parse({ "progress", "5", "6" }).status, NOTIFY_EXIT_USAGE);
}

TEST(UpdateNotifyArgs, TextVerbsNeedAText)
{
    for (const char* verb : { "step", "title", "status" }) {
        const Parsed p = parse({ verb });
        EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE) << verb;
        EXPECT_NE(p.error.find(verb), std::string::npos);
    }
    // An empty text is a text.
    EXPECT_EQ(datagramOf({ "step", "" }), "1@");
}

TEST(UpdateNotifyArgs, DoneTakesNoText)
{
    const Parsed p = parse({ "done", "now" });
    EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE);
    EXPECT_NE(p.error.find("done"), std::string::npos);
}

TEST(UpdateNotifyArgs, TheTypeMustBeOneToNineDigits)
{
    EXPECT_EQ(datagramOf({ "123456789", "x" }), "123456789@x");
    for (const std::vector<std::string>& bad : std::vector<std::vector<std::string>> { { "1234567890", "x" },
             { "abc" }, { "@x" }, { "" }, { "3a@x" }, { "-3", "x" }, { "steps", "x" }, { "1234567890@x" } }) {
        const Parsed p = parse(bad);
        EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE) << bad[0];
        EXPECT_FALSE(p.error.empty());
    }
}

TEST(UpdateNotifyArgs, NothingToSendIsAUsageError)
{
    const Parsed p = parse({});
    EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE);
    EXPECT_EQ(p.error, "nothing to send");
    EXPECT_EQ(parse({ "--utf8" }).status, NOTIFY_EXIT_USAGE);
}

TEST(UpdateNotifyArgs, TheSocketIsTheProgramsUnlessGiven)
{
    EXPECT_EQ(parse({ "done" }).request.socketPath, "/tmp/autorun_msg.dat");
    const Parsed p = parse({ "--socket", "/run/test/sock", "done" });
    ASSERT_EQ(p.status, NOTIFY_EXIT_OK);
    EXPECT_EQ(p.request.socketPath, "/run/test/sock");
}

TEST(UpdateNotifyArgs, ASocketPathMustFitASocketAddress)
{
    EXPECT_EQ(parse({ "--socket", std::string(107, 'a'), "done" }).status, NOTIFY_EXIT_OK);
    EXPECT_EQ(parse({ "--socket", std::string(108, 'a'), "done" }).status, NOTIFY_EXIT_USAGE);
    EXPECT_EQ(parse({ "--socket", "", "done" }).status, NOTIFY_EXIT_USAGE);
    const Parsed missing = parse({ "--socket" });
    EXPECT_EQ(missing.status, NOTIFY_EXIT_USAGE);
    EXPECT_EQ(missing.error, "--socket needs a value");
}

TEST(UpdateNotifyArgs, TheTimeoutIsAWholeNumberOfSeconds)
{
    Parsed p = parse({ "--timeout", "5", "done" });
    ASSERT_EQ(p.status, NOTIFY_EXIT_OK);
    EXPECT_EQ(p.request.timeoutSeconds, 5);
    EXPECT_EQ(parse({ "done" }).request.timeoutSeconds, 0);
    for (const char* bad : { "0", "-1", "+5", "abc", "1.5", "86401", "" })
        EXPECT_EQ(parse({ "--timeout", bad, "done" }).status, NOTIFY_EXIT_USAGE) << bad;
}

TEST(UpdateNotifyArgs, UnknownOptionsAreUsageErrors)
{
    const Parsed p = parse({ "--verbose", "done" });
    EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE);
    EXPECT_EQ(p.error, "unknown option --verbose");
}

TEST(UpdateNotifyArgs, OptionsEndAtTheCommandOrAtDoubleDash)
{
    // After the command word everything is text, dashes included.
    EXPECT_EQ(datagramOf({ "status", "--utf8" }), "5@--utf8");
    EXPECT_EQ(datagramOf({ "--", "5", "-x" }), "5@-x");
}

TEST(UpdateNotifyArgs, HelpAsksForTheUsageText)
{
    const Parsed p = parse({ "--help" });
    EXPECT_EQ(p.status, NOTIFY_EXIT_OK);
    EXPECT_TRUE(p.request.help);
    EXPECT_NE(std::string(notifyUsage()).find("uishull-notify"), std::string::npos);
    EXPECT_TRUE(parse({ "-h" }).request.help);
}

TEST(UpdateNotifyArgs, PayloadBytesAreSentAsTheyAre)
{
    // Scripts on the device send GBK: "升级" is C9 FD BC B6.
    EXPECT_EQ(datagramOf({ "step", "\xC9\xFD\xBC\xB6" }), "1@\xC9\xFD\xBC\xB6");
    EXPECT_EQ(datagramOf({ "status", "\xFF\x80\x01" }), "5@\xFF\x80\x01");
}

TEST(UpdateNotifyArgs, Utf8TextIsConvertedToGbk)
{
    EXPECT_EQ(datagramOf({ "--utf8", "step", "升级" }), "1@\xC9\xFD\xBC\xB6");
    EXPECT_EQ(datagramOf({ "--utf8", "status", "升级 V2 ok" }), "5@\xC9\xFD\xBC\xB6 V2 ok");
    EXPECT_EQ(datagramOf({ "--utf8", "5@升级" }), "5@\xC9\xFD\xBC\xB6");
    EXPECT_EQ(datagramOf({ "--utf8", "step", "" }), "1@");
    EXPECT_EQ(datagramOf({ "--utf8", "progress", "12" }), "3@12");
}

TEST(UpdateNotifyArgs, Utf8CharactersThatGbkLacksBecomeQuestionMarks)
{
    // Thai ko kai and an emoji: one '?' each, never a stray byte that would
    // swallow the next character on the screen.
    EXPECT_EQ(datagramOf({ "--utf8", "step", "a\xE0\xB8\x81z" }), "1@a?z");
    EXPECT_EQ(datagramOf({ "--utf8", "step", "a\xF0\x9F\x98\x80z" }), "1@a?z");
}

TEST(UpdateNotifyArgs, Utf8RefusesTextThatIsNotUtf8)
{
    const Parsed p = parse({ "--utf8", "step", "\xC9\xFD" });
    EXPECT_EQ(p.status, NOTIFY_EXIT_USAGE);
    EXPECT_NE(p.error.find("not UTF-8"), std::string::npos);
    EXPECT_EQ(parse({ "--utf8", "step", "ok\xE5" }).status, NOTIFY_EXIT_USAGE);
}

TEST(UpdateNotifyArgs, A1024ByteDatagramIsAcceptedAndOneByteMoreIsRefused)
{
    Parsed p = parse({ "5", std::string(1022, 'a') });
    ASSERT_EQ(p.status, NOTIFY_EXIT_OK);
    EXPECT_EQ(p.request.datagram.size(), 1024u);

    p = parse({ "5", std::string(1023, 'a') });
    EXPECT_EQ(p.status, NOTIFY_EXIT_FAILED);
    EXPECT_EQ(p.error, "the message is 1025 bytes; the program reads at most 1024");
    EXPECT_TRUE(p.request.datagram.empty());
    EXPECT_EQ(parse({ "step", std::string(100000, 'b') }).status, NOTIFY_EXIT_FAILED);
}

TEST(UpdateNotifyArgs, TheLengthLimitCountsTheConvertedText)
{
    // 400 characters of three UTF-8 bytes are 1200 bytes, but 800 in GBK.
    std::string text;
    for (int i = 0; i < 400; ++i)
        text += "升";
    const Parsed p = parse({ "--utf8", "step", text });
    ASSERT_EQ(p.status, NOTIFY_EXIT_OK) << p.error;
    EXPECT_EQ(p.request.datagram.size(), 802u);
    EXPECT_EQ(parse({ "step", text }).status, NOTIFY_EXIT_FAILED);
}

TEST(UpdateNotifyArgs, AnyBytesInAnyArgumentAreHandledSafely)
{
    // Random command lines: every outcome is a known status, a refusal
    // always says why, and nothing accepted is longer than the program reads.
    std::mt19937 random(20240611);
    const std::vector<std::string> seeds { "--utf8", "--socket", "--timeout", "--", "step", "title", "status",
        "progress", "done", "3", "5@", "@", "-", "" };
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::string> words;
        const int count = static_cast<int>(random() % 6);
        for (int i = 0; i < count; ++i) {
            if (random() % 3 == 0) {
                words.push_back(seeds[random() % seeds.size()]);
                continue;
            }
            std::string w;
            const int length = static_cast<int>(random() % (random() % 8 == 0 ? 1500 : 12));
            for (int k = 0; k < length; ++k)
                w += static_cast<char>(1 + random() % 255);
            words.push_back(w);
        }
        const Parsed p = parse(words);
        ASSERT_TRUE(
            p.status == NOTIFY_EXIT_OK || p.status == NOTIFY_EXIT_FAILED || p.status == NOTIFY_EXIT_USAGE);
        if (p.status == NOTIFY_EXIT_OK && !p.request.help) {
            EXPECT_LE(p.request.datagram.size(), 1024u);
            EXPECT_NE(p.request.datagram.find('@'), std::string::npos);
        } else if (p.status != NOTIFY_EXIT_OK) {
            EXPECT_FALSE(p.error.empty());
        }
    }
}

TEST(UpdateNotifySend, TheDatagramArrivesWhole)
{
    lumitest::TempDir tmp;
    Receiver receiver(tmp.file("sock"));
    ASSERT_TRUE(receiver.bound());
    std::string error;
    EXPECT_EQ(sendNotify(requestFor(tmp.file("sock"), "5@Copying files"), error), NOTIFY_EXIT_OK) << error;
    EXPECT_EQ(receiver.take(), "5@Copying files");
    const std::string full = "1@" + std::string(1022, 'z');
    EXPECT_EQ(sendNotify(requestFor(tmp.file("sock"), full), error), NOTIFY_EXIT_OK) << error;
    EXPECT_EQ(receiver.take(), full);
}

TEST(UpdateNotifySend, AMissingSocketFailsWithAClearMessage)
{
    lumitest::TempDir tmp;
    std::string error;
    EXPECT_EQ(sendNotify(requestFor(tmp.file("none"), "4@"), error), NOTIFY_EXIT_FAILED);
    EXPECT_EQ(error, "no socket at " + tmp.file("none") + " (is \"uishull 7\" running?)");
}

TEST(UpdateNotifySend, AFileNobodyListensOnFails)
{
    lumitest::TempDir tmp;
    const int fd = open(tmp.file("stale").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0);
    close(fd);
    std::string error;
    EXPECT_EQ(sendNotify(requestFor(tmp.file("stale"), "4@"), error), NOTIFY_EXIT_FAILED);
    EXPECT_NE(error.find(tmp.file("stale")), std::string::npos);
}

TEST(UpdateNotifySend, ADatagramOverTheLimitIsNeverSent)
{
    lumitest::TempDir tmp;
    Receiver receiver(tmp.file("sock"));
    std::string error;
    EXPECT_EQ(sendNotify(requestFor(tmp.file("sock"), std::string(1025, 'x')), error), NOTIFY_EXIT_FAILED);
    EXPECT_EQ(receiver.take(), "");
}

TEST(UpdateNotifySend, AFullQueueGivesUpAfterTheTimeout)
{
    // Nobody reads: the queue fills, and the next send waits for the
    // timeout (one real second) instead of forever.
    lumitest::TempDir tmp;
    Receiver receiver(tmp.file("sock"));
    NotifyRequest r = requestFor(tmp.file("sock"), "3@1");
    r.timeoutSeconds = 1;
    std::string error;
    int status = NOTIFY_EXIT_OK;
    for (int i = 0; i < 100000 && status == NOTIFY_EXIT_OK; ++i)
        status = sendNotify(r, error);
    EXPECT_EQ(status, NOTIFY_EXIT_FAILED);
    EXPECT_NE(error.find("did not take the message within 1 s"), std::string::npos) << error;
}
