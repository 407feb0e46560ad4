// The development display: the screen in an SDL2 window, whose mouse and
// keyboard stand in for the device's touch screen and keys. Built as the
// plugin liblumi-sdl.so: it uses none of the toolkit's code (only its key
// codes), and reports input through the host's callbacks.

#include "display/display_plugin.h"

#include <lumi/message.h>

#include <SDL.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kPumpIntervalMs = 10;

// What a shifted key of the printable row gives on a US keyboard, the layout
// the device's key codes were chosen for.
char shiftedSymbol(char c)
{
    static const char kPlain[] = "1234567890-=[]\\;',./`";
    static const char kShifted[] = "!@#$%^&*()_+{}|:\"<>?~";
    for (size_t i = 0; kPlain[i]; ++i) {
        if (kPlain[i] == c)
            return kShifted[i];
    }
    return c;
}

// The toolkit's key code for an SDL key, or -1 for keys the device does not have.
int translateKey(SDL_Keycode sym, Uint16 mod)
{
    switch (sym) {
    case SDLK_RIGHT:
        return VK_Right;
    case SDLK_LEFT:
        return VK_Left;
    case SDLK_UP:
        return VK_Up;
    case SDLK_DOWN:
        return VK_Down;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
        return VK_Select;
    case SDLK_ESCAPE:
        return VK_Escape;
    case SDLK_BACKSPACE:
        return VK_Back;
    case SDLK_TAB:
        return VK_Tab;
    case SDLK_HOME:
        return VK_Home;
    // The device's menu key has no desktop twin; the first function keys stand in.
    case SDLK_F1:
    case SDLK_F2:
    case SDLK_F3:
    case SDLK_MENU:
    case SDLK_APPLICATION:
        return VK_Menu;
    case SDLK_KP_0:
        return '0';
    default:
        break;
    }
    if (sym >= SDLK_KP_1 && sym <= SDLK_KP_9)
        return '1' + static_cast<int>(sym - SDLK_KP_1);
    if (sym < 32 || sym > 126)
        return -1;
    char c = static_cast<char>(sym);
    bool shift = (mod & KMOD_SHIFT) != 0;
    if (c >= 'a' && c <= 'z') {
        bool upper = shift != ((mod & KMOD_CAPS) != 0);
        return upper ? c - 'a' + 'A' : c;
    }
    return shift ? shiftedSymbol(c) : c;
}

class SdlDisplay {
public:
    explicit SdlDisplay(const LumiDisplayHost& host)
        : m_host(host)
    {
    }

    ~SdlDisplay()
    {
        if (m_texture)
            SDL_DestroyTexture(m_texture);
        if (m_renderer)
            SDL_DestroyRenderer(m_renderer);
        if (m_window)
            SDL_DestroyWindow(m_window);
        if (m_videoStarted)
            SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }

    bool open(int width, int height, std::string& error)
    {
        // The application has its own signal handling; SDL must not take SIGINT and SIGTERM.
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
            error = std::string("sdl: cannot start video: ") + SDL_GetError();
            return false;
        }
        m_videoStarted = true;
        m_window = SDL_CreateWindow(
            "lumi", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, width, height, SDL_WINDOW_RESIZABLE);
        if (!m_window) {
            error = std::string("sdl: cannot create window: ") + SDL_GetError();
            return false;
        }
        m_renderer = SDL_CreateRenderer(m_window, -1, 0);
        if (!m_renderer)
            m_renderer = SDL_CreateRenderer(m_window, -1, SDL_RENDERER_SOFTWARE);
        if (!m_renderer) {
            error = std::string("sdl: cannot create renderer: ") + SDL_GetError();
            return false;
        }
        m_texture = SDL_CreateTexture(
            m_renderer, SDL_PIXELFORMAT_RGB565, SDL_TEXTUREACCESS_STREAMING, width, height);
        if (!m_texture) {
            error = std::string("sdl: cannot create texture: ") + SDL_GetError();
            return false;
        }
        // Texture memory starts undefined; a black screen until the first flush.
        std::vector<uint16_t> black(static_cast<size_t>(width) * static_cast<size_t>(height), 0);
        SDL_UpdateTexture(m_texture, nullptr, black.data(), width * 2);
        m_width = width;
        m_height = height;
        return true;
    }

    int width() const { return m_width; }
    int height() const { return m_height; }

    // The host has clipped the rectangles to the screen.
    void flush(const uint16_t* frame, int stride, const LumiDisplayRect* rects, int count)
    {
        if (!m_texture || !frame || !rects)
            return;
        for (int i = 0; i < count; ++i) {
            const LumiDisplayRect& r = rects[i];
            SDL_Rect area { r.x, r.y, r.width, r.height };
            const auto* first = reinterpret_cast<const uint8_t*>(frame) + static_cast<size_t>(r.y) * stride
                + static_cast<size_t>(r.x) * 2;
            SDL_UpdateTexture(m_texture, &area, first, stride);
        }
        present();
    }

    void pumpInput()
    {
        SDL_Event event;
        while (SDL_PollEvent(&event))
            handleEvent(event);
    }

private:
    void present()
    {
        SDL_RenderClear(m_renderer);
        SDL_RenderCopy(m_renderer, m_texture, nullptr, nullptr);
        SDL_RenderPresent(m_renderer);
    }

    // Window coordinates to screen coordinates: the picture is stretched over
    // the whole window, so a resized window scales the pointer too.
    SDL_Point toScreen(int x, int y) const
    {
        int windowWidth = m_width;
        int windowHeight = m_height;
        SDL_GetWindowSize(m_window, &windowWidth, &windowHeight);
        if (windowWidth > 0 && windowWidth != m_width)
            x = static_cast<int>(static_cast<long>(x) * m_width / windowWidth);
        if (windowHeight > 0 && windowHeight != m_height)
            y = static_cast<int>(static_cast<long>(y) * m_height / windowHeight);
        SDL_Point point;
        point.x = x < 0 ? 0 : (x >= m_width ? m_width - 1 : x);
        point.y = y < 0 ? 0 : (y >= m_height ? m_height - 1 : y);
        return point;
    }

    void feedPointer(int x, int y, bool down)
    {
        SDL_Point point = toScreen(x, y);
        m_host.pointer(m_host.context, point.x, point.y, down ? 1 : 0);
    }

    void handleEvent(const SDL_Event& event)
    {
        switch (event.type) {
        case SDL_QUIT:
            m_host.quit(m_host.context);
            break;
        case SDL_KEYDOWN:
        case SDL_KEYUP: {
            int code = translateKey(event.key.keysym.sym, event.key.keysym.mod);
            if (code >= 0)
                m_host.key(m_host.context, code, event.type == SDL_KEYUP ? 1 : 0);
            break;
        }
        case SDL_MOUSEBUTTONDOWN:
            if (event.button.button == SDL_BUTTON_LEFT) {
                m_buttonDown = true;
                feedPointer(event.button.x, event.button.y, true);
            }
            break;
        case SDL_MOUSEMOTION:
            // A touch screen only reports while touched: moves without the button are not samples.
            if (m_buttonDown)
                feedPointer(event.motion.x, event.motion.y, true);
            break;
        case SDL_MOUSEBUTTONUP:
            if (event.button.button == SDL_BUTTON_LEFT && m_buttonDown) {
                m_buttonDown = false;
                feedPointer(event.button.x, event.button.y, false);
            }
            break;
        case SDL_WINDOWEVENT:
            if (event.window.event == SDL_WINDOWEVENT_EXPOSED
                || event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED)
                present();
            break;
        default:
            break;
        }
    }

    // Device.
    LumiDisplayHost m_host;
    bool m_videoStarted { false };
    SDL_Window* m_window { nullptr };
    SDL_Renderer* m_renderer { nullptr };
    SDL_Texture* m_texture { nullptr };
    // Configuration.
    int m_width { 0 };
    int m_height { 0 };
    // State.
    bool m_buttonDown { false };
};

void flushDisplay(void* self, const uint16_t* frame, int stride, const LumiDisplayRect* rects, int count)
{
    static_cast<SdlDisplay*>(self)->flush(frame, stride, rects, count);
}

void pumpDisplay(void* self)
{
    static_cast<SdlDisplay*>(self)->pumpInput();
}

void destroyDisplay(void* self)
{
    delete static_cast<SdlDisplay*>(self);
}

}

extern "C" __attribute__((visibility("default"))) int lumi_display_plugin_open(uint32_t hostAbi,
    uint32_t* pluginAbi, const LumiDisplayHost* host, int width, int height, LumiDisplayOps* display,
    char* error, size_t errorSize)
{
    *pluginAbi = LUMI_DISPLAY_PLUGIN_ABI;
    if (hostAbi != LUMI_DISPLAY_PLUGIN_ABI)
        return -1;
    auto sdl = std::make_unique<SdlDisplay>(*host);
    std::string reason;
    if (!sdl->open(width, height, reason)) {
        std::snprintf(error, errorSize, "%s", reason.c_str());
        return -1;
    }
    display->self = sdl.release();
    display->width = width;
    display->height = height;
    display->pumpIntervalMs = kPumpIntervalMs;
    display->flush = &flushDisplay;
    display->pump = &pumpDisplay;
    display->destroy = &destroyDisplay;
    return 0;
}
