#include "font_impl.h"
#include "lumi_test.h"
#include "scoped_env.h"

#include <lumi/gdi.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using lumitest::ScopedEnv;

namespace {

// Works in another directory for one test and goes back.
class ScopedCwd {
public:
    explicit ScopedCwd(const std::string& dir)
    {
        char buffer[4096];
        if (getcwd(buffer, sizeof buffer))
            m_old = buffer;
        EXPECT_EQ(chdir(dir.c_str()), 0);
    }
    ~ScopedCwd()
    {
        if (!m_old.empty()) {
            EXPECT_EQ(chdir(m_old.c_str()), 0);
        }
    }

private:
    std::string m_old;
};

void touch(const std::string& path)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fputs("not really a font", f);
    std::fclose(f);
}

int inkedPixels(const lumi::Glyph& g)
{
    int count = 0;
    const int stride = (g.width + 3) & ~3;
    for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x)
            count += g.coverage[static_cast<size_t>(y) * stride + x] > 0;
    return count;
}

}

TEST(Font, NamesStandForPixelSizesThatFitTheScreen)
{
    LogFont large("large");
    LogFont title("title");
    LogFont small("small");
    LogFont other("whatever");
    EXPECT_EQ(lumi::logFontPixelSize(&large), 32);
    EXPECT_EQ(lumi::logFontPixelSize(&title), 24);
    EXPECT_EQ(lumi::logFontPixelSize(&small), 16);
    EXPECT_EQ(lumi::logFontPixelSize(&other), 20);
    EXPECT_EQ(lumi::logFontPixelSize(nullptr), 20);
    EXPECT_EQ(Font::getFont(&large)->pixelSize(), 32);
    EXPECT_EQ(Font::getFont(&title)->pixelSize(), 24);
    EXPECT_EQ(Font::getFont(&small)->pixelSize(), 16);
    EXPECT_EQ(Font::defaultFont()->pixelSize(), 20);
}

TEST(Font, AnExplicitPositiveSizeWinsOverTheName)
{
    LogFont big("small", 40);
    LogFont unset("title", -1);
    LogFont zero("title", 0);
    EXPECT_EQ(Font::getFont(&big)->pixelSize(), 40);
    EXPECT_EQ(Font::getFont(&unset)->pixelSize(), 24);
    EXPECT_EQ(Font::getFont(&zero)->pixelSize(), 24);
}

TEST(Font, AbsurdSizesAreClamped)
{
    LogFont huge(nullptr, 100000);
    LogFont tiny(nullptr, 1);
    EXPECT_EQ(lumi::logFontPixelSize(&huge), 512);
    EXPECT_EQ(lumi::logFontPixelSize(&tiny), 4);
}

TEST(Font, OneSizeIsOneFontObject)
{
    LogFont title("title");
    LogFont sized(nullptr, 24);
    EXPECT_EQ(Font::getFont(&title), Font::getFont(&sized));
    EXPECT_NE(Font::getFont(&title), Font::defaultFont());
    EXPECT_EQ(Font::defaultFont(), Font::defaultFont());
}

TEST(Font, TheSystemFaceIsFound)
{
    EXPECT_FALSE(lumi::findFontFile().empty());
    EXPECT_NE(Font::defaultFont()->impl()->face, nullptr);
}

TEST(Font, LineHeightHoldsAscentAndDescent)
{
    for (const char* name : { "small", "title", "large", "default" }) {
        LogFont lf(name);
        Font* font = Font::getFont(&lf);
        EXPECT_GE(font->lineHeight(), font->pixelSize()) << name;
        EXPECT_LE(font->lineHeight(), font->pixelSize() * 2) << name;
        EXPECT_GT(font->ascent(), 0) << name;
        EXPECT_LT(font->ascent(), font->lineHeight()) << name;
        EXPECT_EQ(font->ascent() + font->impl()->descent, font->lineHeight()) << name;
    }
}

TEST(Font, TextWidthGrowsWithTheText)
{
    Font* font = Font::defaultFont();
    EXPECT_EQ(font->textWidth(""), 0);
    EXPECT_EQ(font->textWidth(nullptr), 0);
    const int one = font->textWidth("W");
    EXPECT_GT(one, 0);
    EXPECT_GT(font->textWidth("WW"), one);
    EXPECT_EQ(font->textWidth("WWW", 1), one);
    // CJK ideographs are about one em wide.
    const int cjk = font->textWidth("测");
    EXPECT_GE(cjk, font->pixelSize() - 2);
    EXPECT_LE(cjk, font->pixelSize() + 2);
    EXPECT_EQ(font->textWidth("测试"), 2 * cjk);
}

TEST(Font, ControlCharactersTakeNoSpace)
{
    Font* font = Font::defaultFont();
    EXPECT_EQ(font->textWidth("a\nb"), font->textWidth("ab"));
    EXPECT_EQ(font->textWidth("\r\x01"), 0);
    EXPECT_EQ(font->textWidth("\t"), font->textWidth(" "));
}

TEST(Font, GlyphsAreRenderedOnceAndCached)
{
    Font::Impl* impl = Font::defaultFont()->impl();
    const lumi::Glyph* first = &impl->glyph(0x6D4B); // 测
    const lumi::Glyph* again = &impl->glyph(0x6D4B);
    EXPECT_EQ(first, again);
    const lumi::Glyph* latin = &impl->glyph('A');
    EXPECT_EQ(latin, &impl->glyph('A'));
    ASSERT_NE(first->mask, nullptr);
    EXPECT_EQ(pixman_image_get_format(first->mask), PIXMAN_a8);
    EXPECT_GT(inkedPixels(*first), 20);
    EXPECT_GT(first->top, 0);
}

TEST(Font, BlankGlyphsHaveAdvanceButNoMask)
{
    const lumi::Glyph& space = Font::defaultFont()->impl()->glyph(' ');
    EXPECT_EQ(space.mask, nullptr);
    EXPECT_GT(space.advance, 0);
}

TEST(Font, LargerSizesDrawLargerGlyphs)
{
    LogFont small("small");
    LogFont large("large");
    const lumi::Glyph& a = Font::getFont(&small)->impl()->glyph(0x8BD5); // 试
    const lumi::Glyph& b = Font::getFont(&large)->impl()->glyph(0x8BD5);
    EXPECT_GT(b.height, a.height);
    EXPECT_GT(b.advance, a.advance);
}

TEST(Font, FileNamedByLumiFontComesFirst)
{
    lumitest::TempDir tmp;
    const std::string file = tmp.file("mine.ttf");
    touch(file);
    ScopedEnv env("LUMI_FONT", file.c_str());
    EXPECT_EQ(lumi::findFontFile(), file);
}

TEST(Font, FontsUnderResFontsOfTheWorkingDirectoryComeNext)
{
    lumitest::TempDir tmp;
    ASSERT_EQ(mkdir(tmp.file("res").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(tmp.file("res/fonts").c_str(), 0755), 0);
    touch(tmp.file("res/fonts/readme.txt"));
    touch(tmp.file("res/fonts/b.ttc"));
    touch(tmp.file("res/fonts/a.TTF"));
    ScopedEnv env("LUMI_FONT", nullptr);
    ScopedCwd cwd(tmp.path());
    EXPECT_EQ(lumi::findFontFile(), "res/fonts/a.TTF");
}

TEST(Font, AMissingLumiFontFileFallsBackToTheOtherPlaces)
{
    lumitest::TempDir tmp;
    ScopedEnv env("LUMI_FONT", tmp.file("absent.ttf").c_str());
    ScopedCwd cwd(tmp.path());
    testing::internal::CaptureStderr();
    const std::string found = lumi::findFontFile();
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(found.empty());
    EXPECT_NE(found, tmp.file("absent.ttf"));
}
