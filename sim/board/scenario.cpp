#include "scenario.h"

#include "device_model.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace board {

namespace {

    constexpr size_t kMaxFile = 1 << 20;
    constexpr size_t kMaxLine = 4096;

    std::string trim(const std::string& s)
    {
        size_t a = s.find_first_not_of(" \t\r");
        if (a == std::string::npos)
            return std::string();
        size_t b = s.find_last_not_of(" \t\r");
        return s.substr(a, b - a + 1);
    }

}

bool scenarioInt(const std::string& text, long min, long max, int& out)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (errno || *end || v < min || v > max)
        return false;
    out = static_cast<int>(v);
    return true;
}

namespace {

    std::string resolve(const std::string& base, const std::string& path)
    {
        if (path.empty() || path[0] == '/' || base.empty())
            return path;
        return base + "/" + path;
    }

}

const char* kindName(InputKind kind)
{
    switch (kind) {
    case InputKind::Keypad:
        return "keypad";
    case InputKind::Keyboard:
        return "keyboard";
    case InputKind::Mouse:
        return "mouse";
    case InputKind::Touchscreen:
        return "touchscreen";
    }
    return "?";
}

std::string defaultName(InputKind kind)
{
    switch (kind) {
    case InputKind::Keypad:
        return "gpio-keys";
    case InputKind::Keyboard:
        return "Generic USB Keyboard";
    case InputKind::Mouse:
        return "Generic USB Optical Mouse";
    case InputKind::Touchscreen:
        return "mt-touchscreen";
    }
    return "?";
}

Scenario defaultScenario()
{
    Scenario s;
    s.inputs = { { InputKind::Keypad, defaultName(InputKind::Keypad) },
        { InputKind::Touchscreen, defaultName(InputKind::Touchscreen) } };
    s.keyboardName = defaultName(InputKind::Keyboard);
    s.mouseName = defaultName(InputKind::Mouse);
    return s;
}

bool parseScenario(const std::string& text, const std::string& name, const std::string& base, Scenario& out,
    std::string& error)
{
    Scenario s = defaultScenario();
    std::string section;
    const ModelType* owner = nullptr; // the model whose section is being read
    int lineNo = 0;
    size_t pos = 0;
    auto fail = [&](const std::string& what) {
        error = name + ":" + std::to_string(lineNo) + ": " + what;
        return false;
    };
    if (text.size() > kMaxFile) {
        error = name + ": larger than 1 MiB";
        return false;
    }
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        std::string raw = text.substr(pos, end - pos);
        pos = end + 1;
        ++lineNo;
        if (raw.size() > kMaxLine)
            return fail("line longer than 4096 bytes");
        if (raw.find('\0') != std::string::npos)
            return fail("a NUL byte");
        std::string line = trim(raw);
        if (line.empty() || line[0] == ';' || line[0] == '#')
            continue;
        if (line[0] == '[') {
            if (line.back() != ']')
                return fail("a section line must end with ']'");
            section = trim(line.substr(1, line.size() - 2));
            owner = nullptr;
            for (const ModelType& type : modelTypes()) {
                for (const std::string& own : type.sections) {
                    if (own == section)
                        owner = &type;
                }
            }
            if (!owner && section != "workdir" && section != "board")
                return fail("unknown section [" + section + "]");
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos)
            return fail("expected KEY = VALUE");
        std::string key = trim(line.substr(0, eq));
        std::string value = trim(line.substr(eq + 1));
        if (key.empty())
            return fail("empty key");
        if (section.empty())
            return fail("key \"" + key + "\" outside a section");
        if (owner) {
            std::string what;
            if (!owner->parseKey(section, key, value, base, s, what))
                return fail(what);
        } else if (section == "workdir") {
            if (key == "config")
                s.configFile = resolve(base, value);
            else if (key == "res")
                s.resDir = resolve(base, value);
            else
                return fail("unknown key \"" + key + "\" in [workdir]");
        } else if (section == "board") {
            if (key == "tmpfs") {
                // PATH BYTES: an absolute path of plain names, 4096 bytes to 64 MiB.
                const size_t blank = value.find_last_of(" \t");
                const std::string path = blank == std::string::npos ? value : trim(value.substr(0, blank));
                int size = 0;
                if (blank == std::string::npos || path.size() < 2 || path[0] != '/'
                    || path.find("/..") != std::string::npos || path.find("/./") != std::string::npos
                    || path.find_first_of(" \t\"\\") != std::string::npos
                    || !scenarioInt(value.substr(blank + 1), 4096, 64L << 20, size))
                    return fail("tmpfs is PATH BYTES: an absolute path and 4096 to 67108864 bytes");
                s.tmpfsPath = path;
                s.tmpfsSize = size;
                continue;
            }
            if (key == "tmpfs_used") {
                int used = 0;
                if (!scenarioInt(value, 0, 64L << 20, used))
                    return fail("tmpfs_used is 0 to 67108864 bytes");
                s.tmpfsUsed = used;
                continue;
            }
            if (key != "confinement")
                return fail("unknown key \"" + key + "\" in [board]");
            if (value == "auto")
                s.confinement = Confinement::Auto;
            else if (value == "bubblewrap")
                s.confinement = Confinement::Bubblewrap;
            else if (value == "preload")
                s.confinement = Confinement::Preload;
            else
                return fail("confinement is auto, bubblewrap or preload");
        }
    }
    for (const ModelType& type : modelTypes()) {
        if (type.finish)
            type.finish(s);
    }
    out = s;
    return true;
}

bool loadScenario(const std::string& path, Scenario& out, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    std::string text;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        text.append(buf, static_cast<size_t>(in.gcount()));
        if (text.size() > kMaxFile) {
            error = path + ": larger than 1 MiB";
            return false;
        }
    }
    std::string base;
    size_t slash = path.rfind('/');
    if (slash != std::string::npos)
        base = path.substr(0, slash);
    else
        base = ".";
    return parseScenario(text, path, base, out, error);
}

}
