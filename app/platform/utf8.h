#pragma once
// One-character UTF-8 decoding and encoding limited to 16-bit code points,
// as the code-page tables hold them.

// Decodes the character at p from a 0-terminated text and stores its code
// point in *value. Returns the position after it, or null at the terminating
// 0 byte. An invalid byte (a stray continuation byte, 0xFE, 0xFF, or a lead
// byte whose sequence is cut short) gives 0xFEFF and advances one byte; a
// valid 4-, 5- or 6-byte sequence gives 0xFEFF and advances past it. Never
// reads past the terminating 0 byte.
const char* decodeUtf8Char(const char* p, unsigned short* value);

// Writes the UTF-8 form of code (one to three bytes) and a 0 byte to out,
// which must hold 4 bytes. Returns the number of bytes before the 0 byte.
int encodeUtf8Char(unsigned short code, char* out);
