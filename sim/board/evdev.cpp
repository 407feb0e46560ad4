#include "evdev.h"

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "uevent.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <linux/input.h>
#include <map>
#include <memory>
#include <sstream>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace board {

namespace {

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
        // The handheld's keys: every key of the program's default map that is
        // not a typing key (navigation, select, back, menu, volume, media,
        // power), and the lock LEDs the program sets on every device.
        m_ev |= (1u << EV_KEY) | (1u << EV_LED);
        for (int code :
            { KEY_ESC, KEY_BACKSPACE, KEY_ENTER, KEY_F1, KEY_F3, KEY_SYSRQ, KEY_HOME, KEY_UP, KEY_LEFT,
                KEY_RIGHT, KEY_DOWN, KEY_MUTE, KEY_VOLUMEDOWN, KEY_VOLUMEUP, KEY_POWER, KEY_STOP, KEY_MENU,
                KEY_SETUP, KEY_SLEEP, KEY_BACK, KEY_FORWARD, KEY_NEXTSONG, KEY_PLAYPAUSE, KEY_PREVIOUSSONG,
                KEY_STOPCD, KEY_PLAYCD, KEY_PLAY, KEY_OK, KEY_TIME, KEY_SCREEN, KEY_NEXT, KEY_PREVIOUS })
            setBit(m_keys, code);
        m_ledBits = (1u << LED_NUML) | (1u << LED_CAPSL) | (1u << LED_SCROLLL);
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

namespace {

    constexpr int kEventNodes = 16;

    class EvdevModel : public DeviceModel {
    public:
        using DeviceModel::DeviceModel;

        bool start(std::string&) override
        {
            for (const auto& in : m_board.scenario().inputs)
                addDevice(in.kind, in.name, false);
            return true;
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            unsigned n = 0;
            char tail = 0;
            if (std::sscanf(path.c_str(), "/dev/input/event%u%c", &n, &tail) != 1
                || !m_devices.count(static_cast<int>(n)))
                return {};
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sv) != 0)
                return OpenResult::failed(errno);
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            return OpenResult::opened(BOARD_KIND_EVDEV, sv[1], sv[0], static_cast<int>(n));
        }

        IoctlResult ioctl(Node& node, uint32_t request, uint64_t arg, const std::vector<uint8_t>& in) override
        {
            auto d = m_devices.find(node.device);
            if (d == m_devices.end())
                return IoctlResult::fail(ENODEV);
            return d->second->ioctl(node.arch, request, arg, in);
        }

        // Whole records in the writer's layout; EV_LED records set the LEDs.
        void written(Node& node, const char* data, size_t size) override
        {
            auto d = m_devices.find(node.device);
            if (d == m_devices.end())
                return;
            node.pending.append(data, size);
            const size_t record = eventRecordSize(node.arch);
            const size_t at = record == 24 ? 16 : 8;
            while (node.pending.size() >= record) {
                uint16_t type, code;
                int32_t value;
                std::memcpy(&type, &node.pending[at], 2);
                std::memcpy(&code, &node.pending[at + 2], 2);
                std::memcpy(&value, &node.pending[at + 4], 4);
                if (type == EV_LED)
                    d->second->setLed(code, value);
                node.pending.erase(0, record);
            }
        }

        std::vector<ControlCommand> controlCommands() override
        {
            return {
                { "key", "key CODE [down|up]",
                    [this](
                        const std::vector<std::string>& w) -> std::optional<std::string> { return key(w); } },
                { "mouse", "mouse move DX DY; mouse button left|right down|up",
                    [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                        return mouse(w);
                    } },
                { "plug", "plug mouse|keyboard",
                    [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                        return plug(w);
                    } },
                { "unplug", "unplug mouse|keyboard",
                    [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                        return plug(w);
                    } },
            };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            std::ostringstream j;
            j << "[";
            bool first = true;
            const std::vector<Node*> nodes = m_board.nodesOf(this);
            for (auto& d : m_devices) {
                int opens = 0;
                for (const Node* o : nodes)
                    opens += o->device == d.first;
                j << (first ? "\n" : ",\n") << "    {\"node\": \"/dev/input/event" << d.first
                  << "\", \"kind\": \"" << kindName(d.second->kind())
                  << "\", \"name\": " << jsonString(d.second->name()) << ", \"open\": " << opens;
                if (d.second->hasLed())
                    j << ", \"leds\": {\"num\": " << d.second->led(LED_NUML)
                      << ", \"caps\": " << d.second->led(LED_CAPSL)
                      << ", \"scroll\": " << d.second->led(LED_SCROLLL) << "}";
                j << "}";
                first = false;
            }
            j << (first ? "" : "\n  ") << "]";
            members.emplace_back("devices", j.str());
        }

    private:
        InputDevice* deviceOfKind(InputKind kind)
        {
            for (auto& d : m_devices) {
                if (d.second->kind() == kind)
                    return d.second.get();
            }
            return nullptr;
        }

        int freeEventNumber() const
        {
            for (int n = 0; n < kEventNodes; ++n) {
                if (!m_devices.count(n))
                    return n;
            }
            return -1;
        }

        void addDevice(InputKind kind, const std::string& name, bool hotplug)
        {
            const int n = freeEventNumber();
            if (n < 0)
                return;
            m_devices[n] = std::make_unique<InputDevice>(kind, name, n, m_board.scenario());
            updateDevDir();
            if (hotplug)
                sendUevents(kind, n, true);
        }

        void removeDevice(int number, bool hotplug)
        {
            auto it = m_devices.find(number);
            if (it == m_devices.end())
                return;
            const InputKind kind = it->second->kind();
            // The program's descriptors see the device go: their other end closes.
            for (Node* o : m_board.nodesOf(this)) {
                if (o->device == number)
                    m_board.dropNode(o);
            }
            m_devices.erase(it);
            updateDevDir();
            if (hotplug)
                sendUevents(kind, number, false);
        }

        // The board's picture of /dev/input, which the library lists for the program.
        void updateDevDir()
        {
            const std::string dir = m_board.runDir() + "/board/dev/input";
            for (int n = 0; n < kEventNodes; ++n) {
                const std::string path = dir + "/event" + std::to_string(n);
                if (m_devices.count(n)) {
                    std::ofstream out(path, std::ios::binary);
                    out << m_devices[n]->name() << "\n";
                } else {
                    unlink(path.c_str());
                }
            }
        }

        void emit(int number, const std::vector<std::array<int, 3>>& records)
        {
            for (Node* o : m_board.nodesOf(this)) {
                if (o->device != number)
                    continue;
                std::vector<uint8_t> packet;
                for (const auto& r : records) {
                    auto rec = eventRecord(
                        o->arch, static_cast<uint16_t>(r[0]), static_cast<uint16_t>(r[1]), r[2]);
                    packet.insert(packet.end(), rec.begin(), rec.end());
                }
                // A reader that does not keep up loses events, as with a full evdev buffer.
                send(o->boardFd, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            }
        }

        void sendUevents(InputKind kind, int number, bool add)
        {
            // What the kernel broadcasts for a USB input device: the input device, its
            // legacy node (mouseN for a mouse) and its event node.
            const Scenario& s = m_board.scenario();
            const char* action = add ? "add" : "remove";
            const int input = 10 + number;
            const std::string usb = "/devices/platform/lumi-ehci.0/usb1/1-1/1-1:1.0/0003:1A2B:"
                + std::string(kind == InputKind::Mouse ? "0202" : "0101") + ".000"
                + std::to_string(1 + m_usbCount % 9);
            const std::string inputPath = usb + "/input/input" + std::to_string(input);
            struct Event {
                std::string path;
                std::vector<std::string> vars;
            };
            std::vector<Event> events;
            events.push_back({ inputPath,
                { "SUBSYSTEM=input",
                    "PRODUCT=3/1a2b/" + std::string(kind == InputKind::Mouse ? "202" : "101") + "/110",
                    "NAME=\"" + (kind == InputKind::Mouse ? s.mouseName : s.keyboardName) + "\"",
                    "PHYS=\"usb-lumi-ehci-1/input0\"",
                    "EV=" + std::string(kind == InputKind::Mouse ? "17" : "120013") } });
            if (kind == InputKind::Mouse)
                events.push_back({ inputPath + "/mouse1",
                    { "SUBSYSTEM=input", "MAJOR=13", "MINOR=33", "DEVNAME=input/mouse1" } });
            events.push_back({ inputPath + "/event" + std::to_string(number),
                { "SUBSYSTEM=input", "MAJOR=13", "MINOR=" + std::to_string(64 + number),
                    "DEVNAME=input/event" + std::to_string(number) } });
            if (!add)
                std::reverse(events.begin(), events.end());
            for (const auto& e : events)
                m_board.kernelEvent(ueventText(action, e.path, e.vars));
            if (!add)
                ++m_usbCount;
        }

        std::string key(const std::vector<std::string>& w)
        {
            long code = 0;
            if (w.size() < 2 || w.size() > 3 || !parseNumber(w[1], 1, KEY_MAX, code))
                return "error: key CODE [down|up] (CODE a Linux key code from 1 to " + std::to_string(KEY_MAX)
                    + ")";
            if (w.size() == 3 && w[2] != "down" && w[2] != "up")
                return "error: key CODE [down|up]: \"" + w[2] + "\" is neither down nor up";
            // The keypad's keys go to the keypad; the others to a keyboard that has them.
            InputDevice* pad = deviceOfKind(InputKind::Keypad);
            InputDevice* keyboard = deviceOfKind(InputKind::Keyboard);
            if (!pad)
                pad = keyboard;
            if (!pad)
                return "error: the board has no keypad";
            if (!pad->hasKey(static_cast<int>(code)) && keyboard && keyboard->hasKey(static_cast<int>(code)))
                pad = keyboard;
            if (!pad->hasKey(static_cast<int>(code)))
                return "error: the " + std::string(kindName(pad->kind())) + " has no key "
                    + std::to_string(code);
            const int c0 = static_cast<int>(code);
            if (w.size() == 2 || w[2] == "down") {
                pad->setKey(c0, 1);
                emit(pad->number(), { { EV_KEY, c0, 1 }, { EV_SYN, SYN_REPORT, 0 } });
            }
            if (w.size() == 2 || w[2] == "up") {
                pad->setKey(c0, 0);
                emit(pad->number(), { { EV_KEY, c0, 0 }, { EV_SYN, SYN_REPORT, 0 } });
            }
            return "key " + std::to_string(code) + " on /dev/input/event" + std::to_string(pad->number());
        }

        std::string mouse(const std::vector<std::string>& w)
        {
            InputDevice* mouse = deviceOfKind(InputKind::Mouse);
            if (w.size() == 4 && w[1] == "move") {
                long dx = 0, dy = 0;
                if (!parseNumber(w[2], -100000, 100000, dx) || !parseNumber(w[3], -100000, 100000, dy))
                    return "error: mouse move DX DY (whole numbers)";
                if (!mouse)
                    return "error: no mouse is plugged in";
                emit(mouse->number(),
                    { { EV_REL, REL_X, static_cast<int>(dx) }, { EV_REL, REL_Y, static_cast<int>(dy) },
                        { EV_SYN, SYN_REPORT, 0 } });
                return "moved";
            }
            if (w.size() == 4 && w[1] == "button") {
                if ((w[2] != "left" && w[2] != "right") || (w[3] != "down" && w[3] != "up"))
                    return "error: mouse button left|right down|up";
                if (!mouse)
                    return "error: no mouse is plugged in";
                const int code = w[2] == "left" ? BTN_LEFT : BTN_RIGHT;
                mouse->setKey(code, w[3] == "down");
                emit(
                    mouse->number(), { { EV_KEY, code, w[3] == "down" ? 1 : 0 }, { EV_SYN, SYN_REPORT, 0 } });
                return "button " + w[2] + " " + w[3];
            }
            return "error: mouse move DX DY | mouse button left|right down|up";
        }

        // plug and unplug; other devices' words are left to their models.
        std::optional<std::string> plug(const std::vector<std::string>& w)
        {
            const std::string& cmd = w[0];
            if (w.size() != 2 || (w[1] != "mouse" && w[1] != "keyboard"))
                return std::nullopt;
            const InputKind kind = w[1] == "mouse" ? InputKind::Mouse : InputKind::Keyboard;
            InputDevice* d = deviceOfKind(kind);
            if (cmd == "plug") {
                if (d)
                    return "error: a " + w[1] + " is already plugged in";
                if (freeEventNumber() < 0)
                    return std::string("error: all 16 event nodes are taken");
                const Scenario& s = m_board.scenario();
                addDevice(kind, kind == InputKind::Mouse ? s.mouseName : s.keyboardName, true);
                return "plugged " + w[1] + " as /dev/input/event"
                    + std::to_string(deviceOfKind(kind)->number());
            }
            if (!d)
                return "error: no " + w[1] + " is plugged in";
            const int n = d->number();
            removeDevice(n, true);
            return "unplugged " + w[1] + " (/dev/input/event" + std::to_string(n) + ")";
        }

        std::map<int, std::unique_ptr<InputDevice>> m_devices; // by event number
        int m_usbCount { 0 };
    };

    bool parseKind(const std::string& word, InputKind& kind)
    {
        for (InputKind k :
            { InputKind::Keypad, InputKind::Keyboard, InputKind::Mouse, InputKind::Touchscreen }) {
            if (word == kindName(k)) {
                kind = k;
                return true;
            }
        }
        return false;
    }

    bool parseInput(const std::string& section, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        InputKind kind;
        if (key == "devices") {
            s.inputs.clear();
            std::istringstream words(value);
            std::string w;
            while (words >> w) {
                if (!parseKind(w, kind)) {
                    error = "unknown device kind \"" + w + "\" (keypad, keyboard, mouse, touchscreen)";
                    return false;
                }
                if (s.inputs.size() == kEventNodes) {
                    error = "at most 16 input devices";
                    return false;
                }
                s.inputs.push_back({ kind, std::string() });
            }
        } else if (key.size() > 5 && key.compare(key.size() - 5, 5, ".name") == 0
            && parseKind(key.substr(0, key.size() - 5), kind)) {
            if (value.empty() || value.size() > 63) {
                error = "a device name has 1 to 63 characters";
                return false;
            }
            s.inputNames[static_cast<int>(kind)] = value;
        } else {
            error = "unknown key \"" + key + "\" in [" + section + "]";
            return false;
        }
        return true;
    }

    // Names given per kind before or after the devices line both count.
    void finishInput(Scenario& s)
    {
        for (auto& in : s.inputs) {
            const std::string& given = s.inputNames[static_cast<int>(in.kind)];
            in.name = given.empty() ? defaultName(in.kind) : given;
        }
        if (!s.inputNames[static_cast<int>(InputKind::Keyboard)].empty())
            s.keyboardName = s.inputNames[static_cast<int>(InputKind::Keyboard)];
        if (!s.inputNames[static_cast<int>(InputKind::Mouse)].empty())
            s.mouseName = s.inputNames[static_cast<int>(InputKind::Mouse)];
    }

}

extern const ModelType kEvdevModel = { "evdev", { "input" }, parseInput, finishInput,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> { return std::make_unique<EvdevModel>(board); } };

}
