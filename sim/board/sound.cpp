// The board's sound: the OSS nodes /dev/dsp and /dev/mixer of its codec, a
// microphone that hears what the scenario says, and a speaker whose output is
// kept as a WAV file a person can play.
//
// /dev/dsp is a stream socket pair. Reading it records: the microphone
// delivers its samples at the real rate of the capture format, one 20 ms
// period at a time, and the program's end is set so that a read blocks until
// the whole count has come (as a blocking OSS read does). Every byte
// delivered is also kept in RUNDIR/microphone.wav. Writing it plays: the
// codec's playback path runs at 48,000 Hz, stereo, 16-bit whatever the
// capture format is (the program up-samples for it), and every byte written
// lands in RUNDIR/speaker.wav.
//
// The capture format starts at the OSS defaults (8-bit unsigned, mono,
// 8000 Hz) and follows SNDCTL_DSP_SETFMT (16-bit little-endian or 8-bit
// unsigned; anything else keeps the current one), SNDCTL_DSP_CHANNELS (1 or
// 2) and SNDCTL_DSP_SPEED (the nearest of the codec's rates), each answered
// with what was granted. The AC97 codec's driver accepts none of these
// requests; its capture runs at 16-bit, mono, 8000 Hz. Request 63 of the
// mixer's family on the DSP switches the codec's route (0 microphone in,
// 1 speaker out) and is recorded.
//
// Scenario section [sound]:
//   dsp = yes|no                 /dev/dsp exists (no: a board without sound)
//   mixer = yes|no               /dev/mixer exists
//   codec = i2s|ac97             ac97: lsmod lists zor_ac97 and format requests are refused
//   microphone = tone|speech|silence   what the microphone hears (default tone)
//   tone = HZ                    the tone's pitch, 50 to 3000 (default 440)
//   level = N                    the signal's peak, 0 to 32767 (default 8000)
//   refuse = none|channels|setfmt|speed   a driver that refuses one request (i2s)
//   cut_recording = N            a fault: when the route switches to the speaker,
//                                the program's /test.wav is cut to N bytes, as a
//                                full flash leaves it
// Without a [commands] rule for lsmod, lsmod lists the codec's driver.

#include "../preload/board_protocol.h"
#include "board_impl.h"
#include "device_model.h"
#include "memfile.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <linux/soundcard.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

namespace board {

namespace {

    constexpr const char* kSection = "sound";
    constexpr const char* kDsp = "/dev/dsp";
    constexpr const char* kMixer = "/dev/mixer";
    // The model's numbers for its two nodes (Node::device).
    constexpr int kDeviceDsp = 1;
    constexpr int kDeviceMixer = 2;
    constexpr uint32_t kRouteSwitch = _IOWR('M', 63, int);
    constexpr int kPeriodMs = 20;
    constexpr int kSpeakerRate = 48000;
    constexpr int kSpeakerChannels = 2;
    constexpr size_t kMaxRequests = 1000;
    // The largest read that blocks until complete; larger ones return what
    // has come by then.
    constexpr int kReadLowWater = 65536;
    const int kRates[] = { 8000, 11025, 16000, 22050, 32000, 44100, 48000 };

    struct CaptureFormat {
        int format { AFMT_U8 };
        int channels { 1 };
        int speed { 8000 };
        int bytesPerFrame() const { return channels * (format == AFMT_S16_LE ? 2 : 1); }
    };

    struct Settings {
        bool dsp { true };
        bool mixer { true };
        bool ac97 { false };
        std::string microphone { "tone" };
        int tone { 440 };
        int level { 8000 };
        std::string refuse { "none" };
        long cutRecording { -1 };
    };

    Settings readSettings(const Scenario& s)
    {
        Settings out;
        auto it = s.settings.find(kSection);
        if (it == s.settings.end())
            return out;
        for (const auto& kv : it->second) {
            const std::string& v = kv.second;
            if (kv.first == "dsp")
                scenarioBool(v, out.dsp);
            else if (kv.first == "mixer")
                scenarioBool(v, out.mixer);
            else if (kv.first == "codec")
                out.ac97 = v == "ac97";
            else if (kv.first == "microphone")
                out.microphone = v;
            else if (kv.first == "tone")
                out.tone = std::atoi(v.c_str());
            else if (kv.first == "level")
                out.level = std::atoi(v.c_str());
            else if (kv.first == "refuse")
                out.refuse = v;
            else if (kv.first == "cut_recording")
                out.cutRecording = std::atol(v.c_str());
        }
        return out;
    }

    // What the microphone hears at time t seconds, as a 16-bit sample.
    class Microphone {
    public:
        explicit Microphone(const Settings& s)
            : m_kind(s.microphone)
            , m_tone(s.tone)
            , m_level(s.level)
        {
        }

        int16_t sample(double t)
        {
            constexpr double kTwoPi = 6.283185307179586;
            double v = 0;
            if (m_kind == "tone") {
                v = std::sin(kTwoPi * m_tone * t);
            } else if (m_kind == "speech") {
                // Syllables about three a second, a voiced sound of a few
                // harmonics over a 140 Hz pitch, and breath noise.
                const double syllable = std::max(0.0, std::sin(kTwoPi * 3.3 * t));
                const double phrase = 0.6 + 0.4 * std::sin(kTwoPi * 0.7 * t);
                const double pitch = 140 + 15 * std::sin(kTwoPi * 1.1 * t);
                m_phase += kTwoPi * pitch / m_lastRate;
                const double voiced
                    = std::sin(m_phase) + 0.5 * std::sin(2 * m_phase) + 0.3 * std::sin(3 * m_phase);
                m_noise = 0.7 * m_noise + 0.3 * noise();
                v = syllable * syllable * phrase * (voiced + 0.4 * m_noise) / 2.2;
            }
            const long s = std::lround(v * m_level);
            return static_cast<int16_t>(std::max(-32768L, std::min(32767L, s)));
        }

        void setRate(int rate) { m_lastRate = rate > 0 ? rate : 8000; }

    private:
        double noise()
        {
            m_seed ^= m_seed << 13;
            m_seed ^= m_seed >> 17;
            m_seed ^= m_seed << 5;
            return static_cast<double>(m_seed) / 2147483648.0 - 1.0;
        }

        std::string m_kind;
        int m_tone;
        int m_level;
        int m_lastRate { 8000 };
        double m_phase { 0 };
        double m_noise { 0 };
        uint32_t m_seed { 0x2545F491u };
    };

    // A WAV file that grows: the header's sizes are rewritten after each append.
    class WavFile {
    public:
        bool open(const std::string& path, int rate, int channels, int bits)
        {
            m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            if (m_fd < 0)
                return false;
            m_data = 0;
            uint8_t h[44];
            std::memcpy(h, "RIFF\0\0\0\0WAVEfmt ", 16);
            auto put32 = [&](int at, uint32_t v) {
                for (int i = 0; i < 4; ++i)
                    h[at + i] = static_cast<uint8_t>(v >> (8 * i));
            };
            auto put16 = [&](int at, uint32_t v) {
                h[at] = static_cast<uint8_t>(v);
                h[at + 1] = static_cast<uint8_t>(v >> 8);
            };
            const uint32_t block = static_cast<uint32_t>(channels * bits / 8);
            put32(4, 36);
            put32(16, 16);
            put16(20, 1);
            put16(22, static_cast<uint32_t>(channels));
            put32(24, static_cast<uint32_t>(rate));
            put32(28, static_cast<uint32_t>(rate) * block);
            put16(32, block);
            put16(34, static_cast<uint32_t>(bits));
            std::memcpy(h + 36, "data\0\0\0\0", 8);
            return ::write(m_fd, h, sizeof h) == static_cast<ssize_t>(sizeof h);
        }

        bool isOpen() const { return m_fd >= 0; }

        void append(const void* data, size_t size)
        {
            if (m_fd < 0 || size == 0 || m_data + size > 0xFFFFFF00u)
                return;
            if (::pwrite(m_fd, data, size, static_cast<off_t>(44 + m_data)) != static_cast<ssize_t>(size))
                return;
            m_data += size;
            uint8_t n[4];
            const uint32_t riff = static_cast<uint32_t>(36 + m_data);
            const uint32_t sizes[2] = { riff, static_cast<uint32_t>(m_data) };
            const off_t at[2] = { 4, 40 };
            for (int k = 0; k < 2; ++k) {
                for (int i = 0; i < 4; ++i)
                    n[i] = static_cast<uint8_t>(sizes[k] >> (8 * i));
                if (::pwrite(m_fd, n, 4, at[k]) != 4)
                    return;
            }
        }

        ~WavFile()
        {
            if (m_fd >= 0)
                ::close(m_fd);
        }

    private:
        int m_fd { -1 };
        size_t m_data { 0 };
    };

    class SoundModel;

    // The recording side of one descriptor open for reading: a thread that
    // delivers the microphone's periods at the real rate.
    class Capture {
    public:
        Capture(SoundModel& model, int fd)
            : m_model(model)
            , m_fd(fd)
        {
        }
        ~Capture() { stop(); }
        Capture(const Capture&) = delete;
        Capture& operator=(const Capture&) = delete;

        void start()
        {
            m_thread = std::thread([this] { run(); });
        }
        void stop()
        {
            m_stop = true;
            if (m_thread.joinable())
                m_thread.join();
            if (m_fd >= 0)
                ::close(m_fd);
            m_fd = -1;
        }

    private:
        void run();

        SoundModel& m_model;
        int m_fd; // the thread's own copy of the board's end
        std::atomic<bool> m_stop { false };
        std::thread m_thread;
    };

    class SoundModel : public DeviceModel {
    public:
        explicit SoundModel(BoardContext& board)
            : DeviceModel(board)
            , m_settings(readSettings(board.scenario()))
            , m_microphone(m_settings)
        {
            if (m_settings.ac97)
                m_format = { AFMT_S16_LE, 1, 8000 };
        }

        ~SoundModel() override
        {
            // The threads go before the files they write.
            m_captures.clear();
        }

        bool start(std::string& error) override
        {
            if (!m_settings.dsp)
                return true;
            if (!m_speaker.open(m_board.runDir() + "/speaker.wav", kSpeakerRate, kSpeakerChannels, 16)) {
                error = "cannot create " + m_board.runDir() + "/speaker.wav: " + std::strerror(errno);
                return false;
            }
            return true;
        }

        OpenResult open(const std::string& path, const Client& client) override
        {
            if (path == kMixer) {
                if (!m_settings.mixer)
                    return OpenResult::failed(ENOENT);
                int boardEnd = -1;
                const int fd = packetPair(&boardEnd);
                if (fd < 0)
                    return OpenResult::failed(errno);
                std::lock_guard<std::mutex> lock(m_mutex);
                ++m_mixerOpens;
                return OpenResult::opened(BOARD_KIND_FILE, fd, boardEnd, kDeviceMixer);
            }
            if (path != kDsp)
                return {};
            if (!m_settings.dsp)
                return OpenResult::failed(ENOENT);
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0)
                return OpenResult::failed(errno);
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            // A read waits for its whole count, as a blocking OSS read does.
            const int lowWater = kReadLowWater;
            setsockopt(sv[1], SOL_SOCKET, SO_RCVLOWAT, &lowWater, sizeof lowWater);
            // The driver's buffer holds a few periods; a microphone nobody
            // reads waits instead of running ahead.
            const int sendBuffer = 4096;
            setsockopt(sv[0], SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                ++m_dspOpens;
            }
            if (client.openFlags & BOARD_OPEN_READ) {
                const int copy = fcntl(sv[0], F_DUPFD_CLOEXEC, 0);
                if (copy >= 0) {
                    auto capture = std::make_unique<Capture>(*this, copy);
                    {
                        std::lock_guard<std::mutex> lock(m_mutex);
                        restartClock();
                    }
                    capture->start();
                    m_captures[sv[0]] = std::move(capture);
                }
            }
            return OpenResult::opened(BOARD_KIND_FILE, sv[1], sv[0], kDeviceDsp);
        }

        IoctlResult ioctl(Node& node, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            if (!isDsp(node))
                return mixerRequest(request, in);
            int value = 0;
            if (in.size() >= 4)
                std::memcpy(&value, in.data(), 4);
            std::lock_guard<std::mutex> lock(m_mutex);
            switch (request) {
            case SNDCTL_DSP_SETFMT:
            case SNDCTL_DSP_CHANNELS:
            case SNDCTL_DSP_SPEED:
                return formatRequest(request, value);
            case kRouteSwitch:
                record("ROUTE " + std::to_string(value));
                m_routes.push_back(value);
                if (value == 1 && m_settings.cutRecording >= 0)
                    cutRecording();
                return intAnswer(value);
            case SNDCTL_DSP_RESET:
            case SNDCTL_DSP_SYNC:
            case SNDCTL_DSP_POST:
                return {};
            default:
                return IoctlResult::fail(ENOTTY);
            }
        }

        void written(Node& node, const char* data, size_t size) override
        {
            if (!isDsp(node))
                return;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_speaker.append(data, size);
            m_played += size;
        }

        void closed(Node& node) override { m_captures.erase(node.boardFd); }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            std::ostringstream j;
            j << "{\"dsp\": " << (m_settings.dsp ? "true" : "false")
              << ", \"mixer\": " << (m_settings.mixer ? "true" : "false") << ", \"codec\": \""
              << (m_settings.ac97 ? "ac97" : "i2s")
              << "\", \"microphone\": " << jsonString(m_settings.microphone)
              << ", \"format\": " << m_format.format << ", \"channels\": " << m_format.channels
              << ", \"speed\": " << m_format.speed << ", \"requests\": [";
            for (size_t i = 0; i < m_requests.size(); ++i)
                j << (i ? ", " : "") << jsonString(m_requests[i]);
            j << "], \"routes\": [";
            for (size_t i = 0; i < m_routes.size(); ++i)
                j << (i ? ", " : "") << m_routes[i];
            j << "], \"dsp_opens\": " << m_dspOpens << ", \"mixer_opens\": " << m_mixerOpens
              << ", \"recorded\": " << m_recorded << ", \"played\": " << m_played << "}";
            members.emplace_back("sound", j.str());
        }

        // The next period of the microphone for a capture thread: the bytes
        // and the time it is due, or empty when it is not due yet (then
        // *waitMs says how long).
        std::string nextPeriod(int64_t now, int* waitMs)
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const int periodMs = kPeriodMs;
            if (now < m_due) {
                *waitMs = static_cast<int>(m_due - now);
                return {};
            }
            // After a pause (nobody read) the microphone does not catch up in a burst.
            if (now - m_due > 10 * periodMs)
                m_due = now;
            m_due += periodMs;
            const int frames = m_format.speed * periodMs / 1000;
            m_microphone.setRate(m_format.speed);
            std::string bytes;
            bytes.reserve(static_cast<size_t>(frames * m_format.bytesPerFrame()));
            for (int f = 0; f < frames; ++f) {
                const int16_t s = m_microphone.sample(m_time);
                m_time += 1.0 / m_format.speed;
                for (int c = 0; c < m_format.channels; ++c) {
                    if (m_format.format == AFMT_S16_LE) {
                        bytes += static_cast<char>(s & 0xFF);
                        bytes += static_cast<char>((s >> 8) & 0xFF);
                    } else {
                        bytes += static_cast<char>((s >> 8) + 128);
                    }
                }
            }
            *waitMs = 0;
            return bytes;
        }

        // Bytes a capture thread delivered to the program.
        void delivered(const char* data, size_t size)
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_microphoneFile.isOpen()) {
                const std::string path = m_board.runDir() + "/microphone.wav";
                m_microphoneFile.open(
                    path, m_format.speed, m_format.channels, m_format.format == AFMT_S16_LE ? 16 : 8);
            }
            m_microphoneFile.append(data, size);
            m_recorded += size;
        }

    private:
        static bool isDsp(const Node& node) { return node.device == kDeviceDsp; }

        // The capture restarts with a new format: its first period is there one period later.
        void restartClock() { m_due = nowMs() + kPeriodMs; }

        void record(const std::string& text)
        {
            if (m_requests.size() < kMaxRequests)
                m_requests.push_back(text);
        }

        static IoctlResult intAnswer(int value)
        {
            IoctlResult r;
            r.out.resize(4);
            std::memcpy(r.out.data(), &value, 4);
            return r;
        }

        IoctlResult formatRequest(uint32_t request, int value)
        {
            const char* name = request == SNDCTL_DSP_SETFMT ? "SETFMT"
                : request == SNDCTL_DSP_CHANNELS            ? "CHANNELS"
                                                            : "SPEED";
            record(std::string(name) + " " + std::to_string(value));
            std::string refused = name;
            for (char& c : refused)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (m_settings.ac97 || m_settings.refuse == refused)
                return IoctlResult::fail(EINVAL);
            if (request == SNDCTL_DSP_SETFMT) {
                if (value == AFMT_S16_LE || value == AFMT_U8)
                    m_format.format = value;
                value = m_format.format;
            } else if (request == SNDCTL_DSP_CHANNELS) {
                if (value == 1 || value == 2)
                    m_format.channels = value;
                value = m_format.channels;
            } else {
                if (value <= 0)
                    return IoctlResult::fail(EINVAL);
                int best = kRates[0];
                for (int rate : kRates) {
                    if (std::abs(rate - value) < std::abs(best - value))
                        best = rate;
                }
                m_format.speed = best;
                value = best;
            }
            restartClock();
            return intAnswer(value);
        }

        // The mixer answers its volume requests with a fixed level on both channels.
        IoctlResult mixerRequest(uint32_t request, const std::vector<uint8_t>&)
        {
            if (_IOC_TYPE(request) != 'M')
                return IoctlResult::fail(ENOTTY);
            return intAnswer(75 | 75 << 8);
        }

        void cutRecording()
        {
            const std::string path = m_board.runDir() + "/root/test.wav";
            if (::truncate(path.c_str(), static_cast<off_t>(m_settings.cutRecording)) == 0)
                m_board.note("sound: cut /test.wav to " + std::to_string(m_settings.cutRecording) + " bytes");
            else
                m_board.note("sound: cannot cut /test.wav: " + std::string(std::strerror(errno)));
        }

        Settings m_settings;
        std::mutex m_mutex; // the capture threads share the format, the clock and the files
        Microphone m_microphone;
        CaptureFormat m_format;
        double m_time { 0 };
        int64_t m_due { 0 };
        WavFile m_speaker;
        WavFile m_microphoneFile;
        std::vector<std::string> m_requests;
        std::vector<int> m_routes;
        int m_dspOpens { 0 };
        int m_mixerOpens { 0 };
        size_t m_recorded { 0 };
        size_t m_played { 0 };
        std::map<int, std::unique_ptr<Capture>> m_captures; // by the node's board end
    };

    void Capture::run()
    {
        std::string pending;
        while (!m_stop) {
            int waitMs = 0;
            if (pending.empty())
                pending = m_model.nextPeriod(nowMs(), &waitMs);
            if (pending.empty()) {
                usleep(static_cast<useconds_t>(std::min(waitMs, 5) * 1000));
                continue;
            }
            const ssize_t n = send(m_fd, pending.data(), pending.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n > 0) {
                m_model.delivered(pending.data(), static_cast<size_t>(n));
                pending.erase(0, static_cast<size_t>(n));
            } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
                // The driver's buffer is full: nobody reads.
                pollfd p { m_fd, POLLOUT, 0 };
                poll(&p, 1, 5);
            } else {
                return; // the program closed its end
            }
        }
    }

    bool parseSound(const std::string&, const std::string& key, const std::string& value, const std::string&,
        Scenario& s, std::string& error)
    {
        bool b;
        int n;
        if (key == "dsp" || key == "mixer") {
            if (!scenarioBool(value, b)) {
                error = key + " is yes or no";
                return false;
            }
        } else if (key == "codec") {
            if (value != "i2s" && value != "ac97") {
                error = "codec is i2s or ac97";
                return false;
            }
        } else if (key == "microphone") {
            if (value != "tone" && value != "speech" && value != "silence") {
                error = "microphone is tone, speech or silence";
                return false;
            }
        } else if (key == "tone") {
            if (!scenarioInt(value, 50, 3000, n)) {
                error = "tone is a pitch from 50 to 3000 Hz";
                return false;
            }
        } else if (key == "level") {
            if (!scenarioInt(value, 0, 32767, n)) {
                error = "level is from 0 to 32767";
                return false;
            }
        } else if (key == "refuse") {
            if (value != "none" && value != "channels" && value != "setfmt" && value != "speed") {
                error = "refuse is none, channels, setfmt or speed";
                return false;
            }
        } else if (key == "cut_recording") {
            if (!scenarioInt(value, 0, 100000000, n)) {
                error = "cut_recording is a size in bytes";
                return false;
            }
        } else {
            error = "unknown key \"" + key
                + "\" (dsp, mixer, codec, microphone, tone, level, refuse, cut_recording)";
            return false;
        }
        s.settings[kSection][key] = value;
        return true;
    }

    // Without a rule of its own for lsmod, the scenario's lsmod lists the codec's driver.
    void finishSound(Scenario& s)
    {
        for (const auto& rule : s.commands) {
            if (fnmatch(rule.pattern.c_str(), "lsmod", 0) == 0)
                return;
        }
        const Settings settings = readSettings(s);
        CommandRule rule;
        rule.pattern = "lsmod";
        rule.output = "Module                  Size  Used by\n";
        if (settings.dsp)
            rule.output
                += settings.ac97 ? "zor_ac97               24576  1\n" : "lumi_snd               16384  0\n";
        s.commands.push_back(rule);
    }

}

extern const ModelType kSoundModel = { "sound", { kSection }, parseSound, finishSound,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> { return std::make_unique<SoundModel>(board); } };

}
