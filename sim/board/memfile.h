#pragma once
// Small pieces the models of the drivers' files share: a file whose content
// the board made, a socket pair node whose writes the board sees, and the
// yes/no values of their scenario keys.

#include <string>

namespace board {

// A memory file holding text, positioned at its start; -1 with errno on failure.
int memoryFile(const std::string& name, const std::string& text);
// A SOCK_SEQPACKET pair: *boardEnd stays with the board (non-blocking), the
// returned end goes to the program; -1 with errno on failure.
int packetPair(int* boardEnd);
// "yes"/"no" (also "1"/"0", "true"/"false"); false for anything else.
bool scenarioBool(const std::string& text, bool& out);

}
