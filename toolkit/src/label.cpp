// Label: static text, optionally on a filled background.

#include <lumi/controls.h>

Label::Label()
    : TextControl(DT_VCENTER_LEFT, 0xFFFF)
{
    // A label shows text; focus movement skips it.
    setAcceptFocus(false);
}

void Label::setBackColor(unsigned short colour)
{
    // The label fills the colour itself in onPaint, because the toolkit asks
    // the parent (not the label) for the background of a transparent label,
    // and labels are usually created transparent. Filled, it paints every
    // pixel of itself: the screen then neither erases it nor paints its
    // parent under it (the quick test's bands and legend are such labels).
    m_hasBackColor = true;
    setOpaquePaint(true);
    WndBase::setBackColor(colour);
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
