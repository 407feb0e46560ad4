#pragma once
// PmpMsgBox: the program's question box. A framed top-level window centred
// on the screen with one text and one or two buttons, "yes" (button 0) and
// "no" (button 1). Enter or a click queues a command message (id 15) with
// the chosen button's command id to the parent window and closes the box;
// escape and the optional time-out close it without a command.
//
// Created on the heap; the toolkit deletes it when it closes.

#include <lumi/window.h>

#include <cstdint>

class Label;
class PelButton;

// What happened: button 0 or button 1 was chosen.
enum PmpMsgBoxEvent : int {
    PMB_EVENT_BTN0 = 0,
    PMB_EVENT_BTN1 = 1,
};

// Which button.
enum PmpMsgBoxBtn : int {
    PMB_BTN0 = 0,
    PMB_BTN1 = 1,
};

// Style bits of create; the toolkit's own bits pass through to the window.
enum : uint32_t {
    PMB_TWO_BUTTONS = 0x1, // both buttons; the focus starts on button 1
    PMB_BTN0_ONLY = 0x2, // without PMB_TWO_BUTTONS: button 0 alone, centred
    PMB_BTN1_ONLY = 0x4, // without PMB_TWO_BUTTONS: button 1 alone, in its own place
    PMB_LONG_TEXT = 0x10000, // added to the label's style when the text needs the large box
};

class PmpMsgBox : public MainWndBase {
public:
    // The flag is accepted for the callers' sake and not used.
    explicit PmpMsgBox(bool unused = false);
    ~PmpMsgBox() override;

    // Lays the box out for text (may be null), centres it on the screen and
    // creates it with its label and buttons; parent receives the command.
    // The box is not shown until showWindow(true). Returns 0 (-1 only when
    // the toolkit cannot make the window at all).
    int create(WndBase* parent, uint32_t style, const char* text);
    // Replaces the label's text; nothing before create. Returns 0.
    int setText(const char* text);
    // Sets a caption (UTF-8); -1 for the hidden button of a box created with
    // exactly PMB_BTN0_ONLY or PMB_BTN1_ONLY. A null text is fatal.
    int setBtnText(PmpMsgBoxBtn btn, const char* text);
    // 0, or -1 for an event other than 0 and 1.
    int setCommandId(PmpMsgBoxEvent ev, int id);
    void setColor(unsigned short bg, unsigned short frame);
    // Closes the box silently after ms milliseconds; restarts a running
    // time-out. Returns 0.
    int setTimeOut(int ms);
    // Focuses button 1 for 1, button 0 for anything else. Returns 0.
    int setSelected(int btn);

    // The size and place of the box, and the label style, for a text of
    // textWidth pixels in the title font (hasText false: no text) on a
    // screen of screenWidth x screenHeight. What create uses.
    static Rect layout(
        int screenWidth, int screenHeight, bool hasText, int textWidth, unsigned int* labelStyle);

    PelButton* button(int index) const { return (index == 0 || index == 1) ? m_btn[index] : nullptr; }
    Label* label() const { return m_label; }
    WndBase* commandTarget() const { return m_parent; }
    int commandId(int index) const { return (index == 0 || index == 1) ? m_commandId[index] : 0; }
    uint32_t boxStyle() const { return m_style; }
    int timerId() const { return m_timer; }
    unsigned short bgColor() const { return m_bgColor; }
    unsigned short frameColor() const { return m_frameColor; }

protected:
    int handleMessage(LUMIMessage& msg) override;
    int onPaint() override;
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override;
    int onDestroy() override;
    int onKeydown(int key, int flags) override;
    int onTimer(int id) override;
    int onNotify(WndBase* from, int code, int param) override;

    int m_timer { 0 };
    uint32_t m_style { 0 };
    WndBase* m_parent { nullptr };
    Label* m_label { nullptr };
    PelButton* m_btn[2] { nullptr, nullptr };
    // Destroyed together with the box, for a subclass that shows a window
    // beside it.
    WndBase* m_companion { nullptr };
    unsigned short m_bgColor { 0x18E3 };
    unsigned short m_frameColor { 0x03D9 };
    int m_commandId[2] { 0, 0 };
};
