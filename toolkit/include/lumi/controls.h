#pragma once
// The toolkit's stock controls: a static text label, a push button and a
// multi-line edit box.

#include <lumi/gdi.h>
#include <lumi/window.h>

#include <string>
#include <vector>

// What the label and the button share: a caption with its colour and text
// format flags. Each setter repaints only when the value changes.
class TextControl : public WndBase {
public:
    int create(WndBase* parent, const Rect& rect, unsigned int style);
    void setText(const char* text, bool redraw = true); // UTF-8, copied; null is empty
    const char* getText() const { return m_text.c_str(); }
    void setTextColor(unsigned short colour);
    unsigned short textColor() const { return m_textColor; }
    void setAlignFlag(unsigned int flags);
    unsigned int alignFlag() const { return m_align; }

protected:
    TextControl(unsigned int align, unsigned short textColour)
        : m_align(align)
        , m_textColor(textColour)
    {
    }

    std::string m_text;
    unsigned int m_align;
    unsigned short m_textColor;
};

// Static text. Never takes the focus. With a background colour set it fills
// its rectangle; without one it shows the parent's background (the usual
// case for transparent labels) or its own window background.
class Label : public TextControl {
public:
    Label();
    void setBackColor(unsigned short colour);

protected:
    int onPaint() override;

private:
    bool m_hasBackColor { false };

    static constexpr unsigned int DT_VCENTER_LEFT = 0x12;
};

// A push button: a flat face in the system button colour with a one-pixel
// darker border; focus adds a one-pixel frame inside it. While held it has the
// pressed status bits, a darker face and its caption one pixel lower right; a
// release inside, or the enter key (VK_Select), notifies the parent with
// NOTIFY_CLICKED.
class Button : public TextControl {
public:
    Button();

protected:
    int onPaint() override;
    int onKeydown(int key, int state) override;   // enter clicks
    int onMouseStatusChanged() override;
    int onFocus(bool focused) override;
};

// A multi-line text box. Text is UTF-8; lines are broken at '\n' and wrapped
// at the box's width. Line numbers count display lines (after wrapping); an
// empty line after a final '\n' is where the caret waits and is not counted.
// The text area is the client area less a 2-pixel margin and, on the right,
// the scroll bar's width (reserved whenever one is set, so that text does not
// re-wrap when the bar appears; the bar shows only while lines are hidden).
// Up and down scroll by a line while they can; characters (MSG_CHAR) are
// typed at the caret, backspace (8) deletes before it.
class Edit : public WndBase {
public:
    Edit();
    int create(WndBase* parent, const Rect& rect, unsigned int style);

    void setText(const char* text);   // replaces everything; caret at the end, view at the top
    const char* getText() const { return m_text.c_str(); }
    // Inserts text at the caret and leaves the caret after it. The view does
    // not move (see setTopLine).
    int replaceText(const char* text);
    void setTextColor(unsigned short colour);
    unsigned short textColor() const { return m_textColor; }
    int lineCount();
    // *first: the top line shown; *last: one past the last line that fits
    // (first + the number of whole lines the box shows).
    void visibleLines(int* first, int* last);
    void setTopLine(int line);   // clamped to the text
    int topLine() const { return m_topLine; }
    void setScrollBarWidth(int width);
    int caretPos() const { return m_caret; }   // byte offset into the text

protected:
    int handleMessage(LUMIMessage& msg) override;
    int onPaint() override;
    int onKeydown(int key, int state) override;
    int onChar(short ch) override;
    int onMove(const Rect& rect, bool resized) override;
    int onFontChanged(Font* font) override;

private:
    struct Line {
        int start;    // byte offset
        int length;   // bytes, without the '\n'
    };
    void layout();
    int linesPerPage();
    void scrollToCaret();
    Rect textArea() const;   // client area less margins and the scroll bar
    int caretLine();         // display line of the caret (lineCount() after a final '\n')

    std::string m_text;
    std::vector<Line> m_lines;
    bool m_layoutValid { false };
    Font* m_layoutFont { nullptr };   // what m_lines were made for
    int m_layoutWidth { 0 };
    int m_caret { 0 };
    int m_topLine { 0 };
    int m_scrollBarWidth { 0 };
    unsigned short m_textColor { 0x0000 };
};
