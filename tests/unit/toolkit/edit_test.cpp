#include "control_host.h"

#include <gtest/gtest.h>

#include <string>

using controltest::HostWnd;
using controltest::Snapshot;

namespace {

constexpr unsigned int kShown = WS_VISIBLE | 0x02;
constexpr unsigned short kText = 0xF800;

class EditTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        host = new HostWnd;
        ASSERT_EQ(host->create(screenWidth, screenHeight), 0);
        font = Font::defaultFont();
        ASSERT_NE(font, nullptr);
        lineHeight = font->lineHeight();
        ASSERT_GT(lineHeight, 0);
    }

    // A box about nine and a half lines tall: more than eight whole lines fit.
    Edit* makeLogBox(int scrollBar = 0)
    {
        return makeEdit(Rect(400, 20, 780, 20 + 9 * lineHeight + lineHeight / 2 + 4), scrollBar);
    }

    Edit* makeEdit(const Rect& rect, int scrollBar = 0)
    {
        auto* edit = new Edit;   // deleted by the toolkit with its parent
        EXPECT_EQ(edit->create(host, rect, kShown), 0);
        edit->setTextColor(kText);
        if (scrollBar > 0)
            edit->setScrollBarWidth(scrollBar);
        return edit;
    }

    // What a log writer does with each line: append at the caret and, once
    // there are more than eight lines, put the newest one on the last row.
    static void writeLogLine(Edit* edit, const std::string& line)
    {
        ASSERT_EQ(edit->replaceText((line + "\n").c_str()), 0);
        int first = 0;
        int last = 0;
        edit->visibleLines(&first, &last);
        const int count = edit->lineCount();
        if (count > 8)
            edit->setTopLine(count - (last - first));
        edit->updateWindow();
    }

    static int pageOf(Edit* edit)
    {
        int first = 0;
        int last = 0;
        edit->visibleLines(&first, &last);
        return last - first;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    // The rightmost text-coloured pixel in a band of rows, or -1.
    static int rightmostText(const Snapshot& s, const Rect& band)
    {
        int right = -1;
        for (int y = band.top; y < band.bottom; ++y)
            for (int x = band.left; x < band.right; ++x)
                if (s.at(x, y) == kText && x > right)
                    right = x;
        return right;
    }

    HostWnd* host { nullptr };
    Font* font { nullptr };
    int lineHeight { 0 };
};

TEST_F(EditTest, LineCountCountsLinesButNotTheEmptyOneAfterAFinalNewline)
{
    Edit* edit = makeLogBox();
    EXPECT_EQ(edit->lineCount(), 0);
    edit->setText("one");
    EXPECT_EQ(edit->lineCount(), 1);
    edit->setText("one\n");
    EXPECT_EQ(edit->lineCount(), 1);
    edit->setText("one\ntwo");
    EXPECT_EQ(edit->lineCount(), 2);
    edit->setText("one\n\nthree\n");
    EXPECT_EQ(edit->lineCount(), 3);
}

TEST_F(EditTest, VisibleLinesSpanTheWholeLinesThatFit)
{
    Edit* edit = makeLogBox();
    int first = -1;
    int last = -1;
    edit->visibleLines(&first, &last);
    EXPECT_EQ(first, 0);
    // Nine and a half lines of height, less a few pixels of margin: nine whole lines.
    EXPECT_EQ(last, 9);
    // The range does not depend on how much text there is.
    edit->setText("a\nb\n");
    edit->visibleLines(&first, &last);
    EXPECT_EQ(last - first, 9);
}

TEST_F(EditTest, SetTopLineIsClampedToTheText)
{
    Edit* edit = makeLogBox();
    edit->setTopLine(5);
    EXPECT_EQ(edit->topLine(), 0);   // no text: only line 0

    std::string text;
    for (int i = 0; i < 20; ++i)
        text += "line " + std::to_string(i) + "\n";
    edit->setText(text.c_str());
    edit->setTopLine(100);
    EXPECT_EQ(edit->topLine(), 19);
    edit->setTopLine(-3);
    EXPECT_EQ(edit->topLine(), 0);
    edit->setTopLine(7);
    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(last, 7 + pageOf(edit));
}

TEST_F(EditTest, ReplaceTextInsertsAtTheCaretAndLeavesTheCaretAfterIt)
{
    Edit* edit = makeLogBox();
    edit->setText("hello");
    EXPECT_EQ(edit->caretPos(), 5);
    ASSERT_EQ(edit->replaceText(" world"), 0);
    EXPECT_STREQ(edit->getText(), "hello world");
    EXPECT_EQ(edit->caretPos(), 11);

    // Move the caret back by deleting a character, then insert there.
    typeChar(edit, VK_Back);
    EXPECT_STREQ(edit->getText(), "hello worl");
    ASSERT_EQ(edit->replaceText("D!"), 0);
    EXPECT_STREQ(edit->getText(), "hello worlD!");
    EXPECT_EQ(edit->caretPos(), 12);
}

TEST_F(EditTest, ReplaceTextDoesNotMoveTheView)
{
    Edit* edit = makeLogBox();
    std::string text;
    for (int i = 0; i < 20; ++i)
        text += "line\n";
    edit->setText(text.c_str());
    edit->setTopLine(4);
    for (int i = 0; i < 10; ++i)
        edit->replaceText("more\n");
    EXPECT_EQ(edit->lineCount(), 30);
    EXPECT_EQ(edit->topLine(), 4);
}

TEST_F(EditTest, ReplaceTextRejectsNull)
{
    Edit* edit = makeLogBox();
    edit->setText("x");
    EXPECT_EQ(edit->replaceText(nullptr), -1);
    EXPECT_STREQ(edit->getText(), "x");
}

TEST_F(EditTest, LogWriterShowsTheLastLineWrittenAsTheLastVisibleLine)
{
    Edit* edit = makeLogBox();
    settle();
    const int page = pageOf(edit);
    ASSERT_GT(page, 8);

    // Line i is i letters long, so each row's length tells which line it is.
    for (int i = 1; i <= 20; ++i) {
        writeLogLine(edit, std::string(static_cast<size_t>(i), 'H'));
        int first = 0;
        int last = 0;
        edit->visibleLines(&first, &last);
        ASSERT_EQ(edit->lineCount(), i);
        if (i > page) {
            EXPECT_EQ(first, i - page) << "after line " << i;
            EXPECT_EQ(last, i) << "after line " << i;   // the newest line is the last visible one
        } else {
            EXPECT_EQ(first, 0) << "after line " << i;
        }
    }

    // On the screen: row r shows line first + r + 1 (that many letters); the
    // last whole row shows the 20th line and nothing is drawn below it.
    const Snapshot s = shot();
    const int top = 20 + 2;
    const int boxBottom = 20 + 9 * lineHeight + lineHeight / 2 + 4;
    // The last visible row is a whole row of the box, not a cut one.
    ASSERT_LE(top + page * lineHeight, boxBottom);
    int previousRight = -1;
    for (int row = 0; row < page; ++row) {
        const Rect band(400, top + row * lineHeight, 780, top + (row + 1) * lineHeight);
        const int right = rightmostText(s, band);
        ASSERT_GT(right, previousRight) << "row " << row;
        previousRight = right;
    }
    const int lastRowRight = previousRight;
    const int expectedRight = 400 + 2 + font->textWidth(std::string(20, 'H').c_str());
    EXPECT_NEAR(lastRowRight, expectedRight, 3);
    EXPECT_EQ(s.countColour(Rect(400, top + page * lineHeight, 780, boxBottom), kText), 0);
}

TEST_F(EditTest, WithFewerLinesThanTheBoxHoldsTheLogStaysAtTheTop)
{
    // A box of twelve lines: after nine lines the rule asks for a negative top
    // line, which the clamp turns into 0.
    Edit* edit = makeEdit(Rect(10, 10, 400, 10 + 12 * lineHeight + 4));
    for (int i = 0; i < 9; ++i)
        writeLogLine(edit, "line");
    EXPECT_EQ(edit->lineCount(), 9);
    EXPECT_EQ(edit->topLine(), 0);
}

TEST_F(EditTest, LongLineWrapsAndIsShownWhole)
{
    // A box tall enough for the whole wrapped line.
    const Rect box(10, 10, 790, 470);
    Edit* edit = makeEdit(box);
    const int areaWidth = box.width() - 4;
    std::string line;
    while (line.size() < 1023)
        line += "0123456789";
    line.resize(1023);   // no blanks: broken inside the word, as it is wider than the box

    writeLogLine(edit, "first");
    writeLogLine(edit, line);
    settle();

    const int total = font->textWidth(line.c_str());
    const int widest = font->textWidth("0");   // digits share one width
    const int wrapped = edit->lineCount() - 1;
    EXPECT_GE(wrapped, (total + areaWidth - 1) / areaWidth);
    EXPECT_LE(wrapped, total / (areaWidth - widest) + 1);

    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    ASSERT_LE(edit->lineCount(), last - first) << "the box is too small for this font";
    EXPECT_EQ(first, 0);

    // Every wrapped row carries text, and the rows together are about as
    // wide as the whole line: nothing was dropped.
    const Snapshot s = shot();
    int shownWidth = 0;
    for (int row = 1; row <= wrapped; ++row) {
        const Rect band(box.left, box.top + 2 + row * lineHeight, box.right, box.top + 2 + (row + 1) * lineHeight);
        const int right = rightmostText(s, band);
        ASSERT_GT(right, 0) << "row " << row;
        shownWidth += right - (box.left + 2) + 1;
    }
    EXPECT_NEAR(shownWidth, total, wrapped * widest);
    const Rect below(box.left, box.top + 2 + (wrapped + 1) * lineHeight, box.right, box.bottom);
    EXPECT_EQ(s.countColour(below, kText), 0);
}

TEST_F(EditTest, LongLineInTheLogBoxEndsOnTheLastVisibleRow)
{
    Edit* edit = makeLogBox();
    for (int i = 0; i < 10; ++i)
        writeLogLine(edit, "short");
    std::string line;
    for (int i = 0; line.size() < 1023; ++i)
        line += "word" + std::to_string(i) + " ";
    line.resize(1023);
    writeLogLine(edit, line);

    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    EXPECT_GT(edit->lineCount(), 11);   // the long line took several rows
    EXPECT_EQ(last, edit->lineCount());
    EXPECT_EQ(edit->caretPos(), static_cast<int>(10 * 6 + 1024));
}

TEST_F(EditTest, CharacterMessagesInsertAtTheCaret)
{
    Edit* edit = makeLogBox();
    edit->setText("ab");
    for (int ch : { 'C', ' ', 'd' }) {
        LUMIMessage msg(edit, MSG_CHAR, ch);
        app->addMsg(msg);
    }
    settle();
    EXPECT_STREQ(edit->getText(), "abC d");
    EXPECT_EQ(edit->caretPos(), 5);
}

TEST_F(EditTest, BackspaceDeletesTheWholeCharacterBeforeTheCaret)
{
    Edit* edit = makeLogBox();
    edit->setText("a中");
    typeChar(edit, VK_Back);
    EXPECT_STREQ(edit->getText(), "a");
    typeChar(edit, VK_Back);
    typeChar(edit, VK_Back); // nothing left: no effect
    EXPECT_STREQ(edit->getText(), "");
    EXPECT_EQ(edit->caretPos(), 0);
}

TEST_F(EditTest, NonAsciiCharactersAreInsertedAsUtf8AndControlCharactersIgnored)
{
    Edit* edit = makeLogBox();
    typeChar(edit, 0x4E2D); // 中
    typeChar(edit, 27);
    typeChar(edit, 127);
    typeChar(edit, '\n');
    typeChar(edit, 'x');
    EXPECT_STREQ(edit->getText(), "中\nx");
}

TEST_F(EditTest, TypingScrollsTheCaretLineIntoView)
{
    Edit* edit = makeLogBox();
    std::string text;
    for (int i = 0; i < 30; ++i)
        text += "line\n";
    edit->setText(text.c_str());
    ASSERT_EQ(edit->topLine(), 0);
    typeChar(edit, 'x'); // on line 30, after the final newline
    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    EXPECT_LE(first, 30);
    EXPECT_GT(last, 30);
}

TEST_F(EditTest, UpAndDownKeysScrollByALine)
{
    Edit* edit = makeLogBox();
    std::string text;
    for (int i = 0; i < 20; ++i)
        text += "line\n";
    edit->setText(text.c_str());
    edit->setFocus();
    settle();
    rt->deliverKeyEvent(VK_Down, 0);
    rt->deliverKeyEvent(VK_Down, 0);
    settle();
    EXPECT_EQ(edit->topLine(), 2);
    rt->deliverKeyEvent(VK_Up, 0);
    settle();
    EXPECT_EQ(edit->topLine(), 1);
    EXPECT_TRUE(edit->hasFocus());
}

TEST_F(EditTest, UpAtTheTopMovesTheFocusLikeAnyWindow)
{
    auto* above = new Button;
    ASSERT_EQ(above->create(host, Rect(400, 0, 500, 15), kShown), 0);
    Edit* edit = makeLogBox();
    edit->setText("one\ntwo\n");
    edit->setFocus();
    settle();
    rt->deliverKeyEvent(VK_Up, 0);
    settle();
    EXPECT_TRUE(above->hasFocus());
    EXPECT_EQ(edit->topLine(), 0);
}

TEST_F(EditTest, OtherKeysBubbleToTheParent)
{
    struct KeyHost : HostWnd {
        int onKeydown(int key, int state) override
        {
            keys.push_back(key);
            return HostWnd::onKeydown(key, state);
        }
        std::vector<int> keys;
    };
    // A host of its own, stacked above the fixture's.
    auto* keyHost = new KeyHost;
    ASSERT_EQ(keyHost->create(screenWidth, screenHeight), 0);
    auto* edit = new Edit;
    ASSERT_EQ(edit->create(keyHost, Rect(10, 10, 200, 200), kShown), 0);
    edit->setFocus();
    settle();
    rt->deliverKeyEvent(VK_Menu, 0);
    settle();
    ASSERT_EQ(keyHost->keys.size(), 1u);
    EXPECT_EQ(keyHost->keys[0], VK_Menu);
}

TEST_F(EditTest, DefaultBackgroundIsTheSystemEditColour)
{
    makeEdit(Rect(100, 100, 300, 200));
    settle();
    EXPECT_EQ(shot().countColour(Rect(100, 100, 300, 200), SysConf::getColor(3)), 200 * 100);
}

TEST_F(EditTest, ScrollBarAppearsOnlyWhenTheTextOutgrowsTheBox)
{
    const int barWidth = 20;
    Edit* edit = makeLogBox(barWidth);
    const uint16_t back = SysConf::getColor(3);
    const int bottom = 20 + 9 * lineHeight + lineHeight / 2 + 4;
    const Rect bar(780 - barWidth, 20, 780, bottom);

    edit->setText("one\ntwo\nthree\n");
    settle();
    EXPECT_EQ(shot().countColour(bar, back), bar.width() * bar.height());

    std::string text;
    for (int i = 0; i < 30; ++i)
        text += "line " + std::to_string(i) + "\n";
    edit->setText(text.c_str());
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(bar, back), 0);   // track and thumb cover the strip
    EXPECT_EQ(s.countColour(bar, kText), 0);  // and no text reaches into it

    // The thumb is at the top while the view is, and moves to the bottom with it.
    const uint16_t nearTop = s.at(770, 22);
    const uint16_t nearBottom = s.at(770, bottom - 3);
    EXPECT_NE(nearTop, nearBottom);
    edit->setTopLine(edit->lineCount());
    settle();
    EXPECT_EQ(shot().at(770, 22), nearBottom);
    EXPECT_EQ(shot().at(770, bottom - 3), nearTop);
}

TEST_F(EditTest, LongLinesWrapBeforeTheScrollBar)
{
    const int barWidth = 20;
    Edit* edit = makeLogBox(barWidth);
    std::string text;
    for (int i = 0; i < 4; ++i)
        text += "HHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHHH\n";
    edit->setText(text.c_str());
    settle();
    EXPECT_GT(edit->lineCount(), 4);
    const int bottom = 20 + 9 * lineHeight + lineHeight / 2 + 4;
    EXPECT_EQ(shot().countColour(Rect(780 - barWidth, 20, 780, bottom), kText), 0);
}

}
