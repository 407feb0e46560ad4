#pragma once
// The inside of a Font: one FreeType face at one pixel size and the glyphs
// rendered from it so far.

#include <lumi/gdi.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

// FreeType's face record, kept opaque so that this header needs no FreeType
// headers (the tests include it without them).
struct FT_FaceRec_;
struct FT_LibraryRec_;

namespace lumi {

// One rendered glyph: an 8-bit coverage mask and where it goes relative to
// the pen position on the baseline.
struct Glyph {
    int left { 0 };      // from the pen to the mask's left edge
    int top { 0 };       // from the baseline up to the mask's top edge
    int width { 0 };     // mask size in pixels (0 for blanks)
    int height { 0 };
    int advance { 0 };   // pen movement in pixels
    int stride { 0 };    // bytes per row of coverage
    std::vector<uint8_t> coverage;   // rows of stride bytes
    pixman_image_t* mask { nullptr };   // a8 image over coverage, null when empty

    Glyph() = default;
    ~Glyph();
    Glyph(const Glyph&) = delete;
    Glyph& operator=(const Glyph&) = delete;
};

// The pixel size a LogFont stands for: an explicit positive size, else the
// size of its name ("large" 32, "title" 24, "small" 16, anything else 20).
int logFontPixelSize(const LogFont* lf);

// Where the font file is looked for, in order: $LUMI_FONT, res/fonts/*.ttf or
// *.ttc under the working directory, res/fonts next to the executable and
// ../share/uishull/res/fonts from it, the install directory, and the system's
// WenQuanYi Micro Hei. Returns the first file that exists, or "".
std::string findFontFile();

// Opens the first face of the font file at path into impl at impl.pixelSize
// and sets its metrics. The file is read through pread() as FreeType asks for
// bytes, never mapped whole, so only what is used becomes resident. False,
// with impl untouched, when the file cannot be read or is not a font.
bool openFontFace(Font::Impl& impl, FT_LibraryRec_* library, const std::string& path);

}

struct Font::Impl {
    FT_FaceRec_* face { nullptr };   // null when no font file could be opened
    int pixelSize { 0 };
    int ascent { 0 };        // baseline below the top of a line
    int descent { 0 };       // pixels below the baseline (positive)
    int lineHeight { 0 };    // distance between baselines

    ~Impl();

    // The glyph of a code point, rendered on first use. Never null; a code
    // point the face lacks gives its missing-glyph box, and controls give an
    // empty glyph of no width. The reference stays valid until the cache is
    // next asked for a glyph it does not hold.
    const lumi::Glyph& glyph(uint32_t codePoint);
    int advance(uint32_t codePoint) { return glyph(codePoint).advance; }

private:
    lumi::Glyph* render(uint32_t codePoint);

    // Latin-1 is looked up directly, everything else through the map.
    std::unique_ptr<lumi::Glyph> m_latin[256];
    std::unordered_map<uint32_t, std::unique_ptr<lumi::Glyph>> m_others;
};
