// A test that goes on after execute() tells the quick-test window (id 101)
// that it has finished: message 8195 with first parameter 3, through the queue.

#include "testfun_support.h"

#include "testfun/log.hpp"

#include <gtest/gtest.h>

using testfuntest::HostWnd;

namespace {

class TestFinishedMessageTest : public lumitest::ToolkitTest { };

TEST_F(TestFinishedMessageTest, IsPostedToWindow101ThroughTheQueue)
{
    auto* quickTest = new HostWnd; // deleted by the toolkit
    ASSERT_EQ(quickTest->create(screenWidth, screenHeight, 101), 0);
    settle();
    const int queued = app->pendingMessages();

    EXPECT_EQ(postTestFinished(), 0);
    // Queued, not delivered by a direct call.
    EXPECT_EQ(app->pendingMessages(), queued + 1);
    EXPECT_TRUE(quickTest->notifications.empty());

    settle();
    ASSERT_EQ(quickTest->notifications.size(), 1u);
    const LUMIMessage& msg = quickTest->notifications[0];
    EXPECT_EQ(msg.target, quickTest);
    EXPECT_EQ(msg.id, 8195);
    EXPECT_EQ(msg.param1, 3);
    EXPECT_EQ(msg.param2, 0);
    EXPECT_EQ(msg.data, nullptr);
}

TEST_F(TestFinishedMessageTest, GoesOnlyToWindow101)
{
    auto* other = new HostWnd;
    ASSERT_EQ(other->create(screenWidth, screenHeight, 103), 0);
    auto* quickTest = new HostWnd;
    ASSERT_EQ(quickTest->create(screenWidth, screenHeight, 101), 0);
    settle();

    EXPECT_EQ(postTestFinished(), 0);
    settle();
    EXPECT_EQ(quickTest->notifications.size(), 1u);
    EXPECT_TRUE(other->notifications.empty());
}

TEST_F(TestFinishedMessageTest, NothingIsPostedWithoutWindow101)
{
    auto* other = new HostWnd;
    ASSERT_EQ(other->create(screenWidth, screenHeight, 102), 0);
    settle();
    const int queued = app->pendingMessages();

    EXPECT_EQ(postTestFinished(), -1);
    EXPECT_EQ(app->pendingMessages(), queued);
    settle();
    EXPECT_TRUE(other->notifications.empty());
}

TEST_F(TestFinishedMessageTest, NothingIsPostedAfterWindow101IsDestroyed)
{
    auto* quickTest = new HostWnd;
    ASSERT_EQ(quickTest->create(screenWidth, screenHeight, 101), 0);
    settle();
    quickTest->destroy();
    settle();

    EXPECT_EQ(postTestFinished(), -1);
    EXPECT_EQ(app->pendingMessages(), 0);
}

// A test that finishes later stores its result before it posts, so the
// window reads the result when the message arrives.
class LateItem : public TestItem {
public:
    explicit LateItem(char* name)
        : TestItem(name, false)
    {
    }
    int execute(Log*) override { return -1; }
    void finish(int verdict)
    {
        setResult(verdict);
        postTestFinished();
    }
};

class ResultReader : public HostWnd {
public:
    int handleMessage(LUMIMessage& msg) override
    {
        if (msg.id == 8195 && msg.param1 == 3 && item)
            resultSeen = item->getResult();
        return HostWnd::handleMessage(msg);
    }
    TestItem* item { nullptr };
    int resultSeen { -2 };
};

TEST_F(TestFinishedMessageTest, TheWindowSeesTheResultStoredBeforePosting)
{
    auto* quickTest = new ResultReader;
    ASSERT_EQ(quickTest->create(screenWidth, screenHeight, 101), 0);
    char name[] = "late";
    LateItem item(name);
    quickTest->item = &item;
    settle();

    testfuntest::RecordingLog log;
    EXPECT_EQ(item.execute(&log), -1);
    item.finish(1);
    settle();
    EXPECT_EQ(quickTest->resultSeen, 1);
    quickTest->item = nullptr;
}

TEST(TestFinishedMessage, NothingIsPostedWithoutAnApplication)
{
    ASSERT_EQ(theGuiApp(), nullptr);
    EXPECT_EQ(postTestFinished(), -1);
}

}
