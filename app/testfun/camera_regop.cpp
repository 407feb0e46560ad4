#include "testfun/camera_regop.h"

#include <cstdint>
#include <cstdio>

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A hexadecimal number the way the C library's strtoul reads one in base 16:
// leading white space, a sign, an optional "0x", then digits. Too large a
// number stays at the largest 32-bit value (the device's unsigned long);
// only its low byte is ever written. Without digits nothing is consumed and
// the value is 0. Returns the position after the number.
const char* readHex(const char* p, uint32_t& value)
{
    value = 0;
    const char* q = p;
    while (isSpace(*q))
        ++q;
    bool negative = false;
    if (*q == '+' || *q == '-') {
        negative = *q == '-';
        ++q;
    }
    if (q[0] == '0' && (q[1] == 'x' || q[1] == 'X') && hexDigit(q[2]) >= 0)
        q += 2;
    if (hexDigit(*q) < 0)
        return p;
    bool overflow = false;
    for (int d; (d = hexDigit(*q)) >= 0; ++q) {
        if (value > (UINT32_MAX >> 4))
            overflow = true;
        value = (value << 4) | static_cast<uint32_t>(d);
    }
    if (overflow)
        return value = UINT32_MAX, q;
    if (negative)
        value = 0u - value;
    return q;
}

}

int applyRegisterProgram(const char* ops, unsigned char* regs, size_t size, int* skipped)
{
    int written = 0;
    int outside = 0;
    const char* p = ops;
    while (p && *p) {
        uint32_t offset = 0;
        p = readHex(p, offset);
        if (*p == '\0')
            break;
        const char op = *p++;
        bool complement = false;
        if (*p == '~') {
            complement = true;
            ++p;
        }
        uint32_t value = 0;
        p = readHex(p, value);
        if (complement)
            value = ~value;
        const unsigned char byte = static_cast<unsigned char>(value & 0xFF);
        if (op == '=' || op == '|' || op == '&') {
            if (offset >= size) {
                ++outside;
            } else {
                unsigned char& reg = regs[offset];
                // One 8-bit access per operation, as the controller's registers expect.
                if (op == '=')
                    reg = byte;
                else if (op == '|')
                    reg = static_cast<unsigned char>(reg | byte);
                else
                    reg = static_cast<unsigned char>(reg & byte);
                ++written;
            }
        }
        // The separator, whatever it is.
        if (*p)
            ++p;
    }
    if (skipped)
        *skipped = outside;
    return written;
}

void excute_reg_op(char* ops, unsigned char* regs)
{
    int skipped = 0;
    applyRegisterProgram(ops, regs, CAMERA_REG_WINDOW, &skipped);
    if (skipped > 0)
        printf("***ERR: camera_up: %d operation(s) outside the %zu-byte register window skipped\n", skipped,
            CAMERA_REG_WINDOW);
}
