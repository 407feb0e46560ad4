// The audio test: the module list, the start sound, the mixer probe, the
// route switch and format requests, the three-second recording and its
// twelve-fold playback, against a DSP the test plays itself.

#include "audio_samples.h"
#include "device_support.h"

#include "testfun/audiopcm.h"
#include "testfun/testaudio.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/soundcard.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

using devtest::DeviceTest;
using lumitest::upsampled;

namespace {

char kName[] = "\xD2\xF4\xC6\xB5";
const std::string kHeardSound = "\xCC\xFD\xB5\xBD\xC9\xF9\xD2\xF4\xC1\xCB\xC2\xF0\xA3\xBF";
const std::string kSpeakNow = "\xC7\xEB\xB6\xD4\xD7\xBCMIC\xCB\xB5\xBB\xB0"
                              "5\xC3\xEB\xD6\xD3";
const std::string kPlayingBack = "\xBB\xD8\xB7\xC5\xB8\xD5\xB2\xC5\xC4\xFA\xCB\xB5\xB5\xC4\xBB\xB0";
const unsigned long kRoute = _IOWR('M', 63, int);

const char kLsmodPlain[] = "Module                  Size  Used by\nzor_i2s 12000 1\nzor_wifi 400000 0\n";
const char kLsmodAc97[] = "Module                  Size  Used by\nzor_ac97 15000 1\nzor_wifi 400000 0\n";

// What the microphone hears: a ramp of distinct 16-bit samples.
std::string microphoneBytes(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i + 1 < size; i += 2) {
        const int16_t sample = static_cast<int16_t>((static_cast<int>(i / 2) * 37) % 6000 - 3000);
        std::memcpy(&bytes[i], &sample, 2);
    }
    return bytes;
}

// The DSP as the test plays it: a packet socket pair whose program end the
// open hook hands out. One thread feeds the microphone's blocks, one keeps
// every block the program writes (one packet a write).
struct FakeDsp {
    FakeDsp(const std::string& microphone)
    {
        int sv[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) == 0) {
            testEnd = sv[0];
            programEnd = sv[1];
        }
        feeder = std::thread([this, microphone] {
            for (size_t at = 0; at < microphone.size(); at += kRecordBlock) {
                const size_t n = std::min(kRecordBlock, microphone.size() - at);
                if (send(testEnd, microphone.data() + at, n, MSG_NOSIGNAL) < 0)
                    return;
            }
        });
        collector = std::thread([this] {
            char block[65536];
            for (;;) {
                const ssize_t n = recv(testEnd, block, sizeof block, 0);
                // A program closing with microphone blocks unread resets the
                // pair; what it wrote before is still there to read.
                if (n < 0 && errno == ECONNRESET)
                    continue;
                if (n <= 0)
                    return;
                writes.emplace_back(block, static_cast<size_t>(n));
            }
        });
    }

    ~FakeDsp()
    {
        if (programEnd >= 0)
            close(programEnd);
        shutdown(testEnd, SHUT_RDWR);
        feeder.join();
        collector.join();
        close(testEnd);
    }

    // Waits for the program's end to be closed (the collector sees its end).
    // A DSP the program never opened counts as closed.
    void finish()
    {
        if (programEnd >= 0) {
            close(programEnd);
            programEnd = -1;
        }
        collector.join();
        collector = std::thread([] {});
    }

    std::string played() const
    {
        std::string all;
        for (const auto& w : writes)
            all += w;
        return all;
    }

    int testEnd { -1 };
    int programEnd { -1 };
    std::thread feeder;
    std::thread collector;
    std::vector<std::string> writes;
};

struct Request {
    unsigned long request;
    int value;
    bool operator==(const Request& o) const { return request == o.request && value == o.value; }
};

// What the fake driver does and what it saw; one at a time (the hooks are plain functions).
struct Driver {
    FakeDsp* dsp { nullptr };
    std::string root;
    std::vector<std::pair<std::string, int>> opens;
    std::vector<Request> requests;
    unsigned long refuse { 0 };
    int grantedSpeed { 8000 };
    long cutRecording { -1 }; // at the switch to the speaker, /test.wav is cut to this size
};

Driver*& driver()
{
    static Driver* d = nullptr;
    return d;
}

int fakeOpen(const char* path, int flags)
{
    Driver* d = driver();
    d->opens.emplace_back(path, flags);
    if (path == d->root + "/dev/dsp") {
        if (!d->dsp || d->dsp->programEnd < 0) {
            errno = ENOENT;
            return -1;
        }
        const int fd = d->dsp->programEnd;
        d->dsp->programEnd = -1;
        return fd;
    }
    // The mixer is a plain file under the root when the board has one.
    return ::open(path, flags);
}

int fakeIoctl(int, unsigned long request, int* value)
{
    Driver* d = driver();
    d->requests.push_back({ request, *value });
    if (request == d->refuse) {
        errno = EINVAL;
        return -1;
    }
    if (request == SNDCTL_DSP_SPEED)
        *value = d->grantedSpeed;
    if (request == kRoute && *value == 1 && d->cutRecording >= 0)
        truncate((d->root + "/test.wav").c_str(), d->cutRecording);
    return 0;
}

class AudioTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        is_ac97 = 0;
        // A fresh process's buffer: the test relies on nothing an earlier case played.
        std::memset(rec_buffer, 0, kPlaybackBufferBytes);
        ::mkdir((root + "/res").c_str(), 0755);
        startSound = std::string("RIFF") + std::string(4996, '\x55');
        ASSERT_TRUE(writeDevice("/res/rec_start.wav", startSound));
        ASSERT_TRUE(writeDevice("/dev/mixer", ""));
        drv.root = root;
        driver() = &drv;
        m_oldOps = setAudioDeviceOps({ fakeOpen, fakeIoctl });
        lsmodOutput = kLsmodPlain;
        shell.onCommand = [this](const std::string& command) {
            if (command == "lsmod >/lsmod.txt")
                writeDevice("/lsmod.txt", lsmodOutput);
            else if (command == "rm -f /test.wav")
                ::unlink((root + "/test.wav").c_str());
        };
    }

    void TearDown() override
    {
        setAudioDeviceOps(m_oldOps);
        driver() = nullptr;
        DeviceTest::TearDown();
    }

    // Runs the item with stdout and stderr captured.
    int run(TestAUDIO& item)
    {
        fflush(stdout);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int rc = item.execute(&log);
        fflush(stdout);
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
        if (drv.dsp)
            drv.dsp->finish();
        return rc;
    }

    std::vector<Request> formatRequests() const
    {
        std::vector<Request> r;
        for (const auto& q : drv.requests)
            if (q.request != kRoute)
                r.push_back(q);
        return r;
    }

    Driver drv;
    std::string startSound;
    std::string lsmodOutput;
    std::string out;
    std::string err;

private:
    AudioDeviceOps m_oldOps;
};

TEST_F(AudioTest, RecordsThreeSecondsAndPlaysThemBackTwelveFold)
{
    const std::string mic = microphoneBytes(kRecordBytes);
    FakeDsp dsp(mic);
    drv.dsp = &dsp;
    ASSERT_TRUE(writeDevice("/test.wav", "an old recording"));
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(item.getResult(), 2);
    EXPECT_EQ(is_ac97, 0);

    EXPECT_EQ(shell.commands, (std::vector<std::string> { "lsmod >/lsmod.txt", "rm -f /test.wav" }));
    EXPECT_EQ(out,
        std::string("read ") + kLsmodPlain + "\n"
            + "is not ac97\nbeep to start rec\nSupport 8 KHz , Actual Speed : 8000 \nstart rec\nend rec\n"
              "play rec file\nwrite 576000\nwrite done\n");
    EXPECT_EQ(err, "");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kHeardSound, kSpeakNow, kPlayingBack }));

    // The DSP read-write, the mixer write-only.
    ASSERT_EQ(drv.opens.size(), 2u);
    EXPECT_EQ(drv.opens[0].second & O_ACCMODE, O_RDWR);
    EXPECT_EQ(drv.opens[1].first, root + "/dev/mixer");
    EXPECT_EQ(drv.opens[1].second & O_ACCMODE, O_WRONLY);
    EXPECT_EQ(drv.requests,
        (std::vector<Request> { { kRoute, 0 }, { SNDCTL_DSP_CHANNELS, 1 }, { SNDCTL_DSP_SETFMT, AFMT_S16_LE },
            { SNDCTL_DSP_SPEED, 8000 }, { kRoute, 1 } }));

    // The recording is the microphone's bytes, raw, with no permission bits.
    EXPECT_EQ(readDevice("/test.wav"), mic);
    struct stat st { };
    ASSERT_EQ(stat((root + "/test.wav").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0u);

    // The start sound with its header in 2048-byte blocks, then 282 whole blocks.
    ASSERT_EQ(dsp.writes.size(), 3u + 282u);
    EXPECT_EQ(dsp.writes[0].size(), 2048u);
    EXPECT_EQ(dsp.writes[2].size(), 5000u - 4096u);
    std::string beep;
    for (int i = 0; i < 3; ++i)
        beep += dsp.writes[i];
    EXPECT_EQ(beep, startSound);
    std::string playback;
    for (size_t i = 3; i < dsp.writes.size(); ++i) {
        EXPECT_EQ(dsp.writes[i].size(), 2048u) << "write " << i - 3;
        playback += dsp.writes[i];
    }
    ASSERT_EQ(playback.size(), 577536u);
    const std::string expected = upsampled(mic, 577536);
    for (size_t i = 0; i < playback.size(); i += 2)
        ASSERT_EQ(playback.compare(i, 2, expected, i, 2), 0) << "byte " << i;
    // The last 1536 bytes lie past the recording and are silent.
    EXPECT_EQ(playback.substr(576000), std::string(1536, '\0'));
}

TEST_F(AudioTest, ATruncatedRecordingPlaysBackWithSilenceAfterIt)
{
    const std::string mic = microphoneBytes(kRecordBytes);
    FakeDsp dsp(mic);
    drv.dsp = &dsp;
    drv.cutRecording = 10001; // an odd size: the cut-off half sample is dropped
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    ASSERT_EQ(dsp.writes.size(), 3u + 282u);
    std::string playback;
    for (size_t i = 3; i < dsp.writes.size(); ++i)
        playback += dsp.writes[i];
    const std::string expected = upsampled(mic.substr(0, 10000), 577536);
    ASSERT_EQ(playback.size(), expected.size());
    for (size_t i = 0; i < playback.size(); i += 2)
        ASSERT_EQ(playback.compare(i, 2, expected, i, 2), 0) << "byte " << i;
    EXPECT_EQ(playback.substr(120000), std::string(577536 - 120000, '\0'));
}

TEST_F(AudioTest, OnlyTheFirstHalfOfTheBufferIsClearedBeforeAPlayback)
{
    // Kept behaviour: a short recording after a full one leaves the full
    // one's second half in the buffer.
    std::memset(rec_buffer + kPlaybackClearBytes, 0x11, kPlaybackBytes - kPlaybackClearBytes);
    FakeDsp dsp(microphoneBytes(kRecordBytes));
    drv.dsp = &dsp;
    drv.cutRecording = 0;
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    std::string playback;
    for (size_t i = 3; i < dsp.writes.size(); ++i)
        playback += dsp.writes[i];
    ASSERT_EQ(playback.size(), 577536u);
    EXPECT_EQ(playback.substr(0, kPlaybackClearBytes), std::string(kPlaybackClearBytes, '\0'));
    EXPECT_EQ(playback.substr(kPlaybackClearBytes, 576000 - kPlaybackClearBytes),
        std::string(576000 - kPlaybackClearBytes, '\x11'));
    EXPECT_EQ(playback.substr(576000), std::string(1536, '\0'));
}

TEST_F(AudioTest, OnAnAc97SystemNoFormatRequestIsSent)
{
    const std::string mic = microphoneBytes(kRecordBytes);
    FakeDsp dsp(mic);
    drv.dsp = &dsp;
    lsmodOutput = kLsmodAc97;
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(is_ac97, 1);
    EXPECT_NE(out.find("is ac97\nbeep to start rec\nstart rec\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("Actual Speed"), std::string::npos);
    EXPECT_EQ(drv.requests, (std::vector<Request> { { kRoute, 0 }, { kRoute, 1 } }));
    EXPECT_EQ(readDevice("/test.wav"), mic);
    EXPECT_EQ(dsp.writes.size(), 3u + 282u);
}

TEST_F(AudioTest, Ac97StaysSetWhenALaterModuleListNoLongerShowsIt)
{
    {
        FakeDsp dsp(microphoneBytes(kRecordBytes));
        drv.dsp = &dsp;
        lsmodOutput = kLsmodAc97;
        TestAUDIO item(kName);
        EXPECT_EQ(run(item), 2);
        drv.dsp = nullptr;
    }
    ASSERT_EQ(is_ac97, 1);
    drv.requests.clear();
    FakeDsp dsp(microphoneBytes(kRecordBytes));
    drv.dsp = &dsp;
    lsmodOutput = kLsmodPlain;
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_NE(out.find("is not ac97\n"), std::string::npos);
    EXPECT_EQ(is_ac97, 1);
    EXPECT_TRUE(formatRequests().empty());
}

TEST_F(AudioTest, TheModuleListIsReadUpTo1024Bytes)
{
    // The codec driver listed past the first 1024 bytes is not seen.
    lsmodOutput = std::string(1020, 'm') + "\nzor_ac97 15000 1\n";
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(out.substr(0, 5 + 1024 + 1), "read " + lsmodOutput.substr(0, 1024) + "\n");
    EXPECT_NE(out.find("is not ac97\n"), std::string::npos);
    EXPECT_EQ(is_ac97, 0);
}

TEST_F(AudioTest, WithoutASoundDeviceTheOperatorStillDecides)
{
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(item.getResult(), 2);
    EXPECT_EQ(out, std::string("read ") + kLsmodPlain + "\nis not ac97\n");
    EXPECT_EQ(err, "/dev/dsp: No such file or directory\n");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(readDevice("/test.wav"), "<missing>");
}

TEST_F(AudioTest, AMissingStartSoundEndsTheTestBeforeRecording)
{
    FakeDsp dsp(microphoneBytes(kRecordBytes));
    drv.dsp = &dsp;
    ::unlink((root + "/res/rec_start.wav").c_str());
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(err, "./res/rec_start.wav: No such file or directory\n");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kHeardSound }));
    EXPECT_EQ(drv.opens.size(), 1u); // no mixer
    EXPECT_TRUE(drv.requests.empty());
    EXPECT_TRUE(dsp.writes.empty()); // and the DSP was closed
    EXPECT_EQ(readDevice("/test.wav"), "<missing>");
}

TEST_F(AudioTest, AMissingMixerEndsTheTestBeforeRecording)
{
    FakeDsp dsp(microphoneBytes(kRecordBytes));
    drv.dsp = &dsp;
    ::unlink((root + "/dev/mixer").c_str());
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_EQ(err, "open /dev/mixer error: No such file or directory\n");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kHeardSound }));
    EXPECT_TRUE(drv.requests.empty());
    // The start sound was played before the mixer was looked for.
    EXPECT_EQ(dsp.played(), startSound);
    EXPECT_EQ(readDevice("/test.wav"), "<missing>");
}

TEST_F(AudioTest, ARefusedFormatRequestEndsTheTestWithItsName)
{
    const struct {
        unsigned long request;
        const char* line;
        size_t sent;
    } cases[] = {
        { SNDCTL_DSP_CHANNELS, "SNDCTL_DSP_CHANNELS: Invalid argument\n", 1 },
        { SNDCTL_DSP_SETFMT, "SNDCTL_DSP_SETFMT: Invalid argument\n", 2 },
        { SNDCTL_DSP_SPEED, "SNDCTL_DSP_SPEED: Invalid argument\n", 3 },
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        drv.requests.clear();
        drv.refuse = c.request;
        FakeDsp dsp(microphoneBytes(kRecordBytes));
        drv.dsp = &dsp;
        TestAUDIO item(kName);
        EXPECT_EQ(run(item), 2);
        EXPECT_EQ(err, c.line);
        EXPECT_EQ(formatRequests().size(), c.sent);
        EXPECT_EQ(out.find("Actual Speed"), std::string::npos);
        EXPECT_EQ(out.find("\nstart rec\n"), std::string::npos);
        EXPECT_EQ(readDevice("/test.wav"), "<missing>");
        drv.dsp = nullptr;
    }
}

TEST_F(AudioTest, TheGrantedRateIsPrinted)
{
    FakeDsp dsp(microphoneBytes(kRecordBytes));
    drv.dsp = &dsp;
    drv.grantedSpeed = 8012;
    TestAUDIO item(kName);
    EXPECT_EQ(run(item), 2);
    EXPECT_NE(out.find("Support 8 KHz , Actual Speed : 8012 \n"), std::string::npos);
}

TEST_F(AudioTest, PlayModeCopiesAFileToTheDspWriteOnly)
{
    FakeDsp dsp("");
    drv.dsp = &dsp;
    const std::string sound = microphoneBytes(5000);
    ASSERT_TRUE(writeDevice("/data/sound.raw", sound));
    TestAUDIO item(kName);
    char mode[] = "play";
    char file[] = "/data/sound.raw";
    EXPECT_EQ(item.test(&log, mode, file), 0);
    dsp.finish();
    ASSERT_EQ(drv.opens.size(), 1u);
    EXPECT_EQ(drv.opens[0].second & O_ACCMODE, O_WRONLY);
    ASSERT_EQ(dsp.writes.size(), 3u);
    EXPECT_EQ(dsp.played(), sound);
    EXPECT_TRUE(drv.requests.empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(AudioTest, PlayModeWithAMissingFileFails)
{
    FakeDsp dsp("");
    drv.dsp = &dsp;
    TestAUDIO item(kName);
    char mode[] = "play";
    char file[] = "/data/none.raw";
    testing::internal::CaptureStderr();
    EXPECT_EQ(item.test(&log, mode, file), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "/data/none.raw: No such file or directory\n");
    dsp.finish();
    EXPECT_TRUE(dsp.writes.empty());
}

TEST_F(AudioTest, AFileNameLongerThanThePathBufferIsRefused)
{
    TestAUDIO item(kName);
    char mode[] = "rec";
    std::string longName = "/" + std::string(300, 'a');
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.test(&log, mode, &longName[0]), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(drv.opens.empty());
}

TEST(AudioPcm, TheModuleCheckStopsAtTheFirstZeroByteAndTheSize)
{
    const char text[] = "abc zor_ac97 1";
    EXPECT_TRUE(lsmodListsAc97(text, sizeof text - 1));
    EXPECT_FALSE(lsmodListsAc97(text, 11)); // cut inside the name
    const char hidden[] = "abc\0zor_ac97";
    EXPECT_FALSE(lsmodListsAc97(hidden, sizeof hidden - 1));
    EXPECT_FALSE(lsmodListsAc97(nullptr, 4));
    EXPECT_FALSE(lsmodListsAc97("zor_ac9", 7));
}

TEST(AudioPcm, UpsamplingRepeatsEachSampleTwelveTimesAndStopsAtTheLimit)
{
    const uint8_t data[] = { 1, 2, 3, 4, 5 };
    uint8_t buffer[60];
    std::memset(buffer, 0xEE, sizeof buffer);
    // Room for two samples (48 bytes) from position 6: only the first fits whole.
    EXPECT_EQ(upsampleInto(buffer, 50, 6, data, sizeof data), 30u);
    for (size_t i = 6; i < 30; i += 2) {
        EXPECT_EQ(buffer[i], 1);
        EXPECT_EQ(buffer[i + 1], 2);
    }
    EXPECT_EQ(buffer[30], 0xEE);
    EXPECT_EQ(buffer[5], 0xEE);
    // With room, the odd last byte is dropped: two samples.
    EXPECT_EQ(upsampleInto(buffer, 60, 0, data, sizeof data), 48u);
    EXPECT_EQ(buffer[24], 3);
    EXPECT_EQ(buffer[47], 4);
    // A position past the limit writes nothing.
    EXPECT_EQ(upsampleInto(buffer, 10, 20, data, sizeof data), 20u);
}

TEST(AudioPcm, ThePlaybackIs282WholeBlocks)
{
    EXPECT_EQ(kRecordBytes, 48000u);
    EXPECT_EQ(kPlaybackBytes, 576000u);
    EXPECT_EQ(kPlaybackBufferBytes, 577536u);
    EXPECT_EQ(kPlaybackBufferBytes / kTransferBlock, 282u);
}

}
