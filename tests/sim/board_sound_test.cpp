// The board's sound model with the program's audio test item (audio-probe):
// the recording compared with what the microphone delivered, the speaker's
// WAV compared with the start sound and the twelve-fold playback of the
// recording, the AC97 codec, a cut recording, and boards without sound or
// mixer. Each full run records three real seconds, so the cases are few.

#include "audio_samples.h"
#include "board_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace boardtest;
using lumitest::upsampled;

namespace {

struct Wav {
    bool ok { false };
    int channels { 0 };
    int rate { 0 };
    int bits { 0 };
    std::string data;
};

uint32_t le(const std::string& s, size_t at, int bytes)
{
    uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i)
        v = v << 8 | static_cast<uint8_t>(s[at + i]);
    return v;
}

// The board's own WAV files: a 44-byte header whose sizes match the file.
Wav readWav(const std::string& path)
{
    Wav w;
    const std::string f = readFile(path);
    if (f.size() < 44 || f.compare(0, 4, "RIFF") != 0 || f.compare(8, 8, "WAVEfmt ") != 0
        || f.compare(36, 4, "data") != 0 || le(f, 4, 4) != f.size() - 8 || le(f, 40, 4) != f.size() - 44)
        return w;
    w.channels = static_cast<int>(le(f, 22, 2));
    w.rate = static_cast<int>(le(f, 24, 4));
    w.bits = static_cast<int>(le(f, 34, 2));
    w.data = f.substr(44);
    w.ok = true;
    return w;
}

// Compares two byte strings sample by sample (16-bit), naming the first difference.
::testing::AssertionResult sameSamples(const std::string& got, const std::string& want)
{
    if (got.size() != want.size())
        return ::testing::AssertionFailure() << "sizes " << got.size() << " and " << want.size();
    for (size_t i = 0; i + 1 < got.size(); i += 2) {
        if (got.compare(i, 2, want, i, 2) != 0)
            return ::testing::AssertionFailure() << "sample at byte " << i << " differs";
    }
    return ::testing::AssertionSuccess();
}

// The operator's verdict on a run (tools/operator_audio.py): "yes: ..." or "no: ...".
std::string operatorVerdict(const std::string& runDir)
{
    ChildProcess c("/usr/bin/python3", { lumitest::sourceDir() + "/tools/operator_audio.py", runDir }, {});
    c.wait(60000);
    return c.output();
}

std::string scenario(const std::string& sound)
{
    return "[workdir]\nres = " + lumitest::sourceDir() + "/res\n[sound]\n" + sound;
}

class BoardSound : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            const std::string build = armhfBuild();
            probe = build + "/tests/sim/audio-probe";
            if (!exists(probe))
                GTEST_SKIP() << "no armhf build of the audio probe (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            probe = buildProgram("tests/sim/audio-probe");
        }
        startSound = readFile(lumitest::sourceDir() + "/res/rec_start.wav");
        ASSERT_GT(startSound.size(), 44u);
    }

    std::string probe;
    std::string startSound;
};

TEST_P(BoardSound, RecordingAndSpeakerFollowTheMicrophone)
{
    TempDir tmp;
    Board b(tmp, "run", { probe }, scenario("microphone = speech\n"));
    ASSERT_EQ(b.process->wait(120000), 0) << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("is not ac97\nbeep to start rec\nlog: "), std::string::npos) << out;
    EXPECT_NE(out.find("Support 8 KHz , Actual Speed : 8000 \nlog: "), std::string::npos) << out;
    EXPECT_NE(out.find("start rec\nend rec\nplay rec file\n"), std::string::npos) << out;
    EXPECT_NE(out.find("write 576000\nwrite done\naudio 2\ndone\n"), std::string::npos) << out;

    // The recording is the first 48000 bytes the microphone delivered, in the granted format.
    const Wav mic = readWav(b.dir() + "/microphone.wav");
    ASSERT_TRUE(mic.ok);
    EXPECT_EQ(mic.rate, 8000);
    EXPECT_EQ(mic.channels, 1);
    EXPECT_EQ(mic.bits, 16);
    ASSERT_GE(mic.data.size(), 48000u);
    const std::string recording = readFile(b.dir() + "/root/test.wav");
    ASSERT_EQ(recording.size(), 48000u);
    EXPECT_TRUE(sameSamples(recording, mic.data.substr(0, 48000)));
    // Speech is heard: the recording is not silent.
    EXPECT_NE(recording, std::string(48000, '\0'));

    // The speaker played the start sound, header and all, then 282 blocks of
    // the recording twelve-fold with the silent tail.
    const Wav speaker = readWav(b.dir() + "/speaker.wav");
    ASSERT_TRUE(speaker.ok);
    EXPECT_EQ(speaker.rate, 48000);
    EXPECT_EQ(speaker.channels, 2);
    EXPECT_EQ(speaker.bits, 16);
    ASSERT_EQ(speaker.data.size(), startSound.size() + 577536u);
    EXPECT_EQ(speaker.data.substr(0, startSound.size()), startSound);
    EXPECT_TRUE(sameSamples(speaker.data.substr(startSound.size()), upsampled(recording, 577536)));

    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"format\": 16, \"channels\": 1, \"speed\": 8000, \"requests\": [\"ROUTE 0\", "
                         "\"CHANNELS 1\", \"SETFMT 16\", \"SPEED 8000\", \"ROUTE 1\"], \"routes\": [0, 1], "
                         "\"dsp_opens\": 1, \"mixer_opens\": 1"),
        std::string::npos)
        << state;
    EXPECT_NE(
        state.find("\"played\": " + std::to_string(startSound.size() + 577536) + "}"), std::string::npos)
        << state;
    EXPECT_NE(state.find("\"lsmod >/lsmod.txt\""), std::string::npos) << state;
    if (exists("/usr/bin/python3")) {
        EXPECT_EQ(operatorVerdict(b.dir()).compare(0, 5, "yes: "), 0) << operatorVerdict(b.dir());
    }
}

TEST_P(BoardSound, OnTheAc97CodecNoFormatRequestIsSent)
{
    TempDir tmp;
    Board b(tmp, "run", { probe }, scenario("codec = ac97\nmicrophone = tone\ntone = 1000\n"));
    ASSERT_EQ(b.process->wait(120000), 0) << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("zor_ac97"), std::string::npos) << out;
    EXPECT_NE(out.find("is ac97\nbeep to start rec\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("Actual Speed"), std::string::npos) << out;
    EXPECT_NE(out.find("audio 2\n"), std::string::npos) << out;
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"codec\": \"ac97\", \"microphone\": \"tone\", \"format\": 16, \"channels\": 1, "
                         "\"speed\": 8000, \"requests\": [\"ROUTE 0\", \"ROUTE 1\"]"),
        std::string::npos)
        << state;
    const Wav mic = readWav(b.dir() + "/microphone.wav");
    ASSERT_TRUE(mic.ok);
    const std::string recording = readFile(b.dir() + "/root/test.wav");
    ASSERT_EQ(recording.size(), 48000u);
    EXPECT_TRUE(sameSamples(recording, mic.data.substr(0, 48000)));
    const Wav speaker = readWav(b.dir() + "/speaker.wav");
    ASSERT_TRUE(speaker.ok);
    ASSERT_EQ(speaker.data.size(), startSound.size() + 577536u);
    EXPECT_TRUE(sameSamples(speaker.data.substr(startSound.size()), upsampled(recording, 577536)));
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardSound, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return std::string(info.param == ProbeArch::X86_64 ? "x86_64" : "armhf");
    });

TEST(BoardSoundFaults, ACutRecordingPlaysBackWithSilenceAfterIt)
{
    TempDir tmp;
    Board b(tmp, "run", { buildProgram("tests/sim/audio-probe") },
        scenario("microphone = tone\ncut_recording = 10000\n"));
    ASSERT_EQ(b.process->wait(120000), 0) << b.process->errors();
    const std::string startSound = readFile(lumitest::sourceDir() + "/res/rec_start.wav");
    const Wav mic = readWav(b.dir() + "/microphone.wav");
    ASSERT_TRUE(mic.ok);
    ASSERT_GE(mic.data.size(), 48000u);
    EXPECT_EQ(readFile(b.dir() + "/root/test.wav"), mic.data.substr(0, 10000));
    const Wav speaker = readWav(b.dir() + "/speaker.wav");
    ASSERT_TRUE(speaker.ok);
    ASSERT_EQ(speaker.data.size(), startSound.size() + 577536u);
    const std::string playback = speaker.data.substr(startSound.size());
    EXPECT_TRUE(sameSamples(playback, upsampled(mic.data.substr(0, 10000), 577536)));
    EXPECT_EQ(playback.substr(120000), std::string(577536 - 120000, '\0'));
    // A listener hears the playback stop after a moment.
    if (exists("/usr/bin/python3")) {
        EXPECT_EQ(operatorVerdict(b.dir()).compare(0, 4, "no: "), 0) << operatorVerdict(b.dir());
    }
}

TEST(BoardSoundFaults, WithoutSoundOrMixerTheTestEndsEarlyAndTheOperatorDecides)
{
    TempDir tmp;
    Board none(tmp, "none", { buildProgram("tests/sim/audio-probe") }, scenario("dsp = no\n"));
    ASSERT_EQ(none.process->wait(60000), 0) << none.process->errors();
    std::string out = none.process->output();
    EXPECT_NE(out.find("is not ac97\n/dev/dsp: No such file or directory\naudio 2\n"), std::string::npos)
        << out;
    EXPECT_FALSE(exists(none.dir() + "/speaker.wav"));
    EXPECT_FALSE(exists(none.dir() + "/root/test.wav"));

    Board noMixer(tmp, "nomixer", { buildProgram("tests/sim/audio-probe") }, scenario("mixer = no\n"));
    ASSERT_EQ(noMixer.process->wait(60000), 0) << noMixer.process->errors();
    out = noMixer.process->output();
    EXPECT_NE(out.find("open /dev/mixer error: No such file or directory\naudio 2\n"), std::string::npos)
        << out;
    const std::string startSound = readFile(lumitest::sourceDir() + "/res/rec_start.wav");
    const Wav speaker = readWav(noMixer.dir() + "/speaker.wav");
    ASSERT_TRUE(speaker.ok);
    EXPECT_EQ(speaker.data, startSound);
    EXPECT_FALSE(exists(noMixer.dir() + "/root/test.wav"));

    Board refusing(tmp, "refusing", { buildProgram("tests/sim/audio-probe") }, scenario("refuse = speed\n"));
    ASSERT_EQ(refusing.process->wait(60000), 0) << refusing.process->errors();
    out = refusing.process->output();
    EXPECT_NE(out.find("SNDCTL_DSP_SPEED: Invalid argument\naudio 2\n"), std::string::npos) << out;
}

TEST(BoardSoundFaults, BadSoundSettingsAreErrors)
{
    TempDir tmp;
    for (const std::string& text :
        { std::string("[sound]\ncodec = hdmi\n"), std::string("[sound]\nmicrophone = music\n"),
            std::string("[sound]\ntone = 10\n"), std::string("[sound]\nlevel = 40000\n"),
            std::string("[sound]\nrefuse = all\n"), std::string("[sound]\nvolume = 3\n") }) {
        std::ofstream(tmp.file("bad.ini")) << text;
        ChildProcess c(boardProgram(), { "check-scenario", tmp.file("bad.ini") }, {});
        EXPECT_NE(c.wait(10000), 0) << text;
        EXPECT_NE(c.errors().find("bad.ini:2:"), std::string::npos) << c.errors();
    }
}

}
