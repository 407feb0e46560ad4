// The input event layer: discovery of the evdev nodes, the touch-screen
// discovery and the reading of records. The key maps and the translations
// are in linuxevent_keys.cpp and linuxevent_pointer.cpp.

#include "testfun/linuxevent.h"

#include "testfun/log.hpp"
#include "testfun/mouseitem.h"
#include "widgets/pelcursor.h"

#include <lumi/config.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

LinuxEventReadHandler LinuxEventHandler;
LinuxEventMouse g_linuxEventMouse;
int g_numLock = 1;
int g_absX = EVENT_POS_UNSET;
int g_absY = EVENT_POS_UNSET;
InputItem* s_input = nullptr;
MouseItem* s_mouseTest = nullptr;

namespace {

const char* const kDefaultInputDir = "/dev/input";
const char* s_inputDir = kDefaultInputDir;

int systemIoctl(int fd, unsigned long request, void* arg)
{
    return ioctl(fd, request, arg);
}

EvdevIoctl s_ioctl = systemIoctl;

MsgLoop* loop()
{
    return GuiRT::instance();
}

void registerFd(int fd)
{
    if (MsgLoop* l = loop())
        l->registerHandler(fd, &LinuxEventHandler);
}

void unregisterFd(int fd)
{
    if (MsgLoop* l = loop())
        l->unregisterHandler(fd);
}

// The first call of eventInit or eventTerm sets up the slots and the maps;
// the maps are then kept for the life of the process.
void initialiseOnce()
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (m.initialised)
        return;
    for (int n = 0; n < EVENT_NODES; ++n) {
        m.eventFd[n] = -1;
        m.eventTypes[n] = 0;
        m.relBits[n] = 0;
    }
    m.initialised = true;
    setDefaultMap();
    setShiftMap();
    setCustomizedMap();
    m.setStatus(1);
}

void writeLed(int fd, int code, int value)
{
    input_event ev;
    memset(&ev, 0, sizeof ev);
    ev.type = EV_LED;
    ev.code = static_cast<uint16_t>(code);
    ev.value = value;
    // A device that refuses the record keeps its LEDs; nothing depends on them.
    if (write(fd, &ev, sizeof ev) < 0)
        perror("[Linux Event] led");
}

// The evdev name of fd, "" when it cannot be read.
void readName(int fd, char (&name)[64])
{
    memset(name, 0, sizeof name);
    s_ioctl(fd, EVIOCGNAME(sizeof name - 1), name);
    name[sizeof name - 1] = '\0';
}

}

const char* eventInputDir()
{
    return s_inputDir;
}

void setEventInputDir(const char* dir)
{
    s_inputDir = dir ? dir : kDefaultInputDir;
}

EvdevIoctl setEvdevIoctl(EvdevIoctl query)
{
    EvdevIoctl previous = s_ioctl;
    s_ioctl = query ? query : systemIoctl;
    return previous;
}

int LinuxEventMouse::open(const char*)
{
    puts("Linux Event mouse adapter open");
    return 0;
}

void setEventLed(int code, int value)
{
    for (int fd : g_linuxEventMouse.eventFd) {
        if (fd > 0)
            writeLed(fd, code, value);
    }
}

int eventInit()
{
    LinuxEventMouse& m = g_linuxEventMouse;
    initialiseOnce();

    // No pointer until a device with relative axes says otherwise.
    PelCursor::setType(false);
    PelCursor::setStatus(CURSOR_NORMAL);

    if (s_mouseTest) {
        puts("[--I] mouse set UNKNOW ");
        s_mouseTest->setResult(-1);
    }

    int result = -1;
    for (int n = 0; n < EVENT_NODES; ++n) {
        if (m.eventFd[n] != -1) {
            eventClose(n);
            m.eventFd[n] = -1;
        }
        if (eventOpen(n) == 0)
            result = 0;
        eventInfo(n);
    }

    g_numLock = 1;
    m.capsLock = false;
    m.shift = false;
    setEventLed(LED_NUML, 1);
    setEventLed(LED_CAPSL, 0);
    setEventLed(LED_SCROLLL, 0);

    m.x = Display::getParam(0) / 2;
    m.y = Display::getParam(1) / 2;
    return result;
}

int eventTerm()
{
    initialiseOnce();
    for (int n = 0; n < EVENT_NODES; ++n)
        eventClose(n);
    return 0;
}

int eventOpen(int n)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (n < 0)
        n = 0;
    if (n > EVENT_NODES - 1)
        n = EVENT_NODES - 1;

    char path[4096];
    snprintf(path, sizeof path, "%s/event%d", s_inputDir, n);
    const int fd = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        m.eventFd[n] = -1;
        return -1;
    }
    printf("[Linux Event] open \"%s\", fd = %d\n", path, fd);
    if (isTouchDevice(fd) != 0) {
        registerFd(fd);
        m.eventFd[n] = fd;
    } else {
        // Multi-touch screens are read by the touch-screen discovery.
        close(fd);
        m.eventFd[n] = -1;
    }
    return 0;
}

void eventClose(int n)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (n < 0 || n >= EVENT_NODES || m.eventFd[n] == -1)
        return;
    unregisterFd(m.eventFd[n]);
    close(m.eventFd[n]);
    m.eventFd[n] = -1;
}

int eventInfo(int n)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (n < 0 || n >= EVENT_NODES || m.eventFd[n] == -1)
        return 0;
    const int fd = m.eventFd[n];

    char name[64];
    readName(fd, name);
    printf("[Linux Event] name: [%s]\n", name);

    m.eventTypes[n] = 0;
    s_ioctl(fd, EVIOCGBIT(0, 4), &m.eventTypes[n]);
    const uint32_t types = m.eventTypes[n];
    printf("[Linux Event] cap: %s|%s|%s\n", (types & (1u << EV_KEY)) ? "EV_KEY" : "",
        (types & (1u << EV_ABS)) ? "EV_ABS" : "", (types & (1u << EV_REL)) ? "EV_REL" : "");

    m.relBits[n] = 0;
    s_ioctl(fd, EVIOCGBIT(EV_REL, 1), &m.relBits[n]);
    const bool pointer = (m.relBits[n] & ((1u << REL_X) | (1u << REL_Y))) != 0;
    if (pointer) {
        PelCursor::setType(true);
        PelCursor::setStatus(CURSOR_NORMAL);
        if (s_mouseTest) {
            puts("[--I] mouse set TEST_PASS ");
            s_mouseTest->setResult(0);
        }
    }
    printf("[Linux Event] is pointer mouse? %s.\n", pointer ? "yes" : "no");
    return 0;
}

int eventexist(const char* name)
{
    if (!name)
        return 0;
    for (int fd : g_linuxEventMouse.eventFd) {
        if (fd == -1)
            continue;
        char devName[64];
        readName(fd, devName);
        if (strcmp(devName, name) == 0)
            return 1;
    }
    return 0;
}

int isTouchDevice(int fd)
{
    if (fd < 0)
        return -1;
    uint8_t keyBits[64];
    uint8_t absBits[8];
    memset(keyBits, 0, sizeof keyBits);
    memset(absBits, 0, sizeof absBits);
    s_ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keyBits), keyBits);
    s_ioctl(fd, EVIOCGBIT(EV_ABS, sizeof absBits), absBits);
    auto has = [&absBits](int axis) { return (absBits[axis / 8] & (1u << (axis % 8))) != 0; };
    if (has(ABS_MT_TOUCH_MAJOR) && has(ABS_MT_POSITION_X) && has(ABS_MT_POSITION_Y))
        return 0;
    return -1;
}

int open_device(const char* path)
{
    const int fd = ::open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        printf("[--I] could not open %s, %s\n", path, strerror(errno));
        return -1;
    }
    if (isTouchDevice(fd) != 0) {
        close(fd);
        return -1;
    }
    printf("[--I]open %s Two TouchScreen event.\n", path);
    registerFd(fd);
    g_linuxEventMouse.touchFd = fd;
    return 0;
}

int scan_dir(const char* dir)
{
    DIR* d = opendir(dir);
    if (!d)
        return -1;
    char path[4096];
    while (dirent* entry = readdir(d)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        // A name that does not fit cannot be a node of ours; skip it whole
        // rather than open a cut path.
        const int len = snprintf(path, sizeof path, "%s/%s", dir, entry->d_name);
        if (len < 0 || static_cast<size_t>(len) >= sizeof path)
            continue;
        if (open_device(path) == 0)
            break;
    }
    closedir(d);
    return 0;
}

int initEventTouchScreen()
{
    // A second call finds the screen again; the first descriptor is not leaked.
    closeEventTouchScreen();
    g_linuxEventMouse.touchFd = -1;
    scan_dir(s_inputDir);
    return 0;
}

void closeEventTouchScreen()
{
    int& fd = g_linuxEventMouse.touchFd;
    if (fd > 0) {
        unregisterFd(fd);
        close(fd);
    }
    fd = -1;
}

void LinuxEventReadHandler::onRead(int fd)
{
    // One read of whole records; the kernel never splits a record, and the
    // tail of a short read from any other source is dropped.
    input_event events[64];
    const ssize_t n = read(fd, events, sizeof events);
    if (n <= 0)
        return;
    const size_t count = static_cast<size_t>(n) / sizeof(input_event);
    int lastType = 31;
    for (size_t i = 0; i < count; ++i) {
        input_event& ev = events[i];
        switch (ev.type) {
        case EV_KEY:
            translateKeyEvent(ev);
            lastType = EV_KEY;
            break;
        case EV_ABS:
            translateAbsEvent(ev);
            lastType = EV_ABS;
            break;
        case EV_REL:
            translateRelEvent(ev);
            lastType = EV_REL;
            break;
        case EV_SYN:
            // A report ends the touch screen's position only after its axes.
            if (lastType == EV_ABS)
                translateAbsEvent(ev);
            lastType = EV_SYN;
            break;
        default:
            break;
        }
    }
}
