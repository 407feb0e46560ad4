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

PelProgressWnd::PictureKey PelProgressWnd::pictureKey(const Rect& client) const
{
    PictureKey key;
    key.width = client.width();
    key.height = client.height();
    key.track = !(m_barBmp && m_stepBmp);
    const int barWidth = client.width();
    const int range = m_max - m_min;
    if (key.track && m_min <= m_pos && m_pos <= m_max && range > 0) {
        // Kept: the position is not reduced by the range start; the update
        // script sends percentages over a range that starts at 0.
        const int filled = static_cast<int>(static_cast<long long>(m_pos) * barWidth / range);
        if (m_step < filled)
            key.filled = filled;
    }
    return key;
}

void PelProgressWnd::drawBar(DC& dc, const Rect& client, const PictureKey& key) const
{
    if (!key.track)
        return;
    Rect bar = client;
    bar.shrink(0, 5);
    dc.fillRect(bar, kTrackColor);
    if (key.filled > 0)
        dc.fillRect(Rect(bar.left, bar.top, bar.left + key.filled, bar.bottom), kFillColor);
}

int PelProgressWnd::onPaint()
{
    Rect client;
    getClientRect(client);
    PaintDC paintDc(this);

    Rect bar = client;
    bar.shrink(0, 5);
    // Printed exactly as it has always read, spelling and trailing blank
    // included: logs of the device are compared against it.
    if (bar.height() < 0)
        puts("[PelProgressWnd] ClientRect heigh < 10 ");

    // The bar is drawn off-screen and copied in one go, so it never flickers
    // between track and fill. The picture is kept: a paint that finds the
    // value, size and look unchanged only copies it (the update screen
    // repaints the bar on every burst of messages). Its rows above and below
    // the track stay black, as a fresh off-screen picture is; the parent's
    // background, which the bar cannot tell has changed, is drawn on every
    // paint.
    const PictureKey key = pictureKey(client);
    if (!(key == m_pictured)) {
        const bool resized = key.width != m_pictured.width || key.height != m_pictured.height;
        if (resized && m_picture.create(client, &paintDc) != 0) {
            m_pictured = PictureKey();
            // Memory is short: straight to the screen, as the bar always did.
            if (isStyle(WS_TRANSPARENT))
                redrawBackground(paintDc, &client, this);
            drawBar(paintDc, client, key);
            return 0;
        }
        if (!resized && key.track && m_pictured.track) {
            // Only the value moved: the columns between the old and the new
            // end of the filled part change colour.
            if (key.filled > m_pictured.filled)
                m_picture.fillRect(
                    Rect(bar.left + m_pictured.filled, bar.top, bar.left + key.filled, bar.bottom),
                    kFillColor);
            else
                m_picture.fillRect(
                    Rect(bar.left + key.filled, bar.top, bar.left + m_pictured.filled, bar.bottom),
                    kTrackColor);
        } else {
            if (!resized)
                m_picture.fillRect(client, 0x0000);
            drawBar(m_picture, client, key);
        }
        m_pictured = key;
    }

    paintDc.drawBitmap(client.left, client.top, m_picture.getBitmap());
    if (isStyle(WS_TRANSPARENT)) {
        // The parent's background goes over the picture's black rows above
        // and below the track (over all of it when no track is drawn),
        // given the whole client area as always but clipped to those rows,
        // so the pixels are those of drawing it first into a fresh picture.
        if (key.track && bar.height() > 0) {
            const Rect above(client.left, client.top, client.right, bar.top);
            const Rect below(client.left, bar.bottom, client.right, client.bottom);
            PaintDC aboveDc(this, 0, &above);
            redrawBackground(aboveDc, &client, this);
            PaintDC belowDc(this, 0, &below);
            redrawBackground(belowDc, &client, this);
        } else {
            redrawBackground(paintDc, &client, this);
        }
    }
    return 0;
}
