// The camera: the controller's register window in physical memory
// (/dev/mem) and the sensor's V4L2 capture node /dev/video0.
//
// /dev/mem maps only the controller's 1296 registers at 0xD8110000; any other
// mapping is refused (EINVAL). The state shows the registers as the program
// left them.
//
// /dev/video0 takes VIDIOC_S_FMT, REQBUFS, QUERYBUF, QBUF, DQBUF, STREAMON and
// STREAMOFF in the layout of the client's architecture (the requests' sizes
// tell the x86_64 structures from the armhf ones, with 32- or 64-bit time).
// Its buffers are one memory file the program maps through the board. While
// streaming, a frame is written into the oldest queued buffer at the sensor's
// rate and the node turns readable (one packet a waiting frame; a DQBUF takes
// one away). Frames are the test picture of camera_picture.h in the sensor's
// layout. A frame clock thread of the model's own makes them, so frames come
// at their rate whatever the board's loop is doing.
//
// Scenario section [camera]:
//   present = yes|no            the capture node exists (default yes)
//   sensor = yuyv|ccir656       packed YUYV, or the CCIR 656 sensor's semi-planar frames
//   buffers = N                 the most buffers the driver grants, 1 to 32 (default 4)
//   rate = N                    frames a second, 1 to 120 (default 25)
//   frames = N|unlimited        frames the sensor delivers before it falls silent (default unlimited)
//   appear_after = S            seconds after the program first looks for the node until it appears

#include "../preload/board_protocol.h"
#include "camera_picture.h"
#include "device_model.h"
#include "memfile.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace board {

namespace {

    constexpr const char* kSection = "camera";
    constexpr uint64_t kRegBase = 0xD8110000ULL;
    constexpr size_t kRegSize = 1296;
    constexpr size_t kPage = 4096;

    // The V4L2 numbers the model needs (linux/videodev2.h), independent of the host's structures.
    constexpr uint32_t kCapture = 1; // V4L2_BUF_TYPE_VIDEO_CAPTURE
    constexpr uint32_t kMemoryMmap = 1; // V4L2_MEMORY_MMAP
    constexpr uint32_t kFieldNone = 1;
    constexpr uint32_t kColorspaceSmpte170m = 1;
    constexpr uint32_t kFlagMapped = 0x1, kFlagQueued = 0x2, kFlagDone = 0x4;
    constexpr uint32_t kFlagTimestampMonotonic = 0x2000;
    constexpr uint32_t kCapSupportsMmap = 0x1;
    constexpr uint32_t fourcc(char a, char b, char c, char d)
    {
        return static_cast<uint32_t>(a) | (static_cast<uint32_t>(b) << 8) | (static_cast<uint32_t>(c) << 16)
            | (static_cast<uint32_t>(d) << 24);
    }
    constexpr uint32_t kYuyv = fourcc('Y', 'U', 'Y', 'V');
    constexpr uint32_t kNv16 = fourcc('N', 'V', '1', '6');
    enum Nr { S_FMT = 5, REQBUFS = 8, QUERYBUF = 9, QBUF = 15, DQBUF = 17, STREAMON = 18, STREAMOFF = 19 };

    uint32_t get32(const std::vector<uint8_t>& b, size_t at)
    {
        if (at + 4 > b.size())
            return 0;
        return static_cast<uint32_t>(b[at]) | (static_cast<uint32_t>(b[at + 1]) << 8)
            | (static_cast<uint32_t>(b[at + 2]) << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
    }
    void put64(std::vector<uint8_t>& b, size_t at, uint64_t v)
    {
        put32(b, at, static_cast<uint32_t>(v));
        put32(b, at + 4, static_cast<uint32_t>(v >> 32));
    }

    // Where struct v4l2_buffer keeps its fields, by its size: 88 bytes on
    // x86_64, 68 on armhf with 32-bit time, 80 with 64-bit time.
    struct BufferLayout {
        size_t size, timestamp, timeField, sequence, memory, m, length;
    };
    bool bufferLayout(size_t size, BufferLayout& l)
    {
        switch (size) {
        case 88:
            l = { 88, 24, 8, 56, 60, 64, 72 };
            return true;
        case 68:
            l = { 68, 20, 4, 44, 48, 52, 56 };
            return true;
        case 80:
            l = { 80, 24, 8, 56, 60, 64, 68 };
            return true;
        default:
            return false;
        }
    }

    struct Settings {
        bool present { true };
        bool semiPlanar { false };
        int buffers { 4 };
        int rate { 25 };
        long frames { -1 }; // -1: unlimited
        int appearAfter { 0 };
    };

    // One capture: the format, the buffers and the frame clock.
    struct Capture {
        std::mutex lock;
        std::condition_variable wake;
        unsigned width { 640 };
        unsigned height { 480 };
        size_t frameBytes { 640 * 480 * 2 };
        size_t stride { 0 }; // bytes from one buffer to the next in the memory file
        unsigned count { 0 };
        int memFd { -1 };
        uint8_t* mem { nullptr };
        std::deque<unsigned> queued;
        struct Done {
            unsigned index;
            uint32_t sequence;
            int64_t timeUs;
        };
        std::deque<Done> done;
        std::vector<bool> isQueued;
        bool streaming { false };
        bool stop { false };
        int signalFd { -1 }; // the board's end, duplicated: one packet a finished frame
        std::thread clock;

        void release()
        {
            if (mem)
                munmap(mem, stride * count);
            if (memFd >= 0)
                close(memFd);
            mem = nullptr;
            memFd = -1;
            count = 0;
            queued.clear();
            done.clear();
            isQueued.clear();
        }
    };

    int64_t monotonicUs()
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    class CameraModel : public DeviceModel {
    public:
        explicit CameraModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find(kSection);
            if (it != settings.end()) {
                for (const auto& kv : it->second)
                    apply(kv.first, kv.second, m_s);
            }
        }

        ~CameraModel() override
        {
            for (auto& c : m_captures)
                stopClock(*c.second);
            if (m_regs)
                munmap(m_regs, kPage);
            if (m_regFd >= 0)
                close(m_regFd);
        }

        bool start(std::string& error) override
        {
            m_regFd = memfd_create("uishull-board-camera-regs", MFD_CLOEXEC);
            if (m_regFd < 0 || ftruncate(m_regFd, kPage) != 0) {
                error = std::string("cannot create the camera registers: ") + std::strerror(errno);
                return false;
            }
            void* map = ::mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, m_regFd, 0);
            if (map == MAP_FAILED) {
                error = std::string("cannot map the camera registers: ") + std::strerror(errno);
                return false;
            }
            m_regs = static_cast<uint8_t*>(map);
            return true;
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path == "/dev/mem") {
                // A descriptor of its own; its memory is reached only through mmap.
                const int fd = memfd_create("uishull-board-mem", MFD_CLOEXEC);
                if (fd < 0)
                    return OpenResult::failed(errno);
                return OpenResult::opened(BOARD_KIND_MEM, fd);
            }
            if (path != "/dev/video0")
                return {};
            ++m_openAttempts;
            if (!m_s.present)
                return OpenResult::failed(ENOENT);
            const int64_t now = monotonicUs();
            if (m_firstLook < 0)
                m_firstLook = now;
            if (now - m_firstLook < static_cast<int64_t>(m_s.appearAfter) * 1000000)
                return OpenResult::failed(ENOENT);
            int boardEnd = -1;
            const int fd = packetPair(&boardEnd);
            if (fd < 0)
                return OpenResult::failed(errno);
            auto c = std::make_unique<Capture>();
            c->signalFd = fcntl(boardEnd, F_DUPFD_CLOEXEC, 0);
            const int id = m_nextCapture++;
            m_captures[id] = std::move(c);
            ++m_opens;
            return OpenResult::opened(BOARD_KIND_VIDEO, fd, boardEnd, id);
        }

        MmapResult mmap(Node& node, uint64_t offset, uint64_t length) override
        {
            if (node.kind == BOARD_KIND_MEM) {
                // Only the controller's window exists at this address on the board.
                if (offset != kRegBase || length == 0 || length > kRegSize)
                    return MmapResult::fail(EINVAL);
                ++m_regMaps;
                return MmapResult::map(fcntl(m_regFd, F_DUPFD_CLOEXEC, 0), 0);
            }
            Capture* c = capture(node);
            if (!c)
                return MmapResult::fail(ENODEV);
            std::lock_guard<std::mutex> g(c->lock);
            if (c->count == 0 || c->stride == 0 || offset % c->stride != 0 || offset / c->stride >= c->count
                || length == 0 || length > c->stride)
                return MmapResult::fail(EINVAL);
            return MmapResult::map(fcntl(c->memFd, F_DUPFD_CLOEXEC, 0), offset);
        }

        IoctlResult ioctl(Node& node, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            Capture* c = capture(node);
            if (!c || _IOC_TYPE(request) != 'V')
                return IoctlResult::fail(ENOTTY);
            const size_t size = _IOC_SIZE(request);
            std::lock_guard<std::mutex> g(c->lock);
            switch (_IOC_NR(request)) {
            case S_FMT:
                return setFormat(*c, node.arch, size, in);
            case REQBUFS:
                return requestBuffers(*c, size, in);
            case QUERYBUF:
            case QBUF:
            case DQBUF:
                return bufferRequest(*c, node.arch, _IOC_NR(request), size, in);
            case STREAMON:
            case STREAMOFF:
                return stream(*c, _IOC_NR(request) == STREAMON, in);
            default:
                return IoctlResult::fail(ENOTTY);
            }
        }

        void closed(Node& node) override
        {
            auto it = m_captures.find(node.device);
            if (it == m_captures.end())
                return;
            stopClock(*it->second);
            noteCapture(*it->second);
            m_captures.erase(it);
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            std::ostringstream j;
            j << "{\"present\": " << (m_s.present ? "true" : "false") << ", \"sensor\": \""
              << (m_s.semiPlanar ? "ccir656" : "yuyv") << "\", \"rate\": " << m_s.rate
              << ", \"opens\": " << m_opens << ", \"open_attempts\": " << m_openAttempts;
            Capture* c = m_captures.empty() ? nullptr : m_captures.rbegin()->second.get();
            if (c) {
                std::lock_guard<std::mutex> g(c->lock);
                m_last.width = c->width;
                m_last.height = c->height;
                m_last.count = c->count;
                m_last.streaming = c->streaming;
            }
            j << ", \"width\": " << m_last.width << ", \"height\": " << m_last.height << ", \"layout\": \""
              << (m_s.semiPlanar ? "semi-planar" : "packed") << "\""
              << ", \"buffers\": " << m_last.count
              << ", \"streaming\": " << (m_last.streaming ? "true" : "false")
              << ", \"frames\": " << m_framesMade.load() << ", \"dequeued\": " << m_dequeued.load()
              << ", \"last_dequeued\": " << m_lastDequeued.load() << "}";
            members.emplace_back("camera", j.str());

            std::ostringstream r;
            r << "{\"base\": \"0xd8110000\", \"size\": " << kRegSize << ", \"maps\": " << m_regMaps
              << ", \"set\": {";
            bool first = true;
            char text[32];
            for (size_t i = 0; m_regs && i < kRegSize; ++i) {
                if (!m_regs[i])
                    continue;
                snprintf(text, sizeof text, "\"0x%03zx\": %u", i, m_regs[i]);
                r << (first ? "" : ", ") << text;
                first = false;
            }
            r << "}}";
            members.emplace_back("camera_registers", r.str());
        }

    private:
        Capture* capture(Node& node)
        {
            auto it = m_captures.find(node.device);
            return node.kind == BOARD_KIND_VIDEO && it != m_captures.end() ? it->second.get() : nullptr;
        }

        // struct v4l2_format: the type, then the union 8-aligned on x86_64 (208 bytes), 4 on armhf (204).
        IoctlResult setFormat(Capture& c, Arch arch, size_t size, const std::vector<uint8_t>& in)
        {
            const size_t expected = arch == Arch::X86_64 ? 208 : 204;
            if (size != expected || in.size() < size)
                return IoctlResult::fail(EINVAL);
            const size_t pix = arch == Arch::X86_64 ? 8 : 4;
            if (get32(in, 0) != kCapture)
                return IoctlResult::fail(EINVAL);
            if (c.count)
                return IoctlResult::fail(EBUSY);
            // The sensor scales to any even width and any height up to its 640x480... and a little beyond.
            unsigned w = std::clamp<uint32_t>(get32(in, pix), 16, 2048) & ~1u;
            unsigned h = std::clamp<uint32_t>(get32(in, pix + 4), 16, 2048);
            c.width = w;
            c.height = h;
            c.frameBytes = static_cast<size_t>(w) * h * 2;
            std::vector<uint8_t> out(in.begin(), in.begin() + static_cast<long>(size));
            put32(out, pix, w);
            put32(out, pix + 4, h);
            // The driver names what it delivers: the CCIR 656 sensor's frames are semi-planar.
            put32(out, pix + 8, m_s.semiPlanar ? kNv16 : kYuyv);
            put32(out, pix + 12, kFieldNone);
            put32(out, pix + 16, m_s.semiPlanar ? w : w * 2);
            put32(out, pix + 20, static_cast<uint32_t>(c.frameBytes));
            put32(out, pix + 24, kColorspaceSmpte170m);
            return { 0, 0, out };
        }

        // struct v4l2_requestbuffers (20 bytes everywhere): count, type, memory, capabilities, flags.
        IoctlResult requestBuffers(Capture& c, size_t size, const std::vector<uint8_t>& in)
        {
            if (size != 20 || in.size() < 20)
                return IoctlResult::fail(EINVAL);
            if (get32(in, 4) != kCapture || get32(in, 8) != kMemoryMmap)
                return IoctlResult::fail(EINVAL);
            if (c.streaming)
                return IoctlResult::fail(EBUSY);
            const uint32_t asked = get32(in, 0);
            c.release();
            const unsigned granted = std::min<uint32_t>(asked, static_cast<uint32_t>(m_s.buffers));
            if (granted > 0) {
                c.stride = (c.frameBytes + kPage - 1) / kPage * kPage;
                c.memFd = memfd_create("uishull-board-video0", MFD_CLOEXEC);
                if (c.memFd < 0 || ftruncate(c.memFd, static_cast<off_t>(c.stride * granted)) != 0)
                    return c.release(), IoctlResult::fail(ENOMEM);
                void* map
                    = ::mmap(nullptr, c.stride * granted, PROT_READ | PROT_WRITE, MAP_SHARED, c.memFd, 0);
                if (map == MAP_FAILED)
                    return c.release(), IoctlResult::fail(ENOMEM);
                c.mem = static_cast<uint8_t*>(map);
                c.count = granted;
                c.isQueued.assign(granted, false);
            }
            std::vector<uint8_t> out(in.begin(), in.begin() + 20);
            put32(out, 0, c.count);
            put32(out, 12, kCapSupportsMmap);
            return { 0, 0, out };
        }

        IoctlResult bufferRequest(
            Capture& c, Arch arch, unsigned nr, size_t size, const std::vector<uint8_t>& in)
        {
            BufferLayout l;
            if (!bufferLayout(size, l) || in.size() < size || (arch == Arch::X86_64) != (size == 88))
                return IoctlResult::fail(EINVAL);
            if (get32(in, 4) != kCapture || get32(in, l.memory) != kMemoryMmap)
                return IoctlResult::fail(EINVAL);
            std::vector<uint8_t> out(in.begin(), in.begin() + static_cast<long>(size));
            unsigned index = get32(in, 0);
            uint32_t sequence = 0;
            int64_t timeUs = 0;
            uint32_t flags = kFlagMapped | kFlagTimestampMonotonic;
            if (nr == DQBUF) {
                if (!c.streaming || c.done.empty())
                    return IoctlResult::fail(EAGAIN);
                const Capture::Done d = c.done.front();
                c.done.pop_front();
                index = d.index;
                sequence = d.sequence;
                timeUs = d.timeUs;
                flags |= kFlagDone;
                c.isQueued[index] = false;
                ++m_dequeued;
                m_lastDequeued = static_cast<long>(sequence);
            } else if (index >= c.count) {
                return IoctlResult::fail(EINVAL);
            } else if (nr == QBUF) {
                if (c.isQueued[index])
                    return IoctlResult::fail(EINVAL);
                c.isQueued[index] = true;
                c.queued.push_back(index);
                flags |= kFlagQueued;
            } else if (c.isQueued[index]) {
                flags |= kFlagQueued;
            }
            put32(out, 0, index);
            put32(out, 8, nr == DQBUF ? static_cast<uint32_t>(c.frameBytes) : 0); // bytesused
            put32(out, 12, flags);
            put32(out, 16, kFieldNone);
            if (l.timeField == 8) {
                put64(out, l.timestamp, static_cast<uint64_t>(timeUs / 1000000));
                put64(out, l.timestamp + 8, static_cast<uint64_t>(timeUs % 1000000));
            } else {
                put32(out, l.timestamp, static_cast<uint32_t>(timeUs / 1000000));
                put32(out, l.timestamp + 4, static_cast<uint32_t>(timeUs % 1000000));
            }
            put32(out, l.sequence, sequence);
            put32(out, l.m, static_cast<uint32_t>(index * c.stride));
            put32(out, l.length, static_cast<uint32_t>(c.frameBytes));
            return { 0, 0, out };
        }

        IoctlResult stream(Capture& c, bool on, const std::vector<uint8_t>& in)
        {
            if (in.size() < 4 || get32(in, 0) != kCapture)
                return IoctlResult::fail(EINVAL);
            if (on) {
                if (c.count == 0)
                    return IoctlResult::fail(EINVAL);
                c.streaming = true;
                if (!c.clock.joinable())
                    c.clock = std::thread([this, &c] { runClock(c); });
            } else {
                // Every buffer returns to the program, filled or not.
                c.streaming = false;
                c.queued.clear();
                c.done.clear();
                std::fill(c.isQueued.begin(), c.isQueued.end(), false);
            }
            c.wake.notify_all();
            return { 0, 0, {} };
        }

        // The sensor: a frame into the oldest queued buffer every period while streaming.
        void runClock(Capture& c)
        {
            const auto period = std::chrono::microseconds(1000000 / m_s.rate);
            auto next = std::chrono::steady_clock::now() + period;
            std::unique_lock<std::mutex> g(c.lock);
            while (!c.stop) {
                if (c.wake.wait_until(g, next) != std::cv_status::timeout)
                    continue;
                next += period;
                if (!c.streaming || c.queued.empty())
                    continue;
                if (m_s.frames >= 0 && m_framesMade.load() >= m_s.frames)
                    continue;
                const unsigned index = c.queued.front();
                c.queued.pop_front();
                const uint32_t sequence = static_cast<uint32_t>(m_framesMade++);
                cameraTestFrame(c.mem + index * c.stride, c.width, c.height, m_s.semiPlanar, sequence);
                c.done.push_back({ index, sequence, monotonicUs() });
                const char packet = 'f';
                send(c.signalFd, &packet, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
            }
        }

        void stopClock(Capture& c)
        {
            {
                std::lock_guard<std::mutex> g(c.lock);
                c.stop = true;
            }
            c.wake.notify_all();
            if (c.clock.joinable())
                c.clock.join();
            std::lock_guard<std::mutex> g(c.lock);
            if (c.signalFd >= 0)
                close(c.signalFd);
            c.signalFd = -1;
            c.release();
        }

        void noteCapture(Capture& c)
        {
            m_last.width = c.width;
            m_last.height = c.height;
            m_last.count = 0;
            m_last.streaming = false;
        }

    public:
        static bool apply(const std::string& key, const std::string& value, Settings& s)
        {
            int n = 0;
            if (key == "present")
                return scenarioBool(value, s.present);
            if (key == "sensor") {
                if (value != "yuyv" && value != "ccir656")
                    return false;
                s.semiPlanar = value == "ccir656";
                return true;
            }
            if (key == "buffers")
                return scenarioInt(value, 1, 32, s.buffers);
            if (key == "rate")
                return scenarioInt(value, 1, 120, s.rate);
            if (key == "frames") {
                if (value == "unlimited") {
                    s.frames = -1;
                    return true;
                }
                if (!scenarioInt(value, 0, 1000000, n))
                    return false;
                s.frames = n;
                return true;
            }
            if (key == "appear_after")
                return scenarioInt(value, 0, 60, s.appearAfter);
            return false;
        }

    private:
        Settings m_s;
        int m_regFd { -1 };
        uint8_t* m_regs { nullptr };
        int m_regMaps { 0 };
        std::map<int, std::unique_ptr<Capture>> m_captures;
        int m_nextCapture { 1 };
        int m_opens { 0 };
        int m_openAttempts { 0 };
        int64_t m_firstLook { -1 };
        std::atomic<long> m_framesMade { 0 };
        std::atomic<long> m_dequeued { 0 };
        std::atomic<long> m_lastDequeued { -1 };
        struct {
            unsigned width { 0 }, height { 0 }, count { 0 };
            bool streaming { false };
        } m_last;
    };

    bool parseCamera(const std::string&, const std::string& key, const std::string& value, const std::string&,
        Scenario& s, std::string& error)
    {
        static const char* const keys[]
            = { "present", "sensor", "buffers", "rate", "frames", "appear_after" };
        if (std::find_if(std::begin(keys), std::end(keys), [&](const char* k) { return key == k; })
            == std::end(keys)) {
            error = "unknown key \"" + key
                + "\" in [camera] (present, sensor, buffers, rate, frames, appear_after)";
            return false;
        }
        Settings check;
        if (!CameraModel::apply(key, value, check)) {
            if (key == "present")
                error = "present is yes or no";
            else if (key == "sensor")
                error = "sensor is yuyv or ccir656";
            else if (key == "buffers")
                error = "buffers is 1 to 32";
            else if (key == "rate")
                error = "rate is 1 to 120 frames a second";
            else if (key == "frames")
                error = "frames is a number from 0 to 1000000, or unlimited";
            else
                error = "appear_after is 0 to 60 seconds";
            return false;
        }
        s.settings[kSection][key] = value;
        return true;
    }

}

extern const ModelType kCameraModel = { "camera", { kSection }, parseCamera, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<CameraModel>(board);
    } };

}
