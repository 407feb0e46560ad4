// The input event layer's keys: the default, shifted and customised maps
// from Linux key codes to toolkit keys, and the key translation with
// Caps Lock, Num Lock and Shift.

#include "testfun/linuxevent.h"

#include "testfun/inputitem.h"

#include <lumi/config.h>
#include <lumi/message.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Codes the toolkit gives special keys of the handheld that have no key of
// their own: F1, the screen key and every remapped key of config.ini share it.
constexpr uint8_t kSpecialKey = 86; // 'V', kept: the device's screens rely on it

struct KeyRange {
    int first; // Linux key code of the first character
    const char* chars;
};

// Runs of consecutive Linux codes that give printable characters.
// clang-format off
const KeyRange kDefaultChars[] = {
    { KEY_1, "1234567890-=" },
    { KEY_Q, "qwertyuiop[]" },
    { KEY_A, "asdfghjkl;'`" },
    { KEY_BACKSLASH, "\\" },
    { KEY_Z, "zxcvbnm,./" },
    { KEY_SPACE, " " },
    { KEY_KP7, "789-456+1230." },
};
const KeyRange kShiftedChars[] = {
    { KEY_1, "!@#$%^&*()_+" },
    { KEY_Q, "QWERTYUIOP{}" },
    { KEY_A, "ASDFGHJKL:\"~" },
    { KEY_BACKSLASH, "|" },
    { KEY_Z, "ZXCVBNM<>?" },
    { KEY_KP7, "789-456+1230." },
};

struct KeyEntry {
    int code;
    uint8_t key;
};

// Keys of the handheld and of USB keyboards, the same in both maps.
const KeyEntry kSpecialKeys[] = {
    { KEY_ESC, VK_Escape },
    { KEY_BACKSPACE, VK_Back },
    { KEY_TAB, VK_Tab },
    { KEY_ENTER, VK_Select },
    { KEY_F1, kSpecialKey },
    { KEY_F3, VK_Menu },
    { KEY_KPENTER, VK_Select },
    { KEY_SYSRQ, VK_PrtScr },
    { KEY_HOME, VK_Home },
    { KEY_UP, VK_Up },
    { KEY_LEFT, VK_Left },
    { KEY_RIGHT, VK_Right },
    { KEY_DOWN, VK_Down },
    { KEY_MUTE, VK_Mute },
    { KEY_VOLUMEDOWN, VK_VolDown },
    { KEY_VOLUMEUP, VK_VolUp },
    { KEY_POWER, VK_Power },
    { KEY_STOP, VK_Stop },
    { KEY_STOPCD, VK_Stop },
    { KEY_MENU, VK_Menu },
    { KEY_SETUP, VK_Menu },
    { KEY_SLEEP, VK_Sleep },
    { KEY_BACK, VK_Previous },
    { KEY_PREVIOUSSONG, VK_Previous },
    { KEY_PREVIOUS, VK_Previous },
    { KEY_FORWARD, VK_Next },
    { KEY_NEXTSONG, VK_Next },
    { KEY_NEXT, VK_Next },
    { KEY_PLAYPAUSE, VK_PlayPause },
    { KEY_PLAYCD, VK_PlayPause },
    { KEY_PLAY, VK_PlayPause },
    { KEY_OK, VK_Select },
    { KEY_TIME, VK_PrtScr },
    { KEY_SCREEN, kSpecialKey },
};

// With Num Lock off the keypad moves instead of typing.
const KeyEntry kKeypadNavigation[] = {
    { KEY_KP7, VK_Home },
    { KEY_KP8, VK_Up },
    { KEY_KP4, VK_Left },
    { KEY_KP6, VK_Right },
    { KEY_KP2, VK_Down },
};

struct KeyName {
    const char* name;
    uint8_t key;
};

// The keys of section "keypad". Kept: every name but "clear" gives the same
// special key, the toolkit code the device's screens listen for.
const KeyName kKeyNames[] = {
    { "clear", VK_Back },
    { "left", kSpecialKey },
    { "right", kSpecialKey },
    { "up", kSpecialKey },
    { "down", kSpecialKey },
    { "volUp", kSpecialKey },
    { "volDown", kSpecialKey },
    { "select", kSpecialKey },
    { "back", kSpecialKey },
    { "menu", kSpecialKey },
    { "previous", kSpecialKey },
    { "next", kSpecialKey },
    { "mute", kSpecialKey },
    { "multi", kSpecialKey },
    { "playpause", kSpecialKey },
    { "stop", kSpecialKey },
    { "power", kSpecialKey },
    { "sleep", kSpecialKey },
    { "hold", kSpecialKey },
};
// clang-format on

template <size_t N> void putChars(uint8_t* map, const KeyRange (&ranges)[N])
{
    for (const KeyRange& r : ranges) {
        for (int i = 0; r.chars[i]; ++i)
            map[r.first + i] = static_cast<uint8_t>(r.chars[i]);
    }
}

template <size_t N> void putKeys(uint8_t* map, const KeyEntry (&entries)[N])
{
    for (const KeyEntry& e : entries)
        map[e.code] = e.key;
}

bool isKeypad(int code)
{
    return code >= KEY_KP7 && code <= KEY_KP0;
}

int swapCase(int key)
{
    if (key >= 'a' && key <= 'z')
        return key - 'a' + 'A';
    if (key >= 'A' && key <= 'Z')
        return key - 'A' + 'a';
    return key;
}

}

int setDefaultMap()
{
    uint8_t* map = g_linuxEventMouse.defaultMap;
    memset(map, 0, EVENT_KEY_CODES);
    putChars(map, kDefaultChars);
    putKeys(map, kSpecialKeys);
    return 0;
}

int setShiftMap()
{
    // Kept: Space has no shifted entry, so Space with Shift held gives key 0.
    uint8_t* map = g_linuxEventMouse.shiftMap;
    memset(map, 0, EVENT_KEY_CODES);
    putChars(map, kShiftedChars);
    putKeys(map, kSpecialKeys);
    putKeys(map, kKeypadNavigation);
    return 0;
}

int setCustomizedMap()
{
    IniFile ini;
    if (ini.open("config.ini") != 0)
        return 0;
    for (const KeyName& k : kKeyNames) {
        char value[64];
        memset(value, 0, sizeof value);
        if (ini.readString("keypad", k.name, value, -1) != 0 || value[0] == '\0')
            continue;
        // Text reads as 0; out-of-range codes are reported and left alone.
        const int code = atoi(value);
        if (code > 0 && code < EVENT_KEY_CODES)
            g_linuxEventMouse.defaultMap[code] = k.key;
        printf("[Linux Event] ini \"%s\" = %d\n", k.name, code);
    }
    return 0;
}

int translateKeyEvent(input_event& ev)
{
    LinuxEventMouse& m = g_linuxEventMouse;
    if (ev.type != EV_KEY || ev.code >= EVENT_KEY_CODES)
        return -1;
    const int code = ev.code;
    GuiRT* rt = GuiRT::instance();

    if (code >= BTN_LEFT && code <= BTN_TASK) {
        if (code == BTN_LEFT) {
            MousePoint p;
            p.x = static_cast<short>(m.x);
            p.y = static_cast<short>(m.y);
            m.pressure = ev.value == 1 ? 500 : 0;
            p.pressure = static_cast<unsigned short>(m.pressure);
            m.addPoint(p, m.pressure != 0);
        } else if (code == BTN_RIGHT && ev.value == 0) {
            // Kept: the right button opens the menu with a key-down alone;
            // the screens act on key-downs.
            if (rt)
                rt->deliverKeyEvent(VK_Menu, 0);
        }
        return 0;
    }

    if (ev.value == 1 || ev.value == 2) {
        if (code == KEY_CAPSLOCK || code == KEY_NUMLOCK) {
            if (code == KEY_CAPSLOCK)
                m.capsLock = !m.capsLock;
            else
                g_numLock = !g_numLock;
            setEventLed(LED_CAPSL, m.capsLock ? 1 : 0);
            setEventLed(LED_NUML, g_numLock ? 1 : 0);
        }
        if (code == KEY_LEFTSHIFT || code == KEY_RIGHTSHIFT)
            m.shift = true;

        int key;
        if (isKeypad(code)) {
            key = g_numLock ? m.defaultMap[code] : m.shiftMap[code];
        } else {
            key = m.shift ? m.shiftMap[code] : m.defaultMap[code];
            if (m.capsLock)
                key = swapCase(key);
        }
        // Kept: whether a key is delivered at all is the default map's
        // decision, even when the key itself comes from the shifted map.
        if (m.defaultMap[code] != 0 && rt)
            rt->deliverKeyEvent(key, 0);
        return 0;
    }

    if (ev.value == 0) {
        if (code == KEY_LEFTSHIFT || code == KEY_RIGHTSHIFT)
            m.shift = false;
        // Kept: a release always reports the default map's key, so a key
        // pressed with Shift is released as its unshifted self.
        const int key = m.defaultMap[code];
        if (key == 0)
            return 0;
        if (rt)
            rt->deliverKeyEvent(key, 1);
        if (s_input)
            s_input->checkKey(key);
        return 0;
    }
    return 0;
}
