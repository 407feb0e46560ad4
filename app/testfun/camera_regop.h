#pragma once
// The camera controller's register program: the boot environment's
// "camera_up" text, applied byte by byte to the controller's register window
// before the sensor is opened. Free of the toolkit so that it can be tested
// and fuzzed on its own.
//
// Grammar: a sequence of operations "OFFSET OP [~] VALUE", offset and value
// in hexadecimal, each operation followed by any one separator character.
// OP is '=' (set), '|' (OR) or '&' (AND); a '~' right after it complements
// the value. An unknown OP consumes its operation and writes nothing.
// Processing stops at the end of the text, or when an offset is the last
// thing in it. Example: "10=ff,14|~01" sets byte 0x10 to 0xFF and ORs byte
// 0x14 with 0xFE.

#include <cstddef>

// The size of the controller's register window, from its physical base.
constexpr size_t CAMERA_REG_WINDOW = 1296;

// Applies ops to the register window regs of CAMERA_REG_WINDOW bytes.
void excute_reg_op(char* ops, unsigned char* regs);

// The same on a window of size bytes: an operation whose offset lies outside
// it is skipped (and counted), never written, since a slip in the boot
// environment must not reach memory beyond the controller. Returns the number
// of operations that wrote a byte; *skipped (when given) receives the number
// of operations skipped for their offset.
int applyRegisterProgram(const char* ops, unsigned char* regs, size_t size, int* skipped = nullptr);
