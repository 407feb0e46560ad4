// The font file is read through pread() as FreeType asks for bytes: the
// glyphs must come out exactly as from the whole file in memory, and a file
// that is short or not a font must be refused cleanly.

#include "font_impl.h"
#include "lumi_test.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

class FreeTypeLibrary {
public:
    FreeTypeLibrary() { EXPECT_EQ(FT_Init_FreeType(&m_library), 0); }
    ~FreeTypeLibrary()
    {
        if (m_library)
            FT_Done_FreeType(m_library);
    }
    FT_Library get() const { return m_library; }

private:
    FT_Library m_library { nullptr };
};

std::vector<unsigned char> readWhole(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>() };
}

void writeFile(const std::string& path, const unsigned char* data, size_t size)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    if (size > 0) {
        ASSERT_EQ(std::fwrite(data, 1, size, f), size);
    }
    std::fclose(f);
}

// Latin, punctuation, the Chinese of the screens, full-width forms and a code
// point the face lacks (its missing-glyph box).
const uint32_t kCodePoints[] = { 'A', 'g', 'W', '0', '%', ' ', 0xE9, 0x6D4B, 0x8BD5, 0x5931, 0x8D25, 0x901A,
    0x8FC7, 0x7F51, 0x7EDC, 0x97F3, 0x9891, 0xFF08, 0xFF1A, 0x3002, 0x10FFFD };

}

TEST(FontStream, GlyphsReadOnDemandEqualThoseOfTheWholeFileInMemory)
{
    const std::string path = lumi::findFontFile();
    ASSERT_FALSE(path.empty());
    const std::vector<unsigned char> whole = readWhole(path);
    ASSERT_FALSE(whole.empty());
    FreeTypeLibrary library;
    ASSERT_NE(library.get(), nullptr);
    for (int size : { 16, 20, 24, 32 }) {
        Font::Impl streamed;
        streamed.pixelSize = size;
        ASSERT_TRUE(lumi::openFontFace(streamed, library.get(), path)) << size;

        Font::Impl inMemory;
        inMemory.pixelSize = size;
        FT_Face face = nullptr;
        ASSERT_EQ(
            FT_New_Memory_Face(library.get(), whole.data(), static_cast<FT_Long>(whole.size()), 0, &face), 0);
        ASSERT_EQ(FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(size)), 0);
        inMemory.face = face;
        EXPECT_EQ(streamed.face->size->metrics.ascender, face->size->metrics.ascender) << size;
        EXPECT_EQ(streamed.face->size->metrics.height, face->size->metrics.height) << size;

        int inked = 0;
        for (uint32_t cp : kCodePoints) {
            const lumi::Glyph& a = streamed.glyph(cp);
            const lumi::Glyph& b = inMemory.glyph(cp);
            EXPECT_EQ(a.advance, b.advance) << size << " U+" << std::hex << cp;
            EXPECT_EQ(a.left, b.left) << size << " U+" << std::hex << cp;
            EXPECT_EQ(a.top, b.top) << size << " U+" << std::hex << cp;
            EXPECT_EQ(a.width, b.width) << size << " U+" << std::hex << cp;
            EXPECT_EQ(a.height, b.height) << size << " U+" << std::hex << cp;
            EXPECT_EQ(a.coverage, b.coverage) << size << " U+" << std::hex << cp;
            inked += a.width * a.height > 0;
        }
        // Not a comparison of two empty faces: nearly every glyph has ink.
        EXPECT_GE(inked, 19) << size;
        // The memory face's bytes stay alive until inMemory is gone (declared after whole).
    }
}

TEST(FontStream, AFileThatIsNotAFontIsRefused)
{
    lumitest::TempDir tmp;
    FreeTypeLibrary library;
    const std::string text = tmp.file("text.ttf");
    const char words[] = "not really a font, though the name says so";
    writeFile(text, reinterpret_cast<const unsigned char*>(words), sizeof words - 1);
    const std::string empty = tmp.file("empty.ttf");
    writeFile(empty, nullptr, 0);
    for (const std::string& path : { text, empty, tmp.file("absent.ttf"), tmp.path() }) {
        Font::Impl impl;
        impl.pixelSize = 20;
        EXPECT_FALSE(lumi::openFontFace(impl, library.get(), path)) << path;
        EXPECT_EQ(impl.face, nullptr) << path;
        EXPECT_EQ(impl.lineHeight, 0) << path;
    }
}

TEST(FontStream, AFontCutShortIsRefusedOrDrawsWithoutReadingPastItsEnd)
{
    const std::string path = lumi::findFontFile();
    ASSERT_FALSE(path.empty());
    const std::vector<unsigned char> whole = readWhole(path);
    ASSERT_GT(whole.size(), 4096u);
    lumitest::TempDir tmp;
    FreeTypeLibrary library;
    int refused = 0;
    // The header only, the tables' directory, half the file, all but its last bytes.
    for (size_t length : { size_t { 12 }, size_t { 4096 }, whole.size() / 2, whole.size() - 16 }) {
        const std::string cut = tmp.file("cut.ttc");
        writeFile(cut, whole.data(), length);
        Font::Impl impl;
        impl.pixelSize = 20;
        if (!lumi::openFontFace(impl, library.get(), cut)) {
            ++refused;
            EXPECT_EQ(impl.face, nullptr) << length;
            continue;
        }
        // Opened (the tables it needs lie before the cut): glyphs whose
        // outlines lie past the end give no ink rather than stray bytes.
        for (uint32_t cp : kCodePoints) {
            const lumi::Glyph& g = impl.glyph(cp);
            EXPECT_EQ(g.coverage.size(), static_cast<size_t>(g.stride) * g.height) << length;
        }
    }
    // At least the header alone cannot be a face.
    EXPECT_GE(refused, 1);
}
