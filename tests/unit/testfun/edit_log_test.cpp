// The log of the quick-test window: each message is a line at the end of the
// edit box, converted from GBK, with the newest lines kept in view and painted
// at once.

#include "testfun_support.h"

#include "testfun/log.hpp"

#include <gtest/gtest.h>

#include <string>

using testfuntest::HostWnd;

namespace {

constexpr unsigned int kShown = WS_VISIBLE | 0x02;
constexpr unsigned short kLogText = 0x5ACB; // the window's log text colour
constexpr unsigned short kLogBack = 0xDEDB; // the window's log background

class EditLogTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        host = new HostWnd; // deleted by the toolkit (auto-delete main window)
        ASSERT_EQ(host->create(screenWidth, screenHeight, 102), 0);
        Font* font = Font::defaultFont();
        ASSERT_NE(font, nullptr);
        lineHeight = font->lineHeight();
        ASSERT_GT(lineHeight, 0);
    }

    // A box of lines whole lines and a half (plus the 2-pixel margins).
    Edit* makeEdit(int lines)
    {
        boxRect = Rect(400, 20, 780, 20 + lines * lineHeight + lineHeight / 2 + 4);
        auto* edit = new Edit; // deleted by the toolkit with its parent
        EXPECT_EQ(edit->create(host, boxRect, kShown), 0);
        edit->setTextColor(kLogText);
        edit->setBackColor(kLogBack);
        return edit;
    }

    static int pageOf(Edit* edit)
    {
        int first = 0;
        int last = 0;
        edit->visibleLines(&first, &last);
        return last - first;
    }

    // Screen band of the box's display row r (the text area starts 2 pixels in).
    Rect rowBand(int r) const
    {
        const int top = boxRect.top + 2 + r * lineHeight;
        return Rect(boxRect.left + 2, top, boxRect.right - 2, top + lineHeight);
    }

    // The rightmost pixel of the log's text colour in a band of the shown screen, or -1.
    int rightmostText(const Rect& band) const
    {
        const std::vector<uint16_t> px = testfuntest::shownPixels(screenFile(), screenWidth, band);
        int right = -1;
        for (int y = 0; y < band.height() && !px.empty(); ++y)
            for (int x = 0; x < band.width(); ++x)
                if (px[static_cast<size_t>(y) * band.width() + x] == kLogText)
                    right = std::max(right, band.left + x);
        return right;
    }

    int textPixels(const Rect& band) const
    {
        int n = 0;
        for (uint16_t p : testfuntest::shownPixels(screenFile(), screenWidth, band))
            n += p == kLogText;
        return n;
    }

    HostWnd* host { nullptr };
    int lineHeight { 0 };
    Rect boxRect;
};

TEST_F(EditLogTest, AppendsEachMessageAsALine)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    log.Message("Test: %s", "test1");
    log.Message("value %d", 42);
    EXPECT_STREQ(edit->getText(), "Test: test1\nvalue 42\n");
    EXPECT_EQ(edit->lineCount(), 2);
}

TEST_F(EditLogTest, InsertsAtTheCaretAfterWhatIsThere)
{
    Edit* edit = makeEdit(9);
    edit->setText("earlier\n");
    EditLog log(edit);
    log.Message("later");
    EXPECT_STREQ(edit->getText(), "earlier\nlater\n");
}

TEST_F(EditLogTest, ConvertsTheLineFromGbk)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    log.Message("\xB2\xE2\xCA\xD4 %d", 5); // 测试 5
    EXPECT_STREQ(edit->getText(), u8"测试 5\n");
}

TEST_F(EditLogTest, ALineOf1023CharactersGetsItsNewlineAndIsShownWhole)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    const std::string line(1023, 'x');
    log.Message("%s", line.c_str());
    EXPECT_EQ(std::string(edit->getText()), line + "\n");
    // Far wider than the box: it wraps over many display lines, and the view
    // follows it to its end.
    const int count = edit->lineCount();
    EXPECT_GT(count, 8);
    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    EXPECT_EQ(last, count);
}

TEST_F(EditLogTest, ALongerMessageIsCutTo1023CharactersBeforeItsNewline)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    const std::string text(3000, 'y');
    log.Message("%s", text.c_str());
    EXPECT_EQ(std::string(edit->getText()), std::string(1023, 'y') + "\n");
}

TEST_F(EditLogTest, AnEmptyMessageIsAnEmptyLine)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    log.Message("%s", "");
    log.Message("next");
    EXPECT_STREQ(edit->getText(), "\nnext\n");
}

TEST_F(EditLogTest, AfterMoreThanEightLinesTheLastLineWrittenIsTheLastVisibleLine)
{
    Edit* edit = makeEdit(9);
    settle();
    const int page = pageOf(edit);
    ASSERT_EQ(page, 9);
    EditLog log(edit);

    for (int i = 1; i <= 20; ++i) {
        log.Message("line %d", i);
        ASSERT_EQ(edit->lineCount(), i);
        int first = 0;
        int last = 0;
        edit->visibleLines(&first, &last);
        if (i >= page) {
            // Lines i - page + 1 to i are shown: the newest on the last row.
            EXPECT_EQ(first, i - page) << "after line " << i;
            EXPECT_EQ(last, i) << "after line " << i;
        } else {
            EXPECT_EQ(first, 0) << "after line " << i;
        }
    }
}

TEST_F(EditLogTest, TheScreenShowsTheNewestLinesWithTheLastOneOnTheLastRow)
{
    Edit* edit = makeEdit(9);
    settle();
    const int page = pageOf(edit);
    ASSERT_EQ(page, 9);
    EditLog log(edit);
    // Line i is i letters long, so the length of a row tells which line it shows.
    for (int i = 1; i <= 20; ++i)
        log.Message("%s", std::string(static_cast<size_t>(i), 'H').c_str());

    // Rows 0 to 8 show lines 12 to 20: each row is one letter longer than the
    // row above, and the last row ends where a 20-letter line ends.
    int previous = -1;
    for (int r = 0; r < page; ++r) {
        const int right = rightmostText(rowBand(r));
        EXPECT_GT(right, previous) << "row " << r;
        previous = right;
    }
    Font* font = Font::defaultFont();
    const int letter = font->textWidth("H");
    const int end20 = boxRect.left + 2 + font->textWidth(std::string(20, 'H').c_str());
    EXPECT_NEAR(previous, end20, letter / 2 + 1);
    const int end12 = boxRect.left + 2 + font->textWidth(std::string(12, 'H').c_str());
    EXPECT_NEAR(rightmostText(rowBand(0)), end12, letter / 2 + 1);
}

TEST_F(EditLogTest, EightLinesOrFewerLeaveTheViewAtTheTop)
{
    // Kept from the device: the view follows only once there are more than
    // eight lines, so in a box of four lines lines 5 to 8 go below the view.
    Edit* edit = makeEdit(4);
    ASSERT_EQ(pageOf(edit), 4);
    EditLog log(edit);
    for (int i = 1; i <= 8; ++i)
        log.Message("line %d", i);
    EXPECT_EQ(edit->topLine(), 0);

    log.Message("line 9");
    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    EXPECT_EQ(first, 5);
    EXPECT_EQ(last, 9);
}

TEST_F(EditLogTest, PaintsTheLineAtOnceWithoutTheLoopRunning)
{
    Edit* edit = makeEdit(9);
    settle();
    ASSERT_EQ(textPixels(rowBand(0)), 0);
    EditLog log(edit);

    log.Message("Test: %s", "waiting");
    // No settle(): the line is already on the shown screen.
    EXPECT_GT(textPixels(rowBand(0)), 0);
    EXPECT_EQ(textPixels(rowBand(1)), 0);

    log.Message("second");
    EXPECT_GT(textPixels(rowBand(1)), 0);
}

TEST_F(EditLogTest, ALineWhoseConversionFailsIsDropped)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    log.Message("kept");
    const int failedBefore = testfuntest::failedConversions();
    testfuntest::failConversions(1);
    log.Message("dropped");
    EXPECT_EQ(testfuntest::failedConversions(), failedBefore + 1);
    log.Message("kept too");
    EXPECT_STREQ(edit->getText(), "kept\nkept too\n");
}

TEST_F(EditLogTest, DemoItemsWriteTheirLinesToTheEditBox)
{
    Edit* edit = makeEdit(9);
    EditLog log(edit);
    demoTestItem::s_result = 2;
    char name[] = "test2";
    demoTestItem item(name);
    EXPECT_EQ(item.execute(&log), 2);
    EXPECT_STREQ(edit->getText(), "Test: test2\nTest: waiting test2\nTest: waiting0 ....test2\n");
}

}
