#pragma once
// Breaking UTF-8 text into lines that fit a width, shared by DC::drawText and
// the Edit control.

#include <cstdint>
#include <vector>

class Font;

namespace lumi {

struct TextLine {
    int start { 0 };    // byte offset of the line in the text
    int length { 0 };   // bytes, without the line break
    int width { 0 };    // pixels in the font
};

// Splits the first len bytes of text (len -1: up to the NUL) into lines:
// always at '\n' (unless singleLine, which keeps everything on one line and
// shows line breaks as nothing), and, when wrap is set, wherever the next
// character would pass maxWidth: after a blank for Latin words, between any two
// CJK characters, inside a word only when the word alone is wider than
// maxWidth. Every line holds at least one character, so the result is finite
// for any width. A text ending in '\n' gives no empty last line.
std::vector<TextLine> layoutText(Font* font, const char* text, int len, int maxWidth, bool wrap,
    bool singleLine = false);
// The same into lines (cleared first), reusing its storage: what the paint
// path uses so that drawing text allocates nothing once warmed up.
void layoutText(std::vector<TextLine>& lines, Font* font, const char* text, int len, int maxWidth,
    bool wrap, bool singleLine = false);

// Decodes one UTF-8 character at text[pos] (of len bytes) and advances pos.
// Malformed or truncated sequences yield U+FFFD and advance by one byte.
uint32_t decodeUtf8(const char* text, int len, int& pos);

}
