#pragma once
// The development display: a desktop window through SDL2, in the plugin
// liblumi-sdl.so (sdl_display.cpp), loaded only when "sdl" is asked for.

#include "display/backend.h"

#include <memory>
#include <string>

namespace lumi {

// Loads the SDL2 plugin (LUMI_SDL_PLUGIN, else the places sdlPluginCandidates
// lists) and opens a window of width x height showing the screen; the window's
// mouse and keyboard feed the toolkit. Null with error on failure.
std::unique_ptr<DisplayBackend> createSdlDisplay(int width, int height, std::string& error);

}
