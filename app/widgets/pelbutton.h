#pragma once
// PelButton: the program's flat push button, a face filled with one colour
// and a centred caption. It shows focus only through its parent: every focus
// change is reported with notify 128 so the owner can mark it as it likes.

#include <lumi/gdi.h>
#include <lumi/window.h>

// Where a picture attached with setBmp belongs. The button's own drawing does
// not paint pictures; the slot matters to it only because a pressed button
// sinks its caption when the picture is the face (1) or an icon (2).
enum BmpSlotType : int {
    BMP_SLOT_NONE = 0,
    BMP_SLOT_FACE = 1,
    BMP_SLOT_ICON = 2,
    BMP_SLOT_OVERLAY = 3,
};

// Notify code posted to the parent on every focus change; the parameter is 1
// when the button gained the focus and 0 when it lost it.
constexpr int PELBUTTON_NOTIFY_FOCUS = 128;

class PelButton : public WndBase {
public:
    PelButton();
    ~PelButton() override;

    void setColor(unsigned short bg, unsigned short bg2);
    void setTextColor(unsigned short text, unsigned short pen);
    void setAlignFlag(int flags);
    // Copies text (null: an empty caption); redraw repaints the whole button.
    void setText(const char* text, bool redraw = true);
    // Attaches a picture; with own the button deletes it when it is replaced
    // or the button goes.
    void setBmp(Bitmap* bmp, BmpSlotType slot, bool own);

    const char* getText() const { return m_text; }
    unsigned int alignFlag() const { return m_alignFlag; }
    unsigned short textColor() const { return m_textColor; }
    unsigned short penColor() const { return m_penColor; }
    unsigned short bgColor() const { return m_bgColor; }
    unsigned short bgColor2() const { return m_bgColor2; }
    Bitmap* bmp() const { return m_bmp; }
    bool ownsBmp() const { return m_ownBmp; }
    BmpSlotType bmpSlot() const { return m_bmpSlot; }

    static constexpr unsigned short kDisabledTextColor = 0x5ACB;

protected:
    int onPaint() override;
    int onFocus(bool focused) override;
    int onMouseStatusChanged() override;

    // Draws the whole button into rect of dc. Subclasses override it to draw
    // pictures or a focus mark of their own.
    virtual void drawButton(DC& dc, Rect rect, bool focused, bool pressed, bool disabled);

    Bitmap* m_bmp { nullptr };
    Bitmap m_defaultBmp;
    bool m_ownBmp { false };
    BmpSlotType m_bmpSlot { BMP_SLOT_FACE };
    char* m_text { nullptr }; // UTF-8, owned
    unsigned int m_alignFlag { 0x422 };
    unsigned short m_textColor { 0xFFFF };
    unsigned short m_penColor { 0 };
    unsigned short m_bgColor { 0x5D5D };
    // Kept for owners that draw a second state themselves; the button's
    // own face uses only m_bgColor.
    unsigned short m_bgColor2 { 0x971F };
};
