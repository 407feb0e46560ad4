// The SDL2 display, run headless on SDL's dummy video driver: pictures reach
// the window, and synthetic SDL events reach the toolkit's windows.

#include "display/backend.h"

#include "input_recorder.h"
#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <tuple>
#include <vector>

#if __has_include(<SDL2/SDL.h>)
#include <SDL2/SDL.h>

// Referenced weakly: a toolkit built without SDL2 has no SDL library to link,
// and these tests then skip before calling any of them.
#pragma weak SDL_PushEvent
#pragma weak SDL_GetWindowFromID
#pragma weak SDL_GetWindowTitle
#pragma weak SDL_GetRenderer
#pragma weak SDL_RenderReadPixels

using lumitest::InputRecorder;

namespace {

class SdlDisplayTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        // Never a real window in tests: SDL's dummy driver draws into memory.
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        ToolkitTest::SetUp();
        std::string error;
        display = lumi::createDisplayBackend("sdl:800x480", error);
        if (!display && error.find("no SDL2 support") != std::string::npos)
            GTEST_SKIP() << error;
        ASSERT_NE(display, nullptr) << error;
        // The test owns the window object; the toolkit must not delete it.
        window.setAutoDelete(false);
        ASSERT_EQ(window.create(Rect(0, 0, 800, 480), WS_VISIBLE, 101), 0);
        settle();
    }

    void TearDown() override
    {
        if (window.isCreated())
            window.destroy();
        display.reset();
        ToolkitTest::TearDown();
    }

    static void pushKey(Uint32 type, SDL_Keycode sym, Uint16 mod = KMOD_NONE)
    {
        SDL_Event event;
        std::memset(&event, 0, sizeof(event));
        event.type = type;
        event.key.state = type == SDL_KEYDOWN ? SDL_PRESSED : SDL_RELEASED;
        event.key.keysym.sym = sym;
        event.key.keysym.mod = mod;
        ASSERT_EQ(SDL_PushEvent(&event), 1);
    }

    static void pushButton(Uint32 type, int x, int y)
    {
        SDL_Event event;
        std::memset(&event, 0, sizeof(event));
        event.type = type;
        event.button.button = SDL_BUTTON_LEFT;
        event.button.state = type == SDL_MOUSEBUTTONDOWN ? SDL_PRESSED : SDL_RELEASED;
        event.button.x = x;
        event.button.y = y;
        ASSERT_EQ(SDL_PushEvent(&event), 1);
    }

    static void pushMotion(int x, int y)
    {
        SDL_Event event;
        std::memset(&event, 0, sizeof(event));
        event.type = SDL_MOUSEMOTION;
        event.motion.x = x;
        event.motion.y = y;
        ASSERT_EQ(SDL_PushEvent(&event), 1);
    }

    // The backend's window, found by its title among the live windows.
    static SDL_Window* findWindow()
    {
        for (Uint32 id = 1; id < 4096; ++id) {
            SDL_Window* candidate = SDL_GetWindowFromID(id);
            if (candidate && std::strcmp(SDL_GetWindowTitle(candidate), "lumi") == 0)
                return candidate;
        }
        return nullptr;
    }

    std::unique_ptr<lumi::DisplayBackend> display;
    InputRecorder window;
};

TEST_F(SdlDisplayTest, OpensAWindowTitledLumiOfTheRequestedSize)
{
    EXPECT_EQ(display->width(), 800);
    EXPECT_EQ(display->height(), 480);
    EXPECT_EQ(display->pumpIntervalMs(), 10);
    EXPECT_NE(findWindow(), nullptr);
}

TEST_F(SdlDisplayTest, ShowsFlushedRectanglesInTheWindow)
{
    std::vector<uint16_t> frame(800 * 480, 0xF81F);
    Rect rect(10, 20, 30, 40);
    display->flush(frame.data(), 800 * 2, &rect, 1);

    SDL_Window* sdlWindow = findWindow();
    ASSERT_NE(sdlWindow, nullptr);
    SDL_Renderer* renderer = SDL_GetRenderer(sdlWindow);
    ASSERT_NE(renderer, nullptr);
    uint16_t inside = 0;
    uint16_t outside = 0x1234;
    SDL_Rect in { 15, 25, 1, 1 };
    SDL_Rect out { 5, 5, 1, 1 };
    ASSERT_EQ(SDL_RenderReadPixels(renderer, &in, SDL_PIXELFORMAT_RGB565, &inside, 2), 0) << SDL_GetError();
    ASSERT_EQ(SDL_RenderReadPixels(renderer, &out, SDL_PIXELFORMAT_RGB565, &outside, 2), 0) << SDL_GetError();
    EXPECT_EQ(inside, 0xF81F);
    EXPECT_EQ(outside, 0x0000) << "only the flushed rectangle is copied";
}

TEST_F(SdlDisplayTest, DeliversAnArrowKeyToTheFocusedWindow)
{
    pushKey(SDL_KEYDOWN, SDLK_RIGHT);
    pushKey(SDL_KEYUP, SDLK_RIGHT);
    display->pumpInput();
    settle();
    ASSERT_EQ(window.keys.size(), 2u);
    EXPECT_EQ(window.keys[0], std::make_pair(static_cast<int>(VK_Right), false));
    EXPECT_EQ(window.keys[1], std::make_pair(static_cast<int>(VK_Right), true));
}

TEST_F(SdlDisplayTest, TranslatesDesktopKeysToTheDevicesKeyCodes)
{
    pushKey(SDL_KEYDOWN, SDLK_LEFT);
    pushKey(SDL_KEYDOWN, SDLK_UP);
    pushKey(SDL_KEYDOWN, SDLK_DOWN);
    pushKey(SDL_KEYDOWN, SDLK_RETURN);
    pushKey(SDL_KEYDOWN, SDLK_KP_ENTER);
    pushKey(SDL_KEYDOWN, SDLK_ESCAPE);
    pushKey(SDL_KEYDOWN, SDLK_BACKSPACE);
    pushKey(SDL_KEYDOWN, SDLK_TAB);
    pushKey(SDL_KEYDOWN, SDLK_HOME);
    pushKey(SDL_KEYDOWN, SDLK_F1);
    pushKey(SDL_KEYDOWN, SDLK_F3);
    pushKey(SDL_KEYDOWN, SDLK_a);
    pushKey(SDL_KEYDOWN, SDLK_a, KMOD_LSHIFT);
    pushKey(SDL_KEYDOWN, SDLK_1, KMOD_RSHIFT);
    pushKey(SDL_KEYDOWN, SDLK_5);
    pushKey(SDL_KEYDOWN, SDLK_SPACE);
    pushKey(SDL_KEYDOWN, SDLK_F12); // no such key on the device: dropped
    display->pumpInput();
    settle();

    std::vector<int> codes;
    for (const auto& key : window.keys)
        codes.push_back(key.first);
    const std::vector<int> expected = { VK_Left, VK_Up, VK_Down, VK_Select, VK_Select, VK_Escape, VK_Back,
        VK_Tab, VK_Home, VK_Menu, VK_Menu, 'a', 'A', '!', '5', ' ' };
    EXPECT_EQ(codes, expected);
}

TEST_F(SdlDisplayTest, TurnsAHeldMouseButtonIntoPressMoveAndRelease)
{
    pushMotion(50, 50); // not held: not a sample
    pushButton(SDL_MOUSEBUTTONDOWN, 100, 60);
    pushMotion(120, 70);
    pushButton(SDL_MOUSEBUTTONUP, 120, 70);
    display->pumpInput();
    settle();
    using Event = std::tuple<int, int, unsigned int>;
    const std::vector<Event> expected
        = { Event(100, 60, MOUSE_PRESS), Event(120, 70, MOUSE_MOVE), Event(120, 70, MOUSE_RELEASE) };
    EXPECT_EQ(window.pointer, expected);
}

TEST_F(SdlDisplayTest, ClosingTheWindowEndsTheApplication)
{
    EXPECT_FALSE(app->isExiting());
    SDL_Event event;
    std::memset(&event, 0, sizeof(event));
    event.type = SDL_QUIT;
    ASSERT_EQ(SDL_PushEvent(&event), 1);
    display->pumpInput();
    EXPECT_TRUE(app->isExiting());
}

}

#endif
