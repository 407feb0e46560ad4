#pragma once
// The development display: a desktop window through SDL2.

#include "display/backend.h"

#include <memory>
#include <string>

namespace lumi {

// Opens a window of width x height showing the screen; the window's mouse and
// keyboard feed the toolkit. Only present when the toolkit is built with SDL2
// (LUMI_WITH_SDL). Null with error on failure.
std::unique_ptr<DisplayBackend> createSdlDisplay(int width, int height, std::string& error);

}
