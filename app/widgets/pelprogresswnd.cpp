#include "widgets/pelprogresswnd.h"

#include <lumi/message.h>

#include <cstdio>

namespace {

// Attaches a picture to one of the bar's slots, deleting the old one when it
// was owned and is not the one being attached again; -1 for no picture.
int attachPicture(PelProgressWnd& bar, Bitmap*& slot, bool& owned, Bitmap* bmp, bool own)
{
    if (!bmp)
        return -1;
    if (owned && slot && slot != bmp)
        delete slot;
    slot = bmp;
    owned = own;
    bar.invalidateRect(nullptr);
    return 0;
}

}

PelProgressWnd::PelProgressWnd() = default;

PelProgressWnd::~PelProgressWnd()
{
    if (m_ownBarBmp)
        delete m_barBmp;
    if (m_ownStepBmp)
        delete m_stepBmp;
}

int PelProgressWnd::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    return WndBase::create(parent, rect, style);
}

int PelProgressWnd::setRange(int min, int max)
{
    if (max < min || max < 0 || min < 0)
        return -1;
    if (min == m_min && max == m_max)
        return 0;
    m_min = min;
    m_max = max;
    invalidateRect(nullptr);
    return 0;
}

int PelProgressWnd::getRange(int& min, int& max) const
{
    min = m_min;
    max = m_max;
    return 0;
}

int PelProgressWnd::setStep(int step)
{
    if (step <= 2)
        return -1;
    if (step == m_step)
        return 0;
    m_step = step;
    invalidateRect(nullptr);
    return 0;
}

int PelProgressWnd::setPos(int pos)
{
    m_pos = pos;
    invalidateRect(nullptr);
    return 0;
}

int PelProgressWnd::setBarBmp(Bitmap* bmp, bool own)
{
    return attachPicture(*this, m_barBmp, m_ownBarBmp, bmp, own);
}

int PelProgressWnd::setStepBmp(Bitmap* bmp, bool own)
{
    return attachPicture(*this, m_stepBmp, m_ownStepBmp, bmp, own);
}

int PelProgressWnd::onPaint()
{
    Rect client;
    getClientRect(client);
    PaintDC paintDc(this);
    // Drawn off-screen and copied in one go, so the bar never flickers
    // between track and fill; straight to the screen if memory is short.
    MemDC memDc;
    const bool buffered = memDc.create(client, &paintDc) == 0;
    DC& dc = buffered ? static_cast<DC&>(memDc) : static_cast<DC&>(paintDc);

    if (isStyle(WS_TRANSPARENT))
        redrawBackground(dc, &client, this);

    Rect bar = client;
    bar.shrink(0, 5);
    // Printed exactly as it has always read, spelling and trailing blank
    // included: logs of the device are compared against it.
    if (bar.height() < 0)
        puts("[PelProgressWnd] ClientRect heigh < 10 ");

    if (!(m_barBmp && m_stepBmp)) {
        dc.fillRect(bar, kTrackColor);
        const int range = m_max - m_min;
        if (m_min <= m_pos && m_pos <= m_max && range > 0) {
            // Kept: the position is not reduced by the range start; the update
            // script sends percentages over a range that starts at 0.
            const int filled = static_cast<int>(static_cast<long long>(m_pos) * bar.width() / range);
            if (m_step < filled)
                dc.fillRect(Rect(bar.left, bar.top, bar.left + filled, bar.bottom), kFillColor);
        }
    }

    if (buffered)
        paintDc.drawBitmap(client.left, client.top, memDc.getBitmap());
    return 0;
}
