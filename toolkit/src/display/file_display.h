#pragma once
// The headless display: the screen is a file of RGB565 little-endian pixels.

#include "display/backend.h"

#include <memory>
#include <string>

namespace lumi {

// Creates (or empties) path and sizes it to width x height x 2 bytes, maps it
// shared and returns a backend that copies every flushed rectangle into it, so
// that other processes can read the screen while it changes. Only a regular
// file of the user's own with no other names is emptied; a symbolic link is
// not followed. Null with error (path and cause) on failure.
std::unique_ptr<DisplayBackend> createFileDisplay(
    const std::string& path, int width, int height, std::string& error);

}
