// Label: static text, optionally on a filled background.

#include <lumi/controls.h>

Label::Label()
{
    // A label shows text; focus movement skips it.
    setAcceptFocus(false);
}

int Label::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    return WndBase::create(parent, rect, style);
}

void Label::setText(const char* text, bool redraw)
{
    const char* value = text ? text : "";
    if (m_text == value)
        return;
    m_text = value;
    if (redraw)
        invalidateRect(nullptr);
}

void Label::setTextColor(unsigned short colour)
{
    if (m_textColor == colour)
        return;
    m_textColor = colour;
    invalidateRect(nullptr);
}

void Label::setBackColor(unsigned short colour)
{
    // The label fills the colour itself in onPaint, because the toolkit asks
    // the parent (not the label) for the background of a transparent label,
    // and labels are usually created transparent.
    m_hasBackColor = true;
    WndBase::setBackColor(colour);
}

void Label::setAlignFlag(unsigned int flags)
{
    if (m_align == flags)
        return;
    m_align = flags;
    invalidateRect(nullptr);
}

int Label::onPaint()
{
    PaintDC dc(this);
    Rect client;
    getClientRect(client);
    if (m_hasBackColor)
        dc.fillRect(client, backColor());
    if (m_text.empty())
        return 0;
    dc.selectFont(getFont());
    dc.setTextColor(m_textColor);
    dc.drawText(client, m_text.c_str(), m_align);
    return 0;
}
