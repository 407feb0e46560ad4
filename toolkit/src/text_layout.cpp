// Line breaking of UTF-8 text for a font and a width.
//
// Latin text breaks after blanks; CJK text breaks between any two characters,
// except that closing punctuation never starts a line and opening punctuation
// never ends one. A word wider than the whole line is cut where it overflows.

#include "text_layout.h"

#include "font_impl.h"

#include <cstring>

namespace lumi {
namespace {

bool isBlank(uint32_t cp)
{
    return cp == ' ' || cp == '\t';
}

bool isCjk(uint32_t cp)
{
    return (cp >= 0x1100 && cp <= 0x11FF)       // Hangul Jamo
        || (cp >= 0x2E80 && cp <= 0x9FFF)       // radicals, CJK punctuation, kana, ideographs
        || (cp >= 0xA000 && cp <= 0xA4CF)       // Yi
        || (cp >= 0xAC00 && cp <= 0xD7AF)       // Hangul syllables
        || (cp >= 0xF900 && cp <= 0xFAFF)       // compatibility ideographs
        || (cp >= 0xFE30 && cp <= 0xFE4F)       // compatibility forms
        || (cp >= 0xFF00 && cp <= 0xFFEF)       // full-width forms
        || (cp >= 0x20000 && cp <= 0x3FFFF);    // supplementary ideographs
}

// Punctuation that must not start a line.
bool isClosing(uint32_t cp)
{
    switch (cp) {
    case ',': case '.': case ';': case ':': case '!': case '?': case ')': case ']': case '}':
    case 0x2026:   // …
    case 0x3001: case 0x3002:   // 、。
    case 0x3009: case 0x300B: case 0x300D: case 0x300F: case 0x3011: case 0x3015:   // 〉》」』】〕
    case 0xFF01: case 0xFF09: case 0xFF0C: case 0xFF0E: case 0xFF1A: case 0xFF1B: case 0xFF1F:   // ！），．：；？
        return true;
    default:
        return false;
    }
}

// Punctuation that must not end a line.
bool isOpening(uint32_t cp)
{
    switch (cp) {
    case '(': case '[': case '{':
    case 0x3008: case 0x300A: case 0x300C: case 0x300E: case 0x3010: case 0x3014:   // 〈《「『【〔
    case 0xFF08:   // （
        return true;
    default:
        return false;
    }
}

// May a line end between prev and next (both already known not to be '\n')?
bool canBreakBetween(uint32_t prev, uint32_t next)
{
    if (isBlank(next) || isClosing(next) || isOpening(prev))
        return false;
    return isBlank(prev) || isCjk(prev) || isCjk(next);
}

}

uint32_t decodeUtf8(const char* text, int len, int& pos)
{
    constexpr uint32_t kReplacement = 0xFFFD;
    if (pos < 0 || pos >= len) {
        ++pos;
        return kReplacement;
    }
    const auto lead = static_cast<uint8_t>(text[pos]);
    if (lead < 0x80) {
        ++pos;
        return lead;
    }
    int follow = 0;
    uint32_t cp = 0;
    uint32_t least = 0;   // smaller values are overlong encodings
    if ((lead & 0xE0) == 0xC0) {
        follow = 1;
        cp = lead & 0x1F;
        least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        follow = 2;
        cp = lead & 0x0F;
        least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        follow = 3;
        cp = lead & 0x07;
        least = 0x10000;
    } else {
        ++pos;
        return kReplacement;
    }
    if (len - pos - 1 < follow) {
        ++pos;
        return kReplacement;
    }
    for (int i = 1; i <= follow; ++i) {
        const auto b = static_cast<uint8_t>(text[pos + i]);
        if ((b & 0xC0) != 0x80) {
            ++pos;
            return kReplacement;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++pos;
        return kReplacement;
    }
    pos += follow + 1;
    return cp;
}

void layoutText(std::vector<TextLine>& lines, Font* font, const char* text, int len, int maxWidth,
    bool wrap, bool singleLine)
{
    lines.clear();
    if (!text)
        return;
    if (len < 0)
        len = static_cast<int>(std::strlen(text));
    if (singleLine)
        wrap = false;
    Font::Impl* impl = font ? font->impl() : nullptr;

    int lineStart = 0;
    int width = 0;           // of [lineStart, pos)
    int blankRun = 0;        // width of the blanks that end [lineStart, pos)
    bool hasChar = false;    // the line holds at least one character
    uint32_t prev = 0;
    // The last place the line may end: the line would be [lineStart, breakPos)
    // less breakTrim pixels of trailing blanks; the next one starts at breakPos.
    int breakPos = -1;
    int breakWidth = 0;
    int breakTrim = 0;
    int breakBlankBytes = 0;

    auto endLine = [&](int end, int lineWidth, int nextStart) {
        lines.push_back(TextLine { lineStart, end - lineStart, lineWidth });
        lineStart = nextStart;
        width = 0;
        blankRun = 0;
        hasChar = false;
        prev = 0;
        breakPos = -1;
    };

    int pos = 0;
    while (pos < len) {
        const int charStart = pos;
        const uint32_t cp = decodeUtf8(text, len, pos);
        if (cp == '\n' && !singleLine) {
            int end = charStart;
            if (end > lineStart && text[end - 1] == '\r')
                --end;   // "\r\n" ends a line like "\n"
            endLine(end, width, pos);
            continue;
        }
        const int advance = impl ? impl->advance(cp) : 0;

        if (wrap && hasChar && width + advance > maxWidth) {
            if (isBlank(cp)) {
                // The blank that overflows ends the line, and the blanks after
                // it do not start the next one.
                while (pos < len && isBlank(static_cast<uint8_t>(text[pos])))
                    ++pos;
                int end = charStart;
                int trimmed = width - blankRun;
                while (end > lineStart && isBlank(static_cast<uint8_t>(text[end - 1])))
                    --end;
                endLine(end, trimmed, pos);
                continue;
            }
            int carried = 0;   // width of what moves to the next line
            if (canBreakBetween(prev, cp)) {
                int end = charStart;
                while (end > lineStart && isBlank(static_cast<uint8_t>(text[end - 1])))
                    --end;
                endLine(end, width - blankRun, charStart);
            } else if (breakPos > lineStart) {
                carried = width - breakWidth;
                const int next = breakPos;
                endLine(next - breakBlankBytes, breakWidth - breakTrim, next);
            } else {
                // One word wider than the line: cut it here.
                endLine(charStart, width, charStart);
            }
            width = carried;
            hasChar = carried > 0 || lineStart < charStart;
            // Everything carried lies after the last break opportunity, so
            // the new line has none yet; prev is the character before cp.
            for (int p = lineStart; p < charStart;) {
                prev = decodeUtf8(text, len, p);
                blankRun = isBlank(prev) ? blankRun + (impl ? impl->advance(prev) : 0) : 0;
            }
        }

        if (hasChar && canBreakBetween(prev, cp)) {
            breakPos = charStart;
            breakWidth = width;
            breakTrim = blankRun;
            // Trailing blanks before the break are ASCII, one byte each.
            breakBlankBytes = 0;
            while (charStart - breakBlankBytes - 1 >= lineStart
                && isBlank(static_cast<uint8_t>(text[charStart - breakBlankBytes - 1])))
                ++breakBlankBytes;
        }
        width += advance;
        blankRun = isBlank(cp) ? blankRun + advance : 0;
        hasChar = true;
        prev = cp;
    }
    if (lineStart < len)
        lines.push_back(TextLine { lineStart, len - lineStart, width });
}

std::vector<TextLine> layoutText(Font* font, const char* text, int len, int maxWidth, bool wrap,
    bool singleLine)
{
    std::vector<TextLine> lines;
    layoutText(lines, font, text, len, maxWidth, wrap, singleLine);
    return lines;
}

}
