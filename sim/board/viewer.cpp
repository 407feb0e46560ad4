#include "viewer.h"

#if UISHULL_BOARD_WITH_SDL
#include <SDL.h>
#include <cstdlib>
#include <linux/input.h>
#endif

namespace board {

#if UISHULL_BOARD_WITH_SDL

namespace {

    // PC key -> the keypad's Linux key code (the README lists this map).
    struct KeyMap {
        SDL_Keycode pc;
        int code;
    };
    const KeyMap kKeys[] = {
        { SDLK_UP, KEY_UP },
        { SDLK_DOWN, KEY_DOWN },
        { SDLK_LEFT, KEY_LEFT },
        { SDLK_RIGHT, KEY_RIGHT },
        { SDLK_RETURN, KEY_ENTER },
        { SDLK_KP_ENTER, KEY_ENTER },
        { SDLK_ESCAPE, KEY_ESC },
        { SDLK_F1, KEY_F1 },
        { SDLK_F3, KEY_F3 },
        { SDLK_PLUS, KEY_VOLUMEUP },
        { SDLK_KP_PLUS, KEY_VOLUMEUP },
        { SDLK_EQUALS, KEY_VOLUMEUP },
        { SDLK_MINUS, KEY_VOLUMEDOWN },
        { SDLK_KP_MINUS, KEY_VOLUMEDOWN },
        { SDLK_m, KEY_MENU },
        { SDLK_BACKSPACE, KEY_BACK },
        { SDLK_HOME, KEY_HOME },
        { SDLK_p, KEY_POWER },
    };

    class SdlViewer final : public Viewer {
    public:
        ~SdlViewer() override
        {
            if (m_texture)
                SDL_DestroyTexture(m_texture);
            if (m_renderer)
                SDL_DestroyRenderer(m_renderer);
            if (m_window)
                SDL_DestroyWindow(m_window);
            SDL_QuitSubSystem(SDL_INIT_VIDEO);
        }

        bool open(int width, int height, std::string& error)
        {
            if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
                error = SDL_GetError();
                return false;
            }
            m_window = SDL_CreateWindow("uishull-board", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                width, height, SDL_WINDOW_RESIZABLE);
            m_renderer = m_window ? SDL_CreateRenderer(m_window, -1, 0) : nullptr;
            m_texture = m_renderer ? SDL_CreateTexture(
                            m_renderer, SDL_PIXELFORMAT_RGB24, SDL_TEXTUREACCESS_STREAMING, width, height)
                                   : nullptr;
            if (!m_texture) {
                error = SDL_GetError();
                return false;
            }
            SDL_RenderSetLogicalSize(m_renderer, width, height);
            m_width = width;
            m_height = height;
            return true;
        }

        bool frame(const FrameBuffer& fb, std::vector<std::string>& commands) override
        {
            SDL_Event e;
            while (SDL_PollEvent(&e)) {
                if (e.type == SDL_QUIT)
                    return false;
                if ((e.type == SDL_KEYDOWN && !e.key.repeat) || e.type == SDL_KEYUP) {
                    const bool down = e.type == SDL_KEYDOWN;
                    const SDL_Keycode k = e.key.keysym.sym;
                    if (down && k == SDLK_F9)
                        commands.push_back(m_mouse ? "unplug mouse" : "plug mouse"), m_mouse = !m_mouse;
                    else if (down && k == SDLK_F10)
                        commands.push_back(m_keyboard ? "unplug keyboard" : "plug keyboard"),
                            m_keyboard = !m_keyboard;
                    for (const auto& m : kKeys) {
                        if (m.pc == k)
                            commands.push_back("key " + std::to_string(m.code) + (down ? " down" : " up"));
                    }
                }
                // The left button is a finger on the touch panel: played to the
                // panel when it is let go, as a touch held as long as the button
                // was, or a stroke when the mouse moved meanwhile.
                if (e.type == SDL_MOUSEBUTTONDOWN && e.button.button == SDL_BUTTON_LEFT) {
                    m_pressX = clampTo(e.button.x, m_width);
                    m_pressY = clampTo(e.button.y, m_height);
                    m_pressTicks = SDL_GetTicks();
                    m_pressed = true;
                } else if (e.type == SDL_MOUSEBUTTONUP && e.button.button == SDL_BUTTON_LEFT && m_pressed) {
                    m_pressed = false;
                    const int x = clampTo(e.button.x, m_width);
                    const int y = clampTo(e.button.y, m_height);
                    const uint32_t held = SDL_GetTicks() - m_pressTicks;
                    const std::string ms = std::to_string(held < 1 ? 1 : held > 10000 ? 10000 : held);
                    if (std::abs(x - m_pressX) > 3 || std::abs(y - m_pressY) > 3)
                        commands.push_back("swipe " + std::to_string(m_pressX) + " "
                            + std::to_string(m_pressY) + " " + std::to_string(x) + " " + std::to_string(y)
                            + " " + ms);
                    else
                        commands.push_back("touch " + std::to_string(x) + " " + std::to_string(y) + " " + ms);
                }
            }
            const std::vector<uint8_t> rgb = fb.rgb();
            SDL_UpdateTexture(m_texture, nullptr, rgb.data(), fb.width() * 3);
            SDL_RenderClear(m_renderer);
            SDL_RenderCopy(m_renderer, m_texture, nullptr, nullptr);
            SDL_RenderPresent(m_renderer);
            return true;
        }

    private:
        SDL_Window* m_window { nullptr };
        SDL_Renderer* m_renderer { nullptr };
        SDL_Texture* m_texture { nullptr };
        static int clampTo(int v, int size) { return v < 0 ? 0 : v >= size ? size - 1 : v; }

        bool m_mouse { false };
        bool m_keyboard { false };
        int m_width { 0 };
        int m_height { 0 };
        bool m_pressed { false };
        int m_pressX { 0 };
        int m_pressY { 0 };
        uint32_t m_pressTicks { 0 };
    };

}

std::unique_ptr<Viewer> createViewer(int width, int height, std::string& error)
{
    auto v = std::make_unique<SdlViewer>();
    if (!v->open(width, height, error))
        return nullptr;
    return v;
}

#else

std::unique_ptr<Viewer> createViewer(int, int, std::string& error)
{
    error = "built without SDL";
    return nullptr;
}

#endif

}
