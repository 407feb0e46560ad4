#include "pelwidget_host.h"

#include "widgets/pelcursor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using widgettest::kHostBack;
using widgettest::OwnerWnd;
using widgettest::Snapshot;

namespace {

const char* const kPictureNames[] = { "cursor_busy.bmp", "cursor_pointer.bmp", "cursor_pointer_busy.bmp" };

std::string sourceRes(const std::string& name)
{
    return lumitest::sourceDir() + "/res/" + name;
}

std::vector<char> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool copyFile(const std::string& from, const std::string& to)
{
    const std::vector<char> bytes = readFile(from);
    std::ofstream out(to, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return !bytes.empty() && out.good();
}

int countPixels(const Bitmap& b, unsigned short colour)
{
    int n = 0;
    for (int y = 0; y < b.height(); ++y)
        for (int x = 0; x < b.width(); ++x)
            n += b.pixel(x, y) == colour ? 1 : 0;
    return n;
}

// The pictures as they are kept in res/ of the source tree.
TEST(CursorPictures, EachLoadsWithItsSizeAndColourKey)
{
    struct Expect {
        const char* name;
        int size;
        unsigned short key;
    };
    for (const Expect& e :
        { Expect { "cursor_busy.bmp", 20, 0x7119 }, Expect { "cursor_pointer.bmp", 32, 0xF33A },
            Expect { "cursor_pointer_busy.bmp", 32, 0xF33A } }) {
        std::unique_ptr<Bitmap> b(ImageMan::load(sourceRes(e.name).c_str()));
        ASSERT_NE(b, nullptr) << e.name;
        EXPECT_EQ(b->width(), e.size) << e.name;
        EXPECT_EQ(b->height(), e.size) << e.name;
        const int keyed = countPixels(*b, e.key);
        EXPECT_GT(keyed, 0) << e.name << ": the transparent colour is there";
        EXPECT_LT(keyed, e.size * e.size) << e.name << ": and something else is drawn";
        EXPECT_GT(countPixels(*b, 0x0000), 0) << e.name << ": with a black outline";
    }
}

TEST(CursorPictures, ArrowsHaveTheirTipOnTheCentreWhereTheHotSpotIs)
{
    for (const char* name : { "cursor_pointer.bmp", "cursor_pointer_busy.bmp" }) {
        std::unique_ptr<Bitmap> b(ImageMan::load(sourceRes(name).c_str()));
        ASSERT_NE(b, nullptr) << name;
        const int cx = b->width() / 2;
        const int cy = b->height() / 2;
        EXPECT_EQ(b->pixel(cx, cy), 0x0000) << name << ": the tip";
        EXPECT_EQ(b->pixel(cx - 1, cy), 0xF33A) << name;
        EXPECT_EQ(b->pixel(cx, cy - 1), 0xF33A) << name;
        // Nothing above or left of the tip: the arrow lies in the lower right quarter.
        int drawnOutside = 0;
        for (int y = 0; y < b->height(); ++y) {
            for (int x = 0; x < b->width(); ++x) {
                if ((x < cx || y < cy) && b->pixel(x, y) != 0xF33A)
                    ++drawnOutside;
            }
        }
        EXPECT_EQ(drawnOutside, 0) << name;
    }
}

TEST(CursorPictures, PointerBusyIsThePointerWithAnHourglassAdded)
{
    std::unique_ptr<Bitmap> pointer(ImageMan::load(sourceRes("cursor_pointer.bmp").c_str()));
    std::unique_ptr<Bitmap> busy(ImageMan::load(sourceRes("cursor_pointer_busy.bmp").c_str()));
    ASSERT_NE(pointer, nullptr);
    ASSERT_NE(busy, nullptr);
    int changed = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            changed += pointer->pixel(x, y) != busy->pixel(x, y) ? 1 : 0;
    EXPECT_GT(changed, 20);
    EXPECT_EQ(countPixels(*pointer, 0xFD20), 0);
    EXPECT_GT(countPixels(*busy, 0xFD20), 0) << "sand in the hourglass";
}

TEST(CursorPictures, TheGeneratorWritesThemByteForByte)
{
    if (std::system("command -v python3 >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3 is not installed; the pictures cannot be regenerated here";
    lumitest::TempDir out;
    const std::string command
        = "python3 '" + lumitest::sourceDir() + "/tools/gen_cursors.py' '" + out.path() + "' >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    for (const char* name : kPictureNames) {
        const std::vector<char> kept = readFile(sourceRes(name));
        ASSERT_FALSE(kept.empty()) << name;
        EXPECT_EQ(readFile(out.file(name)), kept) << name;
    }
}

class PelCursorTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        owner = new OwnerWnd;
        ASSERT_EQ(owner->create(screenWidth, screenHeight), 0);
        settle();

        // The program loads its pictures relative to the working directory.
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
        oldDir = cwd;
        runDir = tmp.file("run");
        ASSERT_EQ(mkdir(runDir.c_str(), 0755), 0);
        ASSERT_EQ(mkdir((runDir + "/res").c_str(), 0755), 0);
        ASSERT_EQ(chdir(runDir.c_str()), 0);
        resetCursor();
    }

    void TearDown() override
    {
        resetCursor();
        PelCursor::term();
        Cursor::destroy();
        if (!oldDir.empty()) {
            EXPECT_EQ(chdir(oldDir.c_str()), 0);
        }
        ToolkitTest::TearDown();
    }

    static void resetCursor()
    {
        PelCursor::setType(false);
        PelCursor::setStatus(CURSOR_NORMAL);
    }

    void installPictures()
    {
        for (const char* name : kPictureNames)
            ASSERT_TRUE(copyFile(sourceRes(name), runDir + "/res/" + name)) << name;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    // Every pixel of the picture, centred on (cx, cy), shows on the screen:
    // its own colour, or the window beneath where it has the colour key.
    void expectShown(const Bitmap* picture, unsigned short key, int cx, int cy)
    {
        ASSERT_NE(picture, nullptr);
        const Snapshot s = shot();
        const int left = cx - picture->width() / 2;
        const int top = cy - picture->height() / 2;
        int wrong = 0;
        for (int y = 0; y < picture->height(); ++y) {
            for (int x = 0; x < picture->width(); ++x) {
                const uint16_t p = picture->pixel(x, y);
                const uint16_t want = p == key ? kHostBack : p;
                wrong += s.at(left + x, top + y) == want ? 0 : 1;
            }
        }
        EXPECT_EQ(wrong, 0);
    }

    // Nothing of a cursor shows around (cx, cy).
    void expectNothingAround(int cx, int cy)
    {
        const Rect around(cx - 20, cy - 20, cx + 20, cy + 20);
        EXPECT_EQ(shot().countColour(around, kHostBack), around.width() * around.height());
    }

    OwnerWnd* owner { nullptr };
    std::string oldDir;
    std::string runDir;
};

TEST_F(PelCursorTest, InitLoadsTheThreePicturesFromResUnderTheWorkingDirectory)
{
    installPictures();
    EXPECT_EQ(PelCursor::init(), 0);
    ASSERT_NE(PelCursor::busyBmp(), nullptr);
    ASSERT_NE(PelCursor::pointerBmp(), nullptr);
    ASSERT_NE(PelCursor::pointerBusyBmp(), nullptr);
    EXPECT_EQ(PelCursor::busyBmp()->width(), 20);
    EXPECT_EQ(PelCursor::pointerBmp()->width(), 32);
    EXPECT_EQ(PelCursor::pointerBusyBmp()->width(), 32);
}

TEST_F(PelCursorTest, InitPlacesTheCursorInTheMiddleOfTheScreen)
{
    installPictures();
    Cursor::moveTo(3, 4);
    PelCursor::init();
    int x = -1;
    int y = -1;
    Cursor::getPos(x, y);
    EXPECT_EQ(x, 400);
    EXPECT_EQ(y, 240);
}

TEST_F(PelCursorTest, WithoutPicturesInitLeavesTheCursorWhereItWas)
{
    Cursor::moveTo(3, 4);
    EXPECT_EQ(PelCursor::init(), 0);
    EXPECT_EQ(PelCursor::busyBmp(), nullptr);
    EXPECT_EQ(PelCursor::pointerBmp(), nullptr);
    EXPECT_EQ(PelCursor::pointerBusyBmp(), nullptr);
    int x = -1;
    int y = -1;
    Cursor::getPos(x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
    PelCursor::setStatus(CURSOR_BUSY); // no picture to show: nothing breaks
    settle();
    expectNothingAround(400, 240);
}

TEST_F(PelCursorTest, TouchModeHidesTheCursorWhileNormal)
{
    installPictures();
    PelCursor::init();
    settle();
    EXPECT_FALSE(PelCursor::type());
    EXPECT_EQ(PelCursor::status(), CURSOR_NORMAL);
    EXPECT_FALSE(Cursor::isVisible());
    expectNothingAround(400, 240);
}

TEST_F(PelCursorTest, TouchModeShowsTheBusyPictureWhileBusy)
{
    installPictures();
    PelCursor::init();
    settle();
    EXPECT_EQ(PelCursor::setStatus(CURSOR_BUSY), 0);
    settle();
    EXPECT_EQ(PelCursor::status(), CURSOR_BUSY);
    EXPECT_TRUE(Cursor::isVisible());
    expectShown(PelCursor::busyBmp(), 0x7119, 400, 240);

    PelCursor::setStatus(CURSOR_NORMAL);
    settle();
    EXPECT_FALSE(Cursor::isVisible());
    expectNothingAround(400, 240);
}

TEST_F(PelCursorTest, PointerModeShowsTheArrowWhileNormal)
{
    installPictures();
    PelCursor::init();
    PelCursor::setType(true);
    PelCursor::setStatus(CURSOR_NORMAL);
    Cursor::moveTo(200, 100);
    settle();
    EXPECT_TRUE(PelCursor::type());
    EXPECT_TRUE(Cursor::isVisible());
    expectShown(PelCursor::pointerBmp(), 0xF33A, 200, 100);
}

TEST_F(PelCursorTest, PointerModeShowsTheArrowWithHourglassWhileBusy)
{
    installPictures();
    PelCursor::init();
    PelCursor::setType(true);
    PelCursor::setStatus(CURSOR_BUSY);
    Cursor::moveTo(200, 100);
    settle();
    EXPECT_TRUE(Cursor::isVisible());
    expectShown(PelCursor::pointerBusyBmp(), 0xF33A, 200, 100);

    PelCursor::setStatus(CURSOR_NORMAL);
    settle();
    EXPECT_TRUE(Cursor::isVisible());
    expectShown(PelCursor::pointerBmp(), 0xF33A, 200, 100);
}

TEST_F(PelCursorTest, BackToTouchTheCursorReturnsToTheMiddleAndHides)
{
    installPictures();
    PelCursor::init();
    PelCursor::setType(true);
    PelCursor::setStatus(CURSOR_NORMAL);
    Cursor::moveTo(200, 100);
    settle();

    PelCursor::setType(false);
    PelCursor::setStatus(CURSOR_NORMAL);
    settle();
    int x = -1;
    int y = -1;
    Cursor::getPos(x, y);
    EXPECT_EQ(x, 400);
    EXPECT_EQ(y, 240);
    EXPECT_FALSE(Cursor::isVisible());
    expectNothingAround(200, 100);
    expectNothingAround(400, 240);
}

TEST_F(PelCursorTest, SwitchingToPointerKeepsThePosition)
{
    installPictures();
    PelCursor::init();
    Cursor::moveTo(123, 45);
    PelCursor::setType(true);
    int x = -1;
    int y = -1;
    Cursor::getPos(x, y);
    EXPECT_EQ(x, 123);
    EXPECT_EQ(y, 45);
}

TEST_F(PelCursorTest, TouchModeNormalKeepsWhateverPictureTheCursorHas)
{
    installPictures();
    PelCursor::init();
    PelCursor::setType(true);
    PelCursor::setStatus(CURSOR_NORMAL); // the arrow
    Cursor::moveTo(200, 100);
    PelCursor::refreshBmp(CURSOR_NORMAL, false);
    settle();
    expectShown(PelCursor::pointerBmp(), 0xF33A, 200, 100);
}

TEST_F(PelCursorTest, SettingTheSameStatusAgainOnlyUpdatesTheVisibility)
{
    installPictures();
    PelCursor::init();
    PelCursor::setStatus(CURSOR_BUSY);
    settle();
    Cursor::setVisible(false);
    PelCursor::setStatus(CURSOR_BUSY);
    settle();
    EXPECT_TRUE(Cursor::isVisible());
    expectShown(PelCursor::busyBmp(), 0x7119, 400, 240);
}

TEST_F(PelCursorTest, TermFreesThePictures)
{
    installPictures();
    PelCursor::init();
    ASSERT_NE(PelCursor::busyBmp(), nullptr);
    EXPECT_EQ(PelCursor::term(), 0);
    EXPECT_EQ(PelCursor::busyBmp(), nullptr);
    EXPECT_EQ(PelCursor::pointerBmp(), nullptr);
    EXPECT_EQ(PelCursor::pointerBusyBmp(), nullptr);
}

TEST_F(PelCursorTest, InitAgainReloadsThePictures)
{
    installPictures();
    PelCursor::init();
    PelCursor::init(); // the first set is freed (the sanitizer build checks)
    EXPECT_NE(PelCursor::busyBmp(), nullptr);
}

}
