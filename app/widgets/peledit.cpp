#include "widgets/peledit.h"

#include <lumi/gdi.h>
#include <lumi/message.h>

namespace {

constexpr int kFirstPrintable = 32;
constexpr int kLastPrintable = 126;

}

PelEdit::PelEdit() = default;
PelEdit::~PelEdit() = default;

int PelEdit::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    const bool whiteOnBlack = style & PES_WHITEONBLACK;
    const unsigned int toolkitStyle = whiteOnBlack ? style | WS_TRANSPARENT : style;
    const int rc = Edit::create(parent, rect, toolkitStyle);
    if (rc == 0 && whiteOnBlack) {
        setTextColor(0xFFFF);
        m_editBgColor = 0x0000;
    }
    return rc;
}

void PelEdit::setEditBGColor(unsigned short colour)
{
    m_editBgColor = colour;
}

int PelEdit::onDrawBackground(DC* dc, const Rect* rect, WndBase*)
{
    if (dc && rect && isStyle(PES_WHITEONBLACK))
        dc->fillRect(*rect, m_editBgColor);
    return 0;
}

int PelEdit::onPaint()
{
    Edit::onPaint();
    if (isStyle(WS_DISABLED)) {
        // A disabled box hides its content behind a grey panel inside the
        // 2-pixel margin, so an operator cannot mistake old text for new.
        PaintDC dc(this);
        Rect inner;
        getClientRect(inner);
        inner.shrink(2, 2);
        dc.fillRect(inner, kDisabledColor);
    }
    return 0;
}

int PelEdit::onKeydown(int key, int flags)
{
    // Queued before the toolkit sees the key, so the character arrives
    // whatever the toolkit does with the key itself.
    if (key >= kFirstPrintable && key <= kLastPrintable) {
        LUMIMessage msg(this, MSG_CHAR, key);
        postMsg(msg);
    }
    return Edit::onKeydown(key, flags);
}
