// Edit: a multi-line text box with word wrap, a caret and a scroll bar.
//
// The text is kept whole as UTF-8; the display lines are computed from it
// with the shared text layout and cached until the text, the width or the
// font changes. Appending at the end of a text that ends a line (how logs
// write) lays out only the new part, so a long log stays cheap to extend.

#include <lumi/config.h>
#include <lumi/controls.h>

#include "text_layout.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kMargin = 2;   // blank pixels between the border and the text
constexpr int kMinThumb = 8;
constexpr unsigned short kTrackColour = 0xC618;
constexpr unsigned short kThumbColour = 0x7BEF;
constexpr int kSysEditBack = 3;
constexpr int kSysEditText = 4;
constexpr int kSysDisabledText = 5;

// Encodes a code point from the Basic Multilingual Plane; 0 bytes for the
// surrogate range, which is not a character.
int encodeUtf8(unsigned int cp, char out[3])
{
    if (cp < 0x80) {
        out[0] = static_cast<char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        out[0] = static_cast<char>(0xC0 | (cp >> 6));
        out[1] = static_cast<char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF)
        return 0;
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
}

bool isContinuationByte(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}

Edit::Edit()
{
    m_textColor = SysConf::getColor(kSysEditText);
}

int Edit::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    const int rc = WndBase::create(parent, rect, style);
    if (rc == 0)
        setBackColor(SysConf::getColor(kSysEditBack));
    return rc;
}

void Edit::setText(const char* text)
{
    m_text = text ? text : "";
    m_caret = static_cast<int>(m_text.size());
    m_topLine = 0;
    m_layoutValid = false;
    invalidateRect(nullptr);
}

int Edit::replaceText(const char* text)
{
    if (!text)
        return -1;
    const size_t len = std::strlen(text);
    if (len == 0)
        return 0;
    const int pos = std::clamp(m_caret, 0, static_cast<int>(m_text.size()));
    const bool atLineStart = pos == 0 || m_text[pos - 1] == '\n';
    const bool appendOnly = m_layoutValid && pos == static_cast<int>(m_text.size()) && atLineStart
        && m_layoutFont == getFont() && m_layoutWidth == textArea().width();

    m_text.insert(static_cast<size_t>(pos), text, len);
    m_caret = pos + static_cast<int>(len);
    if (appendOnly) {
        // Lines before a '\n' never change when text is added after it.
        for (const lumi::TextLine& l : lumi::layoutText(m_layoutFont, m_text.data() + pos,
                 static_cast<int>(len), std::max(1, m_layoutWidth), true))
            m_lines.push_back(Line { pos + l.start, l.length });
    } else {
        m_layoutValid = false;
    }
    invalidateRect(nullptr);
    return 0;
}

void Edit::setTextColor(unsigned short colour)
{
    setAndRepaint(m_textColor, colour);
}

int Edit::lineCount()
{
    layout();
    return static_cast<int>(m_lines.size());
}

void Edit::visibleLines(int* first, int* last)
{
    layout();
    if (first)
        *first = m_topLine;
    if (last)
        *last = m_topLine + linesPerPage();
}

void Edit::setTopLine(int line)
{
    layout();
    const int maxTop = std::max(0, static_cast<int>(m_lines.size()) - 1);
    line = std::clamp(line, 0, maxTop);
    if (line == m_topLine)
        return;
    m_topLine = line;
    invalidateRect(nullptr);
}

void Edit::setScrollBarWidth(int width)
{
    width = std::max(0, width);
    if (width == m_scrollBarWidth)
        return;
    m_scrollBarWidth = width;
    m_layoutValid = false;
    invalidateRect(nullptr);
}

int Edit::handleMessage(LUMIMessage& msg)
{
    // The base already routes character messages to onChar and keys to
    // onKeydown; the override exists so subclasses have one place to hook.
    return WndBase::handleMessage(msg);
}

Rect Edit::textArea() const
{
    Rect area;
    getClientRect(area);
    area.right -= m_scrollBarWidth;
    area.shrink(kMargin, kMargin);
    return area;
}

void Edit::layout()
{
    Font* font = getFont();
    const int width = textArea().width();
    if (m_layoutValid && font == m_layoutFont && width == m_layoutWidth)
        return;
    m_lines.clear();
    if (font && !m_text.empty()) {
        for (const lumi::TextLine& l :
            lumi::layoutText(font, m_text.data(), static_cast<int>(m_text.size()), std::max(1, width), true))
            m_lines.push_back(Line { l.start, l.length });
    }
    m_layoutFont = font;
    m_layoutWidth = width;
    m_layoutValid = true;
    // The text may have become shorter than the view.
    m_topLine = std::clamp(m_topLine, 0, std::max(0, static_cast<int>(m_lines.size()) - 1));
}

int Edit::linesPerPage()
{
    Font* font = getFont();
    const int lineHeight = font ? font->lineHeight() : 0;
    if (lineHeight <= 0)
        return 0;
    return std::max(0, textArea().height() / lineHeight);
}

int Edit::caretLine()
{
    layout();
    if (m_lines.empty())
        return 0;
    if (m_caret >= static_cast<int>(m_text.size()) && m_text.back() == '\n')
        return static_cast<int>(m_lines.size());
    // The last line starting at or before the caret: at a wrap the caret
    // belongs to the line it starts.
    const auto after = std::upper_bound(m_lines.begin(), m_lines.end(), m_caret,
        [](int caret, const Line& line) { return caret < line.start; });
    return std::max(0, static_cast<int>(after - m_lines.begin()) - 1);
}

void Edit::scrollToCaret()
{
    const int line = caretLine();
    const int page = std::max(1, linesPerPage());
    int top = m_topLine;
    if (line < top)
        top = line;
    else if (line >= top + page)
        top = line - page + 1;
    setTopLine(top);
}

int Edit::onPaint()
{
    PaintDC dc(this);
    layout();
    Font* font = getFont();
    const int lineHeight = font ? font->lineHeight() : 0;
    const Rect area = textArea();
    const int count = static_cast<int>(m_lines.size());

    // The background was filled by the toolkit (onDrawBackground) before this.
    if (font && lineHeight > 0 && !area.isEmpty()) {
        dc.selectFont(font);
        dc.setTextColor(isStyle(WS_DISABLED) ? SysConf::getColor(kSysDisabledText) : m_textColor);
        // A partly visible line at the bottom is drawn too, cut by the window.
        int y = area.top;
        for (int i = m_topLine; i < count && y < area.bottom; ++i, y += lineHeight) {
            const Line& line = m_lines[static_cast<size_t>(i)];
            if (line.length > 0)
                dc.drawText(Rect(area.left, y, area.right, y + lineHeight), m_text.data() + line.start,
                    DT_TOP | DT_SINGLELINE, line.length);
        }

        if (hasFocus()) {
            const int caret = caretLine();
            const int row = caret - m_topLine;
            if (row >= 0 && (area.top + row * lineHeight) < area.bottom) {
                const int start = caret < count ? m_lines[static_cast<size_t>(caret)].start : m_caret;
                const int x = area.left + font->textWidth(m_text.data() + start, m_caret - start);
                const int top = area.top + row * lineHeight;
                dc.setPenColor(m_textColor);
                dc.drawVLine(std::min(x, area.right - 1), top, top + lineHeight - 1);
            }
        }
    }

    const int page = linesPerPage();
    if (m_scrollBarWidth > 0 && count > page) {
        Rect client;
        getClientRect(client);
        const Rect track(client.right - m_scrollBarWidth, client.top, client.right, client.bottom);
        dc.fillRect(track, kTrackColour);
        // Thumb length and position show the visible share of the lines.
        const int h = track.height();
        const int thumbHeight = std::clamp(static_cast<int>(static_cast<long long>(h) * page / count),
            std::min(kMinThumb, h), h);
        int thumbTop = track.top + static_cast<int>(static_cast<long long>(h) * m_topLine / count);
        thumbTop = std::min(thumbTop, track.bottom - thumbHeight);
        Rect thumb(track.left, thumbTop, track.right, thumbTop + thumbHeight);
        if (thumb.width() > 4)
            thumb.shrink(2, 0);
        dc.fillRect(thumb, kThumbColour);
    }
    return 0;
}

int Edit::onKeydown(int key, int state)
{
    // Up and down scroll while there is somewhere to scroll to; at either end
    // they move the focus like in any other window.
    if (key == VK_Up && topLine() > 0) {
        setTopLine(topLine() - 1);
        return 0;
    }
    if (key == VK_Down && topLine() + linesPerPage() < lineCount()) {
        setTopLine(topLine() + 1);
        return 0;
    }
    return WndBase::onKeydown(key, state);
}

int Edit::onChar(short ch)
{
    const unsigned int code = static_cast<unsigned short>(ch);
    if (code == VK_Back) {
        if (m_caret <= 0)
            return 0;
        int start = m_caret - 1;
        while (start > 0 && m_caret - start < 4 && isContinuationByte(m_text[static_cast<size_t>(start)]))
            --start;
        m_text.erase(static_cast<size_t>(start), static_cast<size_t>(m_caret - start));
        m_caret = start;
    } else {
        char bytes[3];
        int n = 0;
        if (code == '\n' || code == '\r')
            n = encodeUtf8('\n', bytes);
        else if (code >= 32 && !(code >= 127 && code < 160))   // not DEL nor C1 controls
            n = encodeUtf8(code, bytes);
        if (n == 0)
            return 0;   // other control characters are not text
        m_text.insert(static_cast<size_t>(m_caret), bytes, static_cast<size_t>(n));
        m_caret += n;
    }
    m_layoutValid = false;
    invalidateRect(nullptr);
    scrollToCaret();
    return 0;
}

int Edit::onMove(const Rect& rect, bool resized)
{
    if (resized)
        m_layoutValid = false;
    return WndBase::onMove(rect, resized);
}

int Edit::onFontChanged(Font* font)
{
    m_layoutValid = false;
    return WndBase::onFontChanged(font);
}
