#include "testfun/imagewnd.h"

#include "platform/charset.h"

#include <lumi/config.h>
#include <lumi/message.h>

#include <cstdlib>
#include <cstring>

namespace {

const char kExit[] = "\xCD\xCB\xB3\xF6"; // 退出, exit

constexpr unsigned int kWindowStyle = 71;
constexpr unsigned int kButtonStyle = 6;
constexpr unsigned int kButtonAlign = 34; // one centred line
// Top to bottom: red, green, blue, cyan, yellow (RGB565).
constexpr unsigned short kBands[] = { 0xF800, 0x07E0, 0x001F, 0x07FF, 0xFFE0 };
constexpr int kBandCount = sizeof kBands / sizeof kBands[0];

}

ImageWnd::~ImageWnd()
{
    m_bitmap.destroy();
}

int ImageWnd::create()
{
    const Rect screen(0, 0, Display::getParam(0), Display::getParam(1));
    const int rc = MainWndBase::create(screen, kWindowStyle, kWindowId);
    setAutoDelete(true);
    if (rc != 0)
        return rc;

    Rect client;
    getClientRect(client);
    // Each side moves in by half the difference, rounded down.
    Rect buttonRect = client;
    buttonRect.shrink((client.width() - kButtonWidth) / 2, (client.height() - kButtonHeight) / 2);
    m_exitButton = new Button;
    m_exitButton->create(this, buttonRect, kButtonStyle);
    m_exitButton->setTextColor(0);
    m_exitButton->setAlignFlag(kButtonAlign);
    int length = static_cast<int>(std::strlen(kExit));
    char* caption = str2utf8(kExit, &length, CHARSET_GBK);
    if (caption) {
        m_exitButton->setText(caption);
        std::free(caption);
    }

    m_closeTimer = setTimer(kCloseMs);
    return 0;
}

int ImageWnd::onPaint()
{
    PaintDC dc(this);
    Rect client;
    getClientRect(client);
    const int band = client.height() / kBandCount;
    for (int i = 0; i < kBandCount; ++i) {
        Rect r(client.left, client.top + i * band, client.right, client.top + (i + 1) * band);
        // The last band takes what the division left over.
        if (i == kBandCount - 1)
            r.bottom = client.bottom;
        dc.fillRect(r, kBands[i]);
    }
    return 0;
}

int ImageWnd::onTimer(int id)
{
    if (id != m_closeTimer || m_closeTimer == 0)
        return 0;
    killTimer(m_closeTimer);
    m_closeTimer = 0;
    destroy();
    return 0;
}

int ImageWnd::onNotify(WndBase* from, int code, int)
{
    if (from && from == m_exitButton && code == NOTIFY_CLICKED)
        destroy();
    return 0;
}
