#pragma once
// Shared pieces of the input layer tests: a toolkit fixture whose
// application records the keys and pointer messages the layer produces, a
// fresh layer state for every test, records written to descriptors of the
// test's own, and evdev nodes made of FIFOs in the test's directory whose
// capability queries the test answers.

#include "testfun/inputitem.h"
#include "testfun/linuxevent.h"
#include "testfun/mouseitem.h"
#include "testfun_support.h"

#include <lumi/lumi.h>

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace inputtest {

struct KeyEvent {
    int key;
    int up;
    bool operator==(const KeyEvent& o) const { return key == o.key && up == o.up; }
};

inline std::ostream& operator<<(std::ostream& os, const KeyEvent& k)
{
    return os << "{key " << k.key << (k.up ? " up}" : " down}");
}

struct PointerEvent {
    int x;
    int y;
    unsigned flags;
};

// Sees every message before delivery and keeps the keys and pointer events.
class RecordingApp : public GuiApp {
public:
    int filterMsg(LUMIMessage& msg) override
    {
        if (msg.id == MSG_KEY)
            keys.push_back({ msg.param1, msg.param2 });
        else if (msg.id == MSG_MOUSE && !msg.target)
            pointer.push_back({ msg.param1, static_cast<int>(msg.extra), static_cast<unsigned>(msg.param2) });
        return 0;
    }

    std::vector<KeyEvent> keys;
    std::vector<PointerEvent> pointer;
};

// A pretend evdev device behind a FIFO of the test's directory.
struct FakeDevice {
    std::string name;
    uint32_t types { 0 }; // EV_* bits
    uint8_t rel { 0 }; // REL_* bits
    uint8_t abs[8] {}; // ABS_* bits 0..63
};

// Devices by node name ("event3"); answered for descriptors opened on them.
inline std::map<std::string, FakeDevice>& fakeDevices()
{
    static std::map<std::string, FakeDevice> devices;
    return devices;
}

// Counts the queries, so that a test can see they were made.
inline int& fakeQueries()
{
    static int count = 0;
    return count;
}

inline std::string nodeName(int fd)
{
    char link[64];
    char target[4096];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return "";
    target[n] = '\0';
    const char* slash = strrchr(target, '/');
    return slash ? slash + 1 : target;
}

// Answers EVIOCGNAME and EVIOCGBIT for the fake devices, as the kernel does:
// at most the requested length, the rest of the caller's buffer untouched.
inline int fakeIoctl(int fd, unsigned long request, void* arg)
{
    ++fakeQueries();
    auto it = fakeDevices().find(nodeName(fd));
    if (it == fakeDevices().end() || _IOC_TYPE(request) != 'E') {
        errno = ENOTTY;
        return -1;
    }
    const FakeDevice& dev = it->second;
    const unsigned nr = _IOC_NR(request);
    const size_t len = _IOC_SIZE(request);
    auto copy = [&](const void* src, size_t size) {
        const size_t n = size < len ? size : len;
        memcpy(arg, src, n);
        return static_cast<int>(n);
    };
    if (nr == _IOC_NR(EVIOCGNAME(0)))
        return copy(dev.name.c_str(), dev.name.size() + 1);
    if (nr == 0x20 + 0)
        return copy(&dev.types, sizeof dev.types);
    if (nr == 0x20 + EV_REL)
        return copy(&dev.rel, sizeof dev.rel);
    if (nr == 0x20 + EV_ABS)
        return copy(dev.abs, sizeof dev.abs);
    if (nr == 0x20 + EV_KEY) {
        const uint8_t none[64] = {};
        return copy(none, sizeof none);
    }
    errno = EINVAL;
    return -1;
}

inline FakeDevice keypad(const std::string& name)
{
    FakeDevice d;
    d.name = name;
    d.types = (1u << EV_SYN) | (1u << EV_KEY) | (1u << EV_LED);
    return d;
}

inline FakeDevice mouse(const std::string& name)
{
    FakeDevice d;
    d.name = name;
    d.types = (1u << EV_SYN) | (1u << EV_KEY) | (1u << EV_REL);
    d.rel = (1u << REL_X) | (1u << REL_Y);
    return d;
}

inline FakeDevice touchScreen(const std::string& name)
{
    FakeDevice d;
    d.name = name;
    d.types = (1u << EV_SYN) | (1u << EV_KEY) | (1u << EV_ABS);
    for (int axis : { ABS_MT_TOUCH_MAJOR, ABS_MT_POSITION_X, ABS_MT_POSITION_Y })
        d.abs[axis / 8] |= static_cast<uint8_t>(1u << (axis % 8));
    return d;
}

// The descriptors the process has open.
inline int openDescriptors()
{
    int count = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(d)) {
            if (e->d_name[0] != '.')
                ++count;
        }
        closedir(d);
    }
    return count - 1; // the directory's own
}

inline input_event record(int type, int code, int value)
{
    input_event ev;
    memset(&ev, 0, sizeof ev);
    ev.type = static_cast<uint16_t>(type);
    ev.code = static_cast<uint16_t>(code);
    ev.value = value;
    return ev;
}

// Puts the layer back to its state at start, with the maps built and a
// pointer centred on the 800x480 screen; the working directory is the test's.
class InputLayerTest : public lumitest::ToolkitTest {
protected:
    std::unique_ptr<GuiApp> makeApp() override { return std::make_unique<RecordingApp>(); }
    RecordingApp& rec() { return static_cast<RecordingApp&>(*app); }

    void SetUp() override
    {
        lumitest::ToolkitTest::SetUp();
        cwd = std::make_unique<testfuntest::ScopedChdir>(tmp.path());
        ASSERT_TRUE(cwd->ok());
        setEventInputDir(tmp.path().c_str());
        previousIoctl = setEvdevIoctl(fakeIoctl);
        fakeDevices().clear();
        fakeQueries() = 0;
        resetLayer();
    }

    void TearDown() override
    {
        eventTerm();
        closeEventTouchScreen();
        s_input = nullptr;
        s_mouseTest = nullptr;
        g_linuxEventMouse.keyTestTimer = 0;
        setEvdevIoctl(previousIoctl);
        setEventInputDir(nullptr);
        fakeDevices().clear();
        for (int fd : ownFds)
            ::close(fd);
        cwd.reset();
        lumitest::ToolkitTest::TearDown();
    }

    void resetLayer()
    {
        LinuxEventMouse& m = g_linuxEventMouse;
        for (int n = 0; n < EVENT_NODES; ++n)
            eventClose(n);
        closeEventTouchScreen();
        m.initialised = false;
        setDefaultMap();
        setShiftMap();
        m.x = 400;
        m.y = 240;
        m.pressure = 0;
        m.capsLock = false;
        m.shift = false;
        m.keyTestTimer = 0;
        g_numLock = 1;
        g_absX = EVENT_POS_UNSET;
        g_absY = EVENT_POS_UNSET;
        s_input = nullptr;
        s_mouseTest = nullptr;
        ticks = 0;
        // The toolkit's pointer source remembers its button; lift it.
        m.setStatus(1);
        m.addPoint(MousePoint(), false);
        settle();
        rec().keys.clear();
        rec().pointer.clear();
    }

    // Feeds one record to the translations the way a read would.
    void feed(int type, int code, int value)
    {
        input_event ev = record(type, code, value);
        switch (type) {
        case EV_KEY:
            translateKeyEvent(ev);
            break;
        case EV_REL:
            translateRelEvent(ev);
            break;
        default:
            translateAbsEvent(ev);
            break;
        }
    }
    void press(int code) { feed(EV_KEY, code, 1); }
    void release(int code) { feed(EV_KEY, code, 0); }
    void tap(int code)
    {
        press(code);
        release(code);
    }

    // The keys delivered since the last call.
    std::vector<KeyEvent> takeKeys()
    {
        settle();
        std::vector<KeyEvent> keys;
        keys.swap(rec().keys);
        return keys;
    }
    std::vector<PointerEvent> takePointer()
    {
        settle();
        std::vector<PointerEvent> p;
        p.swap(rec().pointer);
        return p;
    }

    // A SOCK_SEQPACKET pair (records stay whole): [0] the layer reads, [1] the test writes.
    void makeRecordPair(int (&pair)[2])
    {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair), 0);
        ownFds.push_back(pair[0]);
        ownFds.push_back(pair[1]);
    }

    // An evdev node of the test's directory: a FIFO (readable, writable,
    // pollable) whose capability queries fakeIoctl answers.
    void makeNode(int n, const FakeDevice& device)
    {
        const std::string name = "event" + std::to_string(n);
        ASSERT_EQ(mkfifo(tmp.file(name).c_str(), 0600), 0);
        fakeDevices()[name] = device;
    }

    // Records that a node's device has been sent (the layer writes LED
    // records to it), read through a descriptor of the test's own.
    int openNodeReader(int n)
    {
        const int fd
            = ::open(tmp.file("event" + std::to_string(n)).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0)
            ownFds.push_back(fd);
        return fd;
    }
    static std::vector<input_event> readRecords(int fd)
    {
        std::vector<input_event> out;
        input_event ev;
        while (::read(fd, &ev, sizeof ev) == static_cast<ssize_t>(sizeof ev))
            out.push_back(ev);
        return out;
    }

    std::unique_ptr<testfuntest::ScopedChdir> cwd;
    EvdevIoctl previousIoctl { nullptr };
    std::vector<int> ownFds;
};

}
