#pragma once
// The resistive touch panel behind /dev/ts_lumi and its driver (the device
// model's logic, without the board around it).
//
// The panel measures a touch at screen (x, y) through its own true mapping
// (an affine map with scale, offset and a small rotation, as the glass sits
// on the display) plus noise of a few raw units; a dead region measures
// nothing, not even the pen-up of a touch that fell wholly inside it (the
// controller never saw the pen go down). While pressed the driver streams 8-byte samples (pressure, x, y,
// unused; 16-bit little-endian) at the panel's rate, the pressure rising,
// held and falling as a finger's does, and ends with a pen-up sample. In raw
// mode (after CAL_START) the samples carry raw coordinates; otherwise the
// driver applies its coefficients with the fixed-point formula of the
// program's solver: pixel = (4 * (a * X + b * Y + c) / delta) / 4, negative
// results as 0. RAWDATA returns the latest raw point.

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace board {

struct PanelSettings {
    double scaleX { 4.3 }; // raw units per pixel
    double scaleY { 6.9 };
    double offsetX { 260 }; // raw value at screen (0, 0)
    double offsetY { 320 };
    double rotation { 0.8 }; // degrees
    int noise { 2 }; // raw units, uniform in [-noise, noise]
    int rate { 100 }; // samples a second while pressed
    // A region of the screen where the panel measures nothing (worn out);
    // empty when right <= left.
    int deadLeft { 0 }, deadTop { 0 }, deadRight { 0 }, deadBottom { 0 };
    // Out of the factory the driver holds a calibration made for this panel
    // (the exact inverse of its mapping); false: the identity set.
    bool calibrated { true };
    uint32_t seed { 1 };
};

class TouchPanel {
public:
    TouchPanel(const PanelSettings& settings, int screenWidth, int screenHeight);

    // The driver's requests; the answer is the seven coefficients' bytes
    // (or nothing) and 0, or -1 with an errno value.
    static constexpr uint32_t kCalStart = 0x7401;
    static constexpr uint32_t kCalDone = 0x40047402;
    static constexpr uint32_t kRawData = 0x80047403;
    int request(uint32_t number, const std::vector<uint8_t>& in, std::vector<uint8_t>& out, int& error);
    // The factory calibration of this panel (see PanelSettings::calibrated).
    void factoryCoefficients(int32_t out[7]) const;

    // A press at screen (x, y) for holdMs, or a stroke from one point to
    // another; queued after what is already playing.
    void touch(int x, int y, int holdMs);
    void swipe(int x1, int y1, int x2, int y2, int ms);
    // Samples due at time nowMs (milliseconds of the board's clock), each 8
    // bytes; the time of the next one, or -1 when nothing is playing.
    std::vector<std::vector<uint8_t>> due(int64_t nowMs);
    int64_t nextDue() const;

    bool rawMode() const { return m_raw; }
    const int32_t* coefficients() const { return m_coeffs; }
    int latestRawX() const { return m_rawX; }
    int latestRawY() const { return m_rawY; }
    int samplesSent() const { return m_sent; }
    // Where the panel measures screen (x, y), without noise.
    void trueRaw(double x, double y, double& rx, double& ry) const;
    std::string stateJson() const;

private:
    struct Step {
        int x, y; // screen
        int pressure; // 0: pen up
    };
    void enqueue(const std::vector<Step>& steps);
    std::vector<uint8_t> sampleFor(const Step& s);
    bool dead(int x, int y) const;

    PanelSettings m_s;
    int m_width, m_height;
    std::mt19937 m_rng;
    bool m_raw { false };
    int32_t m_coeffs[7] { 0, 0, 0, 0, 0, 0, 1 };
    int m_rawX { 0 }, m_rawY { 0 };
    std::vector<Step> m_queue;
    size_t m_next { 0 };
    int64_t m_nextAt { -1 };
    int m_sent { 0 };
    bool m_penDownSent { false }; // a pressed sample went out since the last pen-up
};

}
