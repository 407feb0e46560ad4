#pragma once
// Display backends that live in plugins, loaded with dlopen() only when a
// display description asks for them, so that a program that never opens one
// does not load their libraries (SDL2 and its dozens of dependencies) at start.

#include "display/backend.h"

#include <memory>
#include <string>
#include <vector>

namespace lumi {

// The SDL2 window's plugin file.
constexpr const char* kSdlPluginName = "liblumi-sdl.so";
// The environment variable naming another plugin file for "sdl".
constexpr const char* kSdlPluginVariable = "LUMI_SDL_PLUGIN";

// Loads the plugin file path and opens its width x height display. Null with a
// one-line error naming the file on failure (missing file, a file that is not
// a plugin, no entry point, another interface version, the plugin's own
// refusal).
std::unique_ptr<DisplayBackend> openPluginDisplay(
    const std::string& path, int width, int height, std::string& error);

// Where the SDL2 plugin is looked for when LUMI_SDL_PLUGIN is not set, in
// order: EXEDIR/../lib/uishull (the installed tree, and the build tree, whose
// programs and tests live one directory below its top) and EXEDIR itself,
// EXEDIR being the directory of /proc/self/exe.
std::vector<std::string> sdlPluginCandidates();

}
