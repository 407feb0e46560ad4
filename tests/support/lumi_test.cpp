#include "lumi_test.h"

#include "screen.h"

#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <ftw.h>
#include <unistd.h>
#include <vector>

namespace lumitest {

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/lumitest-XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) {
        perror("mkdtemp");
        std::abort();
    }
    m_path = buf.data();
}

TempDir::~TempDir()
{
    nftw(
        m_path.c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); },
        16, FTW_DEPTH | FTW_PHYS);
}

std::string sourceDir()
{
    const char* env = std::getenv("UISHULL_SOURCE_DIR");
    return env ? env : UISHULL_SOURCE_DIR_DEFAULT;
}

std::string binaryDir()
{
    const char* env = std::getenv("UISHULL_BINARY_DIR");
    return env ? env : UISHULL_BINARY_DIR_DEFAULT;
}

std::string emulator()
{
    const char* env = std::getenv("UISHULL_EMULATOR");
    return env ? env : UISHULL_EMULATOR_DEFAULT;
}

void ToolkitTest::SetUp()
{
    const std::string display = "file:" + screenFile() + ":" + std::to_string(screenWidth) + "x"
        + std::to_string(screenHeight);
    setenv("LUMI_DISPLAY", display.c_str(), 1);
    unsetenv("LUMI_INPUT");
    // One clock for the loop's timers and every wall-clock reading.
    lumi::setTestClock([this] { return nowMs; });
    rt = std::make_unique<GuiRT>();
    ASSERT_EQ(rt->init(0), 0);
    app = makeApp();
    ASSERT_EQ(app->init("lumitest", 0), 0);
}

void ToolkitTest::TearDown()
{
    if (app)
        app->term();
    app.reset();
    rt.reset();
    lumi::setTestClock(nullptr);
}

void ToolkitTest::settle()
{
    lumi::Screen* s = lumi::screen();
    for (int i = 0; i < 1000; ++i) {
        app->processEvents(0);
        if (app->pendingMessages() == 0 && (!s || !s->needsPaint()))
            break;
    }
}

void ToolkitTest::advance(int ms, int step)
{
    if (step < 1)
        step = 1;
    while (ms > 0) {
        const int d = ms < step ? ms : step;
        nowMs += static_cast<uint64_t>(d);
        ms -= d;
        settle();
    }
}

bool ToolkitTest::pumpUntil(const std::function<bool()>& done, int turns)
{
    for (int i = 0; i < turns && !done(); ++i)
        app->processEvents(20);
    settle();
    return done();
}

void ToolkitTest::pressKey(int code)
{
    rt->deliverKeyEvent(code, 0);
    settle();
}

void ToolkitTest::releaseKey(int code)
{
    rt->deliverKeyEvent(code, 1);
    settle();
}

void ToolkitTest::tapKey(int code)
{
    pressKey(code);
    releaseKey(code);
}

namespace {

    // A sample for the screen's own pointer source, which turns it into
    // pointer messages (MSG_MOUSE) for the application's filter and the
    // window under the point.
    void feedPointer(int x, int y, bool down)
    {
        lumi::Screen* s = lumi::screen();
        ASSERT_NE(s, nullptr);
        MousePoint point;
        point.x = static_cast<short>(x);
        point.y = static_cast<short>(y);
        point.pressure = down ? 500 : 0;
        s->virtualMouse()->addPoint(point, down);
    }

}

Mouse* ToolkitTest::pointerSource() const
{
    lumi::Screen* s = lumi::screen();
    return s ? s->virtualMouse() : nullptr;
}

void ToolkitTest::press(int x, int y)
{
    feedPointer(x, y, true);
    settle();
}

void ToolkitTest::move(int x, int y)
{
    feedPointer(x, y, true);
    settle();
}

void ToolkitTest::release(int x, int y)
{
    feedPointer(x, y, false);
    settle();
}

void ToolkitTest::tap(int x, int y)
{
    press(x, y);
    release(x, y);
}

void ToolkitTest::post(WndBase* window, int id, int param1, int param2, void* data)
{
    app->addMsg(LUMIMessage(window, id, param1, param2, data));
    settle();
}

void ToolkitTest::postPointer(WndBase* window, int x, int y, unsigned int flags)
{
    LUMIMessage msg(window, MSG_MOUSE, x, static_cast<int>(flags));
    msg.extra = y;
    app->addMsg(msg);
    settle();
}

void ToolkitTest::sendCommand(WndBase* window, int commandId)
{
    post(window, MSG_COMMAND, commandId);
}

void ToolkitTest::typeChar(WndBase* window, int ch)
{
    post(window, MSG_CHAR, ch);
}

int ToolkitTest::deliverNow(WndBase* window, int id, int param1, int param2, void* data)
{
    LUMIMessage msg(window, id, param1, param2, data);
    return window->dispatch(msg);
}

void ToolkitTest::drawBehindToolkit(int x, int y, uint16_t colour)
{
    lumi::Screen* s = lumi::screen();
    ASSERT_NE(s, nullptr);
    ASSERT_TRUE(x >= 0 && y >= 0 && x < s->width() && y < s->height());
    // Rows are whole 32-bit words long, so the stride is an even number of pixels.
    const_cast<uint16_t*>(s->pixels())[y * (s->stride() / 2) + x] = colour;
    s->addFlush(Rect(x, y, x + 1, y + 1));
    s->flush();
}

uint16_t ToolkitTest::shownPixel(int x, int y) const
{
    if (x < 0 || y < 0 || x >= screenWidth || y >= screenHeight)
        return 0;
    int fd = open(screenFile().c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    unsigned char px[2] = { 0, 0 };
    const off_t offset = (static_cast<off_t>(y) * screenWidth + x) * 2;
    ssize_t n = pread(fd, px, 2, offset);
    close(fd);
    if (n != 2)
        return 0;
    return static_cast<uint16_t>(px[0] | (px[1] << 8));
}

void ToolkitTest::saveScreenshot(const std::string& path) const
{
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out)
        return;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(out);
        return;
    }
    png_init_io(png, out);
    png_set_IHDR(png, info, screenWidth, screenHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
        PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<png_byte> row(static_cast<size_t>(screenWidth) * 3);
    for (int y = 0; y < screenHeight; ++y) {
        for (int x = 0; x < screenWidth; ++x) {
            const uint16_t p = shownPixel(x, y);
            const int r = (p >> 11) & 31, g = (p >> 5) & 63, b = p & 31;
            row[x * 3] = static_cast<png_byte>((r << 3) | (r >> 2));
            row[x * 3 + 1] = static_cast<png_byte>((g << 2) | (g >> 4));
            row[x * 3 + 2] = static_cast<png_byte>((b << 3) | (b >> 2));
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(out);
}

}
