#include "framebuffer.h"

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "flash.h"
#include "png_writer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace board {

bool FrameBuffer::create(int width, int height, int bpp, std::string& error)
{
    m_width = width;
    m_height = height;
    m_bpp = bpp;
    m_fd = memfd_create("uishull-board-fb0", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (m_fd < 0 || ftruncate(m_fd, size()) != 0) {
        error = std::string("cannot create the frame buffer memory: ") + std::strerror(errno);
        return false;
    }
    // A frame buffer has a fixed size: writes past its end fail, as on the device.
    fcntl(m_fd, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK);
    void* map = mmap(nullptr, size(), PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (map == MAP_FAILED) {
        error = std::string("cannot map the frame buffer memory: ") + std::strerror(errno);
        return false;
    }
    m_map = static_cast<uint8_t*>(map);
    return true;
}

FrameBuffer::~FrameBuffer()
{
    if (m_map)
        munmap(m_map, size());
    if (m_fd >= 0)
        close(m_fd);
}

int FrameBuffer::openNew(std::string& error) const
{
    const std::string path = "/proc/self/fd/" + std::to_string(m_fd);
    int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        error = std::strerror(errno);
    return fd;
}

IoctlResult FrameBuffer::ioctl(Arch arch, uint32_t request, const std::vector<uint8_t>& in) const
{
    switch (request) {
    case FBIOGET_VSCREENINFO:
    case FBIOPUT_VSCREENINFO:
    case FBIOPAN_DISPLAY: {
        if (request != FBIOGET_VSCREENINFO && in.size() >= 160) {
            // Only the mode the board has is accepted (the panel cannot change).
            uint32_t xres, yres, bpp;
            std::memcpy(&xres, &in[0], 4);
            std::memcpy(&yres, &in[4], 4);
            std::memcpy(&bpp, &in[24], 4);
            if (request == FBIOPUT_VSCREENINFO
                && (xres != static_cast<uint32_t>(m_width) || yres != static_cast<uint32_t>(m_height)
                    || bpp != static_cast<uint32_t>(m_bpp)))
                return IoctlResult::fail(EINVAL);
        }
        // struct fb_var_screeninfo: 40 32-bit fields, the same on every architecture.
        std::vector<uint8_t> v(160, 0);
        put32(v, 0, m_width);
        put32(v, 4, m_height);
        put32(v, 8, m_width);
        put32(v, 12, m_height);
        put32(v, 24, m_bpp);
        if (m_bpp == 16) {
            put32(v, 32, 11), put32(v, 36, 5); // red
            put32(v, 44, 5), put32(v, 48, 6); // green
            put32(v, 56, 0), put32(v, 60, 5); // blue
        } else {
            put32(v, 32, 16), put32(v, 36, 8);
            put32(v, 44, 8), put32(v, 48, 8);
            put32(v, 56, 0), put32(v, 60, 8);
        }
        put32(v, 88, 0xffffffffu); // height in mm: unknown
        put32(v, 92, 0xffffffffu); // width in mm
        return { 0, 0, v };
    }
    case FBIOGET_FSCREENINFO: {
        // struct fb_fix_screeninfo holds two unsigned longs: its layout follows the architecture.
        std::vector<uint8_t> f;
        const bool wide = arch == Arch::X86_64;
        f.assign(wide ? 80 : 68, 0);
        const char id[] = "uishull-board";
        std::memcpy(f.data(), id, sizeof id);
        putLong(f, 16, arch, 0); // smem_start
        const size_t base = wide ? 24 : 20;
        put32(f, base, size()); // smem_len
        put32(f, base + 4, FB_TYPE_PACKED_PIXELS);
        put32(f, base + 8, 0); // type_aux
        put32(f, base + 12, FB_VISUAL_TRUECOLOR);
        put16(f, base + 16, 1); // xpanstep
        put16(f, base + 18, 1); // ypanstep
        put32(f, wide ? 48 : 44, lineLength());
        return { 0, 0, f };
    }
    case FBIOBLANK:
        return { 0, 0, {} };
    default:
        if (request == FBIO_WAITFORVSYNC)
            return { 0, 0, {} };
        return IoctlResult::fail(ENOTTY);
    }
}

std::vector<uint8_t> FrameBuffer::rgb() const
{
    std::vector<uint8_t> out(static_cast<size_t>(m_width) * m_height * 3);
    for (int y = 0; y < m_height; ++y) {
        const uint8_t* row = m_map + static_cast<size_t>(y) * lineLength();
        for (int x = 0; x < m_width; ++x) {
            uint8_t* p = &out[(static_cast<size_t>(y) * m_width + x) * 3];
            if (m_bpp == 16) {
                const uint16_t v = static_cast<uint16_t>(row[x * 2] | (row[x * 2 + 1] << 8));
                p[0] = static_cast<uint8_t>(((v >> 11) & 31) * 255 / 31);
                p[1] = static_cast<uint8_t>(((v >> 5) & 63) * 255 / 63);
                p[2] = static_cast<uint8_t>((v & 31) * 255 / 31);
            } else {
                p[0] = row[x * 4 + 2];
                p[1] = row[x * 4 + 1];
                p[2] = row[x * 4];
            }
        }
    }
    return out;
}

namespace {

    class FrameBufferModel : public DeviceModel {
    public:
        using DeviceModel::DeviceModel;

        const FrameBuffer& frameBuffer() const { return m_fb; }

        bool start(std::string& error) override
        {
            const Scenario& s = m_board.scenario();
            return m_fb.create(s.width, s.height, s.bpp, error);
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != "/dev/fb0")
                return {};
            std::string error;
            const int fd = m_fb.openNew(error);
            if (fd < 0)
                return OpenResult::failed(EIO);
            return OpenResult::opened(BOARD_KIND_FB, fd);
        }

        IoctlResult ioctl(Node& node, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            // The display driver also tells the chip identifier (type 'i', 5, 4 bytes).
            if (request == 0x80046905u) {
                std::vector<uint8_t> id(4, 0);
                put32(id, 0, chipIdentifier(m_board.scenario()));
                return { 0, 0, id };
            }
            return m_fb.ioctl(node.arch, request, in);
        }

        std::vector<ControlCommand> controlCommands() override
        {
            return { { "screenshot", "screenshot FILE.png",
                [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                    if (w.size() != 2 || w[1].size() < 5 || w[1].compare(w[1].size() - 4, 4, ".png") != 0)
                        return std::string("error: screenshot FILE.png");
                    std::string error;
                    if (!writePng(w[1], m_fb.width(), m_fb.height(), m_fb.rgb(), error))
                        return "error: " + error;
                    return "saved " + w[1];
                } } };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            members.emplace_back("screen",
                "{\"width\": " + std::to_string(m_fb.width()) + ", \"height\": "
                    + std::to_string(m_fb.height()) + ", \"bpp\": " + std::to_string(m_fb.bpp()) + "}");
        }

    private:
        FrameBuffer m_fb;
    };

    bool parseScreen(const std::string& section, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        if (key == "width" || key == "height") {
            int v = 0;
            if (!scenarioInt(value, 16, 4096, v)) {
                error = key + " must be a number from 16 to 4096";
                return false;
            }
            (key == "width" ? s.width : s.height) = v;
        } else if (key == "bpp") {
            int v = 0;
            if (!scenarioInt(value, 16, 32, v) || (v != 16 && v != 32)) {
                error = "bpp must be 16 or 32";
                return false;
            }
            s.bpp = v;
        } else {
            error = "unknown key \"" + key + "\" in [" + section + "]";
            return false;
        }
        return true;
    }

}

const FrameBuffer* frameBufferOf(const DeviceModel* model)
{
    const auto* fb = dynamic_cast<const FrameBufferModel*>(model);
    return fb ? &fb->frameBuffer() : nullptr;
}

extern const ModelType kFrameBufferModel = { "framebuffer", { "screen" }, parseScreen, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<FrameBufferModel>(board);
    } };

}
