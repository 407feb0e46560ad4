// Button: a flat push button. The core's default pointer handling sets the
// pressed status and sends the click; the button only draws its states and
// lets the enter key click as well.

#include <lumi/config.h>
#include <lumi/controls.h>

namespace {

// Scales each RGB565 channel by num/den, for the shaded parts of the face.
unsigned short shade(unsigned short colour, int num, int den)
{
    const int r = ((colour >> 11) & 0x1F) * num / den;
    const int g = ((colour >> 5) & 0x3F) * num / den;
    const int b = (colour & 0x1F) * num / den;
    return static_cast<unsigned short>((r << 11) | (g << 5) | b);
}

constexpr int kSysButtonFace = 6;
constexpr int kSysSelection = 2;
constexpr int kSysDisabledText = 5;

// The face follows the system's button colour; the shades are derived from
// it so that a changed colour scheme keeps a consistent look.
struct Colours {
    unsigned short face;
    unsigned short pressedFace;
    unsigned short border;
    unsigned short focus;
};

Colours buttonColours()
{
    const unsigned short face = SysConf::getColor(kSysButtonFace);
    return Colours { face, shade(face, 3, 4), shade(face, 1, 2), SysConf::getColor(kSysSelection) };
}

}

Button::Button()
    : TextControl(0x22, 0x0000)
{
}

int Button::onPaint()
{
    PaintDC dc(this);
    Rect client;
    getClientRect(client);
    if (client.isEmpty())
        return 0;

    const Colours c = buttonColours();
    const bool pressed = isStatus(WS_PRESSED);
    dc.fillRect(client, pressed ? c.pressedFace : c.face);
    dc.setPenColor(c.border);
    dc.drawRect(client.left, client.top, client.right - 1, client.bottom - 1);

    if (hasFocus() && client.width() > 6 && client.height() > 6) {
        dc.setPenColor(c.focus);
        dc.drawRect(client.left + 2, client.top + 2, client.right - 3, client.bottom - 3);
    }

    if (!m_text.empty()) {
        Rect text = client;
        text.shrink(3, 3);
        // The caption sinks with the face while held.
        if (pressed)
            text.offset(1, 1);
        dc.selectFont(getFont());
        dc.setTextColor(isStyle(WS_DISABLED) ? SysConf::getColor(kSysDisabledText) : m_textColor);
        dc.drawText(text, m_text.c_str(), m_align);
    }
    return 0;
}

int Button::onKeydown(int key, int state)
{
    if (key == VK_Select) {
        postNotifyMsg(NOTIFY_CLICKED, 0);
        return 0;
    }
    return WndBase::onKeydown(key, state);
}

int Button::onMouseStatusChanged()
{
    invalidateRect(nullptr);
    return WndBase::onMouseStatusChanged();
}

int Button::onFocus(bool focused)
{
    invalidateRect(nullptr);
    return WndBase::onFocus(focused);
}
