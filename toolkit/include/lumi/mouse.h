#pragma once
// Pointer sources and the screen cursor.

#include <lumi/rect.h>

class Bitmap;

// A source of pointer samples (mouse, touch screen, test input). Each source
// keeps its own button state and turns its samples into pointer messages
// (MSG_MOUSE): a press when the button goes down, moves while it is held and
// a release when it goes up.
class Mouse {
public:
    Mouse();
    virtual ~Mouse();
    virtual int open(const char* device);

    // Feeds one sample (screen coordinates) with the button state.
    void addPoint(const MousePoint& point, bool down);
    void setStatus(unsigned int status);   // 0: samples are ignored; otherwise accepted
    unsigned int status() const { return m_status; }
    bool isDown() const { return m_down; }

private:
    unsigned int m_status { 1 };
    bool m_down { false };
    short m_lastX { 0 };
    short m_lastY { 0 };
};

// The one screen cursor, drawn over everything when visible.
class Cursor {
public:
    // Loads the picture; pixels of colourKey are transparent. The hot spot is
    // the picture's centre. 0 on success.
    static int create(const char* file, unsigned short colourKey);
    // Replaces the picture with a copy of bitmap. 0 on success, -1 for null.
    static int changeCursorBmp(const Bitmap* bitmap, unsigned short colourKey);
    static void setVisible(bool visible);
    static bool isVisible();
    static void moveTo(int x, int y);   // moves the cursor and shows the change
    static void setPos(int x, int y);   // moves it at the next screen update
    static void getPos(int& x, int& y);
    static void destroy();
};
