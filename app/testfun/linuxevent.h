#pragma once
// The input event layer: the kernel's evdev devices turned into toolkit input.
//
// The nodes /dev/input/event0 to event15 that are not multi-touch screens are
// kept open and registered with the toolkit's loop; each record they deliver
// becomes a toolkit key (GuiRT::deliverKeyEvent) or a pointer sample of the
// program's own pointer source. The multi-touch screen is found separately
// for the quick-test mode (initEventTouchScreen). The layer also keeps the
// key maps, Caps/Num/Shift with the keyboard LEDs, and a relative pointer
// clamped to the screen, and it feeds the key and pointer tests.
//
// Free functions over one set of global state, used from the toolkit's
// event-loop thread only.

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <climits>
#include <cstdint>
#include <linux/input.h>

class InputItem;
class MouseItem;

enum : int {
    EVENT_NODES = 16, // /dev/input/event0 .. event15
    EVENT_KEY_CODES = 511, // Linux key codes 0..510 have a map entry
    EVENT_POS_UNSET = INT_MIN, // a pending absolute coordinate not reported yet
};

// Reads the records of every descriptor the layer registered and hands them
// to the translations.
class LinuxEventReadHandler : public EventHandler {
public:
    LinuxEventReadHandler() = default;
    ~LinuxEventReadHandler() override = default;
    void onRead(int fd) override;
};

// The program's pointer source, and the state of the whole layer.
class LinuxEventMouse : public Mouse {
public:
    LinuxEventMouse() = default;
    ~LinuxEventMouse() override = default;
    // Only says so: the devices are opened by eventInit().
    int open(const char* device) override;

    // Devices. The descriptors start at -1 (closed) so that nothing of the
    // process's own (descriptor 0 among them) is ever taken for a device.
    int touchFd { -1 };
    int eventFd[EVENT_NODES] { -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1 };
    uint32_t eventTypes[EVENT_NODES] {}; // EV_* capability bits of each node
    uint8_t relBits[EVENT_NODES] {}; // REL_* capability byte of each node
    bool initialised { false };

    // Configuration: toolkit key of each Linux key code (0: not mapped).
    uint8_t defaultMap[EVENT_KEY_CODES] {};
    uint8_t shiftMap[EVENT_KEY_CODES] {};

    // State.
    int x { 0 }; // the relative pointer, in screen pixels
    int y { 0 };
    uint32_t pressure { 0 }; // 500 while the left button is held
    bool capsLock { false };
    bool shift { false };
    int keyTestTimer { 0 }; // the key test's one-second timer, 0 when none
};

extern LinuxEventReadHandler LinuxEventHandler;
extern LinuxEventMouse g_linuxEventMouse;
// Num Lock starts on: the handheld's keypad gives digits.
extern int g_numLock;
// The multi-touch position reported since the last lift.
extern int g_absX;
extern int g_absY;
// The running key test and the pointer test, or null.
extern InputItem* s_input;
extern MouseItem* s_mouseTest;

// Discovery. eventInit (re)opens every node and resets the key state; 0 when
// at least one node opened, else -1. eventTerm closes them all; 0.
int eventInit();
int eventTerm();
// n is clamped to 0..15. 0 when the node opened (a multi-touch node is
// closed again at once and its slot stays -1), -1 when it did not.
int eventOpen(int n);
void eventClose(int n);
// Prints the name and capabilities of slot n and passes the pointer test
// when the device has relative axes. Returns 0.
int eventInfo(int n);
// 1 when an open device has exactly this evdev name, else 0.
int eventexist(const char* name);
// 0 when fd is a multi-touch screen (ABS_MT_TOUCH_MAJOR, ABS_MT_POSITION_X
// and ABS_MT_POSITION_Y), -1 otherwise: the sense is inverted on purpose,
// callers test "non-zero" for "not a touch screen".
int isTouchDevice(int fd);

// Touch-screen discovery: the first multi-touch node of dir is kept.
int open_device(const char* path);
int scan_dir(const char* dir);
int initEventTouchScreen();
void closeEventTouchScreen();

// The key maps. Each returns 0.
int setDefaultMap();
int setShiftMap();
int setCustomizedMap();

// Writes one LED record (EV_LED, code, value) to every open device.
void setEventLed(int code, int value);

// Translations: 0 when the record was this layer's, -1 when not.
int translateKeyEvent(input_event& ev);
int translateAbsEvent(input_event& ev);
int translateRelEvent(input_event& ev);

// Where the nodes are looked for: "/dev/input" on the device. The virtual
// board keeps the fixed path; unit tests point the layer at a directory of
// their own so that they never open the machine's devices. Null restores it.
const char* eventInputDir();
void setEventInputDir(const char* dir);

// The evdev queries go through one function (ioctl by default) so that unit
// tests can answer them for nodes that are not devices. Null restores ioctl.
using EvdevIoctl = int (*)(int fd, unsigned long request, void* arg);
EvdevIoctl setEvdevIoctl(EvdevIoctl query);
