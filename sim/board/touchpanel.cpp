#include "touchpanel.h"

#include "device_model.h"
#include "memfile.h"

#include "../preload/board_protocol.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace board {

namespace {

    // A finger's pressure: rising over the first samples, held with a
    // little wobble, falling over the last ones (the driver's pen-down
    // threshold is crossed on the way up and on the way down).
    constexpr int kRise[] = { 140, 320, 520 };
    constexpr int kHeld = 600;
    constexpr int kFall[] = { 330, 150 };

    void putWord(std::vector<uint8_t>& out, int v)
    {
        out.push_back(static_cast<uint8_t>(v & 0xFF));
        out.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
    }

    // The program's solver formula: quarter pixels in 32-bit arithmetic,
    // negative results as 0, then whole pixels.
    int applyAxis(int32_t a, int32_t b, int32_t c, int32_t delta, int x, int y)
    {
        const uint32_t sum = static_cast<uint32_t>(a) * static_cast<uint32_t>(x)
            + static_cast<uint32_t>(b) * static_cast<uint32_t>(y) + static_cast<uint32_t>(c);
        const int32_t quarters = static_cast<int32_t>(sum << 2);
        const int32_t v = delta ? static_cast<int32_t>(int64_t { quarters } / delta) : quarters;
        return (v < 0 ? 0 : v) / 4;
    }

    int32_t readInt(const std::vector<uint8_t>& in, size_t i)
    {
        return static_cast<int32_t>(static_cast<uint32_t>(in[4 * i])
            | static_cast<uint32_t>(in[4 * i + 1]) << 8 | static_cast<uint32_t>(in[4 * i + 2]) << 16
            | static_cast<uint32_t>(in[4 * i + 3]) << 24);
    }

    void putInt(std::vector<uint8_t>& out, size_t i, int32_t v)
    {
        for (int b = 0; b < 4; ++b)
            out[4 * i + static_cast<size_t>(b)] = static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * b));
    }

}

TouchPanel::TouchPanel(const PanelSettings& settings, int screenWidth, int screenHeight)
    : m_s(settings)
    , m_width(screenWidth)
    , m_height(screenHeight)
    , m_rng(settings.seed)
{
    if (m_s.rate < 10)
        m_s.rate = 10;
    if (m_s.calibrated)
        factoryCoefficients(m_coeffs);
}

void TouchPanel::factoryCoefficients(int32_t out[7]) const
{
    // raw = O + D R p with D = diag(scaleX, scaleY), so p = R^T D^-1 (raw - O);
    // in the solver's scaling, with half a pixel added for its rounding.
    const double r = m_s.rotation * M_PI / 180.0;
    const double c = std::cos(r), s = std::sin(r);
    const double m00 = c / m_s.scaleX, m01 = s / m_s.scaleY;
    const double m10 = -s / m_s.scaleX, m11 = c / m_s.scaleY;
    const double delta = 65536.0;
    out[0] = static_cast<int32_t>(std::lround(m00 * delta));
    out[1] = static_cast<int32_t>(std::lround(m01 * delta));
    out[2] = static_cast<int32_t>(std::lround((-m00 * m_s.offsetX - m01 * m_s.offsetY + 0.5) * delta));
    out[3] = static_cast<int32_t>(std::lround(m10 * delta));
    out[4] = static_cast<int32_t>(std::lround(m11 * delta));
    out[5] = static_cast<int32_t>(std::lround((-m10 * m_s.offsetX - m11 * m_s.offsetY + 0.5) * delta));
    out[6] = static_cast<int32_t>(delta);
}

void TouchPanel::trueRaw(double x, double y, double& rx, double& ry) const
{
    const double r = m_s.rotation * M_PI / 180.0;
    const double c = std::cos(r), s = std::sin(r);
    rx = m_s.offsetX + m_s.scaleX * (c * x - s * y);
    ry = m_s.offsetY + m_s.scaleY * (s * x + c * y);
}

bool TouchPanel::dead(int x, int y) const
{
    return m_s.deadRight > m_s.deadLeft && m_s.deadBottom > m_s.deadTop && x >= m_s.deadLeft
        && x < m_s.deadRight && y >= m_s.deadTop && y < m_s.deadBottom;
}

int TouchPanel::request(
    uint32_t number, const std::vector<uint8_t>& in, std::vector<uint8_t>& out, int& error)
{
    out.clear();
    switch (number) {
    case kCalStart:
        m_raw = true;
        return 0;
    case kCalDone:
        if (in.size() < 28) {
            error = EFAULT;
            return -1;
        }
        for (size_t i = 0; i < 7; ++i)
            m_coeffs[i] = readInt(in, i);
        m_raw = false;
        return 0;
    case kRawData:
        out = in;
        out.resize(28, 0);
        putInt(out, 0, m_rawX);
        putInt(out, 1, m_rawY);
        return 0;
    default:
        error = ENOTTY;
        return -1;
    }
}

void TouchPanel::enqueue(const std::vector<Step>& steps)
{
    if (m_next >= m_queue.size()) {
        m_queue.clear();
        m_next = 0;
    }
    m_queue.insert(m_queue.end(), steps.begin(), steps.end());
}

void TouchPanel::touch(int x, int y, int holdMs)
{
    swipe(x, y, x, y, holdMs);
}

void TouchPanel::swipe(int x1, int y1, int x2, int y2, int ms)
{
    const int period = 1000 / m_s.rate;
    const int count = std::max(1, ms / period);
    std::vector<Step> steps;
    const int rise = static_cast<int>(sizeof kRise / sizeof kRise[0]);
    const int fall = static_cast<int>(sizeof kFall / sizeof kFall[0]);
    for (int i = 0; i <= count; ++i) {
        const double t = count ? static_cast<double>(i) / count : 0;
        const int x = static_cast<int>(std::lround(x1 + (x2 - x1) * t));
        const int y = static_cast<int>(std::lround(y1 + (y2 - y1) * t));
        int p = kHeld + (i % 3) * 10 - 10;
        if (i < rise)
            p = kRise[i];
        else if (i >= count + 1 - fall)
            p = kFall[i - (count + 1 - fall)];
        steps.push_back({ x, y, p });
    }
    steps.push_back({ x2, y2, 0 });
    enqueue(steps);
}

std::vector<uint8_t> TouchPanel::sampleFor(const Step& s)
{
    std::vector<uint8_t> out;
    int rx = 0, ry = 0, pressure = s.pressure;
    if (pressure > 0 && !dead(s.x, s.y)) {
        double fx, fy;
        trueRaw(s.x, s.y, fx, fy);
        std::uniform_int_distribution<int> noise(-m_s.noise, m_s.noise);
        rx = static_cast<int>(std::lround(fx)) + (m_s.noise > 0 ? noise(m_rng) : 0);
        ry = static_cast<int>(std::lround(fy)) + (m_s.noise > 0 ? noise(m_rng) : 0);
        rx = std::min(std::max(rx, 0), 4095);
        ry = std::min(std::max(ry, 0), 4095);
        m_rawX = rx;
        m_rawY = ry;
        m_penDownSent = true;
    } else if (pressure > 0) {
        return out; // a dead spot measures nothing
    } else if (!m_penDownSent) {
        return out; // no pen-up for a touch the panel never felt
    } else {
        m_penDownSent = false;
    }
    int x = rx, y = ry;
    if (pressure == 0) {
        // Pen up: the last position, as drivers report it.
        x = m_raw ? m_rawX : applyAxis(m_coeffs[0], m_coeffs[1], m_coeffs[2], m_coeffs[6], m_rawX, m_rawY);
        y = m_raw ? m_rawY : applyAxis(m_coeffs[3], m_coeffs[4], m_coeffs[5], m_coeffs[6], m_rawX, m_rawY);
    } else if (!m_raw) {
        x = applyAxis(m_coeffs[0], m_coeffs[1], m_coeffs[2], m_coeffs[6], rx, ry);
        y = applyAxis(m_coeffs[3], m_coeffs[4], m_coeffs[5], m_coeffs[6], rx, ry);
    }
    putWord(out, pressure);
    putWord(out, std::min(std::max(x, 0), 0xFFFF));
    putWord(out, std::min(std::max(y, 0), 0xFFFF));
    putWord(out, 0);
    return out;
}

std::vector<std::vector<uint8_t>> TouchPanel::due(int64_t nowMs)
{
    std::vector<std::vector<uint8_t>> out;
    const int period = 1000 / m_s.rate;
    if (m_next < m_queue.size() && m_nextAt < 0)
        m_nextAt = nowMs;
    while (m_next < m_queue.size() && m_nextAt <= nowMs) {
        auto s = sampleFor(m_queue[m_next++]);
        if (!s.empty()) {
            out.push_back(std::move(s));
            ++m_sent;
        }
        m_nextAt += period;
    }
    if (m_next >= m_queue.size())
        m_nextAt = -1;
    return out;
}

int64_t TouchPanel::nextDue() const
{
    if (m_next >= m_queue.size())
        return -1;
    return m_nextAt < 0 ? 0 : m_nextAt; // queued and not started: due now
}

std::string TouchPanel::stateJson() const
{
    std::ostringstream o;
    o << "{\"mode\": \"" << (m_raw ? "raw" : "calibrated") << "\", \"coefficients\": [";
    for (int i = 0; i < 7; ++i)
        o << (i ? ", " : "") << m_coeffs[i];
    o << "], \"raw\": [" << m_rawX << ", " << m_rawY << "], \"samples\": " << m_sent << "}";
    return o.str();
}

namespace {

    constexpr const char* kNode = "/dev/ts_lumi";
    constexpr const char* kSection = "touchpanel";

    int64_t nowMs()
    {
        timespec ts {};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
    }

    bool parseReal(const std::string& text, double min, double max, double& out)
    {
        if (text.empty())
            return false;
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (!end || *end != '\0' || !(v >= min && v <= max))
            return false;
        out = v;
        return true;
    }

    // Reads one key of [touchpanel] into settings; false with error.
    bool applyKey(
        const std::string& key, const std::string& value, PanelSettings& p, bool& present, std::string& error)
    {
        int n = 0;
        if (key == "present") {
            if (!scenarioBool(value, present)) {
                error = "present is yes or no";
                return false;
            }
        } else if (key == "calibrated") {
            if (!scenarioBool(value, p.calibrated)) {
                error = "calibrated is yes or no";
                return false;
            }
        } else if (key == "scale.x" || key == "scale.y") {
            double v = 0;
            // Raw units per pixel, either direction (a reversed axis is negative).
            if (!parseReal(value, -64, 64, v) || std::fabs(v) < 0.05) {
                error = key + " is a number of raw units per pixel, 0.05 to 64 either way";
                return false;
            }
            (key == "scale.x" ? p.scaleX : p.scaleY) = v;
        } else if (key == "offset.x" || key == "offset.y") {
            double v = 0;
            if (!parseReal(value, -65536, 65536, v)) {
                error = key + " is a raw value from -65536 to 65536";
                return false;
            }
            (key == "offset.x" ? p.offsetX : p.offsetY) = v;
        } else if (key == "rotation") {
            if (!parseReal(value, -45, 45, p.rotation)) {
                error = "rotation is in degrees, -45 to 45";
                return false;
            }
        } else if (key == "noise") {
            if (!scenarioInt(value, 0, 2000, n)) {
                error = "noise is 0 to 2000 raw units";
                return false;
            }
            p.noise = n;
        } else if (key == "rate") {
            if (!scenarioInt(value, 10, 1000, n)) {
                error = "rate is 10 to 1000 samples a second";
                return false;
            }
            p.rate = n;
        } else if (key == "seed") {
            if (!scenarioInt(value, 0, 2147483647, n)) {
                error = "seed is a whole number";
                return false;
            }
            p.seed = static_cast<uint32_t>(n);
        } else if (key == "dead") {
            std::istringstream words(value);
            int v[4];
            std::string w[4], extra;
            for (auto& word : w)
                words >> word;
            words >> extra;
            for (int i = 0; i < 4; ++i) {
                if (!scenarioInt(w[i], 0, 65535, v[i]) || !extra.empty()) {
                    error = "dead is LEFT TOP RIGHT BOTTOM in screen pixels";
                    return false;
                }
            }
            p.deadLeft = v[0];
            p.deadTop = v[1];
            p.deadRight = v[2];
            p.deadBottom = v[3];
        } else {
            error = "unknown key \"" + key + "\" in [touchpanel]";
            return false;
        }
        return true;
    }

    bool parseTouchPanel(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        PanelSettings p;
        bool present = true;
        if (!applyKey(key, value, p, present, error))
            return false;
        s.settings[kSection][key] = value;
        return true;
    }

    class TouchPanelModel : public DeviceModel {
    public:
        using DeviceModel::DeviceModel;

        bool start(std::string& error) override
        {
            const Scenario& s = m_board.scenario();
            PanelSettings p;
            bool present = true;
            auto section = s.settings.find(kSection);
            if (section != s.settings.end()) {
                for (const auto& kv : section->second) {
                    if (!applyKey(kv.first, kv.second, p, present, error))
                        return false;
                }
            }
            if (present)
                m_panel = std::make_unique<TouchPanel>(p, s.width, s.height);
            return true;
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != kNode || !m_panel)
                return {};
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) != 0)
                return OpenResult::failed(errno);
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            return OpenResult::opened(BOARD_KIND_TOUCH, sv[1], sv[0], 0);
        }

        IoctlResult ioctl(Node&, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            if (!m_panel)
                return IoctlResult::fail(ENODEV);
            IoctlResult r;
            r.result = m_panel->request(request, in, r.out, r.error);
            if (r.result < 0)
                r.out.clear();
            return r;
        }

        std::vector<ControlCommand> controlCommands() override
        {
            return {
                { "touch", "touch X Y [MS]: a press on the touch panel held MS milliseconds (150)",
                    [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                        return touch(w);
                    } },
                { "swipe", "swipe X1 Y1 X2 Y2 [MS]: a stroke on the touch panel taking MS milliseconds (300)",
                    [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                        return swipe(w);
                    } },
            };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            if (m_panel)
                members.emplace_back("touchpanel", m_panel->stateJson());
        }

    private:
        std::optional<std::string> touch(const std::vector<std::string>& w)
        {
            long x, y, ms = 150;
            const Scenario& s = m_board.scenario();
            if (w.size() < 3 || w.size() > 4 || !parseNumber(w[1], 0, s.width - 1, x)
                || !parseNumber(w[2], 0, s.height - 1, y)
                || (w.size() == 4 && !parseNumber(w[3], 1, 10000, ms)))
                return std::string("error: touch X Y [MS]: a point of the screen, 1 to 10000 ms");
            if (!m_panel)
                return std::string("error: this board has no touch panel");
            m_panel->touch(static_cast<int>(x), static_cast<int>(y), static_cast<int>(ms));
            play();
            return std::string("touched");
        }

        std::optional<std::string> swipe(const std::vector<std::string>& w)
        {
            long x1, y1, x2, y2, ms = 300;
            const Scenario& s = m_board.scenario();
            if (w.size() < 5 || w.size() > 6 || !parseNumber(w[1], 0, s.width - 1, x1)
                || !parseNumber(w[2], 0, s.height - 1, y1) || !parseNumber(w[3], 0, s.width - 1, x2)
                || !parseNumber(w[4], 0, s.height - 1, y2)
                || (w.size() == 6 && !parseNumber(w[5], 1, 10000, ms)))
                return std::string("error: swipe X1 Y1 X2 Y2 [MS]: points of the screen, 1 to 10000 ms");
            if (!m_panel)
                return std::string("error: this board has no touch panel");
            m_panel->swipe(static_cast<int>(x1), static_cast<int>(y1), static_cast<int>(x2),
                static_cast<int>(y2), static_cast<int>(ms));
            play();
            return std::string("swiped");
        }

        // Streams the queued samples at the panel's rate to every descriptor
        // the program holds on the node. The controller waits meanwhile: the
        // program asks the driver nothing while a finger is down.
        void play()
        {
            for (;;) {
                const int64_t now = nowMs();
                for (const auto& sample : m_panel->due(now)) {
                    // A reader that does not keep up loses samples, as with a
                    // full driver queue.
                    for (Node* n : m_board.nodesOf(this))
                        send(n->boardFd, sample.data(), sample.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
                }
                const int64_t next = m_panel->nextDue();
                if (next < 0)
                    return;
                if (next > now)
                    usleep(static_cast<useconds_t>((next - now) * 1000));
            }
        }

        std::unique_ptr<TouchPanel> m_panel;
    };

}

extern const ModelType kTouchPanelModel = { "touchpanel", { kSection }, parseTouchPanel, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<TouchPanelModel>(board);
    } };

}
