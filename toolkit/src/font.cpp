// Fonts: one FreeType face per pixel size, with the glyphs it has rendered.
//
// Every font comes from one file (the CJK face the device ships), so a font is
// fully described by its pixel size and LogFont names only choose the size.
// Fonts are created on first request and kept by a static owner until the
// process ends: windows and DCs hold plain Font pointers, and the few sizes
// the program uses cost little to keep.

#include "font_impl.h"
#include "text_layout.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumi {
namespace {

constexpr int kMinPixelSize = 4;
constexpr int kMaxPixelSize = 512;
// A font forgets its non-Latin glyphs when it holds this many, so that a
// long run over many different characters cannot grow without bound.
constexpr size_t kMaxCachedGlyphs = 4096;

constexpr const char* kSystemFont = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";

bool isRegularFile(const std::string& path)
{
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool hasFontSuffix(const char* name)
{
    size_t n = std::strlen(name);
    return n > 4 && (strcasecmp(name + n - 4, ".ttf") == 0 || strcasecmp(name + n - 4, ".ttc") == 0);
}

// The first font file (by name) in dir, or "".
std::string fontInDirectory(const std::string& dir)
{
    DIR* d = opendir(dir.c_str());
    if (!d)
        return {};
    std::vector<std::string> names;
    while (dirent* entry = readdir(d)) {
        if (hasFontSuffix(entry->d_name))
            names.emplace_back(entry->d_name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        std::string path = dir + "/" + name;
        if (isRegularFile(path))
            return path;
    }
    return {};
}

std::string executableDirectory()
{
    char buffer[4096];
    ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return {};
    buffer[n] = '\0';
    char* slash = std::strrchr(buffer, '/');
    if (!slash)
        return {};
    *slash = '\0';
    return buffer;
}

// The FreeType library and every font made so far.
struct FontRegistry {
    FT_Library library { nullptr };
    bool started { false };
    std::string path;   // the font file, "" when none was found
    std::vector<std::unique_ptr<Font>> fonts;

    ~FontRegistry()
    {
        fonts.clear();   // the faces go before the library they belong to
        if (library)
            FT_Done_FreeType(library);
    }

    void start()
    {
        if (started)
            return;
        started = true;
        path = findFontFile();
        if (path.empty()) {
            std::fprintf(stderr, "[lumi] no font file found (set LUMI_FONT); text will not be drawn\n");
            return;
        }
        if (FT_Init_FreeType(&library) != 0) {
            library = nullptr;
            std::fprintf(stderr, "[lumi] cannot start FreeType; text will not be drawn\n");
        }
    }
};

FontRegistry& registry()
{
    static FontRegistry s_registry;
    return s_registry;
}

void setMetricsWithoutFace(Font::Impl& impl)
{
    impl.ascent = impl.pixelSize * 4 / 5;
    impl.descent = impl.pixelSize - impl.ascent;
    impl.lineHeight = impl.pixelSize;
}

// A font file read on demand: FreeType asks for the bytes of the tables and
// glyphs it needs and gets them with pread(), instead of mapping the whole
// file, whose pages (the CJK face is 5 MB, its glyphs all over it) would
// otherwise become resident as they are touched. One per face: FreeType keeps
// its position in the stream record.
struct FontFile {
    FT_StreamRec stream {};
    int fd { -1 };
};

// Reads count bytes at offset into buffer, never past the end of the file the
// stream was opened on. A count of 0 is FreeType's seek: 0 when the offset
// lies within the file, else an error.
unsigned long readFontFile(FT_Stream stream, unsigned long offset, unsigned char* buffer, unsigned long count)
{
    const auto* file = static_cast<const FontFile*>(stream->descriptor.pointer);
    if (count == 0)
        return offset > stream->size ? 1 : 0;
    if (offset >= stream->size)
        return 0;
    count = std::min(count, stream->size - offset);
    unsigned long done = 0;
    while (done < count) {
        const ssize_t n = pread(file->fd, buffer + done, count - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;   // an error or a file cut short since: FreeType sees a short read
        done += static_cast<unsigned long>(n);
    }
    return done;
}

// FreeType closes the stream when the face goes, and when opening it fails.
void closeFontFile(FT_Stream stream)
{
    auto* file = static_cast<FontFile*>(stream->descriptor.pointer);
    stream->descriptor.pointer = nullptr;
    if (!file)
        return;
    close(file->fd);
    delete file;
}

}

bool openFontFace(Font::Impl& impl, FT_Library library, const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0
        || static_cast<unsigned long long>(st.st_size) > static_cast<unsigned long long>(~0UL)) {
        close(fd);
        return false;
    }
    auto* file = new FontFile;
    file->fd = fd;
    file->stream.size = static_cast<unsigned long>(st.st_size);
    file->stream.descriptor.pointer = file;
    file->stream.read = readFontFile;
    file->stream.close = closeFontFile;
    FT_Open_Args args {};
    args.flags = FT_OPEN_STREAM;
    args.stream = &file->stream;
    FT_Face face = nullptr;
    // On failure FreeType has already closed the stream, and with it the file.
    if (FT_Open_Face(library, &args, 0, &face) != 0)
        return false;
    if (FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(impl.pixelSize)) != 0) {
        FT_Done_Face(face);
        return false;
    }
    impl.face = face;
    // FreeType rounds the scaled metrics of scalable faces to whole pixels.
    const FT_Size_Metrics& m = face->size->metrics;
    const int ascender = static_cast<int>(m.ascender >> 6);
    const int descender = static_cast<int>(-(m.descender >> 6));
    const int height = static_cast<int>(m.height >> 6);
    const int ink = std::max(1, ascender + std::max(0, descender));
    impl.lineHeight = std::max(height, ink);
    // Any line gap is shared above and below the glyphs so that text centred
    // on a line box looks centred.
    impl.ascent = ascender + (impl.lineHeight - ink) / 2;
    impl.descent = impl.lineHeight - impl.ascent;
    return true;
}

namespace {

bool isControl(uint32_t cp)
{
    return cp < 0x20 || cp == 0x7F || (cp >= 0x80 && cp < 0xA0);
}

}

Glyph::~Glyph()
{
    if (mask)
        pixman_image_unref(mask);
}

int logFontPixelSize(const LogFont* lf)
{
    int size = 20;
    if (lf && lf->size > 0)
        size = lf->size;
    else if (lf && lf->name && std::strcmp(lf->name, "large") == 0)
        size = 32;
    else if (lf && lf->name && std::strcmp(lf->name, "title") == 0)
        size = 24;
    else if (lf && lf->name && std::strcmp(lf->name, "small") == 0)
        size = 16;
    return std::clamp(size, kMinPixelSize, kMaxPixelSize);
}

std::string findFontFile()
{
    static bool s_warned = false;
    if (const char* env = std::getenv("LUMI_FONT"); env && *env) {
        if (isRegularFile(env))
            return env;
        if (!s_warned) {
            s_warned = true;
            std::fprintf(stderr, "[lumi] LUMI_FONT=%s is not a file; looking elsewhere\n", env);
        }
    }
    std::string found = fontInDirectory("res/fonts");
    if (!found.empty())
        return found;
    const std::string exeDir = executableDirectory();
    if (!exeDir.empty()) {
        found = fontInDirectory(exeDir + "/res/fonts");
        if (found.empty())
            found = fontInDirectory(exeDir + "/../share/uishull/res/fonts");
        if (!found.empty())
            return found;
    }
#ifdef LUMI_FONT_INSTALL_DIR
    found = fontInDirectory(LUMI_FONT_INSTALL_DIR);
    if (!found.empty())
        return found;
#endif
    if (isRegularFile(kSystemFont))
        return kSystemFont;
    return {};
}

}

using lumi::Glyph;

Font::Impl::~Impl()
{
    // The glyphs' pixman images point into their own buffers, not the face,
    // so the order does not matter; the face goes last for clarity.
    for (auto& g : m_latin)
        g.reset();
    m_others.clear();
    if (face)
        FT_Done_Face(face);
}

const Glyph& Font::Impl::glyph(uint32_t codePoint)
{
    if (codePoint < 256) {
        std::unique_ptr<Glyph>& slot = m_latin[codePoint];
        if (!slot)
            slot.reset(render(codePoint));
        return *slot;
    }
    auto it = m_others.find(codePoint);
    if (it != m_others.end())
        return *it->second;
    if (m_others.size() >= lumi::kMaxCachedGlyphs)
        m_others.clear();
    return *m_others.emplace(codePoint, std::unique_ptr<Glyph>(render(codePoint))).first->second;
}

Glyph* Font::Impl::render(uint32_t codePoint)
{
    auto* g = new Glyph;
    if (!face)
        return g;
    if (codePoint == '\t') {
        g->advance = advance(' ');
        return g;
    }
    if (lumi::isControl(codePoint))
        return g;

    const FT_UInt index = FT_Get_Char_Index(face, codePoint);
    if (FT_Load_Glyph(face, index, FT_LOAD_DEFAULT) != 0) {
        g->advance = pixelSize / 2;
        return g;
    }
    FT_GlyphSlot slot = face->glyph;
    g->advance = static_cast<int>((slot->advance.x + 32) >> 6);
    if (slot->format != FT_GLYPH_FORMAT_BITMAP && FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) != 0)
        return g;
    const FT_Bitmap& bm = slot->bitmap;
    if (bm.width == 0 || bm.rows == 0 || !bm.buffer)
        return g;
    if (bm.pixel_mode != FT_PIXEL_MODE_GRAY && bm.pixel_mode != FT_PIXEL_MODE_MONO)
        return g;

    g->left = slot->bitmap_left;
    g->top = slot->bitmap_top;
    g->width = static_cast<int>(bm.width);
    g->height = static_cast<int>(bm.rows);
    const int stride = (g->width + 3) & ~3;   // pixman wants whole 32-bit words a row
    g->stride = stride;
    g->coverage.assign(static_cast<size_t>(stride) * g->height, 0);
    const int pitch = bm.pitch < 0 ? -bm.pitch : bm.pitch;
    for (int y = 0; y < g->height; ++y) {
        // A negative pitch means the rows are stored bottom-up.
        const unsigned char* src = bm.pitch < 0 ? bm.buffer + (g->height - 1 - y) * pitch : bm.buffer + y * pitch;
        uint8_t* dst = g->coverage.data() + y * stride;
        if (bm.pixel_mode == FT_PIXEL_MODE_GRAY) {
            const unsigned levels = bm.num_grays > 1 ? bm.num_grays - 1 : 255;
            for (int x = 0; x < g->width; ++x)
                dst[x] = levels == 255 ? src[x] : static_cast<uint8_t>(src[x] * 255u / levels);
        } else {
            for (int x = 0; x < g->width; ++x)
                dst[x] = (src[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
        }
    }
    g->mask = pixman_image_create_bits(PIXMAN_a8, g->width, g->height,
        reinterpret_cast<uint32_t*>(g->coverage.data()), stride);
    if (!g->mask) {
        g->width = 0;
        g->height = 0;
    }
    return g;
}

Font::Font(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) { }

Font::~Font() = default;

Font* Font::getFont(const LogFont* lf)
{
    const int size = lumi::logFontPixelSize(lf);
    lumi::FontRegistry& reg = lumi::registry();
    for (const auto& font : reg.fonts) {
        if (font->pixelSize() == size)
            return font.get();
    }
    reg.start();
    auto impl = std::make_unique<Impl>();
    impl->pixelSize = size;
    if (!reg.library || !lumi::openFontFace(*impl, reg.library, reg.path)) {
        static bool s_reported = false;
        if (reg.library && !s_reported) {
            s_reported = true;
            std::fprintf(stderr, "[lumi] cannot open font %s; text will not be drawn\n", reg.path.c_str());
        }
        lumi::setMetricsWithoutFace(*impl);
    }
    reg.fonts.push_back(std::unique_ptr<Font>(new Font(std::move(impl))));
    return reg.fonts.back().get();
}

Font* Font::defaultFont()
{
    return getFont(nullptr);
}

int Font::pixelSize() const
{
    return m_impl->pixelSize;
}

int Font::lineHeight() const
{
    return m_impl->lineHeight;
}

int Font::ascent() const
{
    return m_impl->ascent;
}

int Font::textWidth(const char* text, int len)
{
    if (!text)
        return 0;
    if (len < 0)
        len = static_cast<int>(std::strlen(text));
    int width = 0;
    int pos = 0;
    while (pos < len)
        width += m_impl->advance(lumi::decodeUtf8(text, len, pos));
    return width;
}
