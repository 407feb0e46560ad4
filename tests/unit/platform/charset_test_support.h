#pragma once
// Helpers for the character-set tests: conversion results are heap strings
// that must be released with free(), so the tests hold them in HeapString.

#include "platform/charset.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace charsettest {

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};
using HeapString = std::unique_ptr<char, FreeDeleter>;

struct Converted {
    HeapString text;
    int length { 0 };

    // The result's bytes as a string (length bytes, which must be followed by
    // a 0 byte).
    std::string bytes() const
    {
        return text ? std::string(text.get(), static_cast<size_t>(length)) : std::string();
    }
};

// str2utf8 over all of `in`; std::string keeps a 0 byte after its data, the
// terminator a final lead byte takes as its partner.
inline Converted toUtf8(const std::string& in, unsigned short charset)
{
    Converted out;
    out.length = static_cast<int>(in.size());
    out.text.reset(str2utf8(in.c_str(), &out.length, charset));
    return out;
}

// utf82str on a 0-terminated text; an empty string for a null result.
inline std::string fromUtf8(const std::string& in, unsigned short charset)
{
    HeapString out(utf82str(in.c_str(), charset));
    return out ? std::string(out.get()) : std::string();
}

// UTF-8 of one code point up to U+FFFF, written out independently of the
// converter's own encoder.
inline std::string utf8Of(unsigned int cp)
{
    std::string s;
    if (cp < 0x80) {
        s += static_cast<char>(cp);
    } else if (cp < 0x800) {
        s += static_cast<char>(0xC0 + cp / 64);
        s += static_cast<char>(0x80 + cp % 64);
    } else {
        s += static_cast<char>(0xE0 + cp / 4096);
        s += static_cast<char>(0x80 + cp / 64 % 64);
        s += static_cast<char>(0x80 + cp % 64);
    }
    return s;
}

// Two bytes, high byte first.
inline std::string codeBytes(unsigned int code)
{
    return std::string { static_cast<char>(code >> 8), static_cast<char>(code & 0xFF) };
}

} // namespace charsettest
