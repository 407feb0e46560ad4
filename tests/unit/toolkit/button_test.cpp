#include "control_host.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

using controltest::HostWnd;
using controltest::Snapshot;

namespace {

constexpr unsigned int kShown = WS_VISIBLE | 0x02;   // 6, as screens create buttons

// Each channel of a is at most that of b, and one is smaller.
bool darker(uint16_t a, uint16_t b)
{
    const int ar = a >> 11, ag = (a >> 5) & 0x3F, ab = a & 0x1F;
    const int br = b >> 11, bg = (b >> 5) & 0x3F, bb = b & 0x1F;
    return ar <= br && ag <= bg && ab <= bb && a != b;
}

class ButtonTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        host = new HostWnd;
        ASSERT_EQ(host->create(screenWidth, screenHeight), 0);
        button = new Button;
        ASSERT_EQ(button->create(host, area, kShown), 0);
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    void pointer(int x, int y, bool down)
    {
        mouse.addPoint(MousePoint { static_cast<short>(x), static_cast<short>(y), 0, 500 }, down);
        settle();
    }

    // Where the exact text colour shows inside the button.
    std::set<std::pair<int, int>> captionPixels(uint16_t textColour) const
    {
        const Snapshot s = shot();
        std::set<std::pair<int, int>> at;
        for (int y = area.top; y < area.bottom; ++y)
            for (int x = area.left; x < area.right; ++x)
                if (s.at(x, y) == textColour)
                    at.insert({ x, y });
        return at;
    }

    const Rect area { 100, 100, 260, 140 };
    HostWnd* host { nullptr };
    Button* button { nullptr };
    Mouse mouse;
};

TEST_F(ButtonTest, FaceHasTheSystemButtonColourInsideADarkerBorder)
{
    settle();
    const Snapshot s = shot();
    const uint16_t face = SysConf::getColor(6);
    EXPECT_EQ(s.at(180, 120), face);
    EXPECT_EQ(s.countColour(Rect(102, 102, 258, 138), face), 156 * 36);   // no caption yet
    const uint16_t border = s.at(100, 100);
    EXPECT_TRUE(darker(border, face)) << std::hex << border;
    // The border is one pixel wide on every side.
    EXPECT_EQ(s.at(259, 139), border);
    EXPECT_EQ(s.at(180, 100), border);
    EXPECT_EQ(s.at(100, 120), border);
    EXPECT_EQ(s.at(101, 101), face);
    EXPECT_EQ(s.at(258, 138), face);
}

TEST_F(ButtonTest, PressedButtonShowsADarkerFaceUntilReleased)
{
    settle();
    const uint16_t face = shot().at(180, 120);

    pointer(180, 120, true);
    EXPECT_TRUE(button->isStatus(WS_PRESSED));
    const uint16_t pressed = shot().at(180, 120);
    EXPECT_TRUE(darker(pressed, face)) << std::hex << pressed << " vs " << face;

    pointer(180, 120, false);
    EXPECT_FALSE(button->isStatus(WS_PRESSED));
    EXPECT_EQ(shot().at(180, 120), face);
}

TEST_F(ButtonTest, PressedCaptionMovesOnePixelRightAndDown)
{
    button->setText("OK HH");
    settle();
    const auto normal = captionPixels(0x0000);
    ASSERT_GT(normal.size(), 10u);

    pointer(102, 102, true);
    const auto pressed = captionPixels(0x0000);
    // Fully inked pixels keep the exact text colour wherever they are drawn;
    // the darker pressed face may turn a few nearly inked edge pixels black
    // as well, so the shifted caption must be contained, not equal.
    int atShifted = 0;
    int atSame = 0;
    for (const auto& p : normal) {
        atShifted += pressed.count({ p.first + 1, p.second + 1 }) ? 1 : 0;
        atSame += pressed.count(p) ? 1 : 0;
    }
    EXPECT_EQ(atShifted, static_cast<int>(normal.size()));
    EXPECT_LT(atSame, atShifted * 3 / 4);
    EXPECT_LE(pressed.size(), normal.size() + normal.size() / 4);
}

TEST_F(ButtonTest, CaptionIsCentred)
{
    button->setText("HH");
    settle();
    const auto pixels = captionPixels(0x0000);
    ASSERT_FALSE(pixels.empty());
    int minX = area.right, maxX = area.left, minY = area.bottom, maxY = area.top;
    for (const auto& p : pixels) {
        minX = std::min(minX, p.first);
        maxX = std::max(maxX, p.first);
        minY = std::min(minY, p.second);
        maxY = std::max(maxY, p.second);
    }
    const int centreX = (minX + maxX + 1) / 2;
    const int centreY = (minY + maxY + 1) / 2;
    EXPECT_NEAR(centreX, 180, 3);
    EXPECT_NEAR(centreY, 120, 4);
}

TEST_F(ButtonTest, ReleaseInsideNotifiesTheParentOfAClick)
{
    settle();
    pointer(150, 110, true);
    EXPECT_EQ(host->clicksFrom(button), 0);
    pointer(150, 110, false);
    EXPECT_EQ(host->clicksFrom(button), 1);
}

TEST_F(ButtonTest, ReleaseOutsideDoesNotClick)
{
    settle();
    pointer(150, 110, true);
    pointer(400, 300, true);
    EXPECT_FALSE(button->isStatus(WS_PRESSED));
    pointer(400, 300, false);
    EXPECT_EQ(host->clicksFrom(button), 0);
}

TEST_F(ButtonTest, EnterKeyClicksTheFocusedButton)
{
    button->setFocus();
    settle();
    rt->deliverKeyEvent(VK_Select, 0);
    settle();
    EXPECT_EQ(host->clicksFrom(button), 1);
}

TEST_F(ButtonTest, OtherKeysMoveTheFocusAsInAnyWindow)
{
    auto* second = new Button;
    ASSERT_EQ(second->create(host, Rect(300, 100, 460, 140), kShown), 0);
    button->setFocus();
    settle();
    rt->deliverKeyEvent(VK_Right, 0);
    settle();
    EXPECT_TRUE(second->hasFocus());
    EXPECT_EQ(host->clicksFrom(button), 0);
}

TEST_F(ButtonTest, FocusShowsAFrameInsideTheBorder)
{
    settle();
    const uint16_t face = SysConf::getColor(6);
    EXPECT_EQ(shot().at(150, 102), face);
    button->setFocus();
    settle();
    const uint16_t frame = shot().at(150, 102);
    EXPECT_NE(frame, face);
    EXPECT_EQ(shot().at(102, 120), frame);
    EXPECT_EQ(shot().at(150, 103), face);   // one pixel wide

    auto* other = new Button;
    ASSERT_EQ(other->create(host, Rect(300, 100, 460, 140), kShown), 0);
    other->setFocus();
    settle();
    EXPECT_EQ(shot().at(150, 102), face);
}

TEST_F(ButtonTest, DisabledButtonIgnoresThePointer)
{
    button->setStyle(WS_DISABLED);
    settle();
    pointer(150, 110, true);
    pointer(150, 110, false);
    EXPECT_EQ(host->clicksFrom(button), 0);
}

}
