// Display backends loaded from plugins: the windowless test plugin (built as
// it should be, for another interface version and without its entry point)
// and files that are no plugin at all, through the loader and through "sdl"
// with LUMI_SDL_PLUGIN naming the file.

#include "display/backend.h"
#include "display/display_plugin.h"
#include "display/plugin_display.h"

#include "input_recorder.h"
#include "lumi_test.h"
#include "scoped_env.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <limits.h>
#include <stdlib.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using lumitest::InputRecorder;
using lumitest::ScopedEnv;

namespace {

// A pixel the test plugin's display last received, read through the plugin's own
// function (it is loaded privately, so it is found by its handle).
uint16_t pluginPixel(int x, int y)
{
    void* handle = dlopen(FAKE_DISPLAY_GOOD, RTLD_NOW | RTLD_NOLOAD);
    if (!handle)
        return 0xDEAD;
    auto pixel = reinterpret_cast<uint16_t (*)(int, int)>(dlsym(handle, "fake_plugin_pixel"));
    uint16_t value = pixel ? pixel(x, y) : 0xDEAD;
    dlclose(handle);
    return value;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(DisplayPlugin, OpensThePluginsDisplayOfTheAskedSize)
{
    std::string error;
    auto display = lumi::openPluginDisplay(FAKE_DISPLAY_GOOD, 64, 32, error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(display->width(), 64);
    EXPECT_EQ(display->height(), 32);
    EXPECT_EQ(display->pumpIntervalMs(), 25);
    EXPECT_EQ(display->inputFd(), -1);
}

TEST(DisplayPlugin, HandsThePluginTheFlushedRectanglesClippedToTheScreen)
{
    std::string error;
    auto display = lumi::openPluginDisplay(FAKE_DISPLAY_GOOD, 64, 32, error);
    ASSERT_NE(display, nullptr) << error;
    // A frame wider than the screen (stride of 100 pixels), and a rectangle
    // hanging over the screen's right and bottom edges.
    std::vector<uint16_t> frame(100 * 40, 0x07E0);
    frame[30 * 100 + 63] = 0xF800;
    Rect rect(50, 20, 90, 60);
    display->flush(frame.data(), 100 * 2, &rect, 1);
    EXPECT_EQ(pluginPixel(50, 20), 0x07E0);
    EXPECT_EQ(pluginPixel(63, 30), 0xF800);
    EXPECT_EQ(pluginPixel(63, 31), 0x07E0);
    EXPECT_EQ(pluginPixel(49, 20), 0x0000) << "outside the rectangle nothing is copied";
    EXPECT_EQ(pluginPixel(50, 19), 0x0000);
}

class DisplayPluginInput : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        window.setAutoDelete(false);
        ASSERT_EQ(window.create(Rect(0, 0, 800, 480), WS_VISIBLE, 101), 0);
        settle();
    }

    void TearDown() override
    {
        if (window.isCreated())
            window.destroy();
        ToolkitTest::TearDown();
    }

    InputRecorder window;
};

TEST_F(DisplayPluginInput, KeysAndTouchesOfThePluginReachTheFocusedWindow)
{
    std::string error;
    auto display = lumi::openPluginDisplay(FAKE_DISPLAY_GOOD, 800, 480, error);
    ASSERT_NE(display, nullptr) << error;
    ScopedEnv input("FAKE_PLUGIN_INPUT", "kp");
    display->pumpInput();
    settle();
    const std::vector<std::pair<int, bool>> keys = { { 'k', false }, { 'k', true } };
    EXPECT_EQ(window.keys, keys);
    using Event = std::tuple<int, int, unsigned int>;
    const std::vector<Event> pointer
        = { Event(10, 20, MOUSE_PRESS), Event(30, 40, MOUSE_MOVE), Event(30, 40, MOUSE_RELEASE) };
    EXPECT_EQ(window.pointer, pointer);
}

TEST_F(DisplayPluginInput, ClosingThePluginsWindowEndsTheApplication)
{
    std::string error;
    auto display = lumi::openPluginDisplay(FAKE_DISPLAY_GOOD, 800, 480, error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_FALSE(app->isExiting());
    ScopedEnv input("FAKE_PLUGIN_INPUT", "q");
    display->pumpInput();
    EXPECT_TRUE(app->isExiting());
}

TEST(DisplayPlugin, AMissingFileIsRefusedNamingItAndTheLoadersReason)
{
    lumitest::TempDir tmp;
    std::string path = tmp.file("liblumi-missing.so");
    std::string error;
    EXPECT_EQ(lumi::openPluginDisplay(path, 800, 480, error), nullptr);
    EXPECT_TRUE(contains(error, "cannot load display plugin " + path + ": ")) << error;
    EXPECT_TRUE(contains(error, "No such file or directory")) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(DisplayPlugin, AFileThatIsNotASharedObjectIsRefused)
{
    lumitest::TempDir tmp;
    std::string path = tmp.file("liblumi-text.so");
    {
        std::ofstream out(path);
        for (int i = 0; i < 20; ++i)
            out << "this is a text file, not a shared object\n";
    }
    std::string error;
    EXPECT_EQ(lumi::openPluginDisplay(path, 800, 480, error), nullptr);
    EXPECT_TRUE(contains(error, "cannot load display plugin " + path + ": ")) << error;
    EXPECT_TRUE(contains(error, "invalid ELF header")) << error;
}

TEST(DisplayPlugin, ASharedObjectWithoutTheEntryPointIsRefused)
{
    std::string error;
    EXPECT_EQ(lumi::openPluginDisplay(FAKE_DISPLAY_NO_ENTRY, 800, 480, error), nullptr);
    EXPECT_TRUE(contains(error,
        std::string(FAKE_DISPLAY_NO_ENTRY)
            + ": not a display plugin, no entry point "
              "lumi_display_plugin_open"))
        << error;
    EXPECT_TRUE(contains(error, "undefined symbol")) << error;
}

TEST(DisplayPlugin, APluginOfAnotherInterfaceVersionIsRefused)
{
    std::string error;
    EXPECT_EQ(lumi::openPluginDisplay(FAKE_DISPLAY_OTHER_VERSION, 800, 480, error), nullptr);
    EXPECT_EQ(error,
        std::string(FAKE_DISPLAY_OTHER_VERSION)
            + ": built for display plugin interface 999, this toolkit has "
            + std::to_string(LUMI_DISPLAY_PLUGIN_ABI));
}

TEST(DisplayPlugin, ThePluginsOwnRefusalIsPassedOn)
{
    std::string error;
    EXPECT_EQ(lumi::openPluginDisplay(FAKE_DISPLAY_GOOD, 2000, 480, error), nullptr);
    EXPECT_EQ(error, "fake: no screen wider than 1000 (asked 2000)");
}

TEST(DisplayPlugin, SdlLoadsTheFileLumiSdlPluginNames)
{
    ScopedEnv plugin("LUMI_SDL_PLUGIN", FAKE_DISPLAY_GOOD);
    std::string error;
    auto display = lumi::createDisplayBackend("sdl:320x200", error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(display->width(), 320);
    EXPECT_EQ(display->height(), 200);
    EXPECT_EQ(display->pumpIntervalMs(), 25) << "the named plugin's display, not SDL's";
}

TEST(DisplayPlugin, SdlWithAMissingPluginFailsWithOneLineNamingTheFile)
{
    lumitest::TempDir tmp;
    std::string path = tmp.file("nowhere/liblumi-sdl.so");
    ScopedEnv plugin("LUMI_SDL_PLUGIN", path);
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend("sdl", error), nullptr);
    EXPECT_TRUE(contains(error, "sdl: cannot load display plugin " + path + ": ")) << error;
    EXPECT_TRUE(contains(error, "No such file or directory")) << error;
}

TEST(DisplayPlugin, SdlWithAPluginOfAnotherVersionFailsNamingTheVersions)
{
    ScopedEnv plugin("LUMI_SDL_PLUGIN", FAKE_DISPLAY_OTHER_VERSION);
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend("sdl", error), nullptr);
    EXPECT_TRUE(contains(error, "sdl: ")) << error;
    EXPECT_TRUE(contains(error, "built for display plugin interface 999")) << error;
}

TEST(DisplayPlugin, TheSdlPluginIsLookedForBelowTheProgramsDirectoryFirst)
{
    char self[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    ASSERT_GT(length, 0);
    std::string directory(self, static_cast<size_t>(length));
    directory.erase(directory.rfind('/'));
    const std::vector<std::string> expected
        = { directory + "/../lib/uishull/liblumi-sdl.so", directory + "/liblumi-sdl.so" };
    EXPECT_EQ(lumi::sdlPluginCandidates(), expected);
#ifdef LUMI_SDL_PLUGIN_BUILT
    // The build puts the plugin where the tests, one directory below the build's
    // top as the programs are, find it first.
    char found[PATH_MAX];
    char built[PATH_MAX];
    ASSERT_NE(realpath(expected.front().c_str(), found), nullptr) << expected.front();
    ASSERT_NE(realpath(LUMI_SDL_PLUGIN_BUILT, built), nullptr);
    EXPECT_STREQ(found, built);
#endif
}

}
