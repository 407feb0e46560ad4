// An OK or not-OK answer can only come from the question that named its row;
// one that arrives without it is a programming error that stops the program
// with the standard assertion line.

#include "quicktest_support.h"

#include <gtest/gtest.h>

using namespace quicktesttest;

namespace {

const char kAssertion[] = "quicktestwnd:500: virtual int QuickTestWnd::onCommand\\(LUMIMessage&\\): "
                          "Assertion `m_curSel >=0' failed\\.";

class QuickTestDeathTest : public QuickTestFixture { };

}

TEST_F(QuickTestDeathTest, ANotOkAnswerWithoutAPendingQuestionAborts)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    step(); // test1 passes: no question is open
    ASSERT_EQ(window->confirmIndex(), -1);
    app->addMsg(LUMIMessage(window, MSG_COMMAND, QuickTestWnd::CMD_NOT_OK));
    EXPECT_DEATH(settle(), kAssertion);
}

TEST_F(QuickTestDeathTest, AnOkAnswerBeforeAnyQuestionAborts)
{
    writeDemoConfig(true);
    ProbeWnd* window = openWindow();
    app->addMsg(LUMIMessage(window, MSG_COMMAND, QuickTestWnd::CMD_OK));
    EXPECT_DEATH(settle(), kAssertion);
}

TEST_F(QuickTestDeathTest, AnAnswerToAnEmptyListAborts)
{
    // Without config.ini the list is empty; -1 is still below its count of 0.
    ProbeWnd* window = openWindow();
    ASSERT_EQ(window->items.size(), 0);
    app->addMsg(LUMIMessage(window, MSG_COMMAND, QuickTestWnd::CMD_NOT_OK));
    EXPECT_DEATH(settle(), kAssertion);
}
