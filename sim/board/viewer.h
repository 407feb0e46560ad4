#pragma once
// The board's window: the frame buffer scaled to fit, and the PC keyboard
// pressing the keys of the board's keypad.

#include "framebuffer.h"

#include <memory>
#include <string>
#include <vector>

namespace board {

class Viewer {
public:
    virtual ~Viewer() = default;
    // Shows the frame buffer and turns the window's input into controller
    // commands ("key 103 down", "plug mouse"...). False when the window was closed.
    virtual bool frame(const FrameBuffer& fb, std::vector<std::string>& commands) = 0;
};

// Null with error when the board was built without SDL or there is no display.
std::unique_ptr<Viewer> createViewer(int width, int height, std::string& error);

}
