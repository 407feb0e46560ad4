#include "pelwidget_host.h"

#include "platform/charset.h"
#include "widgets/pelbutton.h"
#include "widgets/pelmsgbox.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

using widgettest::Finger;
using widgettest::kHostBack;
using widgettest::OwnerWnd;
using widgettest::Snapshot;

namespace {

// Operator texts as the program keeps them (GBK) and as they are shown (UTF-8).
const char kYesGbk[] = "\xCA\xC7"; // 是, yes
const char kNoGbk[] = "\xB7\xF1"; // 否, no
const char kYesUtf8[] = "\xE6\x98\xAF"; // 是
const char kNoUtf8[] = "\xE5\x90\xA6"; // 否

constexpr uint32_t kQuestion = 0x20001; // two buttons, as the quick-test window asks
constexpr uint32_t kNotice = 0x20002; // one button
constexpr unsigned short kBoxBack = 0x18E3;
constexpr unsigned short kFrame = 0x03D9;
constexpr unsigned short kButtonFace = 0x5D5D;

// Width of text in the font the box measures with.
int titleWidth(const std::string& text)
{
    WndDC dc(nullptr);
    LogFont lf("title", -1);
    dc.selectFont(Font::getFont(&lf));
    int w = 0;
    int h = 0;
    dc.getTextExtend(w, h, text.c_str(), -1);
    return w;
}

// A text of letters whose width in the title font is exactly width, made of
// two letters repeated; empty when no pair of letters adds up.
std::string textOfWidth(int width)
{
    const std::string letters = "ilIjtfr1abcdeghknopqsuvxyzABCDEFGHKLNOPRSTUVXYZ0234567890mwMW";
    for (char a : letters) {
        const int wa = titleWidth(std::string(1, a));
        if (wa <= 0)
            continue;
        for (char b : letters) {
            const int wb = titleWidth(std::string(1, b));
            if (wb <= 0)
                continue;
            for (int na = 0; na * wa <= width; ++na) {
                const int rest = width - na * wa;
                if (rest % wb == 0) {
                    std::string text = std::string(static_cast<size_t>(na), a)
                        + std::string(static_cast<size_t>(rest / wb), b);
                    if (titleWidth(text) == width)
                        return text;
                }
            }
        }
    }
    return std::string();
}

class PmpMsgBoxTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        owner = new OwnerWnd;
        ASSERT_EQ(owner->create(screenWidth, screenHeight), 0);
        settle();
    }

    // A box as the program makes one: on the heap, created, shown.
    PmpMsgBox* openBox(uint32_t style, const char* text)
    {
        auto* box = new PmpMsgBox(true); // deleted by the toolkit when it closes
        EXPECT_EQ(box->create(owner, style, text), 0);
        box->showWindow(true);
        settle();
        return box;
    }

    bool boxOpen() const { return app->getTopWnd() != owner; }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    static Rect windowRect(const WndBase* w)
    {
        Rect r;
        w->getWindowRect(r);
        return r;
    }

    void click(const WndBase* w)
    {
        const Rect r = w->screenRect();
        finger.press((r.left + r.right) / 2, (r.top + r.bottom) / 2);
        settle();
        finger.release((r.left + r.right) / 2, (r.top + r.bottom) / 2);
        settle();
    }

    OwnerWnd* owner { nullptr };
    Finger finger;
};

TEST(PmpMsgBoxDefaults, FieldsStartEmptyWithTheFactoryColours)
{
    PmpMsgBox box(false);
    EXPECT_EQ(box.timerId(), 0);
    EXPECT_EQ(box.boxStyle(), 0u);
    EXPECT_EQ(box.commandTarget(), nullptr);
    EXPECT_EQ(box.label(), nullptr);
    EXPECT_EQ(box.button(0), nullptr);
    EXPECT_EQ(box.button(1), nullptr);
    EXPECT_EQ(box.bgColor(), 0x18E3);
    EXPECT_EQ(box.frameColor(), 0x03D9);
    EXPECT_EQ(box.commandId(0), 0);
    EXPECT_EQ(box.commandId(1), 0);
}

TEST(PmpMsgBoxDefaults, EnumerationsNumberTheButtons)
{
    EXPECT_EQ(PMB_EVENT_BTN0, 0);
    EXPECT_EQ(PMB_EVENT_BTN1, 1);
    EXPECT_EQ(PMB_BTN0, 0);
    EXPECT_EQ(PMB_BTN1, 1);
}

TEST(PmpMsgBoxDefaults, SetCommandIdTakesOnlyTheTwoEvents)
{
    PmpMsgBox box(false);
    EXPECT_EQ(box.setCommandId(PMB_EVENT_BTN0, 112), 0);
    EXPECT_EQ(box.setCommandId(PMB_EVENT_BTN1, 113), 0);
    EXPECT_EQ(box.commandId(0), 112);
    EXPECT_EQ(box.commandId(1), 113);
    EXPECT_EQ(box.setCommandId(static_cast<PmpMsgBoxEvent>(2), 5), -1);
    EXPECT_EQ(box.setCommandId(static_cast<PmpMsgBoxEvent>(-1), 5), -1);
    EXPECT_EQ(box.commandId(0), 112);
    EXPECT_EQ(box.commandId(1), 113);
}

TEST(PmpMsgBoxDefaults, SetTextBeforeCreateDoesNothing)
{
    PmpMsgBox box(false);
    EXPECT_EQ(box.setText("anything"), 0);
    EXPECT_EQ(box.label(), nullptr);
}

TEST(PmpMsgBoxDefaults, SetColorStoresBothColours)
{
    PmpMsgBox box(false);
    box.setColor(0x8C71, 0x5D5D);
    EXPECT_EQ(box.bgColor(), 0x8C71);
    EXPECT_EQ(box.frameColor(), 0x5D5D);
}

TEST(PmpMsgBoxLayout, ShortOrNoTextGivesThreeHundredBySeventyCentred)
{
    unsigned int labelStyle = 0;
    EXPECT_EQ(PmpMsgBox::layout(800, 480, false, 0, &labelStyle), Rect(250, 155, 550, 325));
    EXPECT_EQ(labelStyle, 6u);
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 100, &labelStyle), Rect(250, 155, 550, 325));
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 280, &labelStyle), Rect(250, 155, 550, 325));
    EXPECT_EQ(labelStyle, 6u);
}

TEST(PmpMsgBoxLayout, TextWiderThan280GrowsTheBoxToItsWidthPlusTwenty)
{
    unsigned int labelStyle = 0;
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 380, &labelStyle), Rect(200, 155, 600, 325));
    EXPECT_EQ(labelStyle, 6u);
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 480, &labelStyle), Rect(150, 155, 650, 325));
    EXPECT_EQ(labelStyle, 6u) << "500 wide is not above 500";
}

TEST(PmpMsgBoxLayout, AnOddDifferenceLeavesTheBoxOnePixelWider)
{
    // 281 + 20 = 301: each side moves in by (800 - 301) / 2 = 249.
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 281, nullptr), Rect(249, 155, 551, 325));
}

TEST(PmpMsgBoxLayout, TextAboveFiveHundredGivesTheLargeBoxWithTheLongTextLabel)
{
    unsigned int labelStyle = 0;
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 481, &labelStyle), Rect(150, 130, 650, 350));
    EXPECT_EQ(labelStyle, 6u | 0x10000u);
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 520, &labelStyle), Rect(150, 130, 650, 350));
    EXPECT_EQ(labelStyle, 0x10006u);
    EXPECT_EQ(PmpMsgBox::layout(800, 480, true, 5000, &labelStyle), Rect(150, 130, 650, 350));
}

TEST(PmpMsgBoxLayout, AScreenNoLargerThanTheBoxIsNotShrunk)
{
    EXPECT_EQ(PmpMsgBox::layout(320, 170, false, 0, nullptr), Rect(10, 0, 310, 170));
    EXPECT_EQ(PmpMsgBox::layout(301, 100, false, 0, nullptr), Rect(0, 0, 301, 100));
}

TEST_F(PmpMsgBoxTest, ShortTextBoxIsThreeHundredBySeventyInTheMiddle)
{
    PmpMsgBox* box = openBox(kNotice, "OK");
    EXPECT_EQ(box->screenRect(), Rect(250, 155, 550, 325));
    EXPECT_TRUE(box->isStyle(kNotice | 0x100));
    EXPECT_EQ(box->commandTarget(), owner);
    EXPECT_EQ(box->boxStyle(), kNotice);
    EXPECT_TRUE(box->isAutoDelete());
}

TEST_F(PmpMsgBoxTest, LabelSitsBelowTheTitleAreaWithWrappedCentredWhiteText)
{
    PmpMsgBox* box = openBox(kNotice, "Test passed");
    Label* label = box->label();
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(windowRect(label), Rect(10, 45, 296, 90));
    EXPECT_EQ(label->style(), 6u);
    EXPECT_EQ(label->alignFlag(), 98u);
    EXPECT_STREQ(label->getText(), "Test passed");
    EXPECT_GT(shot().countColour(label->screenRect(), 0xFFFF), 20) << "white text";
}

TEST_F(PmpMsgBoxTest, OneButtonBoxCentresButtonZeroUnderTheLabel)
{
    PmpMsgBox* box = openBox(kNotice, "OK");
    PelButton* yes = box->button(0);
    PelButton* no = box->button(1);
    ASSERT_NE(yes, nullptr);
    ASSERT_NE(no, nullptr);
    const Rect r = windowRect(yes);
    EXPECT_EQ(r, Rect(108, 117, 198, 150));
    EXPECT_EQ(r.width(), 90);
    EXPECT_EQ(r.height(), 33);
    EXPECT_EQ(170 - r.bottom, 20);
    const Rect label = windowRect(box->label());
    EXPECT_EQ(r.left - label.left, label.right - r.right) << "centred under the label";
    EXPECT_TRUE(yes->isVisible());
    EXPECT_FALSE(no->isVisible());
    EXPECT_EQ(yes->screenRect(), Rect(358, 272, 448, 305));
}

TEST_F(PmpMsgBoxTest, TwoButtonBoxPlacesTheButtonsTwentyPixelsApartAroundTheCentre)
{
    PmpMsgBox* box = openBox(kQuestion, "Is the picture OK?");
    const Rect yes = windowRect(box->button(0));
    const Rect no = windowRect(box->button(1));
    EXPECT_EQ(yes, Rect(53, 117, 143, 150));
    EXPECT_EQ(no, Rect(163, 117, 253, 150));
    EXPECT_EQ(no.left - yes.right, 20);
    const Rect label = windowRect(box->label());
    EXPECT_EQ((yes.right + no.left) / 2, (label.left + label.right) / 2) << "the gap is in the middle";
    EXPECT_EQ(170 - yes.bottom, 20);
    EXPECT_TRUE(box->button(0)->isVisible());
    EXPECT_TRUE(box->button(1)->isVisible());
}

TEST_F(PmpMsgBoxTest, ButtonOneAloneKeepsItsPlaceRightOfTheCentre)
{
    // Style 4 is also the toolkit's shown bit: the box shows at once.
    auto* box = new PmpMsgBox(false);
    ASSERT_EQ(box->create(owner, 0x4, "OK"), 0);
    settle();
    EXPECT_TRUE(box->isVisible());
    EXPECT_FALSE(box->button(0)->isVisible());
    EXPECT_TRUE(box->button(1)->isVisible());
    EXPECT_EQ(windowRect(box->button(1)), Rect(218, 117, 308, 150));
    EXPECT_EQ(windowRect(box->button(1)).left - 108, 110);
}

TEST_F(PmpMsgBoxTest, ButtonsAreCaptionedYesAndNoFromGbk)
{
    int length = 2;
    char* yes = str2utf8(kYesGbk, &length, 2);
    ASSERT_NE(yes, nullptr);
    EXPECT_STREQ(yes, kYesUtf8);
    std::free(yes);
    length = 2;
    char* no = str2utf8(kNoGbk, &length, 2);
    ASSERT_NE(no, nullptr);
    EXPECT_STREQ(no, kNoUtf8);
    std::free(no);

    PmpMsgBox* box = openBox(kQuestion, "?");
    for (int i = 0; i < 2; ++i) {
        PelButton* b = box->button(i);
        EXPECT_STREQ(b->getText(), i == 0 ? kYesUtf8 : kNoUtf8);
        EXPECT_EQ(b->style(), 6u);
        EXPECT_EQ(b->textColor(), 0xFFFF);
        EXPECT_EQ(b->penColor(), 0x0000);
        EXPECT_EQ(b->alignFlag(), 34u);
        EXPECT_GT(shot().countColour(b->screenRect(), 0xFFFF), 10) << "caption drawn on button " << i;
    }
}

TEST_F(PmpMsgBoxTest, TheScreenShowsTheFrameTheBackgroundAndTheButtonFaces)
{
    openBox(kQuestion, "OK");
    const Snapshot s = shot();
    const Rect box(250, 155, 550, 325);
    // Four one-pixel outlines make a 4-pixel frame.
    Rect inside = box;
    inside.shrink(4, 4);
    EXPECT_EQ(s.countColour(box, kFrame), box.width() * box.height() - inside.width() * inside.height());
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(s.at(250 + i, 240), kFrame);
        EXPECT_EQ(s.at(549 - i, 240), kFrame);
        EXPECT_EQ(s.at(400, 155 + i), kFrame);
        EXPECT_EQ(s.at(400, 324 - i), kFrame);
    }
    EXPECT_EQ(s.at(254, 240), kBoxBack);
    EXPECT_EQ(s.at(545, 240), kBoxBack);
    EXPECT_EQ(s.at(400, 159), kBoxBack);
    EXPECT_EQ(s.at(400, 320), kBoxBack);
    // Outside the box the owner shows.
    EXPECT_EQ(s.at(249, 240), kHostBack);
    EXPECT_EQ(s.at(550, 240), kHostBack);
    EXPECT_EQ(s.at(400, 154), kHostBack);
    EXPECT_EQ(s.at(400, 325), kHostBack);
    // Button faces: (303, 272)-(393, 305) and (413, 272)-(503, 305).
    for (const Rect& b : { Rect(303, 272, 393, 305), Rect(413, 272, 503, 305) }) {
        EXPECT_EQ(s.at(b.left, b.top), kButtonFace);
        EXPECT_EQ(s.at(b.right - 1, b.bottom - 1), kButtonFace);
        EXPECT_EQ(s.at(b.left - 1, b.top), kBoxBack);
        EXPECT_EQ(s.at(b.right, b.bottom - 1), kBoxBack);
        EXPECT_EQ(s.at(b.left, b.bottom), kBoxBack);
        EXPECT_EQ(
            s.count(b, [](uint16_t p) { return p == kButtonFace || p != kBoxBack; }), b.width() * b.height());
    }
    // Between the buttons, and where the label has no text, the box shows.
    EXPECT_EQ(s.countColour(Rect(393, 272, 413, 305), kBoxBack), 20 * 33);
    EXPECT_EQ(s.countColour(Rect(254, 159, 546, 200), kBoxBack), 292 * 41);
}

TEST_F(PmpMsgBoxTest, OneButtonBoxShowsOnlyOneFace)
{
    openBox(kNotice, "OK");
    const Snapshot s = shot();
    EXPECT_EQ(s.at(358, 272), kButtonFace);
    EXPECT_EQ(s.at(447, 304), kButtonFace);
    EXPECT_EQ(s.countColour(Rect(468, 272, 546, 305), kBoxBack), 78 * 33)
        << "the hidden button leaves no trace";
}

TEST_F(PmpMsgBoxTest, SetColorRepaintsWithTheNewColours)
{
    PmpMsgBox* box = openBox(kQuestion, "OK");
    box->setColor(0x8C71, 0x5D5D);
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.at(250, 155), 0x5D5D);
    EXPECT_EQ(s.at(253, 240), 0x5D5D);
    EXPECT_EQ(s.at(254, 240), 0x8C71);
}

TEST_F(PmpMsgBoxTest, ATextMeasuring380MakesTheBox400Wide)
{
    const std::string text = textOfWidth(380);
    ASSERT_FALSE(text.empty()) << "no pair of letters of the title font adds up to 380 pixels";
    ASSERT_EQ(titleWidth(text), 380);
    PmpMsgBox* box = openBox(kNotice, text.c_str());
    EXPECT_EQ(box->screenRect(), Rect(200, 155, 600, 325));
    EXPECT_EQ(box->label()->style(), 6u);
    EXPECT_EQ(windowRect(box->label()), Rect(10, 45, 396, 90));
    EXPECT_EQ(windowRect(box->button(0)), Rect(158, 117, 248, 150));
    const Snapshot s = shot();
    EXPECT_EQ(s.at(200, 240), kFrame);
    EXPECT_EQ(s.at(599, 240), kFrame);
    EXPECT_EQ(s.at(199, 240), kHostBack);
    EXPECT_EQ(s.at(600, 240), kHostBack);
}

TEST_F(PmpMsgBoxTest, ATextMeasuring280KeepsTheSmallBox)
{
    const std::string text = textOfWidth(280);
    ASSERT_FALSE(text.empty());
    PmpMsgBox* box = openBox(kNotice, text.c_str());
    EXPECT_EQ(box->screenRect(), Rect(250, 155, 550, 325));
}

TEST_F(PmpMsgBoxTest, ATextMeasuring520MakesTheLargeBoxWithTheLongTextLabel)
{
    const std::string text = textOfWidth(520);
    ASSERT_FALSE(text.empty()) << "no pair of letters of the title font adds up to 520 pixels";
    ASSERT_EQ(titleWidth(text), 520);
    PmpMsgBox* box = openBox(kNotice, text.c_str());
    EXPECT_EQ(box->screenRect(), Rect(150, 130, 650, 350));
    EXPECT_EQ(box->label()->style(), 6u | 0x10000u);
    EXPECT_EQ(box->label()->alignFlag(), 98u) << "the label wraps what does not fit";
    EXPECT_EQ(windowRect(box->label()), Rect(10, 45, 496, 140));
    EXPECT_EQ(windowRect(box->button(0)), Rect(208, 167, 298, 200));
    const Snapshot s = shot();
    EXPECT_EQ(s.at(150, 130), kFrame);
    EXPECT_EQ(s.at(649, 349), kFrame);
    EXPECT_EQ(s.at(150, 350), kHostBack);
}

TEST_F(PmpMsgBoxTest, EnterWithTheFocusOnNeitherButtonSendsZero)
{
    PmpMsgBox* box = openBox(kNotice, "OK");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    ASSERT_FALSE(box->button(0)->hasFocus());
    ASSERT_FALSE(box->button(1)->hasFocus());
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 0);
    EXPECT_FALSE(boxOpen());
}

TEST_F(PmpMsgBoxTest, TwoButtonBoxOpensWithTheFocusOnNoSoEnterSendsItsId)
{
    PmpMsgBox* box = openBox(kQuestion, "Retest?");
    box->setCommandId(PMB_EVENT_BTN0, 112);
    box->setCommandId(PMB_EVENT_BTN1, 113);
    EXPECT_TRUE(box->button(1)->hasFocus());
    EXPECT_FALSE(box->button(0)->hasFocus());
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 113);
    EXPECT_FALSE(boxOpen());
}

TEST_F(PmpMsgBoxTest, DirectionKeysMoveTheFocusBetweenTheButtons)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    rt->deliverKeyEvent(VK_Left, 0);
    settle();
    EXPECT_TRUE(box->button(0)->hasFocus());
    rt->deliverKeyEvent(VK_Right, 0);
    settle();
    EXPECT_TRUE(box->button(1)->hasFocus());
    rt->deliverKeyEvent(VK_Left, 0);
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 110);
}

TEST_F(PmpMsgBoxTest, SetSelectedChoosesTheButtonEnterAnswersWith)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    EXPECT_EQ(box->setSelected(0), 0);
    EXPECT_TRUE(box->button(0)->hasFocus());
    EXPECT_EQ(box->setSelected(1), 0);
    EXPECT_TRUE(box->button(1)->hasFocus());
    EXPECT_EQ(box->setSelected(7), 0);
    EXPECT_TRUE(box->button(0)->hasFocus()) << "anything but 1 means button 0";
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 110);
}

TEST_F(PmpMsgBoxTest, ClickOnAButtonSendsThatButtonsId)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    click(box->button(0));
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 110);
    EXPECT_FALSE(boxOpen());

    box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    box->setSelected(0);
    click(box->button(1));
    ASSERT_EQ(owner->commands.size(), 2u);
    EXPECT_EQ(owner->commands[1].id, 111);
    EXPECT_FALSE(boxOpen());
}

TEST_F(PmpMsgBoxTest, ClickOnTheOnlyButtonSendsItsId)
{
    PmpMsgBox* box = openBox(kNotice, "Done");
    box->setCommandId(PMB_EVENT_BTN0, 42);
    click(box->button(0));
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 42);
}

TEST_F(PmpMsgBoxTest, TheCommandIsQueuedAndArrivesAfterTheBoxHasGone)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN1, 111);
    ASSERT_EQ(app->pendingMessages(), 0);
    EXPECT_EQ(deliverNow(box, MSG_KEY, VK_Select, 0), 0);
    EXPECT_TRUE(owner->commands.empty()) << "not delivered during the box's own handling";
    EXPECT_EQ(app->pendingMessages(), 1);
    settle();
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 111);
    EXPECT_TRUE(owner->commands[0].boxesGone);
}

TEST_F(PmpMsgBoxTest, EscapeClosesWithoutACommand)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    rt->deliverKeyEvent(VK_Escape, 0);
    settle();
    EXPECT_FALSE(boxOpen());
    EXPECT_TRUE(owner->commands.empty());
    EXPECT_EQ(shot().at(400, 240), kHostBack) << "the box is gone from the screen";
}

TEST_F(PmpMsgBoxTest, OtherKeysLeaveTheBoxOpen)
{
    openBox(kQuestion, "OK?");
    rt->deliverKeyEvent('A', 0);
    rt->deliverKeyEvent(VK_Menu, 0);
    settle();
    EXPECT_TRUE(boxOpen());
    EXPECT_TRUE(owner->commands.empty());
}

TEST_F(PmpMsgBoxTest, TimeOutClosesTheBoxSilentlyAndALaterEnterCannotReachIt)
{
    PmpMsgBox* box = openBox(kQuestion, "Waiting");
    box->setCommandId(PMB_EVENT_BTN0, 110);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    EXPECT_EQ(box->setTimeOut(3000), 0);
    EXPECT_NE(box->timerId(), 0);
    advance(2999, 50);
    EXPECT_TRUE(boxOpen());
    advance(1);
    EXPECT_FALSE(boxOpen());
    EXPECT_TRUE(owner->commands.empty());

    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    EXPECT_TRUE(owner->commands.empty());
    ASSERT_EQ(owner->keys.size(), 1u);
    EXPECT_EQ(owner->keys[0], VK_Select) << "the enter went to the window beneath";
}

TEST_F(PmpMsgBoxTest, SetTimeOutAgainRestartsTheTimeOut)
{
    PmpMsgBox* box = openBox(kNotice, "Waiting");
    box->setTimeOut(1000);
    const int first = box->timerId();
    advance(600, 50);
    box->setTimeOut(1000);
    EXPECT_NE(box->timerId(), first);
    advance(600, 50);
    EXPECT_TRUE(boxOpen()) << "the first time-out no longer runs";
    advance(400, 50);
    EXPECT_FALSE(boxOpen());
}

TEST_F(PmpMsgBoxTest, TicksOfOtherTimersAreIgnored)
{
    PmpMsgBox* box = openBox(kNotice, "Waiting");
    box->setTimeOut(1000);
    const int other = box->setTimer(100);
    ASSERT_NE(other, 0);
    advance(950, 50);
    EXPECT_TRUE(boxOpen()) << "nine ticks of another timer did not close it";
    advance(50, 50);
    EXPECT_FALSE(boxOpen()) << "its own time-out still does";
}

TEST_F(PmpMsgBoxTest, WithoutAParentEnterClosesTheBoxAndSendsNothing)
{
    auto* box = new PmpMsgBox(false);
    ASSERT_EQ(box->create(nullptr, kQuestion, "OK?"), 0);
    box->showWindow(true);
    box->setCommandId(PMB_EVENT_BTN1, 111);
    settle();
    deliverNow(box, MSG_KEY, VK_Select, 0);
    EXPECT_EQ(app->pendingMessages(), 0);
    settle();
    EXPECT_FALSE(boxOpen());
    EXPECT_TRUE(owner->commands.empty());
}

TEST_F(PmpMsgBoxTest, NotificationsOtherThanAClickFromItsButtonsAreIgnored)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    box->setCommandId(PMB_EVENT_BTN1, 111);
    EXPECT_EQ(deliverNow(box, MSG_NOTIFY, 128, 1, box->button(1)), 0);
    EXPECT_EQ(deliverNow(box, MSG_NOTIFY, NOTIFY_CLICKED, 0, owner), 0);
    EXPECT_EQ(deliverNow(box, MSG_NOTIFY, NOTIFY_CLICKED, 0, nullptr), 0);
    settle();
    EXPECT_TRUE(boxOpen());
    EXPECT_TRUE(owner->commands.empty());

    EXPECT_EQ(deliverNow(box, MSG_NOTIFY, NOTIFY_CLICKED, 0, box->button(1)), 0);
    settle();
    EXPECT_FALSE(boxOpen());
    ASSERT_EQ(owner->commands.size(), 1u);
    EXPECT_EQ(owner->commands[0].id, 111);
}

TEST_F(PmpMsgBoxTest, SetBtnTextRefusesTheHiddenButtonOfTheBareOneButtonStyles)
{
    auto* two = new PmpMsgBox(false);
    ASSERT_EQ(two->create(owner, 0x2, "OK"), 0);
    EXPECT_EQ(two->setBtnText(PMB_BTN1, "x"), -1);
    EXPECT_STREQ(two->button(1)->getText(), kNoUtf8);
    EXPECT_EQ(two->setBtnText(PMB_BTN0, "Close"), 0);
    EXPECT_STREQ(two->button(0)->getText(), "Close");
    two->destroy();

    auto* four = new PmpMsgBox(false);
    ASSERT_EQ(four->create(owner, 0x4, "OK"), 0);
    EXPECT_EQ(four->setBtnText(PMB_BTN0, "x"), -1);
    EXPECT_STREQ(four->button(0)->getText(), kYesUtf8);
    EXPECT_EQ(four->setBtnText(PMB_BTN1, "Close"), 0);
    EXPECT_STREQ(four->button(1)->getText(), "Close");
    four->destroy();
    settle();
}

TEST_F(PmpMsgBoxTest, SetBtnTextAcceptsTheHiddenButtonWhenOtherStyleBitsAreSet)
{
    PmpMsgBox* box = openBox(kNotice, "OK");
    EXPECT_EQ(box->setBtnText(PMB_BTN1, "Hidden"), 0);
    EXPECT_STREQ(box->button(1)->getText(), "Hidden");
}

TEST_F(PmpMsgBoxTest, SetBtnTextTreatsAnyNonZeroButtonAsButtonOne)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    EXPECT_EQ(box->setBtnText(PMB_BTN0, "Pass"), 0);
    EXPECT_EQ(box->setBtnText(static_cast<PmpMsgBoxBtn>(5), "Fail"), 0);
    EXPECT_STREQ(box->button(0)->getText(), "Pass");
    EXPECT_STREQ(box->button(1)->getText(), "Fail");
}

TEST_F(PmpMsgBoxTest, SetTextReplacesTheLabelText)
{
    PmpMsgBox* box = openBox(kNotice, "first");
    EXPECT_EQ(box->setText("second"), 0);
    EXPECT_STREQ(box->label()->getText(), "second");
}

TEST_F(PmpMsgBoxTest, BoxWithoutTextHasAnEmptyLabel)
{
    PmpMsgBox* box = openBox(kNotice, nullptr);
    EXPECT_EQ(box->screenRect(), Rect(250, 155, 550, 325));
    EXPECT_STREQ(box->label()->getText(), "");
}

TEST_F(PmpMsgBoxTest, BackgroundRequestsDrawNothing)
{
    PmpMsgBox* box = openBox(kNotice, "OK");
    MemDC mem;
    ASSERT_EQ(mem.create(Rect(0, 0, 8, 8), nullptr), 0);
    mem.fillRect(Rect(0, 0, 8, 8), 0x1234);
    const Rect all(0, 0, 8, 8);
    // What the label (a transparent child) gets when it asks the box.
    box->label()->redrawBackground(mem, &all, box->label());
    EXPECT_EQ(mem.getPixel(3, 3), 0x1234);
}

class CompanionBox : public PmpMsgBox {
public:
    void attach(WndBase* w) { m_companion = w; }
};

TEST_F(PmpMsgBoxTest, ACompanionWindowClosesWithTheBox)
{
    auto* companion = new MainWndBase; // auto-delete: the toolkit frees it
    ASSERT_EQ(companion->create(Rect(0, 0, 100, 100), WS_VISIBLE, 103), 0);
    auto* box = new CompanionBox;
    ASSERT_EQ(box->create(owner, kNotice, "OK"), 0);
    box->attach(companion);
    box->showWindow(true);
    settle();
    ASSERT_EQ(app->getWndById(103), companion);
    rt->deliverKeyEvent(VK_Escape, 0);
    settle();
    EXPECT_FALSE(boxOpen());
    EXPECT_EQ(app->getWndById(103), nullptr);
}

TEST_F(PmpMsgBoxTest, WithoutACompanionOnlyTheBoxCloses)
{
    auto* other = new MainWndBase;
    ASSERT_EQ(other->create(Rect(0, 0, 100, 100), WS_VISIBLE, 103), 0);
    openBox(kNotice, "OK");
    rt->deliverKeyEvent(VK_Escape, 0);
    settle();
    EXPECT_EQ(app->getWndById(103), other);
}

using PmpMsgBoxDeathTest = PmpMsgBoxTest;

TEST_F(PmpMsgBoxDeathTest, ANullButtonTextIsFatal)
{
    PmpMsgBox* box = openBox(kQuestion, "OK?");
    EXPECT_DEATH(box->setBtnText(PMB_BTN0, nullptr),
        "pelmsgbox:208: int PmpMsgBox::setBtnText\\(PmpMsgBoxBtn, const char\\*\\): Assertion `text' "
        "failed\\.");
}

// A screen no wider than the box.
class NarrowScreenDeathTest : public lumitest::ToolkitTest {
protected:
    NarrowScreenDeathTest() { screenWidth = 300; }
};

TEST_F(NarrowScreenDeathTest, CreatingABoxOnAScreenThreeHundredWideIsFatal)
{
    EXPECT_DEATH(
        {
            auto* box = new PmpMsgBox(false);
            box->create(nullptr, kNotice, "OK");
        },
        "pelmsgbox:56: int PmpMsgBox::create\\(WndBase\\*, uint32_t, const char\\*\\): "
        "Assertion `rc.right > 300' failed\\.");
}

class JustWideEnoughScreenTest : public lumitest::ToolkitTest {
protected:
    JustWideEnoughScreenTest() { screenWidth = 301; }
};

TEST_F(JustWideEnoughScreenTest, AScreenThreeHundredAndOneWideTakesTheBox)
{
    auto* box = new PmpMsgBox(false);
    ASSERT_EQ(box->create(nullptr, kNotice, "OK"), 0);
    EXPECT_EQ(box->screenRect(), Rect(0, 155, 301, 325));
}

}
