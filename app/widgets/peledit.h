#pragma once
// PelEdit: the toolkit's edit box with a background of its own choosing, a
// greyed-out look when disabled, and printable keys typed as characters (the
// device's key pads deliver letters and digits as plain key codes).

#include <lumi/config.h>
#include <lumi/controls.h>

// Style bit: white text on the edit background colour (black unless set
// otherwise). The box is then drawn over its parent's background, so the
// toolkit's transparency bit is added with it.
constexpr unsigned int PES_WHITEONBLACK = 0x10000000;

class PelEdit : public Edit {
public:
    PelEdit();
    ~PelEdit() override;

    // The toolkit's Edit::create; its result.
    int create(WndBase* parent, const Rect& rect, unsigned int style);
    void setEditBGColor(unsigned short colour);
    unsigned short editBGColor() const { return m_editBgColor; }

    static constexpr unsigned short kDisabledColor = 0x632C;

protected:
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override;
    int onPaint() override;
    int onKeydown(int key, int flags) override;

private:
    unsigned short m_editBgColor { SysConf::getColor(3) };
};
