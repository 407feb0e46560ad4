#include "scenario.h"

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

    bool parseInt(const std::string& text, long min, long max, int& out)
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

    bool parseKind(const std::string& word, InputKind& kind)
    {
        for (InputKind k :
            { InputKind::Keypad, InputKind::Keyboard, InputKind::Mouse, InputKind::Touchscreen }) {
            if (word == kindName(k)) {
                kind = k;
                return true;
            }
        }
        return false;
    }

    // C-style escapes in command output: \n, \t, \\ and \0NN are all a scenario needs.
    bool unescape(const std::string& in, std::string& out)
    {
        out.clear();
        for (size_t i = 0; i < in.size(); ++i) {
            if (in[i] != '\\') {
                out += in[i];
                continue;
            }
            if (++i == in.size())
                return false;
            switch (in[i]) {
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case '\\':
                out += '\\';
                break;
            case 's':
                out += ' ';
                break;
            default:
                return false;
            }
        }
        return true;
    }

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
    int lineNo = 0;
    size_t pos = 0;
    // Names given per kind before or after the devices line both count.
    std::string names[4];
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
            if (section != "screen" && section != "input" && section != "workdir" && section != "commands"
                && section != "board")
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
        if (section == "screen") {
            if (key == "width" || key == "height") {
                int v = 0;
                if (!parseInt(value, 16, 4096, v))
                    return fail(key + " must be a number from 16 to 4096");
                (key == "width" ? s.width : s.height) = v;
            } else if (key == "bpp") {
                int v = 0;
                if (!parseInt(value, 16, 32, v) || (v != 16 && v != 32))
                    return fail("bpp must be 16 or 32");
                s.bpp = v;
            } else {
                return fail("unknown key \"" + key + "\" in [screen]");
            }
        } else if (section == "input") {
            InputKind kind;
            if (key == "devices") {
                s.inputs.clear();
                std::istringstream words(value);
                std::string w;
                while (words >> w) {
                    if (!parseKind(w, kind))
                        return fail(
                            "unknown device kind \"" + w + "\" (keypad, keyboard, mouse, touchscreen)");
                    if (s.inputs.size() == 16)
                        return fail("at most 16 input devices");
                    s.inputs.push_back({ kind, std::string() });
                }
            } else if (key.size() > 5 && key.compare(key.size() - 5, 5, ".name") == 0
                && parseKind(key.substr(0, key.size() - 5), kind)) {
                if (value.empty() || value.size() > 63)
                    return fail("a device name has 1 to 63 characters");
                names[static_cast<int>(kind)] = value;
            } else {
                return fail("unknown key \"" + key + "\" in [input]");
            }
        } else if (section == "workdir") {
            if (key == "config")
                s.configFile = resolve(base, value);
            else if (key == "res")
                s.resDir = resolve(base, value);
            else
                return fail("unknown key \"" + key + "\" in [workdir]");
        } else if (section == "commands") {
            std::string status = value;
            std::string rest;
            size_t sp = value.find_first_of(" \t");
            if (sp != std::string::npos) {
                status = value.substr(0, sp);
                rest = trim(value.substr(sp));
            }
            CommandRule rule;
            rule.pattern = key;
            if (!parseInt(status, 0, 255, rule.status))
                return fail("a command's value is STATUS [OUTPUT], STATUS from 0 to 255");
            if (!unescape(rest, rule.output))
                return fail("bad escape in the output (\\n, \\t, \\s, \\\\)");
            // Commands print whole lines.
            if (!rule.output.empty() && rule.output.back() != '\n')
                rule.output += '\n';
            s.commands.push_back(rule);
        } else if (section == "board") {
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
    for (auto& in : s.inputs)
        in.name = names[static_cast<int>(in.kind)].empty() ? defaultName(in.kind)
                                                           : names[static_cast<int>(in.kind)];
    if (!names[static_cast<int>(InputKind::Keyboard)].empty())
        s.keyboardName = names[static_cast<int>(InputKind::Keyboard)];
    if (!names[static_cast<int>(InputKind::Mouse)].empty())
        s.mouseName = names[static_cast<int>(InputKind::Mouse)];
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
