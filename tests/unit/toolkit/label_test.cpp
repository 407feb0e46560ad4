#include "control_host.h"

#include <gtest/gtest.h>

using controltest::HostWnd;
using controltest::kHostBack;
using controltest::Snapshot;

namespace {

constexpr unsigned int kShownTransparent = WS_VISIBLE | WS_TRANSPARENT | 0x02;   // 70, as screens create labels
constexpr unsigned int kShownOpaque = WS_VISIBLE | 0x02;                         // 6, as for legend swatches

class LabelTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        host = new HostWnd;   // owned by the toolkit once created
        ASSERT_EQ(host->create(screenWidth, screenHeight), 0);
    }

    Label* makeLabel(const Rect& rect, unsigned int style)
    {
        auto* label = new Label;   // a child: deleted by the toolkit with its parent
        EXPECT_EQ(label->create(host, rect, style), 0);
        return label;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    HostWnd* host { nullptr };
};

TEST_F(LabelTest, BackgroundColourFillsExactlyTheLabelRectangle)
{
    Label* label = makeLabel(Rect(100, 50, 300, 90), kShownOpaque);
    label->setBackColor(0x001F);
    settle();

    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(Rect(100, 50, 300, 90), 0x001F), 200 * 40);
    // One pixel outside each edge is the host's background.
    EXPECT_EQ(s.at(99, 70), kHostBack);
    EXPECT_EQ(s.at(300, 70), kHostBack);
    EXPECT_EQ(s.at(200, 49), kHostBack);
    EXPECT_EQ(s.at(200, 90), kHostBack);
}

TEST_F(LabelTest, TransparentLabelWithBackgroundColourStillFillsItsRectangle)
{
    host->paintOver = true;
    Label* label = makeLabel(Rect(10, 10, 60, 40), kShownTransparent);
    label->setBackColor(0x5D5D);
    settle();

    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(Rect(10, 10, 60, 40), 0x5D5D), 50 * 30);
    EXPECT_EQ(s.at(60, 20), host->paintOverColour);
}

TEST_F(LabelTest, TransparentLabelShowsItsParentsBackgroundNotWhatTheParentPainted)
{
    host->paintOver = true;   // the host covers its client area with red in onPaint
    makeLabel(Rect(200, 200, 400, 240), kShownTransparent);
    settle();

    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(Rect(200, 200, 400, 240), kHostBack), 200 * 40);
    EXPECT_EQ(s.at(199, 220), host->paintOverColour);
}

TEST_F(LabelTest, TransparentLabelTakesTheBackgroundTheParentServes)
{
    host->childBackground = true;
    makeLabel(Rect(200, 200, 400, 240), kShownTransparent);
    settle();

    EXPECT_EQ(shot().countColour(Rect(200, 200, 400, 240), host->childBackgroundColour), 200 * 40);
}

TEST_F(LabelTest, TextIsDrawnInTheTextColourInsideTheLabel)
{
    Label* label = makeLabel(Rect(100, 100, 500, 160), kShownOpaque);
    label->setBackColor(0x0000);
    label->setTextColor(0xFFFF);
    label->setAlignFlag(34);   // one centred line
    label->setText("HHHH IIII");
    settle();

    const Snapshot s = shot();
    EXPECT_GT(s.countColour(Rect(100, 100, 500, 160), 0xFFFF), 50);
    // Centred: the left and right ends of the label keep the background.
    EXPECT_EQ(s.countColour(Rect(100, 100, 140, 160), 0x0000), 40 * 60);
    EXPECT_EQ(s.countColour(Rect(460, 100, 500, 160), 0x0000), 40 * 60);
    // Nothing is drawn outside the label.
    EXPECT_EQ(s.countColour(Rect(100, 160, 500, 200), 0xFFFF), 0);
}

TEST_F(LabelTest, LeftAlignedTextStartsAtTheLeftEdge)
{
    Label* label = makeLabel(Rect(100, 100, 500, 160), kShownOpaque);
    label->setBackColor(0x0000);
    label->setTextColor(0xFFFF);
    label->setAlignFlag(18);
    label->setText("HHHH");
    settle();

    const Snapshot s = shot();
    EXPECT_GT(s.count(Rect(100, 100, 140, 160), [](uint16_t p) { return p != 0x0000; }), 0);
    EXPECT_EQ(s.countColour(Rect(300, 100, 500, 160), 0x0000), 200 * 60);
}

TEST_F(LabelTest, SetTextWithRedrawShowsTheNewTextAndWithoutRedrawWaits)
{
    Label* label = makeLabel(Rect(100, 100, 300, 140), kShownOpaque);
    label->setBackColor(0x0000);
    label->setTextColor(0xFFFF);
    settle();
    const Rect area(100, 100, 300, 140);
    EXPECT_EQ(shot().countColour(area, 0x0000), 200 * 40);

    label->setText("HHHH", false);
    settle();
    EXPECT_EQ(shot().countColour(area, 0x0000), 200 * 40);   // not repainted yet
    EXPECT_STREQ(label->getText(), "HHHH");

    label->setText("HHHHHHHH", true);
    settle();
    EXPECT_GT(shot().countColour(area, 0xFFFF), 0);
}

TEST_F(LabelTest, NullTextIsEmpty)
{
    Label* label = makeLabel(Rect(0, 0, 10, 10), kShownOpaque);
    label->setText("x");
    label->setText(nullptr);
    EXPECT_STREQ(label->getText(), "");
}

TEST_F(LabelTest, NeverTakesTheFocus)
{
    Label* label = makeLabel(Rect(0, 0, 100, 30), kShownOpaque);
    EXPECT_FALSE(label->acceptsFocus());
    label->setFocus();
    EXPECT_FALSE(label->hasFocus());
    EXPECT_EQ(host->getFocusWnd(), nullptr);
}

TEST_F(LabelTest, DefaultAlignmentIsOneLineLeftAndVerticallyCentred)
{
    Label label;
    EXPECT_EQ(label.alignFlag(), 18u);
}

}
