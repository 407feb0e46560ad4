#include "pelwidget_host.h"

#include "widgets/peledit.h"

#include <gtest/gtest.h>

#include <string>

using widgettest::kHostBack;
using widgettest::OwnerWnd;
using widgettest::Snapshot;

namespace {

constexpr unsigned int kShown = 6;
constexpr unsigned int kLogStyle = 0x12480006; // the quick-test window's log box

class PelEditTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        owner = new OwnerWnd;
        ASSERT_EQ(owner->create(screenWidth, screenHeight), 0);
    }

    PelEdit* makeEdit(unsigned int style, const Rect& rect = Rect(100, 100, 400, 300))
    {
        auto* e = new PelEdit; // a child: deleted with its parent
        EXPECT_EQ(e->create(owner, rect, style), 0);
        return e;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    OwnerWnd* owner { nullptr };
};

TEST(PelEditDefaults, BackgroundStartsAsTheSystemEditColour)
{
    PelEdit e;
    EXPECT_EQ(e.editBGColor(), SysConf::getColor(3));
}

TEST(PelEditDefaults, SetEditBGColorStoresTheColour)
{
    PelEdit e;
    e.setEditBGColor(0xDEDB);
    EXPECT_EQ(e.editBGColor(), 0xDEDB);
}

TEST_F(PelEditTest, WhiteOnBlackStyleAddsTheTransparencyBitAndSetsWhiteOnBlack)
{
    PelEdit* e = makeEdit(PES_WHITEONBLACK | kShown);
    EXPECT_EQ(e->style(), PES_WHITEONBLACK | kShown | 0x40u);
    EXPECT_EQ(e->textColor(), 0xFFFF);
    EXPECT_EQ(e->editBGColor(), 0x0000);
}

TEST_F(PelEditTest, TheLogBoxStyleGainsTheTransparencyBit)
{
    PelEdit* e = makeEdit(kLogStyle);
    EXPECT_EQ(e->style(), 0x12480046u);
}

TEST_F(PelEditTest, PlainStyleIsPassedUnchangedAndKeepsTheToolkitColours)
{
    PelEdit* e = makeEdit(kShown);
    EXPECT_EQ(e->style(), kShown);
    EXPECT_EQ(e->textColor(), SysConf::getColor(4));
    EXPECT_EQ(e->editBGColor(), SysConf::getColor(3));
}

TEST_F(PelEditTest, CreateReturnsTheToolkitsFailureAndLeavesTheColoursAlone)
{
    PelEdit e;
    EXPECT_EQ(e.create(nullptr, Rect(0, 0, 10, 10), PES_WHITEONBLACK), -1);
    EXPECT_EQ(e.editBGColor(), SysConf::getColor(3));
    EXPECT_EQ(e.textColor(), SysConf::getColor(4));
}

TEST_F(PelEditTest, BackgroundIsFilledWithTheEditColourOnlyWithTheWhiteOnBlackStyle)
{
    PelEdit* dark = makeEdit(PES_WHITEONBLACK | kShown);
    PelEdit* plain = makeEdit(kShown, Rect(500, 100, 700, 300));
    dark->setEditBGColor(0xDEDB);
    plain->setEditBGColor(0xDEDB);

    // What a window inside each box gets when it asks for its background.
    auto* inPlain = new WndBase;
    ASSERT_EQ(inPlain->create(plain, Rect(0, 0, 20, 10), kShown), 0);
    auto* inDark = new WndBase;
    ASSERT_EQ(inDark->create(dark, Rect(0, 0, 20, 10), kShown), 0);
    MemDC mem;
    ASSERT_EQ(mem.create(Rect(0, 0, 20, 10), nullptr), 0);
    mem.fillRect(Rect(0, 0, 20, 10), 0x1234);
    const Rect part(2, 2, 8, 6);

    inPlain->redrawBackground(mem, &part, inPlain);
    EXPECT_EQ(mem.getPixel(4, 4), 0x1234) << "draws nothing without the style";

    inDark->redrawBackground(mem, &part, inDark);
    EXPECT_EQ(mem.getPixel(2, 2), 0xDEDB);
    EXPECT_EQ(mem.getPixel(7, 5), 0xDEDB);
    EXPECT_EQ(mem.getPixel(8, 5), 0x1234);
    EXPECT_EQ(mem.getPixel(7, 6), 0x1234);
}

TEST_F(PelEditTest, DisabledBoxIsGreyInsideATwoPixelMargin)
{
    const Rect rect(100, 100, 400, 300);
    PelEdit* e = makeEdit(kShown | WS_DISABLED, rect);
    e->setText("Line one\nLine two\nLine three");
    settle();
    const Snapshot s = shot();
    Rect inner = rect;
    inner.shrink(2, 2);
    EXPECT_EQ(s.countColour(inner, PelEdit::kDisabledColor), inner.width() * inner.height())
        << "the grey panel hides the text";
    EXPECT_EQ(s.countColour(rect, 0x632C), inner.width() * inner.height()) << "and not the margin";
    // The margin keeps what lies beneath: the plain box draws no background.
    EXPECT_EQ(s.at(rect.left, rect.top), kHostBack);
    EXPECT_EQ(s.at(rect.left + 1, rect.bottom - 1), kHostBack);
    EXPECT_EQ(s.at(rect.right - 2, rect.top + 50), kHostBack);
}

TEST_F(PelEditTest, EnabledBoxShowsItsTextAndNoGrey)
{
    const Rect rect(100, 100, 400, 300);
    PelEdit* e = makeEdit(PES_WHITEONBLACK | kShown, rect);
    e->setText("HHHH HHHH");
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(rect, 0x632C), 0);
    EXPECT_GT(s.countColour(rect, 0xFFFF), 20);

    e->setStyle(WS_DISABLED);
    settle();
    Rect inner = rect;
    inner.shrink(2, 2);
    EXPECT_EQ(shot().countColour(inner, 0x632C), inner.width() * inner.height());
}

TEST_F(PelEditTest, PrintableKeyIsQueuedAsACharacterBeforeTheToolkitHandlesTheKey)
{
    PelEdit* e = makeEdit(kShown);
    e->setFocus();
    settle();
    ASSERT_EQ(app->pendingMessages(), 0);

    EXPECT_EQ(deliverNow(e, MSG_KEY, 65, 0), 0);
    // The toolkit's handling passed the key on to the owner; by then the
    // character message for 'A' was already queued.
    ASSERT_EQ(owner->keys.size(), 1u);
    EXPECT_EQ(owner->keys[0], 65);
    EXPECT_EQ(owner->pendingAtKey[0], 1);
    EXPECT_STREQ(e->getText(), "") << "queued, not typed at once";

    settle();
    EXPECT_STREQ(e->getText(), "A");
}

TEST_F(PelEditTest, DeleteKeyCode127IsNotTurnedIntoACharacter)
{
    PelEdit* e = makeEdit(kShown);
    e->setFocus();
    settle();
    deliverNow(e, MSG_KEY, 127, 0);
    ASSERT_EQ(owner->keys.size(), 1u);
    EXPECT_EQ(owner->keys[0], 127) << "the toolkit still handles the key";
    EXPECT_EQ(owner->pendingAtKey[0], 0);
    EXPECT_EQ(app->pendingMessages(), 0);
}

TEST_F(PelEditTest, OnlyKeyCodes32To126AreTyped)
{
    PelEdit* e = makeEdit(kShown);
    e->setFocus();
    settle();
    for (int key : { 31, 32, 126, 127, 128, 129 }) {
        const int before = app->pendingMessages();
        deliverNow(e, MSG_KEY, key, 0);
        const bool typed = app->pendingMessages() > before;
        EXPECT_EQ(typed, key >= 32 && key <= 126) << "key " << key;
    }
    settle();
    EXPECT_STREQ(e->getText(), " ~");
}

TEST_F(PelEditTest, KeysDeliveredToTheFocusedBoxAreTyped)
{
    PelEdit* e = makeEdit(kShown);
    e->setFocus();
    settle();
    for (int key : { 'O', 'K', ' ', '1' }) {
        rt->deliverKeyEvent(key, 0);
        rt->deliverKeyEvent(key, 1);
    }
    settle();
    EXPECT_STREQ(e->getText(), "OK 1");
}

TEST_F(PelEditTest, TextColourAndBackgroundCanBeChangedAfterCreate)
{
    PelEdit* e = makeEdit(kLogStyle);
    e->setEditBGColor(0xDEDB);
    e->setTextColor(0x5ACB);
    EXPECT_EQ(e->editBGColor(), 0xDEDB);
    EXPECT_EQ(e->textColor(), 0x5ACB);
}

}
