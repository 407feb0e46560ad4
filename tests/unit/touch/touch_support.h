#pragma once
// Shared pieces of the touch tests: a resistive panel with its own true
// mapping from the screen to raw coordinates, a driver in front of it that
// answers the calibration requests the way the touch driver does, and a
// toolkit fixture whose touch device and calibration file live in the test's
// own directory.

#include "touch/calibrate.h"
#include "touch/multitouchscreen.h"
#include "touch/tsdevice.h"

#include <lumi/lumi.h>

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace touchtest {

// A panel's true mapping: raw = offset + scale * R(angle) * screen, plus
// noise of a few raw units on each reading.
struct Panel {
    double scaleX { 4.8 };
    double scaleY { 7.9 };
    double offsetX { 150 };
    double offsetY { 200 };
    double angle { 0 }; // radians
    int noise { 0 }; // raw units, uniform in [-noise, noise]
    std::mt19937 rng { 1 };

    int jitter()
    {
        if (noise <= 0)
            return 0;
        return std::uniform_int_distribution<int>(-noise, noise)(rng);
    }
    void toRaw(int sx, int sy, int& rx, int& ry)
    {
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const double x = scaleX * (c * sx - s * sy) + offsetX;
        const double y = scaleY * (s * sx + c * sy) + offsetY;
        rx = static_cast<int>(std::lround(x)) + jitter();
        ry = static_cast<int>(std::lround(y)) + jitter();
    }

    // A panel drawn from the range of real resistive panels on this screen:
    // a 12-bit converter spanning most of the glass (raw 75 to 3960), either axis possibly
    // reversed, mounted up to two degrees off.
    static Panel random(std::mt19937& rng, int noise)
    {
        std::uniform_real_distribution<double> scaleX(3.4, 4.4);
        std::uniform_real_distribution<double> scaleY(5.6, 7.2);
        std::uniform_real_distribution<double> offset(150, 300);
        std::uniform_real_distribution<double> angle(-0.035, 0.035);
        std::bernoulli_distribution flip(0.25);
        Panel p;
        p.scaleX = scaleX(rng);
        p.scaleY = scaleY(rng);
        p.offsetX = offset(rng);
        p.offsetY = offset(rng);
        if (flip(rng)) {
            p.scaleX = -p.scaleX;
            p.offsetX = 4000 - p.offsetX;
        }
        if (flip(rng)) {
            p.scaleY = -p.scaleY;
            p.offsetY = 4000 - p.offsetY;
        }
        p.angle = angle(rng);
        p.noise = noise;
        p.rng.seed(rng());
        return p;
    }
};

// What a driver reports for a raw point under a coefficient set: the
// solver's formula (quarter pixels, 32-bit arithmetic, negative results
// reported as 0), then whole pixels.
inline void applyCoefficients(const int* c, int rawX, int rawY, int& x, int& y)
{
    auto axis = [](int a, int b, int off, int delta, int X, int Y) {
        const uint32_t sum = static_cast<uint32_t>(a) * static_cast<uint32_t>(X)
            + static_cast<uint32_t>(b) * static_cast<uint32_t>(Y) + static_cast<uint32_t>(off);
        const int32_t quarters = static_cast<int32_t>(sum << 2);
        const int32_t v = delta ? static_cast<int32_t>(int64_t { quarters } / delta) : quarters;
        return v < 0 ? 0 : v;
    };
    x = axis(c[kCoeffA1], c[kCoeffB1], c[kCoeffC1], c[kCoeffDelta], rawX, rawY) / 4;
    y = axis(c[kCoeffA2], c[kCoeffB2], c[kCoeffC2], c[kCoeffDelta], rawX, rawY) / 4;
}

// The touch driver in front of one panel: raw mode after CAL_START, the
// installed coefficients after CAL_DONE, the latest raw point for RAWDATA.
struct FakeDriver {
    Panel panel;
    bool rawMode { false };
    int coeffs[kCalibrationCoefficientCount] { 1, 0, 0, 0, 1, 0, 1 };
    int rawX { 0 };
    int rawY { 0 };
    int calStarts { 0 };
    int calDones { 0 };
    int rawReads { 0 };
    bool refuseRawData { false };
    bool refuseAll { false };
    std::vector<std::vector<int>> installed; // every CAL_DONE, in order

    // The operator touches screen (x, y): the panel measures it.
    void touch(int x, int y) { panel.toRaw(x, y, rawX, rawY); }
    // Where the driver reports a touch at screen (x, y) once calibrated.
    void reported(int x, int y, int& outX, int& outY)
    {
        int rx, ry;
        panel.toRaw(x, y, rx, ry);
        applyCoefficients(coeffs, rx, ry, outX, outY);
    }
};

inline FakeDriver*& driver()
{
    static FakeDriver* d = nullptr;
    return d;
}

inline int fakeIoctl(int, unsigned long request, int* arg)
{
    FakeDriver* d = driver();
    if (!d || d->refuseAll) {
        errno = ENOTTY;
        return -1;
    }
    switch (request) {
    case TS_CAL_START:
        d->rawMode = true;
        ++d->calStarts;
        return 0;
    case TS_CAL_DONE:
        memcpy(d->coeffs, arg, sizeof d->coeffs);
        d->installed.emplace_back(arg, arg + kCalibrationCoefficientCount);
        d->rawMode = false;
        ++d->calDones;
        return 0;
    case TS_RAWDATA:
        ++d->rawReads;
        if (d->refuseRawData) {
            errno = EIO;
            return -1;
        }
        arg[0] = d->rawX;
        arg[1] = d->rawY;
        return 0;
    default:
        errno = ENOTTY;
        return -1;
    }
}

// Points the device requests at a file of dir answered by driver, and the
// calibration file at dir (the working directory), for the life of the
// object.
class DeviceScope {
public:
    DeviceScope(const std::string& dir, FakeDriver* d)
        : m_device(dir + "/ts_lumi")
    {
        char buf[4096];
        if (getcwd(buf, sizeof buf))
            m_previousDir = buf;
        m_chdirOk = chdir(dir.c_str()) == 0;
        FILE* f = fopen(m_device.c_str(), "w");
        if (f)
            fclose(f);
        setTsDevicePath(m_device.c_str());
        m_previousIoctl = setTsIoctl(fakeIoctl);
        driver() = d;
    }
    ~DeviceScope()
    {
        driver() = nullptr;
        setTsIoctl(m_previousIoctl);
        setTsDevicePath(nullptr);
        if (!m_previousDir.empty() && chdir(m_previousDir.c_str()) != 0)
            perror("chdir back");
    }
    bool ok() const { return m_chdirOk; }
    const std::string& device() const { return m_device; }

private:
    std::string m_device;
    std::string m_previousDir;
    bool m_chdirOk { false };
    TsIoctl m_previousIoctl { nullptr };
};

// The pointer messages that reach the application, before delivery.
struct PointerEvent {
    int x;
    int y;
    unsigned flags;
    bool targeted;
};

class RecordingApp : public GuiApp {
public:
    int filterMsg(LUMIMessage& msg) override
    {
        if (msg.id == MSG_MOUSE)
            pointer.push_back({ msg.param1, static_cast<int>(msg.extra), static_cast<unsigned>(msg.param2),
                msg.target != nullptr });
        return 0;
    }
    std::vector<PointerEvent> pointer;
};

// An 8-byte sample as the touch device delivers it.
inline std::vector<unsigned char> sample(int pressure, int x, int y)
{
    return { static_cast<unsigned char>(pressure & 0xFF), static_cast<unsigned char>((pressure >> 8) & 0xFF),
        static_cast<unsigned char>(x & 0xFF), static_cast<unsigned char>((x >> 8) & 0xFF),
        static_cast<unsigned char>(y & 0xFF), static_cast<unsigned char>((y >> 8) & 0xFF), 0xAA, 0x55 };
}

inline std::vector<unsigned char> samples(std::initializer_list<std::vector<unsigned char>> list)
{
    std::vector<unsigned char> out;
    for (const auto& s : list)
        out.insert(out.end(), s.begin(), s.end());
    return out;
}

}
