// Gestures played into a running toolkit through the test-input socket, as a
// script or the virtual board's controller plays the operator: a tap selects
// and activates a row, a slow drag scrolls, a flick glides.

#include "smoothgrid_support.h"

#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace gridtest;

namespace {

class SmoothGridGestureSocketTest : public SmoothGridTest {
protected:
    void SetUp() override
    {
        SmoothGridTest::SetUp();
        socketPath = tmp.file("input.sock");
        ASSERT_EQ(rt->openTestInput(socketPath.c_str()), 0);
        client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_GE(client, 0);
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketPath.c_str(), sizeof(address.sun_path) - 1);
        ASSERT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        // A list of 40 rows at screen (100, 50), 9 rows of 40 a page:
        // content 1600, page 360, range 1240.
        grid = makeGrid(Rect(100, 50, 400, 410), 40, 9);
        settle();
    }
    void TearDown() override
    {
        if (client >= 0)
            close(client);
        rt->closeTestInput();
        SmoothGridTest::TearDown();
    }

    // Writes one command line and runs the loop until the grid has seen one
    // more pointer event.
    void play(const std::string& line)
    {
        const size_t before = grid->pointerEvents.size();
        const std::string text = line + "\n";
        ASSERT_EQ(write(client, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ASSERT_TRUE(pumpUntil([&] { return grid->pointerEvents.size() > before; })) << line;
    }

    std::string socketPath;
    int client { -1 };
    ProbeGrid* grid { nullptr };
};

}

TEST_F(SmoothGridGestureSocketTest, TapSelectsTheRowAndActivatesIt)
{
    const size_t before = grid->pointerEvents.size();
    const std::string line = "tap 250 190\n"; // grid point (150, 140): row 3
    ASSERT_EQ(write(client, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    ASSERT_TRUE(pumpUntil([&] { return grid->pointerEvents.size() >= before + 2; }));
    EXPECT_EQ(grid->getSelected(), 3);
    ASSERT_GE(host->notes.size(), 2u);
    EXPECT_EQ(host->notes[0].code, GRID_NOTIFY_SELECT);
    EXPECT_EQ(host->notes[0].param, 0);
    EXPECT_EQ(host->notes[1].code, GRID_NOTIFY_ACTIVATE);
    EXPECT_EQ(host->notes[1].param, 3);
    EXPECT_EQ(host->notes[1].from, grid);
    EXPECT_EQ(shownPixel(250, 50 + 3 * 40 + 20), kSelectedRow);
}

TEST_F(SmoothGridGestureSocketTest, SlowDragScrollsWithTheFinger)
{
    play("press 250 350");
    EXPECT_TRUE(grid->m_dragging);
    for (int step = 1; step <= 5; ++step) {
        passTime(200);
        play("move 250 " + std::to_string(350 - 20 * step));
        EXPECT_EQ(grid->m_yPos, 20 * step);
    }
    EXPECT_EQ(grid->m_yTarget, 0); // the finger, not the slide, moved it
    EXPECT_EQ(grid->m_firstItem, 2);
    passTime(1000);
    play("release 250 250");
    // 100 pixels in two seconds: the glide goes on only 50 pixels more.
    EXPECT_EQ(grid->m_yTarget, 150);
    EXPECT_FALSE(host->codes().empty());
    for (const auto& note : host->notes)
        EXPECT_NE(note.code, GRID_NOTIFY_ACTIVATE);
    advance(400, 20);
    EXPECT_EQ(grid->m_yPos, 150);
    EXPECT_EQ(host->notes.back().code, GRID_NOTIFY_YPOS);
    EXPECT_EQ(host->notes.back().param, 150);
    // Row 3 now starts 30 pixels above the grid's top and ends 10 below it.
    EXPECT_EQ(shownPixel(250, 55), kOddRow);
}

TEST_F(SmoothGridGestureSocketTest, FlickGlidesOnAfterTheRelease)
{
    play("press 250 350");
    passTime(50);
    play("move 250 300");
    passTime(50);
    play("move 250 250");
    EXPECT_EQ(grid->m_yPos, 100);
    play("release 250 250");
    EXPECT_EQ(grid->m_yTarget, 1100);
    EXPECT_FALSE(grid->m_dragging);
    // The glide halves the distance every 20 ms and snaps at the end.
    std::vector<int> seen;
    for (int i = 0; i < 12 && grid->m_yPos != grid->m_yTarget; ++i) {
        tick20();
        seen.push_back(grid->m_yPos);
    }
    ASSERT_GE(seen.size(), 3u);
    EXPECT_EQ(seen.back(), 1100);
    for (size_t i = 1; i < seen.size(); ++i) {
        EXPECT_GT(seen[i], seen[i - 1]) << i;
        EXPECT_LE(1100 - seen[i], (1100 - seen[i - 1]) / 2 + 1) << i; // at least halved
    }
    EXPECT_EQ(grid->m_firstItem, 1100 / 40);
    EXPECT_EQ(host->notes.back().code, GRID_NOTIFY_YPOS);
    EXPECT_EQ(host->notes.back().param, 1100);
}
