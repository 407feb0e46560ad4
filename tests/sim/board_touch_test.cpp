// The resistive touch panel on the board with the real program: the quick
// test is run by touch, the calibration is done by an operator who looks for
// the crosses on the screen, and a touch afterwards lands where it was aimed.
// Worn panels fail the calibration three times.

#include "board_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <png.h>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using namespace boardtest;

namespace {

// A screenshot's pixels as 0xRRGGBB.
struct Picture {
    int width { 0 };
    int height { 0 };
    std::vector<uint32_t> px;

    bool load(const std::string& path)
    {
        png_image image {};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, path.c_str()))
            return false;
        image.format = PNG_FORMAT_RGB;
        std::vector<unsigned char> rgb(PNG_IMAGE_SIZE(image));
        if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr))
            return false;
        width = static_cast<int>(image.width);
        height = static_cast<int>(image.height);
        px.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
        for (size_t i = 0; i < px.size(); ++i)
            px[i] = (uint32_t { rgb[3 * i] } << 16) | (uint32_t { rgb[3 * i + 1] } << 8) | rgb[3 * i + 2];
        return true;
    }
    uint32_t at(int x, int y) const
    {
        return x >= 0 && y >= 0 && x < width && y < height ? px[static_cast<size_t>(y) * width + x]
                                                           : 0x1000000;
    }
    // The centre of the white cross on the calibration screen: a horizontal
    // and a vertical white line of more than 20 pixels through one point
    // (text has no strokes that long). false when there is none.
    bool findCross(int& cx, int& cy) const
    {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x + 21 < width; ++x) {
                bool run = true;
                for (int i = 0; i <= 21 && run; ++i)
                    run = at(x + i, y) == 0xFFFFFF;
                if (!run)
                    continue;
                const int vx = x + 10;
                bool column = true;
                for (int i = 0; i <= 21 && column; ++i)
                    column = at(vx, y + i - 10) == 0xFFFFFF;
                if (column) {
                    cx = vx;
                    cy = y;
                    return true;
                }
            }
        }
        return false;
    }
    // The centre of the pixels of one colour, false when there are none.
    bool centreOf(uint32_t colour, double& x, double& y) const
    {
        long n = 0, sx = 0, sy = 0;
        for (int j = 0; j < height; ++j)
            for (int i = 0; i < width; ++i)
                if (at(i, j) == colour) {
                    ++n;
                    sx += i;
                    sy += j;
                }
        if (!n)
            return false;
        x = static_cast<double>(sx) / n;
        y = static_cast<double>(sy) / n;
        return true;
    }
};

const char kTouchConfig[]
    = "[function]\ntest_mouse = 0\ntest_nandflash = 0\ntest_USBDisk = 0\ntest_wifi = 0\n"
      "test_calts = 1\ntest_ethernet = 0\ntest_camera = 0\ntest_lcd = 0\ntest_audio = 0\n"
      "test_motor = 0\ntest_sensor = 0\ntest_charge = 0\ntest_keypress = 0\n"
      "[autorun]\nrunall = 1\n";

class BoardTouchBase : public ::testing::Test {
protected:
    // The program of arch, or a skip when it cannot run here.
    void useProgram(ProbeArch arch)
    {
        if (arch == ProbeArch::Armhf) {
            program = armhfBuild() + "/app/uishull";
            if (!exists(program))
                GTEST_SKIP() << "no armhf build of the program (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            program = buildProgram("app/uishull");
        }
    }

    std::string scenario(const std::string& panel)
    {
        const std::string file = tmp.file("config.ini");
        std::ofstream(file) << kTouchConfig;
        return "[workdir]\nconfig = " + file + "\nres = " + lumitest::sourceDir() + "/res\n[touchpanel]\n"
            + panel;
    }

    // Runs the quick test up to the calibration window: the demo question is
    // answered by touching its first button, or with the keypad's Enter where
    // the panel is too worn to hit it.
    std::unique_ptr<Board> startCalibration(const std::string& panel, bool byKey = false)
    {
        auto b
            = std::make_unique<Board>(tmp, "run", std::vector<std::string> { program, "6" }, scenario(panel));
        if (!b->waitLine("auto run 3", 90))
            return nullptr;
        if (byKey)
            b->ctl({ "key", "28" });
        else
            b->ctl({ "touch", "347", "288" });
        if (!b->waitLine(" [--I] CAL_START......", 60))
            return nullptr;
        return b;
    }

    // Where the cross stands once it has stopped sliding, as the screen shows it.
    bool crossAt(Board& b, int& x, int& y)
    {
        int lastX = -1, lastY = -1;
        for (int i = 0; i < 100; ++i) {
            const std::string png = tmp.file("shot.png");
            Picture p;
            if (b.ctl({ "screenshot", png }) != 0 || !p.load(png))
                return false;
            if (p.findCross(x, y) && x == lastX && y == lastY)
                return true;
            lastX = x;
            lastY = y;
            usleep(100000);
        }
        return false;
    }

    int linesWith(Board& b, const std::string& text)
    {
        const std::string out = readFile(b.dir() + "/stdout.log");
        int n = 0;
        for (size_t at = out.find(text); at != std::string::npos; at = out.find(text, at + 1))
            ++n;
        return n;
    }

    // Samples the panel has sent so far, from the board's state.
    static int samplesSent(Board& b)
    {
        const std::string state = b.state();
        const size_t panel = state.find("\"touchpanel\"");
        const size_t at = panel == std::string::npos ? panel : state.find("\"samples\": ", panel);
        return at == std::string::npos ? -1 : std::atoi(state.c_str() + at + 11);
    }

    // The operator touches the five crosses where the screen shows them. Where
    // the panel feels nothing (the touch sent no sample at all), they try
    // again ten pixels nearer the screen's centre, as a person pressing a dead
    // spot does, until the panel answers.
    void touchFiveCrosses(Board& b, int holdMs = 200)
    {
        for (int i = 0; i < 5; ++i) {
            int x = 0, y = 0;
            ASSERT_TRUE(crossAt(b, x, y)) << "no cross for touch " << i;
            const int before = linesWith(b, "===device return");
            for (int tries = 0;; ++tries) {
                ASSERT_LT(tries, 40) << "the panel never answered near " << x << "," << y;
                const int sent = samplesSent(b);
                ASSERT_EQ(
                    b.ctl({ "touch", std::to_string(x), std::to_string(y), std::to_string(holdMs) }), 0);
                if (samplesSent(b) != sent)
                    break;
                x += x < 400 ? 10 : x > 400 ? -10 : 0;
                y += y < 240 ? 10 : y > 240 ? -10 : 0;
            }
            for (int k = 0; k < 200 && linesWith(b, "===device return") == before; ++k)
                usleep(20000);
            ASSERT_EQ(linesWith(b, "===device return"), before + 1)
                << "touch " << i << " at " << x << "," << y;
        }
    }

    std::string program;
    TempDir tmp;
};

class BoardTouch : public BoardTouchBase, public ::testing::WithParamInterface<ProbeArch> {
protected:
    void SetUp() override { useProgram(GetParam()); }
};

// One of five panels (the second parameter) on one architecture.
class BoardRandomPanel : public BoardTouchBase,
                         public ::testing::WithParamInterface<std::tuple<ProbeArch, int>> {
protected:
    void SetUp() override { useProgram(std::get<0>(GetParam())); }
};

// Five panels drawn from the range of real ones (scale, offset, reversed
// axes, up to two degrees of rotation, noise of three raw units): each is
// calibrated by the crosses with the real program, and touches across the
// screen then land within two pixels on each axis.
std::string randomPanel(int index)
{
    std::mt19937 rng(static_cast<uint32_t>(1000 + index));
    std::uniform_real_distribution<double> scaleX(3.4, 4.4), scaleY(5.6, 7.2), offset(150, 300), angle(-2, 2);
    std::bernoulli_distribution flip(0.4);
    double sx = scaleX(rng), sy = scaleY(rng), ox = offset(rng), oy = offset(rng);
    if (flip(rng)) {
        sx = -sx;
        ox = 4000 - ox;
    }
    if (flip(rng)) {
        sy = -sy;
        oy = 4000 - oy;
    }
    std::ostringstream o;
    o << "scale.x = " << sx << "\nscale.y = " << sy << "\noffset.x = " << ox << "\noffset.y = " << oy
      << "\nrotation = " << angle(rng) << "\nnoise = 3\nseed = " << index + 1 << "\n";
    return o.str();
}

TEST_P(BoardTouch, OperatorCalibratesByTheCrossesAndATouchLandsWithinTwoPixels)
{
    auto b
        = startCalibration("offset.x = 310\noffset.y = 180\nscale.x = 4.1\nscale.y = 7.3\nrotation = -1.2\n"
                           "noise = 3\nseed = 5\n");
    ASSERT_NE(b, nullptr);
    const std::string before = b->state();
    EXPECT_NE(before.find("\"mode\": \"raw\""), std::string::npos) << before;

    // A tap of 50 ms is no touch.
    int x = 0, y = 0;
    ASSERT_TRUE(crossAt(*b, x, y));
    EXPECT_EQ(x, 50);
    EXPECT_EQ(y, 50);
    ASSERT_EQ(b->ctl({ "touch", std::to_string(x), std::to_string(y), "50" }), 0);
    usleep(300000);
    EXPECT_EQ(linesWith(*b, "===device return"), 0);

    touchFiveCrosses(*b);
    ASSERT_TRUE(b->waitLine("[--I] CAL_DONE......", 30)) << readFile(b->dir() + "/stdout.log");
    const std::string after = b->state();
    EXPECT_NE(after.find("\"mode\": \"calibrated\""), std::string::npos) << after;

    // Drawing mode: a touch at (600, 300) paints its release square there.
    ASSERT_EQ(b->ctl({ "touch", "600", "300" }), 0);
    const std::string png = tmp.file("drawn.png");
    Picture p;
    double cx = 0, cy = 0;
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(b->ctl({ "screenshot", png }), 0);
        if (p.load(png) && p.centreOf(0xFF00FF, cx, cy))
            break;
        usleep(100000);
    }
    ASSERT_TRUE(p.centreOf(0xFF00FF, cx, cy));
    EXPECT_LE(std::abs(cx - 599.5), 2.0) << cx;
    EXPECT_LE(std::abs(cy - 299.5), 2.0) << cy;

    // Ten quiet ticks later the quick test is back (its list is white where
    // the grid had a line).
    bool back = false;
    for (int i = 0; i < 150 && !back; ++i) {
        usleep(100000);
        back = b->ctl({ "screenshot", png }) == 0 && pngPixel(png, 5, 300) == 0xFFFFFF;
    }
    EXPECT_TRUE(back);
    b->ctl({ "stop" });
    EXPECT_EQ(b->process->wait(30000), 0);
}

TEST_P(BoardRandomPanel, CalibratesByTheCrossesAndTouchesLandWithinTwoPixels)
{
    const int index = std::get<1>(GetParam());
    SCOPED_TRACE(randomPanel(index));
    auto b = std::make_unique<Board>(
        tmp, "run", std::vector<std::string> { program, "6" }, scenario(randomPanel(index)));
    ASSERT_TRUE(b->waitLine("auto run 3", 90));
    b->ctl({ "touch", "347", "288" });
    ASSERT_TRUE(b->waitLine(" [--I] CAL_START......", 60));
    touchFiveCrosses(*b);
    ASSERT_TRUE(b->waitLine("[--I] CAL_DONE......", 30)) << readFile(b->dir() + "/stdout.log");
    const int points[][2] = { { 120, 90 }, { 680, 90 }, { 400, 250 }, { 120, 400 }, { 680, 400 } };
    for (const auto& pt : points) {
        ASSERT_EQ(b->ctl({ "touch", std::to_string(pt[0]), std::to_string(pt[1]) }), 0);
        const std::string png = tmp.file("p.png");
        Picture p;
        ASSERT_EQ(b->ctl({ "screenshot", png }), 0);
        ASSERT_TRUE(p.load(png));
        // The release square (magenta, 4 x 4 from x - 2) nearest the aim.
        long n = 0, sx = 0, sy = 0;
        for (int y = pt[1] - 15; y <= pt[1] + 15; ++y)
            for (int x = pt[0] - 15; x <= pt[0] + 15; ++x)
                if (p.at(x, y) == 0xFF00FF) {
                    ++n;
                    sx += x;
                    sy += y;
                }
        ASSERT_GT(n, 0) << pt[0] << "," << pt[1];
        const double rx = static_cast<double>(sx) / n + 0.5, ry = static_cast<double>(sy) / n + 0.5;
        EXPECT_LE(std::abs(rx - pt[0]), 2.0) << pt[0] << "," << pt[1] << " landed at " << rx << "," << ry;
        EXPECT_LE(std::abs(ry - pt[1]), 2.0) << pt[0] << "," << pt[1] << " landed at " << rx << "," << ry;
    }
    b->ctl({ "stop" });
    EXPECT_EQ(b->process->wait(30000), 0);
}

// The [touchpanel] section of a scenario of the tree.
std::string panelOf(const std::string& name)
{
    const std::string text = readFile(lumitest::sourceDir() + "/sim/scenarios/" + name + ".ini");
    const size_t at = text.find("[touchpanel]\n");
    if (at == std::string::npos)
        return "";
    const size_t from = at + 13;
    const size_t end = text.find("\n[", from);
    return text.substr(from, end == std::string::npos ? std::string::npos : end - from + 1);
}

// The worn panels of the tree: the operator touches the crosses three times
// over, every fit misses a target by ten pixels or more, and the third
// failure fails the test (its row turns red) and gives the driver the last
// good set back.
class BoardWornPanel : public BoardTouchBase,
                       public ::testing::WithParamInterface<std::tuple<ProbeArch, const char*>> {
protected:
    void SetUp() override { useProgram(std::get<0>(GetParam())); }
};

TEST_P(BoardWornPanel, ThreeFailedFitsFailTheTest)
{
    const std::string panel = panelOf(std::get<1>(GetParam()));
    ASSERT_FALSE(panel.empty());
    auto b = startCalibration(panel);
    ASSERT_NE(b, nullptr);
    for (int round = 0; round < 3; ++round) {
        touchFiveCrosses(*b);
        ASSERT_EQ(linesWith(*b, "exceeds calibration threshold"), round + 1)
            << readFile(b->dir() + "/stdout.log");
    }
    ASSERT_TRUE(b->waitLine("============= calibrate fails done......", 30));
    // No fit reached the driver: its one CAL_DONE is the give-back.
    EXPECT_EQ(linesWith(*b, "[--I] CAL_DONE......"), 1);
    EXPECT_EQ(linesWith(*b, "===device return"), 15);
    // No fit passed in this run: the driver gets zeros and leaves raw mode.
    const std::string state = b->state();
    EXPECT_NE(state.find("\"coefficients\": [0, 0, 0, 0, 0, 0, 0]"), std::string::npos) << state;
    EXPECT_NE(state.find("\"mode\": \"calibrated\""), std::string::npos) << state;
    // Result 1: the calibration's row (the sixth, after the five demo rows)
    // writes its name in red.
    const std::string png = tmp.file("failed.png");
    int red = 0;
    for (int i = 0; i < 50 && red == 0; ++i) {
        Picture p;
        if (b->ctl({ "screenshot", png }) == 0 && p.load(png))
            for (int y = 292; y < 326; ++y)
                for (int x = 10; x < 310; ++x)
                    red += p.at(x, y) == 0xFF0000;
        if (red == 0)
            usleep(100000);
    }
    EXPECT_GT(red, 0);
    b->ctl({ "stop" });
    EXPECT_EQ(b->process->wait(30000), 0);
}

TEST(BoardTouchPanel, DeadCornerFeelsNothingNotEvenThePenUp)
{
    TempDir tmp;
    Board b(tmp, "run", { "sleep", "60" }, "[touchpanel]\n" + panelOf("worn-touch-dead-corner"));
    ASSERT_TRUE(b.ready());
    EXPECT_EQ(b.ctl({ "touch", "50", "50", "200" }), 0);
    EXPECT_NE(b.state().find("\"samples\": 0}"), std::string::npos) << b.state();
    EXPECT_EQ(b.ctl({ "touch", "300", "300", "200" }), 0);
    EXPECT_EQ(b.state().find("\"samples\": 0}"), std::string::npos) << b.state();
    b.ctl({ "stop" });
    b.process->wait(30000);
}

TEST(BoardTouchPanel, ControllerRefusesBadTouchesAndTheScenarioBadKeys)
{
    TempDir tmp;
    Board b(tmp, "run", { "sleep", "60" });
    ASSERT_TRUE(b.ready());
    std::string out;
    EXPECT_EQ(b.ctl({ "touch", "800", "10" }, &out), 1) << out;
    EXPECT_EQ(b.ctl({ "touch", "10" }, &out), 1) << out;
    EXPECT_EQ(b.ctl({ "swipe", "1", "2", "3" }, &out), 1) << out;
    EXPECT_EQ(b.ctl({ "touch", "10", "10", "20" }, &out), 0) << out;
    EXPECT_NE(b.state().find("\"touchpanel\": {\"mode\": \"calibrated\""), std::string::npos);
    b.ctl({ "stop" });
    b.process->wait(30000);

    for (const char* name :
        { "default", "worn-touch-offset", "worn-touch-noise", "worn-touch-dead-corner" }) {
        ChildProcess c(boardProgram(),
            { "check-scenario", lumitest::sourceDir() + "/sim/scenarios/" + name + ".ini" }, {});
        EXPECT_EQ(c.wait(10000), 0) << name << ": " << c.errors();
    }

    const std::string file = tmp.file("bad.ini");
    for (const char* text :
        { "[touchpanel]\nnoise = -1\n", "[touchpanel]\nscale.x = 0\n", "[touchpanel]\ndead = 1 2 3\n",
            "[touchpanel]\nwobble = 1\n", "[touchpanel]\npresent = maybe\n" }) {
        std::ofstream(file) << text;
        ChildProcess c(boardProgram(), { "check-scenario", file }, {});
        EXPECT_EQ(c.wait(10000), 1) << text;
        EXPECT_NE(c.errors().find(file + ":2:"), std::string::npos) << c.errors();
    }
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardRandomPanel,
    ::testing::Combine(::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf), ::testing::Range(0, 5)),
    [](const ::testing::TestParamInfo<std::tuple<ProbeArch, int>>& i) {
        return "panel" + std::to_string(std::get<1>(i.param)) + "_"
            + (std::get<0>(i.param) == ProbeArch::X86_64 ? "x86_64" : "armhf");
    });

INSTANTIATE_TEST_SUITE_P(Arch, BoardWornPanel,
    ::testing::Combine(::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
        ::testing::Values("worn-touch-offset", "worn-touch-noise", "worn-touch-dead-corner")),
    [](const ::testing::TestParamInfo<std::tuple<ProbeArch, const char*>>& i) {
        std::string name = std::get<1>(i.param);
        for (char& c : name)
            if (c == '-')
                c = '_';
        return name + (std::get<0>(i.param) == ProbeArch::X86_64 ? "_x86_64" : "_armhf");
    });

INSTANTIATE_TEST_SUITE_P(Arch, BoardTouch, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& i) {
        return i.param == ProbeArch::X86_64 ? "x86_64" : "armhf";
    });

}
