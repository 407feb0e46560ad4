#include "text_layout.h"

#include <lumi/gdi.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The lines as strings, for readable comparisons.
std::vector<std::string> split(const std::string& text, int maxWidth, bool wrap, bool singleLine = false)
{
    std::vector<std::string> out;
    for (const lumi::TextLine& line :
        lumi::layoutText(Font::defaultFont(), text.c_str(), -1, maxWidth, wrap, singleLine))
        out.push_back(text.substr(static_cast<size_t>(line.start), static_cast<size_t>(line.length)));
    return out;
}

int width(const std::string& text)
{
    return Font::defaultFont()->textWidth(text.c_str());
}

uint32_t decodeOne(const std::string& bytes, int& pos)
{
    return lumi::decodeUtf8(bytes.data(), static_cast<int>(bytes.size()), pos);
}

using Lines = std::vector<std::string>;

}

TEST(Utf8, DecodesOneToFourByteCharacters)
{
    const std::string text = "A\xC3\xA9\xE6\xB5\x8B\xF0\x9F\x98\x80";   // A é 测 😀
    int pos = 0;
    EXPECT_EQ(decodeOne(text, pos), 0x41u);
    EXPECT_EQ(pos, 1);
    EXPECT_EQ(decodeOne(text, pos), 0xE9u);
    EXPECT_EQ(pos, 3);
    EXPECT_EQ(decodeOne(text, pos), 0x6D4Bu);
    EXPECT_EQ(pos, 6);
    EXPECT_EQ(decodeOne(text, pos), 0x1F600u);
    EXPECT_EQ(pos, 10);
}

TEST(Utf8, MalformedBytesGiveReplacementAndAdvanceByOne)
{
    const char* cases[] = {
        "\x80",           // stray continuation byte
        "\xFF",           // never valid
        "\xC0\x80",       // overlong NUL
        "\xE0\x80\xAF",   // overlong slash
        "\xED\xA0\x80",   // surrogate
        "\xF4\x90\x80\x80",   // above U+10FFFF
        "\xE6\xB5",       // truncated
        "\xE6\x41\x42",   // continuation missing
    };
    for (const char* c : cases) {
        const std::string bytes(c);
        int pos = 0;
        EXPECT_EQ(decodeOne(bytes, pos), 0xFFFDu) << bytes;
        EXPECT_EQ(pos, 1) << bytes;
    }
}

TEST(Utf8, ATruncatedSequenceAtTheEndOfTheLengthIsMalformed)
{
    const std::string text = "\xE6\xB5\x8B";
    int pos = 0;
    EXPECT_EQ(lumi::decodeUtf8(text.data(), 2, pos), 0xFFFDu);
    EXPECT_EQ(pos, 1);
}

TEST(TextLayout, EmptyTextHasNoLines)
{
    EXPECT_TRUE(split("", 100, true).empty());
    EXPECT_TRUE(lumi::layoutText(Font::defaultFont(), nullptr, -1, 100, true).empty());
}

TEST(TextLayout, BreaksAtEveryNewline)
{
    EXPECT_EQ(split("one\ntwo\n\nfour", 1000, false), (Lines { "one", "two", "", "four" }));
}

TEST(TextLayout, AFinalNewlineGivesNoEmptyLastLine)
{
    EXPECT_EQ(split("one\ntwo\n", 1000, false), (Lines { "one", "two" }));
    EXPECT_EQ(split("\n", 1000, false), (Lines { "" }));
}

TEST(TextLayout, CarriageReturnBeforeNewlineIsNotPartOfTheLine)
{
    EXPECT_EQ(split("one\r\ntwo", 1000, false), (Lines { "one", "two" }));
}

TEST(TextLayout, SingleLineKeepsNewlinesInOneLine)
{
    const std::vector<lumi::TextLine> lines = lumi::layoutText(Font::defaultFont(), "ab\ncd", -1, 1, true, true);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].length, 5);
    EXPECT_EQ(lines[0].width, width("abcd"));
}

TEST(TextLayout, WithoutWrapALongLineStaysWhole)
{
    EXPECT_EQ(split("a rather long line of words", 10, false), (Lines { "a rather long line of words" }));
}

TEST(TextLayout, LatinWrapsAfterBlanksAndDropsThemAtTheBreak)
{
    const int w = width("hello world");
    EXPECT_EQ(split("hello world again", w, true), (Lines { "hello world", "again" }));
    EXPECT_EQ(split("hello   world", width("hello  "), true), (Lines { "hello", "world" }));
}

TEST(TextLayout, LineWidthIsTheWidthOfItsCharacters)
{
    const std::vector<lumi::TextLine> lines = lumi::layoutText(Font::defaultFont(), "hello world again", -1,
        width("hello world"), true);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].width, width("hello world"));
    EXPECT_EQ(lines[1].width, width("again"));
}

TEST(TextLayout, CjkWrapsBetweenAnyTwoCharacters)
{
    const std::string text = "请先插入鼠标和网线";
    const int three = width("请先插");
    EXPECT_EQ(split(text, three, true), (Lines { "请先插", "入鼠标", "和网线" }));
    EXPECT_EQ(split(text, three + 5, true), (Lines { "请先插", "入鼠标", "和网线" }));
}

TEST(TextLayout, ClosingPunctuationNeverStartsALine)
{
    const std::string text = "测试成功，下一项";
    const int four = width("测试成功");
    const Lines lines = split(text, four, true);
    ASSERT_GE(lines.size(), 2u);
    for (const std::string& line : lines)
        EXPECT_NE(line.rfind("，", 0), 0u) << line;
    EXPECT_EQ(lines[0], "测试成");
}

TEST(TextLayout, MixedLatinAndCjkBreakAtTheirBoundary)
{
    const std::string text = "USB测试";
    EXPECT_EQ(split(text, width("USB测"), true), (Lines { "USB测", "试" }));
    EXPECT_EQ(split(text, width("USB测") - 1, true), (Lines { "USB", "测试" }));
}

TEST(TextLayout, AWordWiderThanTheLineIsCutWhereItOverflows)
{
    const int w = width("abcd");
    EXPECT_EQ(split("abcdefghij", w, true), (Lines { "abcd", "efgh", "ij" }));
    EXPECT_EQ(split("xy abcdefghij", w, true), (Lines { "xy", "abcd", "efgh", "ij" }));
}

TEST(TextLayout, EveryLineHoldsACharacterEvenForNoWidth)
{
    EXPECT_EQ(split("ab测", 0, true), (Lines { "a", "b", "测" }));
    EXPECT_EQ(split("ab", -50, true), (Lines { "a", "b" }));
}

TEST(TextLayout, WrappedLinesFitTheWidth)
{
    const std::string text = "The quick brown fox jumps over the lazy dog 请先插入鼠标和网线 again and again";
    for (int w = 30; w < 400; w += 7) {
        for (const lumi::TextLine& line : lumi::layoutText(Font::defaultFont(), text.c_str(), -1, w, true)) {
            EXPECT_TRUE(line.width <= w || line.length <= 3) << "width " << w;
            EXPECT_EQ(line.width, Font::defaultFont()->textWidth(text.c_str() + line.start, line.length));
        }
    }
}

TEST(TextLayout, MalformedBytesDoNotStopTheLayout)
{
    const std::string text = "a\xFF\xFE" "b";
    const std::vector<lumi::TextLine> lines = lumi::layoutText(Font::defaultFont(), text.c_str(), -1, 1000, true);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].length, 4);
}

TEST(TextLayout, AnExplicitLengthStopsEarly)
{
    const std::vector<lumi::TextLine> lines = lumi::layoutText(Font::defaultFont(), "one\ntwo", 3, 1000, false);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].length, 3);
}
