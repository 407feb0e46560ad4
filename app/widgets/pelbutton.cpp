#include "widgets/pelbutton.h"

#include <lumi/message.h>

#include <cstdlib>
#include <cstring>

PelButton::PelButton() = default;

PelButton::~PelButton()
{
    if (m_ownBmp)
        delete m_bmp;
    m_bmp = nullptr;
    std::free(m_text);
    m_text = nullptr;
    m_defaultBmp.destroy();
}

void PelButton::setColor(unsigned short bg, unsigned short bg2)
{
    m_bgColor = bg;
    m_bgColor2 = bg2;
}

void PelButton::setTextColor(unsigned short text, unsigned short pen)
{
    m_textColor = text;
    m_penColor = pen;
}

void PelButton::setAlignFlag(int flags)
{
    m_alignFlag = static_cast<unsigned int>(flags);
}

void PelButton::setText(const char* text, bool redraw)
{
    std::free(m_text);
    m_text = strdup(text ? text : "");
    if (redraw)
        invalidateRect(nullptr);
}

void PelButton::setBmp(Bitmap* bmp, BmpSlotType slot, bool own)
{
    // Attaching the picture the button already holds must not free it.
    if (m_ownBmp && m_bmp && m_bmp != bmp)
        delete m_bmp;
    m_bmp = bmp;
    m_ownBmp = own;
    m_bmpSlot = slot;
}

int PelButton::onFocus(bool focused)
{
    invalidateRect(nullptr);
    postNotifyMsg(PELBUTTON_NOTIFY_FOCUS, focused ? 1 : 0);
    return 0;
}

int PelButton::onMouseStatusChanged()
{
    invalidateRect(nullptr);
    return 0;
}

int PelButton::onPaint()
{
    PaintDC dc(this);
    Rect client;
    getClientRect(client);
    drawButton(dc, client, isStatus(WS_FOCUSED), isStatus(WS_PRESSED), isStyle(WS_DISABLED));
    return 0;
}

void PelButton::drawButton(DC& dc, Rect rect, bool /*focused*/, bool pressed, bool disabled)
{
    redrawBackground(dc, &rect, this);
    // One face colour in every state: the pressed look is the sunken caption.
    dc.fillRect(rect, m_bgColor);

    if (!m_text || !*m_text)
        return;
    // The caption sits a little above the middle, clear of the bottom edge.
    Rect textRect = rect;
    textRect.bottom -= 5;
    textRect.shrink(2, 2);
    if (pressed && (m_bmpSlot == BMP_SLOT_FACE || m_bmpSlot == BMP_SLOT_ICON))
        textRect.offset(2, 2);
    dc.setPenColor(m_penColor);
    dc.setTextColor(disabled ? kDisabledTextColor : m_textColor);
    dc.drawText(textRect, m_text, m_alignFlag, -1);
}
