// Keys of the input layer: every entry of the default and shifted maps, with
// Shift, Caps Lock and Num Lock, the keypad remapping of config.ini, and the
// keyboard LEDs.

#include "input_support.h"
#include "key_maps.h"

#include <gtest/gtest.h>

#include <map>

using inputtest::InputLayerTest;
using inputtest::KeyEvent;
using lumitest::expectedDefaultKeyMap;
using lumitest::expectedShiftKeyMap;
using lumitest::swapCase;

namespace {

int entry(const std::map<int, int>& m, int code)
{
    auto it = m.find(code);
    return it == m.end() ? 0 : it->second;
}

bool isModifier(int code)
{
    return code == 42 || code == 54 || code == 58 || code == 69;
}

class LinuxEventKeysTest : public InputLayerTest {
protected:
    void setShift(bool on)
    {
        if (on)
            press(42);
        else
            release(42);
    }
    void setCaps(bool on)
    {
        if (g_linuxEventMouse.capsLock != on)
            tap(58);
    }
    void setNum(bool on)
    {
        if ((g_numLock != 0) != on)
            tap(69);
    }
};

TEST_F(LinuxEventKeysTest, BothMapsHoldExactlyTheTableEntries)
{
    const auto def = expectedDefaultKeyMap();
    const auto shifted = expectedShiftKeyMap();
    for (int code = 0; code < 511; ++code) {
        EXPECT_EQ(g_linuxEventMouse.defaultMap[code], entry(def, code)) << "default map, code " << code;
        EXPECT_EQ(g_linuxEventMouse.shiftMap[code], entry(shifted, code)) << "shifted map, code " << code;
    }
}

// Every key code, with each combination of Shift and Caps Lock (Num Lock on):
// the press gives the shifted or default entry (letters' case swapped by Caps
// Lock), only when the default entry is set; the release always gives the
// default entry.
TEST_F(LinuxEventKeysTest, EveryCodeWithShiftAndCapsCombinations)
{
    const auto def = expectedDefaultKeyMap();
    const auto shifted = expectedShiftKeyMap();
    for (int combo = 0; combo < 4; ++combo) {
        const bool shift = combo & 1;
        const bool caps = combo & 2;
        setCaps(caps);
        setShift(shift);
        takeKeys();
        for (int code = 0; code < 511; ++code) {
            if (isModifier(code) || (code >= 272 && code <= 279))
                continue;
            tap(code);
            const int d = entry(def, code);
            std::vector<KeyEvent> expected;
            if (d != 0) {
                int key;
                if (code >= 71 && code <= 82) {
                    key = d; // Num Lock on: the keypad types
                } else {
                    key = shift ? entry(shifted, code) : d;
                    if (caps)
                        key = swapCase(key);
                }
                expected.push_back({ key, 0 });
                expected.push_back({ d, 1 });
            }
            EXPECT_EQ(takeKeys(), expected) << "code " << code << " shift " << shift << " caps " << caps;
        }
        setShift(false);
    }
}

TEST_F(LinuxEventKeysTest, ShiftAWithCapsLockGivesLowerCase)
{
    setCaps(true);
    press(42);
    tap(30);
    release(42);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 'a', 0 }, { 'a', 1 } }));
}

TEST_F(LinuxEventKeysTest, CapsLockWithoutShiftGivesUpperCaseAndReleasesLowerCase)
{
    setCaps(true);
    tap(30);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 'A', 0 }, { 'a', 1 } }));
}

TEST_F(LinuxEventKeysTest, SpaceWithShiftDeliversKeyZero)
{
    press(54); // right Shift
    tap(57);
    release(54);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 0, 0 }, { ' ', 1 } }));
}

TEST_F(LinuxEventKeysTest, KeyWithoutDefaultEntryDeliversNothingEvenWithAShiftedEntry)
{
    // A code whose default entry is cleared but whose shifted entry is set.
    g_linuxEventMouse.defaultMap[30] = 0;
    ASSERT_NE(g_linuxEventMouse.shiftMap[30], 0);
    press(42);
    tap(30);
    release(42);
    tap(30);
    EXPECT_TRUE(takeKeys().empty());
}

TEST_F(LinuxEventKeysTest, KeypadFollowsNumLockNotShiftOrCaps)
{
    setNum(false);
    const int expectOff[] = { 3, 30, '9', '-', 29, '5', 28, '+', '1', 31, '3', '0' };
    for (int code = 71; code <= 82; ++code) {
        tap(code);
        EXPECT_EQ(takeKeys(),
            (std::vector<KeyEvent> { { expectOff[code - 71], 0 }, { "789-456+1230"[code - 71], 1 } }))
            << "Num Lock off, code " << code;
    }
    setNum(true);
    setCaps(true);
    press(42);
    for (int code = 71; code <= 82; ++code) {
        tap(code);
        const int c = "789-456+1230"[code - 71];
        EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { c, 0 }, { c, 1 } })) << "Num Lock on, code " << code;
    }
    release(42);
    // The keypad's dot is outside the Num Lock block: it types with any lock.
    setNum(false);
    tap(83);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { '.', 0 }, { '.', 1 } }));
}

TEST_F(LinuxEventKeysTest, AutoRepeatDeliversMoreKeyDowns)
{
    press(103);
    feed(EV_KEY, 103, 2);
    feed(EV_KEY, 103, 2);
    release(103);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 30, 0 }, { 30, 0 }, { 30, 0 }, { 30, 1 } }));
}

TEST_F(LinuxEventKeysTest, OtherValuesAndOtherTypesDeliverNothing)
{
    input_event ev = inputtest::record(EV_KEY, 30, 3);
    EXPECT_EQ(translateKeyEvent(ev), 0);
    ev = inputtest::record(EV_KEY, 30, -1);
    EXPECT_EQ(translateKeyEvent(ev), 0);
    ev = inputtest::record(EV_REL, 30, 1);
    EXPECT_EQ(translateKeyEvent(ev), -1);
    for (int code : { 511, 512, 0x2ff, 0xffff }) {
        ev = inputtest::record(EV_KEY, code, 1);
        EXPECT_EQ(translateKeyEvent(ev), -1) << code;
        ev = inputtest::record(EV_KEY, code, 0);
        EXPECT_EQ(translateKeyEvent(ev), -1) << code;
    }
    EXPECT_TRUE(takeKeys().empty());
}

TEST_F(LinuxEventKeysTest, ShiftIsClearedByItsRelease)
{
    press(42);
    release(54); // either Shift's release clears it
    tap(30);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 'a', 0 }, { 'a', 1 } }));
}

TEST_F(LinuxEventKeysTest, CapsLockAutoRepeatTogglesAgain)
{
    press(58);
    feed(EV_KEY, 58, 2);
    release(58);
    EXPECT_FALSE(g_linuxEventMouse.capsLock);
    EXPECT_TRUE(takeKeys().empty()); // Caps Lock itself has no key
}

// The LEDs follow the locks on every open device: Caps (1) first, then Num (0).
TEST_F(LinuxEventKeysTest, LedRecordsAreWrittenAfterCapsAndNumLock)
{
    int pair[2];
    makeRecordPair(pair);
    g_linuxEventMouse.eventFd[4] = pair[0];

    tap(58);
    tap(69);
    g_linuxEventMouse.eventFd[4] = -1;

    std::vector<input_event> got;
    input_event ev;
    while (recv(pair[1], &ev, sizeof ev, MSG_DONTWAIT) == static_cast<ssize_t>(sizeof ev))
        got.push_back(ev);
    ASSERT_EQ(got.size(), 4u);
    const int expected[4][2] = { { 1, 1 }, { 0, 1 }, { 1, 1 }, { 0, 0 } };
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(got[i].type, 17);
        EXPECT_EQ(got[i].code, expected[i][0]) << i;
        EXPECT_EQ(got[i].value, expected[i][1]) << i;
        EXPECT_EQ(got[i].time.tv_sec, 0);
        EXPECT_EQ(got[i].time.tv_usec, 0);
    }
}

TEST_F(LinuxEventKeysTest, KeypadValuesOfConfigAreAppliedWhenInRange)
{
    ASSERT_TRUE(
        testfuntest::writeFile("config.ini", "[keypad]\nclear = 30\nmenu = 158\nhold = 510\nleft = 1\n"));
    testing::internal::CaptureStdout();
    setCustomizedMap();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out,
        "[Linux Event] ini \"clear\" = 30\n"
        "[Linux Event] ini \"left\" = 1\n"
        "[Linux Event] ini \"menu\" = 158\n"
        "[Linux Event] ini \"hold\" = 510\n");
    EXPECT_EQ(g_linuxEventMouse.defaultMap[30], 8);
    EXPECT_EQ(g_linuxEventMouse.defaultMap[158], 86);
    EXPECT_EQ(g_linuxEventMouse.defaultMap[510], 86);
    EXPECT_EQ(g_linuxEventMouse.defaultMap[1], 86);
    // The shifted map is not customised.
    EXPECT_EQ(g_linuxEventMouse.shiftMap[30], 'A');
    tap(158);
    EXPECT_EQ(takeKeys(), (std::vector<KeyEvent> { { 86, 0 }, { 86, 1 } }));
}

TEST_F(LinuxEventKeysTest, KeypadValuesZeroOutOfRangeAndTextArePrintedButNotApplied)
{
    ASSERT_TRUE(testfuntest::writeFile(
        "config.ini", "[keypad]\nleft = 0\nright = 511\nup = abc\ndown =\nvolUp = -3\nvolDown = 100000\n"));
    uint8_t before[511];
    memcpy(before, g_linuxEventMouse.defaultMap, sizeof before);
    testing::internal::CaptureStdout();
    setCustomizedMap();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out,
        "[Linux Event] ini \"left\" = 0\n"
        "[Linux Event] ini \"right\" = 511\n"
        "[Linux Event] ini \"up\" = 0\n"
        "[Linux Event] ini \"volUp\" = -3\n"
        "[Linux Event] ini \"volDown\" = 100000\n");
    EXPECT_EQ(memcmp(before, g_linuxEventMouse.defaultMap, sizeof before), 0);
}

TEST_F(LinuxEventKeysTest, NoConfigLeavesTheMapsAsTheyAre)
{
    uint8_t before[511];
    memcpy(before, g_linuxEventMouse.defaultMap, sizeof before);
    testing::internal::CaptureStdout();
    EXPECT_EQ(setCustomizedMap(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(memcmp(before, g_linuxEventMouse.defaultMap, sizeof before), 0);
}

// The maps are built at the first scan, with the remapping of the working
// directory's config.ini, and kept for the life of the process.
TEST_F(LinuxEventKeysTest, FirstScanBuildsTheMapsWithTheRemapping)
{
    ASSERT_TRUE(testfuntest::writeFile("config.ini", "[keypad]\nselect = 30\n"));
    g_linuxEventMouse.defaultMap[2] = 0; // undone by the first scan
    testing::internal::CaptureStdout();
    eventInit();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("[Linux Event] ini \"select\" = 30\n"), std::string::npos) << out;
    EXPECT_EQ(g_linuxEventMouse.defaultMap[30], 86);
    EXPECT_EQ(g_linuxEventMouse.defaultMap[2], '1');

    // A later scan keeps the maps (and does not read the file again).
    g_linuxEventMouse.defaultMap[2] = 0;
    testing::internal::CaptureStdout();
    eventInit();
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("ini"), std::string::npos);
    EXPECT_EQ(g_linuxEventMouse.defaultMap[2], 0);
}

}
