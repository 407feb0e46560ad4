// The program and the SDL2 window's plugin: the program does not load SDL2 at
// start, finds the plugin the build made when "sdl" is asked for, and stops at
// once with one line naming the file when the plugin cannot be loaded, as with
// any display it cannot open.

#include "child_process.h"
#include "lumi_test.h"
#include "program_test.h"

#include <cstdio>
#include <fstream>
#include <sys/wait.h>

namespace {

class SdlPluginTest : public lumitest::ProgramTest {
protected:
    lumitest::ChildProcess& run(const std::vector<std::string>& extraEnv)
    {
        std::vector<std::string> env = box.environment();
        env.push_back("LUMI_DISPLAY=sdl");
        env.insert(env.end(), extraEnv.begin(), extraEnv.end());
        process = std::make_unique<lumitest::ChildProcess>(
            lumitest::buildProgram("app/uishull"), std::vector<std::string> { "6" }, env, "", box.prefix());
        return *process;
    }
};

// Lines of text that contain part.
int linesWith(const std::string& text, const std::string& part)
{
    int count = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        if (text.substr(start, end - start).find(part) != std::string::npos)
            ++count;
        start = end + 1;
    }
    return count;
}

}

TEST_F(SdlPluginTest, AMissingPluginEndsTheProgramWithOneLineNamingTheFile)
{
    lumitest::ChildProcess& p = run({ "LUMI_SDL_PLUGIN=/tmp/plugins/liblumi-sdl.so" });
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_EQ(linesWith(p.errors(),
                  "[lumi] no display (sdl): sdl: cannot load display plugin /tmp/plugins/liblumi-sdl.so: "),
        1)
        << p.errors();
    EXPECT_EQ(linesWith(p.errors(), "No such file or directory"), 1) << p.errors();
    EXPECT_EQ(p.output().find("receive startup type"), std::string::npos) << p.output();
}

TEST_F(SdlPluginTest, AFileThatIsNotAPluginEndsTheProgramWithOneLineNamingTheFile)
{
    {
        std::ofstream out(tmp.file("liblumi-sdl.so"));
        for (int i = 0; i < 20; ++i)
            out << "not a shared object at all\n";
    }
    lumitest::ChildProcess& p = run({ "LUMI_SDL_PLUGIN=/tmp/liblumi-sdl.so" });
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 1);
    EXPECT_EQ(linesWith(p.errors(), "cannot load display plugin /tmp/liblumi-sdl.so: "), 1) << p.errors();
    EXPECT_EQ(linesWith(p.errors(), "invalid ELF header"), 1) << p.errors();
}

#ifdef UISHULL_SDL_PLUGIN
TEST_F(SdlPluginTest, TheProgramFindsTheBuildsPluginAndOpensTheWindow)
{
    // SDL's dummy driver: a window in memory, never one on the tester's desktop.
    lumitest::ChildProcess& p = run({ "SDL_VIDEODRIVER=dummy" });
    ASSERT_TRUE(p.started());
    EXPECT_TRUE(p.waitForOutput("[--I] receive startup type=6 \n", 20000)) << p.errors();
    EXPECT_EQ(p.errors().find("no display"), std::string::npos) << p.errors();
}
#endif

TEST(ProgramLibraries, TheProgramDoesNotNeedSdl)
{
    std::string program = lumitest::buildProgram("app/uishull");
    FILE* pipe = popen(("readelf -d '" + program + "' 2>/dev/null").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string listing;
    char buffer[4096];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        listing.append(buffer, n);
    int status = pclose(pipe);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
        GTEST_SKIP() << "no readelf here";
    ASSERT_EQ(status, 0) << listing;
    EXPECT_GT(linesWith(listing, "(NEEDED)"), 0) << listing;
    EXPECT_EQ(linesWith(listing, "libc.so.6"), 1) << listing;
    EXPECT_EQ(linesWith(listing, "libSDL2"), 0) << listing;
}
