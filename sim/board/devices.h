#pragma once
// The board's device models: the frame buffer and the evdev input devices.
// Everything that depends on the program's architecture (record layouts,
// structure sizes, the width of the kernel's bit arrays) is produced for the
// architecture the client announced.

#include "scenario.h"

#include <cstdint>
#include <string>
#include <vector>

namespace board {

enum class Arch { X86_64 = 1, Armhf = 2 };

// The answer to an ioctl: result (or -1 and error) and the bytes copied back.
struct IoctlResult {
    int result { 0 };
    int error { 0 };
    std::vector<uint8_t> out;
    static IoctlResult fail(int err) { return { -1, err, {} }; }
};

class FrameBuffer {
public:
    bool create(int width, int height, int bpp, std::string& error);
    ~FrameBuffer();

    int fd() const { return m_fd; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    int bpp() const { return m_bpp; }
    uint32_t lineLength() const { return static_cast<uint32_t>(m_width * m_bpp / 8); }
    uint32_t size() const { return lineLength() * static_cast<uint32_t>(m_height); }
    const uint8_t* pixels() const { return m_map; }
    // A new open file description of the memory (its own offset for write and seek).
    int openNew(std::string& error) const;
    IoctlResult ioctl(Arch arch, uint32_t request, const std::vector<uint8_t>& in) const;
    // The screen as 8-bit RGB rows.
    std::vector<uint8_t> rgb() const;

private:
    int m_fd { -1 };
    uint8_t* m_map { nullptr };
    int m_width { 0 };
    int m_height { 0 };
    int m_bpp { 16 };
};

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
