#include "devices.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/input.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace board {

namespace {

    void put32(std::vector<uint8_t>& b, size_t at, uint32_t v)
    {
        if (b.size() < at + 4)
            b.resize(at + 4);
        for (int i = 0; i < 4; ++i)
            b[at + i] = static_cast<uint8_t>(v >> (8 * i));
    }

    void put16(std::vector<uint8_t>& b, size_t at, uint16_t v)
    {
        if (b.size() < at + 2)
            b.resize(at + 2);
        b[at] = static_cast<uint8_t>(v);
        b[at + 1] = static_cast<uint8_t>(v >> 8);
    }

    void putLong(std::vector<uint8_t>& b, size_t at, Arch arch, uint64_t v)
    {
        put32(b, at, static_cast<uint32_t>(v));
        if (arch == Arch::X86_64)
            put32(b, at + 4, static_cast<uint32_t>(v >> 32));
    }

    size_t longSize(Arch arch)
    {
        return arch == Arch::X86_64 ? 8 : 4;
    }

    // The kernel copies a bit array of maxbit bits as whole longs, at most len bytes.
    IoctlResult bitsToUser(Arch arch, const uint8_t* bits, size_t bitCount, size_t len)
    {
        const size_t ls = longSize(arch);
        size_t bytes = (bitCount + ls * 8 - 1) / (ls * 8) * ls;
        std::vector<uint8_t> out(bytes, 0);
        std::memcpy(out.data(), bits, std::min(bytes, (bitCount + 7) / 8));
        if (bytes > len)
            bytes = len;
        out.resize(bytes);
        return { static_cast<int>(bytes), 0, out };
    }

    IoctlResult stringToUser(const std::string& s, size_t len)
    {
        std::vector<uint8_t> out(s.begin(), s.end());
        out.push_back(0);
        if (out.size() > len)
            out.resize(len);
        return { static_cast<int>(out.size()), 0, out };
    }

    void setBit(std::vector<uint8_t>& bits, int n)
    {
        if (static_cast<size_t>(n / 8) < bits.size())
            bits[n / 8] |= static_cast<uint8_t>(1u << (n % 8));
    }

}

size_t eventRecordSize(Arch arch)
{
    return arch == Arch::X86_64 ? 24 : 16;
}

std::vector<uint8_t> eventRecord(Arch arch, uint16_t type, uint16_t code, int32_t value)
{
    timeval now {};
    gettimeofday(&now, nullptr);
    std::vector<uint8_t> r;
    size_t at = 0;
    putLong(r, at, arch, static_cast<uint64_t>(now.tv_sec));
    at += longSize(arch);
    putLong(r, at, arch, static_cast<uint64_t>(now.tv_usec));
    at += longSize(arch);
    put16(r, at, type);
    put16(r, at + 2, code);
    put32(r, at + 4, static_cast<uint32_t>(value));
    return r;
}

// ---- frame buffer ----

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

// ---- input devices ----

InputDevice::InputDevice(InputKind kind, const std::string& name, int number, const Scenario& scenario)
    : m_kind(kind)
    , m_name(name)
    , m_number(number)
    , m_keys(KEY_CNT / 8, 0)
    , m_keyState(KEY_CNT / 8, 0)
{
    m_ev = 1u << EV_SYN;
    switch (kind) {
    case InputKind::Keypad:
        // The handheld's keys: the navigation cluster, select, back, menu, volume and power.
        m_ev |= 1u << EV_KEY;
        for (int code : { KEY_ESC, KEY_ENTER, KEY_F1, KEY_F3, KEY_HOME, KEY_UP, KEY_LEFT, KEY_RIGHT, KEY_DOWN,
                 KEY_MUTE, KEY_VOLUMEDOWN, KEY_VOLUMEUP, KEY_POWER, KEY_MENU, KEY_BACK, KEY_OK })
            setBit(m_keys, code);
        m_id[0] = BUS_HOST, m_id[1] = 0x0001, m_id[2] = 0x0001, m_id[3] = 0x0100;
        break;
    case InputKind::Keyboard:
        m_ev |= (1u << EV_KEY) | (1u << EV_MSC) | (1u << EV_LED) | (1u << EV_REP);
        for (int code = KEY_ESC; code <= KEY_MICMUTE; ++code)
            setBit(m_keys, code);
        m_msc = 1u << MSC_SCAN;
        m_ledBits = (1u << LED_NUML) | (1u << LED_CAPSL) | (1u << LED_SCROLLL) | (1u << LED_COMPOSE)
            | (1u << LED_KANA);
        m_id[0] = BUS_USB, m_id[1] = 0x1a2b, m_id[2] = 0x0101, m_id[3] = 0x0110;
        break;
    case InputKind::Mouse:
        m_ev |= (1u << EV_KEY) | (1u << EV_REL) | (1u << EV_MSC);
        for (int code : { BTN_LEFT, BTN_RIGHT, BTN_MIDDLE, BTN_SIDE, BTN_EXTRA })
            setBit(m_keys, code);
        m_rel = (1u << REL_X) | (1u << REL_Y) | (1u << REL_WHEEL);
        m_msc = 1u << MSC_SCAN;
        m_id[0] = BUS_USB, m_id[1] = 0x1a2b, m_id[2] = 0x0202, m_id[3] = 0x0111;
        break;
    case InputKind::Touchscreen:
        m_ev |= (1u << EV_KEY) | (1u << EV_ABS);
        setBit(m_keys, BTN_TOUCH);
        for (int axis : { ABS_X, ABS_Y, ABS_MT_TOUCH_MAJOR, ABS_MT_WIDTH_MAJOR, ABS_MT_POSITION_X,
                 ABS_MT_POSITION_Y, ABS_MT_TRACKING_ID })
            m_abs |= 1ull << axis;
        m_absInfo[ABS_X] = { 0, 0, scenario.width - 1, 0, 0, 0 };
        m_absInfo[ABS_Y] = { 0, 0, scenario.height - 1, 0, 0, 0 };
        m_absInfo[ABS_MT_POSITION_X] = m_absInfo[ABS_X];
        m_absInfo[ABS_MT_POSITION_Y] = m_absInfo[ABS_Y];
        m_absInfo[ABS_MT_TOUCH_MAJOR] = { 0, 0, 255, 0, 0, 0 };
        m_absInfo[ABS_MT_WIDTH_MAJOR] = { 0, 0, 255, 0, 0, 0 };
        m_absInfo[ABS_MT_TRACKING_ID] = { 0, 0, 65535, 0, 0, 0 };
        m_props = 1u << INPUT_PROP_DIRECT;
        m_id[0] = BUS_I2C, m_id[1] = 0x0001, m_id[2] = 0x0003, m_id[3] = 0x0100;
        break;
    }
}

bool InputDevice::hasKey(int code) const
{
    return code >= 0 && code < KEY_CNT && (m_keys[code / 8] >> (code % 8)) & 1;
}

void InputDevice::setLed(int code, int value)
{
    if (code < 0 || code >= LED_CNT || !((m_ledBits >> code) & 1))
        return;
    if (value)
        m_leds |= 1u << code;
    else
        m_leds &= ~(1u << code);
}

void InputDevice::setKey(int code, int value)
{
    if (code < 0 || code >= KEY_CNT)
        return;
    if (value)
        m_keyState[code / 8] |= static_cast<uint8_t>(1u << (code % 8));
    else
        m_keyState[code / 8] &= static_cast<uint8_t>(~(1u << (code % 8)));
}

IoctlResult InputDevice::ioctl(
    Arch arch, uint32_t request, uint64_t arg, const std::vector<uint8_t>& in) const
{
    (void)in;
    if (_IOC_TYPE(request) != 'E')
        return IoctlResult::fail(ENOTTY);
    const uint32_t nr = _IOC_NR(request);
    const size_t len = _IOC_SIZE(request);
    if (request == EVIOCGVERSION) {
        std::vector<uint8_t> v;
        put32(v, 0, EV_VERSION);
        return { 0, 0, v };
    }
    if (request == EVIOCGID) {
        std::vector<uint8_t> v;
        for (int i = 0; i < 4; ++i)
            put16(v, i * 2, m_id[i]);
        return { 0, 0, v };
    }
    if (request == EVIOCGRAB)
        return { 0, 0, {} };
    (void)arg;
    if (_IOC_DIR(request) == _IOC_READ) {
        if (nr == _IOC_NR(EVIOCGNAME(0)))
            return stringToUser(m_name, len);
        if (nr == _IOC_NR(EVIOCGPHYS(0))) {
            if (m_kind == InputKind::Keyboard || m_kind == InputKind::Mouse)
                return stringToUser("usb-lumi-ehci-1/input0", len);
            return IoctlResult::fail(ENOENT);
        }
        if (nr == _IOC_NR(EVIOCGUNIQ(0)))
            return IoctlResult::fail(ENOENT);
        if (nr == _IOC_NR(EVIOCGPROP(0))) {
            uint8_t bits[4] = { static_cast<uint8_t>(m_props), 0, 0, 0 };
            return bitsToUser(arch, bits, INPUT_PROP_CNT, len);
        }
        if (nr == _IOC_NR(EVIOCGKEY(0)))
            return bitsToUser(arch, m_keyState.data(), KEY_CNT, len);
        if (nr == _IOC_NR(EVIOCGLED(0))) {
            uint8_t bits[2] = { static_cast<uint8_t>(m_leds), static_cast<uint8_t>(m_leds >> 8) };
            return bitsToUser(arch, bits, LED_CNT, len);
        }
        if (nr == _IOC_NR(EVIOCGSND(0)) || nr == _IOC_NR(EVIOCGSW(0))) {
            uint8_t bits[4] = {};
            return bitsToUser(arch, bits, nr == _IOC_NR(EVIOCGSND(0)) ? SND_CNT : SW_CNT, len);
        }
        if (nr >= 0x20 && nr < 0x20 + EV_CNT) {
            // EVIOCGBIT(type, len): the capability bits of one event type (0: the types).
            uint8_t small[8] = {};
            switch (nr - 0x20) {
            case 0:
                std::memcpy(small, &m_ev, 4);
                return bitsToUser(arch, small, EV_CNT, len);
            case EV_KEY:
                return bitsToUser(arch,
                    (m_ev & (1u << EV_KEY)) ? m_keys.data() : std::vector<uint8_t>(KEY_CNT / 8).data(),
                    KEY_CNT, len);
            case EV_REL:
                std::memcpy(small, &m_rel, 4);
                return bitsToUser(arch, small, REL_CNT, len);
            case EV_ABS:
                std::memcpy(small, &m_abs, 8);
                return bitsToUser(arch, small, ABS_CNT, len);
            case EV_LED:
                std::memcpy(small, &m_ledBits, 4);
                return bitsToUser(arch, small, LED_CNT, len);
            case EV_MSC:
                std::memcpy(small, &m_msc, 4);
                return bitsToUser(arch, small, MSC_CNT, len);
            case EV_SND:
                return bitsToUser(arch, small, SND_CNT, len);
            case EV_SW:
                return bitsToUser(arch, small, SW_CNT, len);
            case EV_FF:
                return bitsToUser(arch, small, FF_CNT, len);
            default:
                return IoctlResult::fail(EINVAL);
            }
        }
        if (nr >= 0x40 && nr < 0x40 + ABS_CNT && len >= sizeof(input_absinfo)) {
            // EVIOCGABS(axis)
            const int axis = static_cast<int>(nr - 0x40);
            if (!((m_abs >> axis) & 1))
                return IoctlResult::fail(EINVAL);
            std::vector<uint8_t> v;
            const AbsInfo& a = m_absInfo[axis];
            const int32_t fields[6] = { a.value, a.minimum, a.maximum, a.fuzz, a.flat, a.resolution };
            for (int i = 0; i < 6; ++i)
                put32(v, i * 4, static_cast<uint32_t>(fields[i]));
            return { 0, 0, v };
        }
    }
    return IoctlResult::fail(EINVAL);
}

}
