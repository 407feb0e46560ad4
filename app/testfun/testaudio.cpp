#include "testfun/testaudio.h"

#include "platform/shell_command.h"
#include "testfun/audiopcm.h"
#include "testfun/devicefiles.h"

#include <fcntl.h>
#include <linux/soundcard.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

int is_ac97 = 0;
uint8_t rec_buffer[kPlaybackBufferBytes];

namespace {

// 听到声音了吗？, did you hear the sound?
const char kHeardSound[] = "\xCC\xFD\xB5\xBD\xC9\xF9\xD2\xF4\xC1\xCB\xC2\xF0\xA3\xBF";
// 请对准MIC说话5秒钟, speak into the MIC for 5 seconds. Kept: the prompt says
// five seconds while the recording lasts three; operators are trained on it.
const char kSpeakNow[] = "\xC7\xEB\xB6\xD4\xD7\xBCMIC\xCB\xB5\xBB\xB0"
                         "5\xC3\xEB\xD6\xD3";
// 回放刚才您说的话, playing back what you just said.
const char kPlayingBack[] = "\xBB\xD8\xB7\xC5\xB8\xD5\xB2\xC5\xC4\xFA\xCB\xB5\xB5\xC4\xBB\xB0";

const char kStartSound[] = "./res/rec_start.wav";

// The codec driver's request that switches the audio path: 0 routes the
// microphone in (before recording), 1 the speaker out (before playback).
const unsigned long kRouteSwitch = _IOWR('M', 63, int);

// A playback that keeps failing would block the program for ever; after this
// many failed writes in a row the device is taken as gone.
constexpr int kMaxFailedWrites = 1000;

AudioDeviceOps s_ops;

int openDevice(const std::string& path, int flags)
{
    if (s_ops.open)
        return s_ops.open(path.c_str(), flags);
    return ::open(path.c_str(), flags);
}

int audioRequest(int fd, unsigned long request, int* value)
{
    if (s_ops.ioctl)
        return s_ops.ioctl(fd, request, value);
    return ::ioctl(fd, request, value);
}

// Relative paths (the start sound) live under the working directory; with a
// device root set for tests they are looked up under it as well.
std::string localPath(const char* path)
{
    if (path[0] == '/')
        return devicePath(path);
    const char* root = deviceRoot();
    return root[0] ? std::string(root) + "/" + path : std::string(path);
}

// Owns one descriptor; every way out of test() closes what it opened.
class Fd {
public:
    explicit Fd(int fd)
        : m_fd(fd)
    {
    }
    ~Fd()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return m_fd; }
    bool ok() const { return m_fd >= 0; }

private:
    int m_fd;
};

// Copies the whole of from to the DSP in 2048-byte blocks until a read gives
// nothing more; short writes are not retried (the sound is only heard).
void copyToDsp(int from, int dsp)
{
    char block[kTransferBlock];
    for (;;) {
        const ssize_t got = ::read(from, block, sizeof block);
        if (got <= 0)
            break;
        if (::write(dsp, block, static_cast<size_t>(got)) < 0)
            perror("/dev/dsp");
    }
}

// One OSS format request; false after its perror line when the driver refuses.
bool formatRequest(int dsp, unsigned long request, int value, const char* name, int* granted)
{
    int arg = value;
    if (audioRequest(dsp, request, &arg) < 0) {
        perror(name);
        return false;
    }
    if (granted)
        *granted = arg;
    return true;
}

}

AudioDeviceOps setAudioDeviceOps(const AudioDeviceOps& ops)
{
    const AudioDeviceOps previous = s_ops;
    s_ops = ops;
    return previous;
}

TestAUDIO::TestAUDIO(char* name)
    : TestItem(name, false)
{
}

int TestAUDIO::execute(Log* log)
{
    runShellCommand("lsmod >/lsmod.txt");
    char modules[kLsmodReadBytes + 1];
    std::memset(modules, 0, sizeof modules);
    const int list = ::open(devicePath("/lsmod.txt").c_str(), O_RDONLY | O_CLOEXEC);
    if (list >= 0) {
        const ssize_t got = ::read(list, modules, kLsmodReadBytes);
        if (got < 0)
            modules[0] = '\0';
    }
    printf("read %s\n", modules);
    if (lsmodListsAc97(modules, kLsmodReadBytes)) {
        printf("is ac97\n");
        is_ac97 = 1;
    } else {
        printf("is not ac97\n");
    }
    if (list >= 0)
        ::close(list);

    runShellCommand("rm -f /test.wav");
    char mode[] = "rec";
    char file[] = "/test.wav";
    test(log, mode, file);
    fflush(stdout);
    setResult(2);
    return 2;
}

int TestAUDIO::test(Log* log, char* mode, char* file)
{
    const bool play = mode && std::strcmp(mode, "play") == 0;
    const bool rec = mode && std::strcmp(mode, "rec") == 0;
    char path[256];
    if ((!play && !rec) || !file || std::strlen(file) >= sizeof path) {
        printf("audio: bad test mode or file name\n");
        return 1;
    }
    std::strcpy(path, file);

    Fd dsp(openDevice(devicePath("/dev/dsp"), (play ? O_WRONLY : O_RDWR) | O_CLOEXEC));
    if (!dsp.ok()) {
        perror("/dev/dsp");
        return 1;
    }

    if (play) {
        Fd in(::open(devicePath(path).c_str(), O_RDONLY | O_CLOEXEC));
        if (!in.ok()) {
            perror(path);
            return 1;
        }
        copyToDsp(in.get(), dsp.get());
        return 0;
    }

    printf("beep to start rec\n");
    if (log)
        log->Message("%s", kHeardSound);
    {
        Fd sound(::open(localPath(kStartSound).c_str(), O_RDONLY | O_CLOEXEC));
        if (!sound.ok()) {
            perror(kStartSound);
            return 1;
        }
        copyToDsp(sound.get(), dsp.get());
    }

    {
        // The open only proves that the mixer exists.
        Fd mixer(openDevice(devicePath("/dev/mixer"), O_WRONLY | O_CLOEXEC));
        if (!mixer.ok()) {
            perror("open /dev/mixer error");
            return 1;
        }
    }

    int route = 0;
    audioRequest(dsp.get(), kRouteSwitch, &route);

    // The AC97 driver takes no format requests; its defaults are used and the
    // sizes below still assume 8000 Hz, one channel.
    if (!is_ac97) {
        int speed = 0;
        if (!formatRequest(dsp.get(), SNDCTL_DSP_CHANNELS, kAudioChannels, "SNDCTL_DSP_CHANNELS", nullptr)
            || !formatRequest(dsp.get(), SNDCTL_DSP_SETFMT, AFMT_S16_LE, "SNDCTL_DSP_SETFMT", nullptr)
            || !formatRequest(dsp.get(), SNDCTL_DSP_SPEED, kAudioRate, "SNDCTL_DSP_SPEED", &speed))
            return 1;
        printf("Support 8 KHz , Actual Speed : %d \n", speed);
    }

    if (log)
        log->Message("%s", kSpeakNow);
    {
        Fd out(::open(devicePath(path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0));
        if (!out.ok()) {
            perror(path);
            return 1;
        }
        printf("start rec\n");
        fflush(stdout);
        uint8_t block[kRecordBlock];
        std::memset(block, 0, sizeof block);
        size_t done = 0;
        while (done < kRecordBytes) {
            const size_t want = std::min(kRecordBlock, kRecordBytes - done);
            // The byte count of a read is not checked: a blocking OSS read
            // fills the whole block, and the nominal size is what counts.
            if (::read(dsp.get(), block, want) < 0)
                perror("/dev/dsp");
            if (::write(out.get(), block, want) < 0)
                perror(path);
            done += want;
        }
        printf("end rec\n");
    }

    printf("play rec file\n");
    route = 1;
    audioRequest(dsp.get(), kRouteSwitch, &route);
    Fd in(::open(devicePath(path).c_str(), O_RDONLY | O_CLOEXEC));
    if (!in.ok()) {
        perror(path);
        return 1;
    }
    std::memset(rec_buffer, 0, kPlaybackClearBytes);
    size_t filled = 0;
    uint8_t block[kTransferBlock];
    for (;;) {
        const ssize_t got = ::read(in.get(), block, sizeof block);
        if (got <= 0)
            break;
        filled = upsampleInto(rec_buffer, kPlaybackBytes, filled, block, static_cast<size_t>(got));
    }

    if (log)
        log->Message("%s", kPlayingBack);
    printf("write %d\n", static_cast<int>(kPlaybackBytes));
    fflush(stdout);
    size_t written = 0;
    int failures = 0;
    while (written < kPlaybackBytes) {
        // Whole blocks: the last one reaches past the recording into the
        // buffer's silent tail, never past the buffer.
        const size_t want = std::min(kTransferBlock, kPlaybackBufferBytes - written);
        const ssize_t n = ::write(dsp.get(), rec_buffer + written, want);
        if (n <= 0) {
            if (++failures >= kMaxFailedWrites) {
                perror("/dev/dsp");
                break;
            }
            continue;
        }
        failures = 0;
        written += static_cast<size_t>(n);
    }
    printf("write done\n");
    fflush(stdout);
    return 0;
}
