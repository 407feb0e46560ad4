#pragma once
// The message record of the event loop and the numbers carried in it.

class WndBase;

// Message ids.
enum : int {
    MSG_KEY = 4,          // param1 key code, param2 key state (0 down, 1 up)
    MSG_CHAR = 9,         // param1 character code
    MSG_COMMAND = 15,     // param1 command id; handled by onCommand
    MSG_MOUSE = 17,       // param1 x, extra y (client of nothing: screen coordinates), param2 pointer flags
    MSG_NOTIFY = 0x1000,  // param1 code, param2 parameter, data the sending window; handled by onNotify
    MSG_USER = 0x2000,    // the application's own messages start here
};

// Pointer flags of MSG_MOUSE and onMouseEvent.
enum : unsigned int {
    MOUSE_RELEASE = 1,
    MOUSE_PRESS = 2,
    MOUSE_MOVE = 16,   // move with the button held
};

// Key codes.
enum : int {
    VK_Select = 1,
    VK_Menu = 2,
    VK_Home = 3,
    VK_Back = 8,
    VK_Tab = 9,
    VK_Escape = 27,
    VK_Right = 28,
    VK_Left = 29,
    VK_Up = 30,
    VK_Down = 31,
    VK_Power = 129,
    VK_Sleep = 130,
    VK_VolUp = 132,
    VK_VolDown = 133,
    VK_Previous = 134,
    VK_Next = 135,
    VK_Mute = 136,
    VK_PlayPause = 138,
    VK_Stop = 139,
    VK_PrtScr = 140,
};

// Notify codes sent by the toolkit's own controls.
enum : int {
    NOTIFY_CLICKED = 32,
};

// Window status bits (isStatus).
enum : unsigned int {
    WS_FOCUSED = 0x02,
    WS_PRESSED = 0x30,   // 0x10 and 0x20 together while a button is held
};

// Window style bits shared by every window (isStyle, setStyle, unsetStyle).
// Bits not listed here belong to the individual controls.
enum : unsigned int {
    WS_VISIBLE = 0x04,      // shown at creation
    WS_DISABLED = 0x10,     // ignores input
    WS_TRANSPARENT = 0x40,  // the parent paints the background
    WS_DIALOG = 0x100,      // set by message boxes
};

// A message. The constructor zeroes it.
struct LUMIMessage {
    WndBase* target { nullptr };
    int id { 0 };
    int param1 { 0 };
    int param2 { 0 };
    void* data { nullptr };   // a heap string for string-bearing application messages
    long extra { 0 };

    LUMIMessage() = default;
    LUMIMessage(WndBase* t, int msgId, int p1 = 0, int p2 = 0, void* d = nullptr)
        : target(t), id(msgId), param1(p1), param2(p2), data(d) { }
};
