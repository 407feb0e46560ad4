#pragma once
// The test-input socket: a Unix stream socket on which scripts and tests play
// the operator with line commands, fed through the same paths as the device's
// keys and touch screen.
//
//   key CODE [down|up]   a key; without a state, a press and a release
//   press X Y            the pointer goes down at (X, Y)
//   move X Y             the held pointer moves to (X, Y)
//   release X Y          the pointer goes up at (X, Y)
//   tap X Y              press and release at (X, Y)
//
// Words are separated by blanks; numbers are decimal. Blank lines and lines
// starting with '#' are ignored. Lines are at most kMaxInputLine bytes.

#include <memory>
#include <string>

namespace lumi {

constexpr size_t kMaxInputLine = 256;

struct InputCommand {
    enum Kind { None, Key, Press, Move, Release, Tap };
    Kind kind { None };
    int code { 0 }; // Key: the key code (0..65535)
    bool hasState { false }; // Key: down or up was given
    bool up { false }; // Key: the state given
    int x { 0 }; // pointer commands: screen coordinates (-32768..32767)
    int y { 0 };
};

// Parses one line (without its newline; a trailing '\r' is allowed). Returns
// false with the reason in error for anything malformed. Safe on any bytes.
bool parseInputCommand(const std::string& line, InputCommand& out, std::string& error);

// A listening test-input socket served from the running GuiRT's loop.
// Deleting it closes the socket and every client and removes the socket file.
class TestInputSocket {
public:
    virtual ~TestInputSocket() = default;
};

// Listens on a new socket at path (a stale socket there is replaced; any
// other file is left alone and makes this fail), readable and writable by the
// owner only. Null (with a line on stderr) on failure.
std::unique_ptr<TestInputSocket> listenForTestInput(const char* path);
}
