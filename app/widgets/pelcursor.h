#pragma once
// PelCursor: which picture the one screen cursor shows, and whether it shows.
//
// With a pointing device in use (type true) the cursor always shows: an
// arrow, or an arrow with an hourglass while the program is busy. On the
// touch screen (type false) a pointer makes no sense, so the cursor shows
// only while busy, as an hourglass in the middle of the screen.
//
// The state is the program's, not a window's: class-level, set up once by
// init() after the toolkit run-time is up.

class Bitmap;

enum cursor_status : int {
    CURSOR_BUSY = 0,
    CURSOR_NORMAL = 1,
};

class PelCursor {
public:
    PelCursor() = delete;

    // Loads the pictures from res/ under the working directory and makes
    // the toolkit cursor, centred. Returns 0; missing pictures leave the
    // cursor without them.
    static int init();
    // Frees the pictures. Returns 0.
    static int term();
    static void setType(bool pointer);
    static int setStatus(cursor_status status);
    // Shows the picture for status and type; a touch screen's normal state
    // keeps whatever picture the cursor has (it is hidden then anyway).
    static void refreshBmp(cursor_status status, bool pointer);

    static bool type() { return s_cursorType; }
    static cursor_status status() { return s_cursorStatus; }
    static const Bitmap* busyBmp() { return s_busyBmp; }
    static const Bitmap* pointerBmp() { return s_pointerBmp; }
    static const Bitmap* pointerBusyBmp() { return s_pointerBusyBmp; }

    static constexpr const char* kBusyFile = "res/cursor_busy.bmp";
    static constexpr const char* kPointerFile = "res/cursor_pointer.bmp";
    static constexpr const char* kPointerBusyFile = "res/cursor_pointer_busy.bmp";
    static constexpr unsigned short kBusyKey = 0x7119;
    static constexpr unsigned short kPointerKey = 0xF33A;

private:
    static void moveToCentre();

    static inline Bitmap* s_busyBmp { nullptr };
    static inline Bitmap* s_pointerBmp { nullptr };
    static inline Bitmap* s_pointerBusyBmp { nullptr };
    static inline bool s_cursorType { false };
    static inline cursor_status s_cursorStatus { CURSOR_NORMAL };
};
