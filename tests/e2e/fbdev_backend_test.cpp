// The frame buffer backend end to end: the example program runs with
// LUMI_DISPLAY=fbdev on a fake device that the preload library
// (tests/support/fbdev_shim.c) backs with a file of the test's directory; the
// file then holds what the program drew, in the device's layout.

#include "child_process.h"
#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 480;
constexpr const char* kFakeDevice = "/dev/fb-test"; // never opened: the shim answers for it
constexpr int kTimeoutMs = 30000;

// The demo's clock shows the time it started at, so two runs may differ there
// (lumi_demo.cpp: Rect(w - 160, 60, w - 20, 90)).
bool inClock(int x, int y)
{
    return x >= kWidth - 160 && x < kWidth - 20 && y >= 60 && y < 90;
}

// The frame buffer the shim describes: the visible screen panned to
// (xoffset, yoffset) in a virtual screen just large enough, every row followed
// by 64 bytes of padding.
struct FbLayout {
    int bitsPerPixel { 16 };
    int xoffset { 0 };
    int yoffset { 0 };

    size_t bytesPerPixel() const { return static_cast<size_t>(bitsPerPixel / 8); }
    size_t lineLength() const { return (kWidth + xoffset) * bytesPerPixel() + 64; }
    size_t memorySize() const { return lineLength() * (kHeight + yoffset); }
    // Byte offset of visible pixel (x, y).
    size_t at(int x, int y) const
    {
        return static_cast<size_t>(y + yoffset) * lineLength()
            + static_cast<size_t>(x + xoffset) * bytesPerPixel();
    }
    bool isVisibleByte(size_t offset) const
    {
        const size_t row = offset / lineLength();
        const size_t column = offset % lineLength();
        const size_t left = static_cast<size_t>(xoffset) * bytesPerPixel();
        return row >= static_cast<size_t>(yoffset) && column >= left
            && column < left + kWidth * bytesPerPixel();
    }
};

// An RGB565 colour as XRGB8888, each channel widened by repeating its top bits
// (written out here rather than taken from the backend, to check it).
uint32_t toXrgb8888(uint16_t c)
{
    const uint32_t r = (c >> 11) & 0x1F;
    const uint32_t g = (c >> 5) & 0x3F;
    const uint32_t b = c & 0x1F;
    return ((r << 3 | r >> 2) << 16) | ((g << 2 | g >> 4) << 8) | (b << 3 | b >> 2);
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Pixels the demo draws at known places (see lumi_demo.cpp), as RGB565.
struct KnownPixel {
    int x;
    int y;
    uint16_t colour;
    const char* what;
};
const KnownPixel kKnownPixels[] = {
    { 5, 5, 0x5D5D, "title bar" },
    { 795, 45, 0x5D5D, "title bar, far corner" },
    { 5, 450, 0x7BAF, "window background" },
    { 32, 160, 0xF800, "red bar" },
    { 62, 160, 0x07E0, "green bar" },
    { 92, 160, 0x001F, "blue bar" },
    { 122, 160, 0xFFE0, "yellow bar" },
    { 152, 160, 0xFFFF, "white bar" },
    { 182, 160, 0x0000, "black bar" },
    { 47, 160, 0x7BAF, "gap between the red and the green bar" },
    // The bitmap at (230, 130): red x / 2, green y, blue 12; keyed holes magenta.
    { 240, 133, (5 << 11) | (3 << 5) | 12, "bitmap pixel (10, 3)" },
    { 293, 193, 0xF81F, "bitmap hole (63, 63) copied whole" },
    // The keyed copy at (230, 210) lets the background through its holes.
    { 293, 273, 0x7BAF, "bitmap hole (63, 63) keyed out" },
    { 240, 213, (5 << 11) | (3 << 5) | 12, "keyed bitmap pixel (10, 3)" },
};

class FbdevBackendTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!lumitest::emulator().empty())
            GTEST_SKIP() << "the frame buffer shim is built for the host only";
#ifdef UISHULL_FBDEV_SHIM
        shim = UISHULL_FBDEV_SHIM;
#else
        GTEST_SKIP() << "this build has no frame buffer shim";
#endif
    }

    std::string demo() const
    {
        return lumitest::buildProgram("toolkit/lumi-demo");
    }

    // Everything the demo needs to run on the fake frame buffer described by layout.
    std::vector<std::string> shimEnvironment(const FbLayout& layout, const std::string& file) const
    {
        std::vector<std::string> env = {
            "LD_PRELOAD=" + shim,
            std::string("LUMI_FBSHIM_DEVICE=") + kFakeDevice,
            "LUMI_FBSHIM_FILE=" + file,
            "LUMI_FBSHIM_MODE=" + std::to_string(layout.bitsPerPixel),
            "LUMI_FBSHIM_SIZE=" + std::to_string(kWidth) + "x" + std::to_string(kHeight),
            "LUMI_FBSHIM_OFFSET=" + std::to_string(layout.xoffset) + "x" + std::to_string(layout.yoffset),
        };
        // A sanitized build wants its run-time first among the libraries; the
        // shim, preloaded, comes before it and is itself not instrumented.
        const char* asan = std::getenv("ASAN_OPTIONS");
        env.push_back(std::string("ASAN_OPTIONS=") + (asan && *asan ? std::string(asan) + ":" : std::string())
            + "verify_asan_link_order=0");
        return env;
    }

    // Runs the demo for 800 ms with env; its exit status (-1 when it did not end in time).
    int runDemo(const std::vector<std::string>& env, std::string* errors = nullptr)
    {
        lumitest::ChildProcess demoProcess(demo(), { "--quit-after", "800" }, env, tmp.path());
        if (!demoProcess.started())
            return -1;
        const int status = demoProcess.wait(kTimeoutMs);
        if (errors)
            *errors = demoProcess.errors();
        else if (status != 0)
            ADD_FAILURE() << "lumi-demo said: " << demoProcess.errors();
        return status;
    }

    // Creates the file standing in for the frame buffer memory, zero-filled.
    std::string makeMemory(const FbLayout& layout, const std::string& name = "fb.mem")
    {
        const std::string path = tmp.file(name);
        std::ofstream out(path, std::ios::binary);
        const std::vector<char> zeros(layout.memorySize(), 0);
        out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
        return out.good() ? path : std::string();
    }

    // The demo's screen as the frame buffer shows it, or empty when the run failed.
    std::vector<uint8_t> runOnFrameBuffer(const FbLayout& layout)
    {
        const std::string file = makeMemory(layout);
        if (file.empty()) {
            ADD_FAILURE() << "cannot create the frame buffer file";
            return {};
        }
        std::vector<std::string> env = shimEnvironment(layout, file);
        env.push_back(std::string("LUMI_DISPLAY=fbdev:") + kFakeDevice);
        if (runDemo(env) != 0)
            return {};
        std::vector<uint8_t> memory = readFile(file);
        if (memory.size() != layout.memorySize()) {
            ADD_FAILURE() << "the frame buffer file changed size to " << memory.size();
            return {};
        }
        return memory;
    }

    // The demo's screen on the file display (RGB565, rows without padding).
    std::vector<uint16_t> runOnFileScreen()
    {
        const std::string file = tmp.file("screen.raw");
        if (runDemo({ "LUMI_DISPLAY=file:" + file + ":800x480" }) != 0)
            return {};
        const std::vector<uint8_t> bytes = readFile(file);
        if (bytes.size() != static_cast<size_t>(kWidth) * kHeight * 2) {
            ADD_FAILURE() << "the screen file has " << bytes.size() << " bytes";
            return {};
        }
        std::vector<uint16_t> pixels(static_cast<size_t>(kWidth) * kHeight);
        std::memcpy(pixels.data(), bytes.data(), bytes.size());
        return pixels;
    }

    // Every byte outside the visible area (row padding, the panned-away part)
    // is still zero: the backend wrote only inside the screen.
    static void expectOnlyTheVisibleAreaWritten(const FbLayout& layout, const std::vector<uint8_t>& memory)
    {
        size_t written = 0;
        size_t first = 0;
        for (size_t i = 0; i < memory.size(); ++i) {
            if (memory[i] != 0 && !layout.isVisibleByte(i)) {
                if (written++ == 0)
                    first = i;
            }
        }
        EXPECT_EQ(written, 0u) << "bytes written outside the visible area; the first at row "
                               << first / layout.lineLength() << ", byte " << first % layout.lineLength();
    }

    static uint16_t pixel16(const FbLayout& layout, const std::vector<uint8_t>& memory, int x, int y)
    {
        uint16_t v = 0;
        std::memcpy(&v, memory.data() + layout.at(x, y), sizeof v);
        return v;
    }

    static uint32_t pixel32(const FbLayout& layout, const std::vector<uint8_t>& memory, int x, int y)
    {
        uint32_t v = 0;
        std::memcpy(&v, memory.data() + layout.at(x, y), sizeof v);
        return v;
    }

    // Counts the white (text) pixels of the clock, so that leaving it out of a
    // comparison cannot hide a clock that was never drawn.
    template <typename Pixel> static int clockTextPixels(Pixel pixel, uint32_t white)
    {
        int count = 0;
        for (int y = 60; y < 90; ++y)
            for (int x = kWidth - 160; x < kWidth - 20; ++x)
                count += pixel(x, y) == white;
        return count;
    }

    std::string shim;
    lumitest::TempDir tmp;
};

TEST_F(FbdevBackendTest, DrawsTheDemoIntoA16BitFrameBufferHonouringItsPitch)
{
    const FbLayout layout { 16, 0, 0 };
    const std::vector<uint8_t> memory = runOnFrameBuffer(layout);
    ASSERT_FALSE(memory.empty());
    for (const KnownPixel& p : kKnownPixels)
        EXPECT_EQ(pixel16(layout, memory, p.x, p.y), p.colour) << p.what << " at " << p.x << "," << p.y;
    expectOnlyTheVisibleAreaWritten(layout, memory);
}

TEST_F(FbdevBackendTest, ConvertsTheDemoToA32BitFrameBuffer)
{
    const FbLayout layout { 32, 0, 0 };
    const std::vector<uint8_t> memory = runOnFrameBuffer(layout);
    ASSERT_FALSE(memory.empty());
    for (const KnownPixel& p : kKnownPixels)
        EXPECT_EQ(pixel32(layout, memory, p.x, p.y), toXrgb8888(p.colour))
            << p.what << " at " << p.x << "," << p.y;
    expectOnlyTheVisibleAreaWritten(layout, memory);

    // Every pixel is the file screen's, widened: the whole screen went through the conversion.
    const std::vector<uint16_t> screen = runOnFileScreen();
    ASSERT_FALSE(screen.empty());
    int differing = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            if (inClock(x, y))
                continue;
            const uint32_t expected = toXrgb8888(screen[static_cast<size_t>(y) * kWidth + x]);
            const uint32_t shown = pixel32(layout, memory, x, y);
            if (shown != expected && differing++ < 5)
                ADD_FAILURE() << "at " << x << "," << y << ": 0x" << std::hex << shown << ", expected 0x"
                              << expected;
        }
    }
    EXPECT_EQ(differing, 0);
    EXPECT_GT(clockTextPixels([&](int x, int y) { return pixel32(layout, memory, x, y); }, 0x00FFFFFFu), 20);
}

TEST_F(FbdevBackendTest, A16BitFrameBufferShowsExactlyTheFileScreen)
{
    const FbLayout layout { 16, 0, 0 };
    const std::vector<uint8_t> memory = runOnFrameBuffer(layout);
    ASSERT_FALSE(memory.empty());
    const std::vector<uint16_t> screen = runOnFileScreen();
    ASSERT_FALSE(screen.empty());

    // Row by row without the padding; the clock is compared apart from the rest.
    std::vector<uint8_t> rows(static_cast<size_t>(kWidth) * kHeight * 2);
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(rows.data() + static_cast<size_t>(y) * kWidth * 2, memory.data() + layout.at(0, y),
            static_cast<size_t>(kWidth) * 2);

    // For looking at: the frame buffer as a raw RGB565 screen, kept when asked for.
    if (const char* keep = std::getenv("UISHULL_KEEP_FB_SCREEN"); keep && *keep) {
        std::ofstream out(keep, std::ios::binary);
        out.write(reinterpret_cast<const char*>(rows.data()), static_cast<std::streamsize>(rows.size()));
    }

    std::vector<uint8_t> fileBytes(rows.size());
    std::memcpy(fileBytes.data(), screen.data(), fileBytes.size());
    for (int y = 60; y < 90; ++y)
        for (int x = kWidth - 160; x < kWidth - 20; ++x) {
            const size_t i = (static_cast<size_t>(y) * kWidth + x) * 2;
            rows[i] = rows[i + 1] = fileBytes[i] = fileBytes[i + 1] = 0;
        }
    EXPECT_TRUE(rows == fileBytes) << "the frame buffer and the file screen differ";

    EXPECT_GT(clockTextPixels([&](int x, int y) { return pixel16(layout, memory, x, y); }, 0xFFFFu), 20);
    EXPECT_GT(
        clockTextPixels([&](int x, int y) { return screen[static_cast<size_t>(y) * kWidth + x]; }, 0xFFFFu),
        20);
}

TEST_F(FbdevBackendTest, DrawsIntoThePannedVisibleArea)
{
    // Double buffering as devices do it: the visible screen is the lower half
    // of a taller virtual screen, here also moved right by 8 pixels.
    const FbLayout layout { 32, 8, kHeight };
    const std::vector<uint8_t> memory = runOnFrameBuffer(layout);
    ASSERT_FALSE(memory.empty());
    for (const KnownPixel& p : kKnownPixels)
        EXPECT_EQ(pixel32(layout, memory, p.x, p.y), toXrgb8888(p.colour))
            << p.what << " at " << p.x << "," << p.y;
    expectOnlyTheVisibleAreaWritten(layout, memory);
}

TEST_F(FbdevBackendTest, OtherDescriptorsKeepTheirOwnIoctls)
{
    // The frame buffer's memory file opened under its own name is an ordinary
    // file, not a frame buffer, even with the shim loaded.
    const FbLayout layout { 16, 0, 0 };
    const std::string file = makeMemory(layout);
    ASSERT_FALSE(file.empty());
    std::vector<std::string> env = shimEnvironment(layout, file);
    env.push_back("LUMI_DISPLAY=fbdev:" + file);
    std::string errors;
    EXPECT_EQ(runDemo(env, &errors), 1);
    EXPECT_NE(errors.find("is not a frame buffer"), std::string::npos) << errors;
}

TEST_F(FbdevBackendTest, TheShimStandsInOnlyARegularFileLargeEnough)
{
    const FbLayout layout { 16, 0, 0 };
    const std::string file = makeMemory(layout);
    ASSERT_FALSE(file.empty());
    // A link is refused even to a good file: one to a real device must never be followed.
    const std::string link = tmp.file("fb.link");
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    const std::string fifo = tmp.file("fb.fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    for (const std::string& standIn : { link, fifo }) {
        std::vector<std::string> env = shimEnvironment(layout, standIn);
        env.push_back(std::string("LUMI_DISPLAY=fbdev:") + kFakeDevice);
        std::string errors;
        EXPECT_EQ(runDemo(env, &errors), 1) << standIn;
        EXPECT_NE(errors.find(std::string("cannot open ") + kFakeDevice), std::string::npos) << errors;
    }
    // A file smaller than the memory the frame buffer reports (half of a 32-bit one):
    // mapped, the missing part would fault.
    std::vector<std::string> env = shimEnvironment(FbLayout { 32, 0, 0 }, file);
    env.push_back(std::string("LUMI_DISPLAY=fbdev:") + kFakeDevice);
    std::string errors;
    EXPECT_EQ(runDemo(env, &errors), 1);
    EXPECT_NE(errors.find(std::string("cannot open ") + kFakeDevice), std::string::npos) << errors;
}

}
