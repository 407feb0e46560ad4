// The key test: four keys in any order, each within a five-second countdown
// on the test clock, the prompts in GBK, and the finish notice to window 101.

#include "input_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using inputtest::InputLayerTest;
using testfuntest::HostWnd;
using testfuntest::RecordingLog;

namespace {

// clang-format off
const std::string kPressKeys = "\xC7\xEB\xB0\xB4\xB0\xB4\xBC\xFC";
const std::string kAskMenu = "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB" "Menu\xBC\xFC";
const std::string kAskBack = "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB" "Back\xBC\xFC";
const std::string kAskVolUp = "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL+ \xBC\xFC";
const std::string kAskVolDown = "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL- \xBC\xFC";
// clang-format on

// Linux key codes of the handheld's keys.
constexpr int kMenu = 139;
constexpr int kBack = 158;
constexpr int kVolUp = 115;
constexpr int kVolDown = 114;

class InputItemTest : public InputLayerTest {
protected:
    void SetUp() override
    {
        InputLayerTest::SetUp();
        window = new HostWnd; // deleted by the toolkit
        ASSERT_EQ(window->create(screenWidth, screenHeight, 101), 0);
        item = std::make_unique<InputItem>(name);
        settle();
    }
    void TearDown() override
    {
        item.reset();
        InputLayerTest::TearDown();
    }

    char name[5] = "\xB0\xB4\xBC\xFC";
    HostWnd* window { nullptr };
    std::unique_ptr<InputItem> item;
    RecordingLog log;
};

TEST_F(InputItemTest, IsNotAutoRunAndBecomesTheKeyTest)
{
    EXPECT_FALSE(item->isAutoRun());
    EXPECT_EQ(s_input, item.get());
    EXPECT_STREQ(item->getName(), "\xE6\x8C\x89\xE9\x94\xAE"); // 按键 in UTF-8
}

TEST_F(InputItemTest, StartAsksForMenuAndReturnsPending)
{
    item->setResult(0);
    EXPECT_EQ(item->execute(&log), -1);
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kPressKeys, kAskMenu }));
    EXPECT_NE(g_linuxEventMouse.keyTestTimer, 0);
    EXPECT_EQ(ticks, 0);
}

TEST_F(InputItemTest, KeysInAnyOrderPassAndNotifyWindow101)
{
    item->execute(&log);
    tap(kVolUp);
    tap(kMenu);
    tap(kBack);
    advance(4000); // within the countdown of the last key
    tap(kVolDown);
    settle();
    EXPECT_EQ(item->getResult(), 0);
    EXPECT_EQ(g_linuxEventMouse.keyTestTimer, 0);
    ASSERT_EQ(window->notifications.size(), 1u);
    EXPECT_EQ(window->notifications[0].id, 8195);
    EXPECT_EQ(window->notifications[0].param1, 3);
    // The prompt follows the first key not pressed yet, in table order.
    EXPECT_EQ(log.lines,
        (std::vector<std::string> { kPressKeys, kAskMenu, "input: VK_VolUp", kAskMenu, "input: VK_Menu",
            kAskBack, "input: VK_Previous", kAskVolDown, "1", "2", "3", "4", "input: VK_VolDown" }));
    // Nothing more happens afterwards.
    advance(10000);
    EXPECT_EQ(window->notifications.size(), 1u);
    EXPECT_EQ(item->getResult(), 0);
}

TEST_F(InputItemTest, OnlyMenuThenWaitingFailsOnTheSixthSecond)
{
    item->execute(&log);
    tap(kMenu);
    advance(5999);
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_TRUE(window->notifications.empty());
    advance(1);
    EXPECT_EQ(item->getResult(), 1);
    ASSERT_EQ(window->notifications.size(), 1u);
    EXPECT_EQ(window->notifications[0].param1, 3);
    EXPECT_EQ(log.lines,
        (std::vector<std::string> {
            kPressKeys, kAskMenu, "input: VK_Menu", kAskBack, "1", "2", "3", "4", "5" }));
    EXPECT_EQ(g_linuxEventMouse.keyTestTimer, 0);
    EXPECT_EQ(ticks, 0);
    advance(5000);
    EXPECT_EQ(window->notifications.size(), 1u);
}

TEST_F(InputItemTest, NoKeyAtAllFailsAfterTheCountdown)
{
    item->execute(&log);
    advance(6000);
    EXPECT_EQ(item->getResult(), 1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kPressKeys, kAskMenu, "1", "2", "3", "4", "5" }));
}

TEST_F(InputItemTest, EachNewlyAwaitedKeyGetsAFullCountdown)
{
    item->execute(&log);
    advance(4000);
    tap(kMenu);
    advance(5000);
    EXPECT_EQ(item->getResult(), -1);
    tap(kBack);
    advance(5000);
    tap(kVolUp);
    advance(5000);
    tap(kVolDown);
    settle();
    EXPECT_EQ(item->getResult(), 0);
}

TEST_F(InputItemTest, AutoRepeatDoesNothingOnlyReleasesCount)
{
    item->execute(&log);
    press(kMenu);
    feed(EV_KEY, kMenu, 2);
    feed(EV_KEY, kMenu, 2);
    EXPECT_EQ(log.lines.size(), 2u);
    release(kMenu);
    EXPECT_EQ(log.lines.back(), kAskBack);
}

TEST_F(InputItemTest, AKeyPressedTwiceStaysPressedAndOtherKeysAreOnlyLogged)
{
    item->execute(&log);
    tap(kMenu);
    tap(kMenu);
    tap(30); // a
    tap(103); // up
    tap(352); // OK
    EXPECT_EQ(log.lines,
        (std::vector<std::string> { kPressKeys, kAskMenu, "input: VK_Menu", kAskBack, "input: VK_Menu",
            kAskBack, "input: a", "input: VK_Up", "input: VK_Select" }));
    EXPECT_EQ(test_key[0].pressed, 1);
    EXPECT_EQ(test_key[1].pressed, 0);
}

TEST_F(InputItemTest, EveryNamedKeyIsLoggedByName)
{
    item->execute(&log);
    const std::pair<int, const char*> named[] = { { 1, "VK_Select" }, { 2, "VK_Menu" }, { 3, "VK_Home" },
        { 8, "VK_Back" }, { 27, "VK_Escape" }, { 28, "VK_Right" }, { 29, "VK_Left" }, { 30, "VK_Up" },
        { 31, "VK_Down" }, { 129, "VK_Power" }, { 130, "VK_Sleep" }, { 132, "VK_VolUp" },
        { 133, "VK_VolDown" }, { 134, "VK_Previous" }, { 135, "VK_Next" }, { 136, "VK_Mute" },
        { 138, "VK_PlayPause" }, { 139, "VK_Stop" }, { 140, "VK_PrtScr" } };
    for (const auto& [key, text] : named) {
        item->execute(&log); // a fresh run each time: the four keys would end it
        log.lines.clear();
        item->checkKey(key);
        ASSERT_FALSE(log.lines.empty());
        EXPECT_EQ(log.lines[0], std::string("input: ") + text);
    }
    item->execute(&log);
    log.lines.clear();
    item->checkKey('z');
    EXPECT_EQ(log.lines, (std::vector<std::string> { "input: z" }));
}

TEST_F(InputItemTest, SecondStartReplacesTheTimerAndStartsOver)
{
    item->execute(&log);
    tap(kMenu);
    advance(3000);
    const int first = g_linuxEventMouse.keyTestTimer;
    log.lines.clear();
    item->execute(&log);
    EXPECT_NE(g_linuxEventMouse.keyTestTimer, first);
    EXPECT_EQ(test_key[0].pressed, 0);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kPressKeys, kAskMenu }));
    advance(5999);
    EXPECT_EQ(item->getResult(), -1);
    advance(1);
    EXPECT_EQ(item->getResult(), 1);
    EXPECT_EQ(window->notifications.size(), 1u);
}

TEST_F(InputItemTest, KeysOutsideARunAreNotTheTestsBusiness)
{
    // Before the first run and after the verdict the keys are the operator's.
    tap(kMenu);
    tap(kBack);
    tap(kVolUp);
    tap(kVolDown);
    settle();
    EXPECT_EQ(item->getResult(), -1);
    EXPECT_TRUE(window->notifications.empty());
    item->execute(&log);
    advance(6000);
    ASSERT_EQ(item->getResult(), 1);
    const size_t lines = log.lines.size();
    tap(kMenu);
    tap(kBack);
    tap(kVolUp);
    tap(kVolDown);
    settle();
    EXPECT_EQ(item->getResult(), 1);
    EXPECT_EQ(log.lines.size(), lines);
    EXPECT_EQ(window->notifications.size(), 1u);
}

TEST_F(InputItemTest, WithoutWindow101TheResultIsStillSet)
{
    window->destroy();
    settle();
    item->execute(&log);
    advance(6000);
    EXPECT_EQ(item->getResult(), 1);
}

TEST_F(InputItemTest, MessagesBeforeTheFirstRunAreDropped)
{
    item->Message("nobody hears this");
    item->checkKey(2);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(InputItemTest, StaleTimerTicksAreIgnored)
{
    item->execute(&log);
    InputCheckProc(item.get(), g_linuxEventMouse.keyTestTimer + 1000);
    InputCheckProc(item.get(), 0);
    EXPECT_EQ(ticks, 0);
    EXPECT_EQ(log.lines.size(), 2u);
}

TEST_F(InputItemTest, DeletingTheTestStopsItsCountdown)
{
    item->execute(&log);
    item.reset();
    EXPECT_EQ(s_input, nullptr);
    EXPECT_EQ(g_linuxEventMouse.keyTestTimer, 0);
    advance(7000);
    tap(kMenu);
    EXPECT_TRUE(window->notifications.empty());
}

}
