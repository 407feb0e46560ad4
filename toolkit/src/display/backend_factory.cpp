// Choosing a display backend from its textual description (LUMI_DISPLAY).
//
// Forms: "fbdev" or "fbdev:DEVICE"; "sdl" or "sdl:WxH"; "file:PATH" or
// "file:PATH:WxH". A file path may contain ':'; the text after its last ':'
// is taken as the size when it starts with a digit and contains an 'x' (and
// must then be a valid size), otherwise it belongs to the path.

#include "display/backend.h"
#include "display/fbdev_display.h"
#include "display/file_display.h"
#include "display/sdl_display.h"

#include <cctype>
#include <cstring>

namespace lumi {

namespace {

    constexpr int kDefaultWidth = 800;
    constexpr int kDefaultHeight = 480;
    constexpr int kMaxSide = 8192;
    // Longer descriptions are refused before any parsing: no sane path or size is this long.
    constexpr size_t kMaxDescriptionLength = 4096;
    constexpr const char* kDefaultFbDevice = "/dev/fb0";

    // Parses 1..kMaxSide written as plain decimal digits.
    bool parseSide(const std::string& text, int& value)
    {
        if (text.empty() || text.size() > 5)
            return false;
        int result = 0;
        for (char c : text) {
            if (c < '0' || c > '9')
                return false;
            result = result * 10 + (c - '0');
        }
        if (result < 1 || result > kMaxSide)
            return false;
        value = result;
        return true;
    }

    // A trailing field meant as a size: "800x480", but also a mistyped "800x48O",
    // which is better refused than turned into part of a file name.
    bool looksLikeSize(const std::string& text)
    {
        return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]))
            && text.find('x') != std::string::npos;
    }

    std::string sizeError(const std::string& name, const std::string& size)
    {
        return name + ": bad size \"" + size + "\" (expected WxH, each 1.." + std::to_string(kMaxSide) + ")";
    }

}

bool parseSize(const std::string& text, int& width, int& height)
{
    size_t x = text.find('x');
    if (x == std::string::npos)
        return false;
    int w = 0;
    int h = 0;
    if (!parseSide(text.substr(0, x), w) || !parseSide(text.substr(x + 1), h))
        return false;
    width = w;
    height = h;
    return true;
}

std::unique_ptr<DisplayBackend> createDisplayBackend(const char* description, std::string& error)
{
    std::string text = (description && *description) ? description : "fbdev";
    if (text.size() > kMaxDescriptionLength) {
        error = "display description too long";
        return nullptr;
    }
    size_t colon = text.find(':');
    bool hasArgument = colon != std::string::npos;
    std::string name = text.substr(0, colon);
    std::string argument = hasArgument ? text.substr(colon + 1) : std::string();

    if (name == "fbdev") {
        if (hasArgument && argument.empty()) {
            error = "fbdev: empty device name";
            return nullptr;
        }
        return createFbdevDisplay(hasArgument ? argument : kDefaultFbDevice, error);
    }

    if (name == "sdl") {
        int width = kDefaultWidth;
        int height = kDefaultHeight;
        if (hasArgument && !parseSize(argument, width, height)) {
            error = sizeError("sdl", argument);
            return nullptr;
        }
        // A plugin: LUMI_SDL_PLUGIN is honoured even in a build without SDL2.
        return createSdlDisplay(width, height, error);
    }

    if (name == "file") {
        int width = kDefaultWidth;
        int height = kDefaultHeight;
        std::string path = argument;
        size_t last = argument.rfind(':');
        if (last != std::string::npos) {
            std::string tail = argument.substr(last + 1);
            if (looksLikeSize(tail)) {
                if (!parseSize(tail, width, height)) {
                    error = sizeError("file", tail);
                    return nullptr;
                }
                path = argument.substr(0, last);
            }
        }
        if (path.empty()) {
            error = "file: missing path (file:PATH[:WxH])";
            return nullptr;
        }
        return createFileDisplay(path, width, height, error);
    }

    error = "unknown display \"" + name + "\" (fbdev[:DEVICE], sdl[:WxH] or file:PATH[:WxH])";
    return nullptr;
}

}
