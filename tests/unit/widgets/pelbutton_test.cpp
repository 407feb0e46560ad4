#include "pelwidget_host.h"

#include "widgets/pelbutton.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using widgettest::Finger;
using widgettest::inkIn;
using widgettest::kHostBack;
using widgettest::OwnerWnd;
using widgettest::Snapshot;

namespace {

constexpr unsigned int kShown = 6; // as the program creates its buttons
constexpr unsigned short kFace = 0x5D5D;

// Remembers what the last paint asked drawButton to show.
class ProbeButton : public PelButton {
public:
    void drawButton(DC& dc, Rect rect, bool focused, bool pressed, bool disabled) override
    {
        ++paints;
        lastRect = rect;
        lastFocused = focused;
        lastPressed = pressed;
        lastDisabled = disabled;
        PelButton::drawButton(dc, rect, focused, pressed, disabled);
    }

    int paints { 0 };
    Rect lastRect;
    bool lastFocused { false };
    bool lastPressed { false };
    bool lastDisabled { false };
};

class PelButtonTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        owner = new OwnerWnd; // owned by the toolkit once created
        ASSERT_EQ(owner->create(screenWidth, screenHeight), 0);
    }

    ProbeButton* makeButton(const Rect& rect, unsigned int style = kShown)
    {
        auto* b = new ProbeButton; // a child: deleted with its parent
        EXPECT_EQ(b->create(owner, rect, style), 0);
        return b;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    const Rect area { 100, 100, 260, 150 };
    OwnerWnd* owner { nullptr };
    Finger finger;
};

TEST(PelButtonDefaults, FieldsStartWithTheFactoryLook)
{
    PelButton b;
    EXPECT_EQ(b.bmp(), nullptr);
    EXPECT_FALSE(b.ownsBmp());
    EXPECT_EQ(b.bmpSlot(), BMP_SLOT_FACE);
    EXPECT_EQ(b.getText(), nullptr);
    EXPECT_EQ(b.alignFlag(), 0x422u);
    EXPECT_EQ(b.textColor(), 0xFFFF);
    EXPECT_EQ(b.penColor(), 0x0000);
    EXPECT_EQ(b.bgColor(), 0x5D5D);
    EXPECT_EQ(b.bgColor2(), 0x971F);
}

TEST(PelButtonDefaults, SettersStoreTheirValues)
{
    PelButton b;
    b.setColor(0x1234, 0x4321);
    b.setTextColor(0x0F0F, 0xF0F0);
    b.setAlignFlag(34);
    EXPECT_EQ(b.bgColor(), 0x1234);
    EXPECT_EQ(b.bgColor2(), 0x4321);
    EXPECT_EQ(b.textColor(), 0x0F0F);
    EXPECT_EQ(b.penColor(), 0xF0F0);
    EXPECT_EQ(b.alignFlag(), 34u);
}

TEST(PelButtonDefaults, SetTextKeepsItsOwnCopy)
{
    PelButton b;
    char caption[] = "Next";
    b.setText(caption, false);
    std::strcpy(caption, "Gone");
    EXPECT_STREQ(b.getText(), "Next");
    b.setText("Power", false);
    EXPECT_STREQ(b.getText(), "Power");
}

TEST(PelButtonDefaults, NullTextBecomesAnEmptyCaption)
{
    PelButton b;
    b.setText("x", false);
    b.setText(nullptr, false);
    ASSERT_NE(b.getText(), nullptr);
    EXPECT_STREQ(b.getText(), "");
}

TEST(PelButtonDefaults, SetBmpStoresPictureSlotAndOwnership)
{
    PelButton b;
    Bitmap mine; // not owned by the button: it must survive it
    ASSERT_EQ(mine.create(4, 4), 0);
    b.setBmp(&mine, BMP_SLOT_ICON, false);
    EXPECT_EQ(b.bmp(), &mine);
    EXPECT_EQ(b.bmpSlot(), BMP_SLOT_ICON);
    EXPECT_FALSE(b.ownsBmp());

    auto* owned = new Bitmap;
    ASSERT_EQ(owned->create(2, 2), 0);
    b.setBmp(owned, BMP_SLOT_OVERLAY, true); // the unowned picture is left alone
    EXPECT_EQ(mine.width(), 4);
    EXPECT_EQ(b.bmp(), owned);
    EXPECT_TRUE(b.ownsBmp());
    EXPECT_EQ(b.bmpSlot(), BMP_SLOT_OVERLAY);
    // The button deletes the owned picture when it goes (the sanitizer
    // build reports a leak otherwise).
}

TEST(PelButtonDefaults, ReplacingAnOwnedPictureFreesIt)
{
    PelButton b;
    auto* first = new Bitmap;
    ASSERT_EQ(first->create(3, 3), 0);
    b.setBmp(first, BMP_SLOT_FACE, true);
    auto* second = new Bitmap;
    ASSERT_EQ(second->create(5, 5), 0);
    b.setBmp(second, BMP_SLOT_FACE, true); // first is freed here (checked by the sanitizer build)
    EXPECT_EQ(b.bmp(), second);
    b.setBmp(second, BMP_SLOT_FACE, true); // the same picture again is kept
    EXPECT_EQ(b.bmp()->width(), 5);
    b.setBmp(nullptr, BMP_SLOT_NONE, false); // frees second
    EXPECT_EQ(b.bmp(), nullptr);
    EXPECT_EQ(b.bmpSlot(), BMP_SLOT_NONE);
}

TEST_F(PelButtonTest, FaceIsFilledWithTheBackgroundColour)
{
    makeButton(area);
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(area, kFace), area.width() * area.height());
    EXPECT_EQ(s.at(area.left - 1, area.top), kHostBack);
    EXPECT_EQ(s.at(area.right, area.bottom - 1), kHostBack);
}

TEST_F(PelButtonTest, SetColorDoesNotRepaintByItself)
{
    PelButton* b = makeButton(area);
    settle();
    b->setColor(0x001F, 0x07E0);
    settle();
    EXPECT_EQ(shot().at(110, 110), kFace);
    b->invalidateRect(nullptr);
    settle();
    EXPECT_EQ(shot().countColour(area, 0x001F), area.width() * area.height());
}

TEST_F(PelButtonTest, SetTextWithRedrawShowsTheCaptionAndWithoutWaits)
{
    PelButton* b = makeButton(area);
    settle();
    b->setText("HHHH", false);
    settle();
    EXPECT_EQ(shot().countColour(area, 0xFFFF), 0);
    b->setText("HHHH", true);
    settle();
    EXPECT_GT(shot().countColour(area, 0xFFFF), 20);
}

TEST_F(PelButtonTest, FaceKeepsItsColourInEveryState)
{
    ProbeButton* b = makeButton(area);
    settle();
    b->setFocus();
    finger.press(area.left + 5, area.top + 5);
    settle();
    ASSERT_TRUE(b->lastPressed);
    ASSERT_TRUE(b->lastFocused);
    EXPECT_EQ(shot().countColour(area, kFace), area.width() * area.height());
    finger.release(area.left + 5, area.top + 5);
    b->setStyle(WS_DISABLED);
    settle();
    ASSERT_TRUE(b->lastDisabled);
    EXPECT_EQ(shot().countColour(area, kFace), area.width() * area.height());
}

TEST_F(PelButtonTest, DrawButtonIsToldFocusPressedAndDisabledFromTheStatusAndStyle)
{
    ProbeButton* b = makeButton(area);
    settle();
    EXPECT_GT(b->paints, 0);
    EXPECT_EQ(b->lastRect, Rect(0, 0, area.width(), area.height()));
    EXPECT_FALSE(b->lastFocused);
    EXPECT_FALSE(b->lastPressed);
    EXPECT_FALSE(b->lastDisabled);

    b->setFocus();
    settle();
    EXPECT_TRUE(b->lastFocused);

    finger.press(area.left + 10, area.top + 10);
    settle();
    EXPECT_TRUE(b->isStatus(0x10 | 0x20));
    EXPECT_TRUE(b->lastPressed);

    finger.release(area.left + 10, area.top + 10);
    settle();
    EXPECT_FALSE(b->lastPressed);

    b->setStyle(WS_DISABLED);
    settle();
    EXPECT_TRUE(b->lastDisabled);
}

TEST_F(PelButtonTest, MouseStatusChangeRepaintsTheButton)
{
    ProbeButton* b = makeButton(area);
    settle();
    const int before = b->paints;
    finger.press(area.left + 10, area.top + 10);
    settle();
    EXPECT_GT(b->paints, before);
    const int pressed = b->paints;
    finger.release(area.left + 10, area.top + 10);
    settle();
    EXPECT_GT(b->paints, pressed);
}

TEST_F(PelButtonTest, DisabledButtonDrawsItsCaptionInGrey)
{
    PelButton* b = makeButton(area, kShown | WS_DISABLED);
    b->setText("HHHH WWW", true);
    settle();
    const Snapshot s = shot();
    EXPECT_GT(s.countColour(area, PelButton::kDisabledTextColor), 20);
    EXPECT_EQ(s.countColour(area, 0x5ACB), s.countColour(area, PelButton::kDisabledTextColor));
    EXPECT_EQ(s.countColour(area, 0xFFFF), 0) << "the text colour is not used while disabled";

    b->unsetStyle(WS_DISABLED);
    settle();
    EXPECT_EQ(shot().countColour(area, 0x5ACB), 0);
    EXPECT_GT(shot().countColour(area, 0xFFFF), 20);
}

TEST_F(PelButtonTest, PressedButtonWithSlotTypeOneShiftsItsCaptionTwoPixels)
{
    PelButton* b = makeButton(area);
    b->setText("OK HH", true);
    settle();
    const auto normal = inkIn(shot(), area, kFace);
    ASSERT_GT(normal.size(), 20u);

    finger.press(area.left + 3, area.top + 3);
    settle();
    ASSERT_TRUE(b->isStatus(0x30));
    const auto pressed = inkIn(shot(), area, kFace);

    std::map<std::pair<int, int>, uint16_t> shifted;
    for (const auto& [at, colour] : normal)
        shifted[{ at.first + 2, at.second + 2 }] = colour;
    EXPECT_EQ(pressed, shifted);

    finger.release(area.left + 3, area.top + 3);
    settle();
    EXPECT_EQ(inkIn(shot(), area, kFace), normal);
}

TEST_F(PelButtonTest, PressedButtonWithSlotTypeTwoShiftsItsCaptionToo)
{
    PelButton* b = makeButton(area);
    b->setBmp(nullptr, BMP_SLOT_ICON, false);
    b->setText("OK HH", true);
    settle();
    const auto normal = inkIn(shot(), area, kFace);
    ASSERT_GT(normal.size(), 20u);
    finger.press(area.left + 3, area.top + 3);
    settle();
    const Rect box = widgettest::boundsOf(inkIn(shot(), area, kFace));
    const Rect was = widgettest::boundsOf(normal);
    EXPECT_EQ(box.left, was.left + 2);
    EXPECT_EQ(box.top, was.top + 2);
}

TEST_F(PelButtonTest, PressedButtonWithOtherSlotTypesKeepsItsCaptionInPlace)
{
    for (BmpSlotType slot : { BMP_SLOT_NONE, BMP_SLOT_OVERLAY }) {
        PelButton* b = makeButton(area);
        b->setBmp(nullptr, slot, false);
        b->setText("OK HH", true);
        settle();
        const auto normal = inkIn(shot(), area, kFace);
        ASSERT_GT(normal.size(), 20u);
        finger.press(area.left + 3, area.top + 3);
        settle();
        ASSERT_TRUE(b->isStatus(0x30));
        EXPECT_EQ(inkIn(shot(), area, kFace), normal) << "slot " << slot;
        finger.release(area.left + 3, area.top + 3);
        settle();
        b->destroy();
        settle();
    }
}

TEST_F(PelButtonTest, CaptionStaysInsideTheFaceLessTwoPixelsAndTheRaisedBottom)
{
    // Aligned to the bottom right and far too long, the caption is cut at the
    // edges of its rectangle: 2 pixels in from the left, top and right, and
    // 2 + 5 pixels up from the bottom.
    PelButton* b = makeButton(area);
    b->setAlignFlag(0x04 | 0x08);
    b->setText("WWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWW", true);
    settle();
    const Rect ink = widgettest::boundsOf(inkIn(shot(), area, kFace));
    ASSERT_FALSE(ink.isEmpty());
    EXPECT_GE(ink.left, area.left + 2);
    EXPECT_GE(ink.top, area.top + 2);
    EXPECT_LE(ink.right, area.right - 2);
    EXPECT_LE(ink.bottom, area.bottom - 7);
    EXPECT_EQ(ink.left, area.left + 2) << "the long caption reaches the left edge of its rectangle";
}

TEST_F(PelButtonTest, FocusChangesPostNotify128WithOneOrZeroToTheParent)
{
    PelButton* a = makeButton(area);
    PelButton* b = makeButton(Rect(300, 100, 460, 150));
    settle();
    owner->notes.clear();

    a->setFocus();
    EXPECT_TRUE(owner->notes.empty()) << "posted, not sent";
    settle();
    ASSERT_EQ(owner->notes.size(), 1u);
    EXPECT_EQ(owner->notes[0].from, a);
    EXPECT_EQ(owner->notes[0].code, 128);
    EXPECT_EQ(owner->notes[0].param, 1);

    b->setFocus();
    settle();
    ASSERT_EQ(owner->notes.size(), 3u);
    EXPECT_EQ(owner->notes[1].from, a);
    EXPECT_EQ(owner->notes[1].code, 128);
    EXPECT_EQ(owner->notes[1].param, 0);
    EXPECT_EQ(owner->notes[2].from, b);
    EXPECT_EQ(owner->notes[2].code, 128);
    EXPECT_EQ(owner->notes[2].param, 1);
}

TEST_F(PelButtonTest, FocusRepaintsTheButtonButDoesNotChangeItsPicture)
{
    ProbeButton* b = makeButton(area);
    b->setText("HH", true);
    settle();
    const auto before = inkIn(shot(), area, kHostBack);
    const int paints = b->paints;
    b->setFocus();
    settle();
    EXPECT_GT(b->paints, paints);
    EXPECT_EQ(inkIn(shot(), area, kHostBack), before);
}

TEST_F(PelButtonTest, ReleaseInsideNotifiesAClick)
{
    makeButton(area);
    settle();
    finger.press(150, 120);
    settle();
    finger.release(150, 120);
    settle();
    EXPECT_EQ(owner->notesWith(NOTIFY_CLICKED), 1);
}

}
