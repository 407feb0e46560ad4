// lumi-demo: a tour of the toolkit, and the skeleton of a new screen.
//
//   LUMI_DISPLAY=sdl lumi-demo                        a desktop window
//   LUMI_DISPLAY=file:/tmp/x.raw:800x480 lumi-demo --quit-after 1500
//                                                     headless, then exits
//   lumi-demo                                         the device's frame buffer
//
// A screen is a MainWndBase subclass: it creates its controls in create(),
// paints its own drawing in onPaint(), and reacts in the handlers (onNotify for
// button clicks, onTimer for timers, onKeydown for keys that no control took).

#include <lumi/lumi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr unsigned short kBackground = 0x7BAF;   // slate blue
constexpr unsigned short kPanel = 0x5D5D;
constexpr unsigned short kWhite = 0xFFFF;
constexpr unsigned short kKey = 0xF81F;   // magenta: the colour key of the demo bitmap

class DemoWnd : public MainWndBase {
public:
    explicit DemoWnd(int quitAfterMs) : m_quitAfterMs(quitAfterMs) { }

    int create()
    {
        const int w = Display::getParam(0);
        const int h = Display::getParam(1);
        // 71: shown, with the toolkit's main-window bits; 101 is the id other
        // code finds the window by (GuiApp::getWndById).
        if (MainWndBase::create(Rect(0, 0, w, h), 71, 101) != 0)
            return -1;
        // The toolkit fills this colour behind the window and, through the
        // default onDrawBackground, behind its transparent children.
        setBackColor(kBackground);

        // Children are heap objects: the toolkit deletes them with the window.
        // Style 70 makes a shown, transparent label; 6 a shown, opaque control.
        auto* title = new Label;
        title->create(this, Rect(0, 0, w, 50), 70);
        title->setBackColor(kPanel);
        title->setTextColor(kWhite);
        title->setAlignFlag(34);   // one line, centred both ways
        title->setFont(Font::getFont(&m_titleFont));
        title->setText("触摸屏测试 Touch test");

        auto* hint = new Label;
        hint->create(this, Rect(20, 56, w / 2 - 10, 124), 70);
        hint->setTextColor(kWhite);
        hint->setAlignFlag(289);   // wrapped, centred, from the top
        hint->setText("这是工具包的示例程序。This is the example program of the toolkit.");

        m_clock = new Label;
        m_clock->create(this, Rect(w - 160, 60, w - 20, 90), 70);
        m_clock->setTextColor(kWhite);
        m_clock->setAlignFlag(18);   // one line, left, centred vertically
        showTime();

        // A multi-line edit box with a scroll bar once the text outgrows it.
        m_edit = new Edit;
        m_edit->create(this, Rect(w / 2 + 10, 130, w - 20, h - 80), 6);
        m_edit->setScrollBarWidth(12);
        m_edit->setText("第一行 First line\n第二行 Second line\n"
                        "A long line wraps at the width of the box, between words in English "
                        "and between any two characters in 中文的句子里面。\n");

        m_addButton = new Button;
        m_addButton->create(this, Rect(w / 2 + 10, h - 60, w / 2 + 170, h - 20), 6);
        m_addButton->setText("添加 Add line");
        m_quitButton = new Button;
        m_quitButton->create(this, Rect(w - 180, h - 60, w - 20, h - 20), 6);
        m_quitButton->setText("退出 Quit");
        m_addButton->setFocus();

        setTimer(1000);   // the clock
        if (m_quitAfterMs > 0)
            m_quitTimer = setTimer(m_quitAfterMs);
        return 0;
    }

    // Bitmaps can be loaded with ImageMan::load; this one is made in code so
    // the demo needs no files: a colour gradient with a keyed lattice.
    void makeBitmap()
    {
        if (m_bitmap.create(64, 64) != 0)
            return;
        const int rowWords = m_bitmap.stride() / 2;
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                const bool hole = (x / 8 + y / 8) % 2 == 0 && (x % 8) > 1 && (y % 8) > 1;
                const unsigned short r = static_cast<unsigned short>(x / 2); // 5 bits
                const unsigned short g = static_cast<unsigned short>(y); // 6 bits
                m_bitmap.bits()[y * rowWords + x]
                    = hole ? kKey : static_cast<unsigned short>((r << 11) | (g << 5) | 12);
            }
        }
    }

protected:
    // The handlers: the toolkit calls them through the window's dispatcher.

    // Drawing of the window itself; the controls paint themselves afterwards.
    int onPaint() override
    {
        PaintDC dc(this);
        const int top = 130;

        // Colour bars.
        const unsigned short bars[] = { 0xF800, 0x07E0, 0x001F, 0xFFE0, 0xFFFF, 0x0000 };
        for (int i = 0; i < 6; ++i)
            dc.fillRect(Rect(20 + i * 30, top, 20 + i * 30 + 25, top + 60), bars[i]);

        // A fan of lines and a rectangle outline around it.
        dc.setPenColor(kWhite);
        dc.drawRect(20, top + 80, 200, top + 200);
        for (int x = 30; x <= 190; x += 20)
            dc.drawLine(110, top + 190, x, top + 90);
        dc.setPenColor(0xFFE0);
        dc.drawHLine(20, 200, top + 210);

        // The same bitmap twice: copied whole, and with its colour-keyed
        // pixels left out so that the window shows through.
        dc.drawBitmap(230, top, &m_bitmap);
        dc.drawBitmap(230, top + 80, &m_bitmap, nullptr, &kKey);
        return 0;
    }

    int onNotify(WndBase* from, int code, int param) override
    {
        if (code == NOTIFY_CLICKED && from == m_addButton) {
            char line[64];
            std::snprintf(line, sizeof line, "新的一行 New line %d\n", ++m_added);
            m_edit->replaceText(line);
            // Keep the newest line in view: put it on the last visible row.
            int first = 0;
            int last = 0;
            m_edit->visibleLines(&first, &last);
            m_edit->setTopLine(m_edit->lineCount() - (last - first));
            return 0;
        }
        if (code == NOTIFY_CLICKED && from == m_quitButton) {
            theGuiApp()->exit(0);
            return 0;
        }
        return MainWndBase::onNotify(from, code, param);
    }

    int onTimer(int id) override
    {
        if (id == m_quitTimer)
            theGuiApp()->exit(0);
        else
            showTime();
        return 0;
    }

    // Keys that no control consumed arrive here.
    int onKeydown(int key, int state) override
    {
        if (key == VK_Escape) {
            theGuiApp()->exit(0);
            return 0;
        }
        return MainWndBase::onKeydown(key, state);
    }

private:
    void showTime()
    {
        const std::time_t now = std::time(nullptr);
        std::tm local {};
        localtime_r(&now, &local);
        char text[32];
        std::strftime(text, sizeof text, "%H:%M:%S", &local);
        m_clock->setText(text);
    }

    LogFont m_titleFont { "title" };
    Bitmap m_bitmap;
    Label* m_clock { nullptr };
    Edit* m_edit { nullptr };
    Button* m_addButton { nullptr };
    Button* m_quitButton { nullptr };
    int m_quitAfterMs { 0 };
    int m_quitTimer { 0 };
    int m_added { 0 };
};

int parseArguments(int argc, char** argv, int& quitAfterMs)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quit-after") == 0 && i + 1 < argc) {
            char* end = nullptr;
            const long ms = std::strtol(argv[++i], &end, 10);
            if (end == argv[i] || *end != '\0' || ms <= 0 || ms > 24L * 3600 * 1000)
                return -1;
            quitAfterMs = static_cast<int>(ms);
        } else {
            return -1;
        }
    }
    return 0;
}

}

int main(int argc, char** argv)
{
    int quitAfterMs = 0;
    if (parseArguments(argc, argv, quitAfterMs) != 0) {
        std::fprintf(stderr, "usage: %s [--quit-after MS]\n", argv[0]);
        return 2;
    }

    install_sigchk();
    // The run-time first (display, fonts, input), then the application.
    GuiRT rt;
    if (rt.init(0) != 0) {
        std::fprintf(stderr, "lumi-demo: cannot open the display (LUMI_DISPLAY)\n");
        return 1;
    }
    GuiApp app;
    app.init("lumi-demo", 0);

    // Main windows are owned by the toolkit once created (auto-delete).
    auto* window = new DemoWnd(quitAfterMs);
    window->makeBitmap();
    if (window->create() != 0) {
        delete window;
        return 1;
    }
    window->showWindow(true);

    const int code = app.run();
    app.term();
    return code;
}
