#pragma once
// The frame buffer /dev/fb0: a memory the program maps or writes, described
// by the fixed and variable screen information of the scenario's panel.

#include "wire.h"

#include <cstdint>
#include <string>
#include <vector>

namespace board {

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

// The board's frame buffer, for the viewer; null when the board has none.
class DeviceModel;
const FrameBuffer* frameBufferOf(const DeviceModel* model);

}
