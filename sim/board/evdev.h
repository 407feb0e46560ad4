#pragma once
// The evdev input devices /dev/input/event0..15: a keypad, a USB keyboard, a
// USB mouse and a multi-touch screen, with the names, capability bits and
// axes such devices report, records in the architecture's struct input_event,
// LEDs the program sets, and hot-plug of the USB devices with the uevents a
// kernel sends for them.

#include "scenario.h"
#include "wire.h"

#include <cstdint>
#include <string>
#include <vector>

namespace board {

class InputDevice {
public:
    InputDevice(InputKind kind, const std::string& name, int number, const Scenario& scenario);

    InputKind kind() const { return m_kind; }
    const std::string& name() const { return m_name; }
    int number() const { return m_number; }
    bool hasKey(int code) const;
    bool hasLed() const { return m_ev & (1u << 0x11); }
    int led(int code) const { return (m_leds >> code) & 1; }
    void setLed(int code, int value);
    void setKey(int code, int value);

    IoctlResult ioctl(Arch arch, uint32_t request, uint64_t arg, const std::vector<uint8_t>& in) const;

private:
    InputKind m_kind;
    std::string m_name;
    int m_number;
    uint32_t m_ev { 0 };
    std::vector<uint8_t> m_keys; // KEY_CNT bits
    uint32_t m_rel { 0 };
    uint64_t m_abs { 0 };
    uint32_t m_ledBits { 0 };
    uint32_t m_msc { 0 };
    uint32_t m_props { 0 };
    uint32_t m_leds { 0 };
    std::vector<uint8_t> m_keyState;
    struct AbsInfo {
        int32_t value, minimum, maximum, fuzz, flat, resolution;
    };
    AbsInfo m_absInfo[64] {};
    uint16_t m_id[4] {};
};

// One input_event record in the architecture's layout.
std::vector<uint8_t> eventRecord(Arch arch, uint16_t type, uint16_t code, int32_t value);
size_t eventRecordSize(Arch arch);

}
