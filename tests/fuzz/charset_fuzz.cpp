// Arbitrary bytes through the character-set conversions and the charset guess.
// Besides memory safety, checks the properties every caller relies on: results
// are 0-terminated with the reported length, a GBK or Big5 conversion yields
// text that reads as UTF-8, and a charset-1 conversion is an exact copy.

#include "platform/charset.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkStr2Utf8(const char* text, int size, unsigned short charset)
{
    int length = size;
    char* out = str2utf8(text, &length, charset);
    if (charset == CHARSET_UNICODE) {
        require(out != nullptr);
        require(length == size);
        require(std::memcmp(out, text, static_cast<size_t>(size)) == 0 && out[size] == 0);
    } else if (out) {
        require(length >= 0 && out[length] == 0 && std::strlen(out) == static_cast<size_t>(length));
        // "?" stands in for unknown pairs, so the result never holds a byte
        // the guess would reject.
        require(judgeCharset(out, -1) == 1);
        require(judgeCharset(out, length) == 1);
    } else {
        require(length == 0);
    }
    std::free(out);
}

void checkUtf82Str(const char* text, unsigned short charset)
{
    char* out = utf82str(text, charset);
    // Every character gives one or two bytes, so the result is never longer
    // than twice the input and is empty only for an empty input.
    if (out)
        require(std::strlen(out) <= 2 * std::strlen(text));
    else
        require(text[0] == 0);
    std::free(out);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1 << 16)
        return 0;
    // An exact-size heap copy with the 0 byte the functions expect after the
    // text: anything read beyond it is caught by the address sanitizer.
    std::unique_ptr<char[]> text(new char[size + 1]);
    if (size)
        std::memcpy(text.get(), data, size);
    text[size] = 0;
    const int n = static_cast<int>(size);

    checkStr2Utf8(text.get(), n, CHARSET_GBK);
    checkStr2Utf8(text.get(), n, CHARSET_BIG5);
    checkStr2Utf8(text.get(), n, CHARSET_UNICODE);
    // A length that stops inside the text, as callers converting a prefix do.
    checkStr2Utf8(text.get(), n / 2, CHARSET_GBK);

    checkUtf82Str(text.get(), CHARSET_GBK);
    checkUtf82Str(text.get(), CHARSET_BIG5);

    const int whole = judgeCharset(text.get(), -1);
    require(whole == 1 || whole == 2);
    const int prefix = judgeCharset(text.get(), n / 2);
    require(prefix == 1 || prefix == 2);
    const int exact = judgeCharset(text.get(), n);
    require(exact == 1 || exact == 2);
    return 0;
}
