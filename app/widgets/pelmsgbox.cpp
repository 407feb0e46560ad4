#include "widgets/pelmsgbox.h"

#include "platform/charset.h"
#include "widgets/pelbutton.h"

#include <lumi/app.h>
#include <lumi/config.h>
#include <lumi/controls.h>
#include <lumi/fatal.h>
#include <lumi/gdi.h>
#include <lumi/message.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* kSource = "pelmsgbox";
constexpr unsigned int kCreateAssertLine = 56;
constexpr const char* kCreateFunction = "int PmpMsgBox::create(WndBase*, uint32_t, const char*)";
constexpr unsigned int kSetBtnTextAssertLine = 208;
constexpr const char* kSetBtnTextFunction = "int PmpMsgBox::setBtnText(PmpMsgBoxBtn, const char*)";

constexpr int kBoxWidth = 300;
constexpr int kBoxHeight = 170;
constexpr int kLongBoxWidth = 500;
constexpr int kLongBoxHeight = 220;
constexpr int kTextMargin = 20;
constexpr unsigned int kLabelStyle = 6;
constexpr unsigned int kLabelAlign = 98; // wrapped, centred both ways
constexpr unsigned int kBoxExtraStyle = WS_DIALOG;
constexpr unsigned int kButtonStyle = 6;
constexpr unsigned int kButtonAlign = 34; // one centred line
constexpr int kButtonWidth = 90;
constexpr int kButtonHeight = 33;
constexpr int kButtonGap = 20;
constexpr int kButtonBottomMargin = 20;
constexpr int kFrameWidth = 4;

// Operator texts, GBK as the program keeps them.
const char kYes[] = "\xCA\xC7"; // 是, yes
const char kNo[] = "\xB7\xF1"; // 否, no

// Sets a GBK caption on a button through the character-set conversion.
void setGbkCaption(PelButton* button, const char* gbk, int bytes)
{
    int length = bytes;
    char* utf8 = str2utf8(gbk, &length, CHARSET_GBK);
    button->setText(utf8, true);
    std::free(utf8);
}

}

PmpMsgBox::PmpMsgBox(bool) { }

PmpMsgBox::~PmpMsgBox() = default;

Rect PmpMsgBox::layout(
    int screenWidth, int screenHeight, bool hasText, int textWidth, unsigned int* labelStyle)
{
    int boxWidth = kBoxWidth;
    int boxHeight = kBoxHeight;
    unsigned int style = kLabelStyle;
    if (hasText) {
        const int wanted = textWidth + kTextMargin;
        if (wanted > kBoxWidth) {
            if (wanted > kLongBoxWidth) {
                boxWidth = kLongBoxWidth;
                boxHeight = kLongBoxHeight;
                style |= PMB_LONG_TEXT;
            } else {
                boxWidth = wanted;
            }
        }
    }
    // Kept: each side moves in by half the difference, rounded down, so an
    // odd difference leaves the box one pixel larger than asked for.
    Rect rc(0, 0, screenWidth, screenHeight);
    if (screenHeight > boxHeight)
        rc.shrink(0, (screenHeight - boxHeight) / 2);
    if (screenWidth > boxWidth)
        rc.shrink((screenWidth - boxWidth) / 2, 0);
    if (labelStyle)
        *labelStyle = style;
    return rc;
}

int PmpMsgBox::create(WndBase* parent, uint32_t style, const char* text)
{
    const int screenWidth = Display::getParam(0);
    const int screenHeight = Display::getParam(1);
    {
        const Rect rc(0, 0, screenWidth, screenHeight);
        LUMI_ASSERT(rc.right > 300, kSource, kCreateAssertLine, kCreateFunction);
    }

    int textWidth = 0;
    if (text) {
        // Measured in the title font although the label draws with the
        // default one: the box is sized generously for it.
        WndDC dc(this);
        LogFont lf("title", -1);
        dc.selectFont(Font::getFont(&lf));
        int textHeight = 0;
        dc.getTextExtend(textWidth, textHeight, text, -1);
    }
    unsigned int labelStyle = kLabelStyle;
    const Rect rc = layout(screenWidth, screenHeight, text != nullptr, textWidth, &labelStyle);

    m_parent = parent;
    if (MainWndBase::create(rc, style | kBoxExtraStyle, 0) != 0)
        return -1;
    setAutoDelete(true);
    const int w = rc.width();
    const int h = rc.height();

    const Rect labelRect(10, 45, w - 4, h - 80);
    m_label = new Label; // a child: the toolkit deletes it with the box
    m_label->create(this, labelRect, labelStyle);
    m_label->setAlignFlag(kLabelAlign);
    m_label->setTextColor(0xFFFF);
    if (text)
        m_label->setText(text, true);

    Rect btnRect = labelRect;
    btnRect.shrink((labelRect.width() - kButtonWidth) / 2, 0);
    btnRect.bottom = h - kButtonBottomMargin;
    btnRect.top = btnRect.bottom - kButtonHeight;
    if (style & PMB_TWO_BUTTONS)
        btnRect.offset(-(kButtonGap / 2 + btnRect.width() / 2), 0);

    m_btn[0] = new PelButton;
    m_btn[0]->create(this, btnRect, kButtonStyle);
    m_btn[0]->setTextColor(0xFFFF, 0);
    setGbkCaption(m_btn[0], kYes, sizeof kYes - 1);
    m_btn[0]->setAlignFlag(kButtonAlign);

    // Button 1 always sits one button width and the gap to the right of
    // button 0, also when it is the only one shown.
    btnRect.offset(btnRect.width() + kButtonGap, 0);
    m_btn[1] = new PelButton;
    m_btn[1]->create(this, btnRect, kButtonStyle);
    m_btn[1]->setTextColor(0xFFFF, 0);
    setGbkCaption(m_btn[1], kNo, sizeof kNo - 1);
    m_btn[1]->setAlignFlag(kButtonAlign);

    if (style & PMB_TWO_BUTTONS) {
        // "No" is the safe answer to an accidental enter.
        m_btn[1]->setFocus();
    } else if (style & PMB_BTN0_ONLY) {
        m_btn[1]->showWindow(false);
    } else if (style & PMB_BTN1_ONLY) {
        m_btn[0]->showWindow(false);
    }
    m_style = style;
    return 0;
}

int PmpMsgBox::setText(const char* text)
{
    if (!m_label)
        return 0;
    m_label->setText(text, true);
    m_label->invalidateRect(nullptr);
    return 0;
}

int PmpMsgBox::setBtnText(PmpMsgBoxBtn btn, const char* text)
{
    LUMI_ASSERT(text, kSource, kSetBtnTextAssertLine, kSetBtnTextFunction);
    // Kept: only the bare one-button styles refuse; callers that add the
    // toolkit's bits can still caption the hidden button.
    if ((m_style == PMB_BTN0_ONLY && btn == PMB_BTN1) || (m_style == PMB_BTN1_ONLY && btn == PMB_BTN0))
        return -1;
    PelButton* button = m_btn[btn != PMB_BTN0 ? 1 : 0];
    if (!button)
        return -1; // not created yet
    button->setText(text, true);
    button->invalidateRect(nullptr);
    return 0;
}

int PmpMsgBox::setCommandId(PmpMsgBoxEvent ev, int id)
{
    if (ev != PMB_EVENT_BTN0 && ev != PMB_EVENT_BTN1)
        return -1;
    m_commandId[ev] = id;
    return 0;
}

void PmpMsgBox::setColor(unsigned short bg, unsigned short frame)
{
    m_bgColor = bg;
    m_frameColor = frame;
    invalidateRect(nullptr);
}

int PmpMsgBox::setTimeOut(int ms)
{
    if (m_timer)
        killTimer(m_timer);
    m_timer = setTimer(ms);
    return 0;
}

int PmpMsgBox::setSelected(int btn)
{
    PelButton* button = m_btn[btn == 1 ? 1 : 0];
    if (button)
        button->setFocus();
    return 0;
}

int PmpMsgBox::handleMessage(LUMIMessage& msg)
{
    return MainWndBase::handleMessage(msg);
}

int PmpMsgBox::onPaint()
{
    PaintDC dc(this);
    Rect rc;
    getClientRect(rc);
    dc.fillRect(rc, m_bgColor);
    dc.setPenColor(m_frameColor);
    for (int i = 0; i < kFrameWidth; ++i)
        dc.drawRect(rc.left + i, rc.top + i, rc.right - 1 - i, rc.bottom - 1 - i);
    return 0;
}

int PmpMsgBox::onDrawBackground(DC*, const Rect*, WndBase*)
{
    // onPaint covers the whole box; the children draw their own faces.
    return 0;
}

int PmpMsgBox::onDestroy()
{
    if (m_companion)
        m_companion->destroy();
    return MainWndBase::onDestroy();
}

int PmpMsgBox::onKeydown(int key, int flags)
{
    if (key == VK_Escape) {
        destroy();
        return 0;
    }
    if (key == VK_Select) {
        if (m_parent) {
            int command = 0;
            if (m_btn[0] && m_btn[0]->isStatus(WS_FOCUSED))
                command = m_commandId[0];
            else if (m_btn[1] && m_btn[1]->isStatus(WS_FOCUSED))
                command = m_commandId[1];
            // Queued, not sent: the parent acts on the answer once the box
            // has gone, so it may open the next box straight away.
            if (GuiApp* app = theGuiApp())
                app->addMsg(LUMIMessage(m_parent, MSG_COMMAND, command));
        }
        destroy();
        return 0;
    }
    return MainWndBase::onKeydown(key, flags);
}

int PmpMsgBox::onTimer(int id)
{
    if (id == 0 || id != m_timer)
        return 0;
    m_timer = 0;
    destroy();
    return 0;
}

int PmpMsgBox::onNotify(WndBase* from, int code, int)
{
    // A click answers like enter on the clicked button, which took the
    // focus when it was pressed.
    if (code == NOTIFY_CLICKED && from && (from == m_btn[0] || from == m_btn[1]))
        return onKeydown(VK_Select, 0);
    return 0;
}
