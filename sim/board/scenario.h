#pragma once
// A board's scenario: the screen, the input devices present at start, what
// the program's working directory holds, and the commands the board stands
// in for. Read from an INI file; anything the board does not know is an
// error naming the file and the line, so a typing mistake is never ignored.
// The board reads [workdir] and [board]; every other section belongs to a
// device model (device_model.h), which parses and checks its own keys.

#include <map>
#include <string>
#include <vector>

namespace board {

enum class InputKind { Keypad, Keyboard, Mouse, Touchscreen };

struct InputEntry {
    InputKind kind { InputKind::Keypad };
    std::string name; // the evdev name (EVIOCGNAME)
};

struct CommandRule {
    std::string pattern; // a shell-style pattern matched against "NAME ARG..."
    int status { 0 };
    std::string output;
};

enum class Confinement { Auto, Bubblewrap, Preload };

struct Scenario {
    int width { 800 };
    int height { 480 };
    int bpp { 16 };
    std::vector<InputEntry> inputs; // event0, event1, ... in order
    std::string keyboardName; // names of the devices plug adds
    std::string mouseName;
    std::string configFile; // copied to WORKDIR/config.ini (absolute)
    std::string resDir; // copied to WORKDIR/res (absolute)
    std::vector<CommandRule> commands;
    Confinement confinement { Confinement::Auto };
    // A small file system (tmpfs) of tmpfsSize bytes at tmpfsPath inside the
    // board, for a program's files on a full disk; bubblewrap only.
    std::string tmpfsPath;
    long tmpfsSize { 0 };
    // Bytes already taken there by a file "filler" when the program starts.
    long tmpfsUsed { 0 };
    std::string inputNames[4]; // per InputKind from [input], before they are given to the devices
    // Sections a model keeps as text: section -> key -> value (already checked by the model).
    std::map<std::string, std::map<std::string, std::string>> settings;
};

// The board with no scenario file: an 800x480 RGB565 screen, a keypad and a
// multi-touch screen.
Scenario defaultScenario();

// Reads path; false with error ("FILE:LINE: what is wrong") when it is not a valid scenario.
bool loadScenario(const std::string& path, Scenario& out, std::string& error);
// The same from text already read (name is used in errors, base resolves relative paths).
bool parseScenario(const std::string& text, const std::string& name, const std::string& base, Scenario& out,
    std::string& error);

// A whole decimal number from min to max.
bool scenarioInt(const std::string& text, long min, long max, int& out);

const char* kindName(InputKind kind);
std::string defaultName(InputKind kind);

}
