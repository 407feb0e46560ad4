#pragma once
// Conversion between the local double-byte encodings and UTF-8, and a guess
// at which of the two a text is in.
//
// Every string these functions return is a heap string that the caller
// releases with free().

// Character set codes.
enum : unsigned short {
    CHARSET_UNICODE = 1, // UCS-2 code points, or UTF-8 as text
    CHARSET_GBK = 2,
    CHARSET_BIG5 = 3,
};

// Converts *length bytes of text from charset to UTF-8 and stores the length
// of the result in *length. A byte of 0x80 or more starts a two-byte code; a
// code without a mapping becomes "?". The walk also ends at a 0 byte.
// A lead byte that is the last byte inside *length takes the byte after it
// (normally the terminating 0) as its partner, so that byte must be readable.
// Charset 1 returns a 0-terminated copy of the *length bytes and leaves
// *length unchanged. Returns null when memory runs out; for charsets other
// than 1 also when nothing was converted and nothing reserved (an empty
// input, *length 0).
char* str2utf8(const char* text, int* length, unsigned short charset);

// Converts a 0-terminated UTF-8 text to charset, two bytes (high byte first)
// for each mapped character. A character without a mapping, which includes
// ASCII, leaves only its last byte. Returns null for an empty text.
char* utf82str(const char* utf8, unsigned short charset);

// Answers 1 when text reads as UTF-8 (up to length bytes, or up to the
// terminating 0 byte when length is -1), else 2 (treat it as GBK). The text
// must be 0-terminated even when a length is given.
int judgeCharset(const char* text, int length);

// Fills the converter's table registry. Every conversion calls it first; it
// does the same thing each time.
void MapTable2List();
