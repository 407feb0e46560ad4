// TextControl: the caption, colour and format flags of labels and buttons.

#include <lumi/controls.h>

int TextControl::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    return WndBase::create(parent, rect, style);
}

void TextControl::setText(const char* text, bool redraw)
{
    const char* value = text ? text : "";
    if (m_text == value)
        return;
    m_text = value;
    if (redraw)
        invalidateRect(nullptr);
}

void TextControl::setTextColor(unsigned short colour)
{
    setAndRepaint(m_textColor, colour);
}

void TextControl::setAlignFlag(unsigned int flags)
{
    setAndRepaint(m_align, flags);
}
