// The g-sensor test: start marker, up to three polls two seconds apart for
// "test_pass=1", and the end marker whenever the file opens.

#include "device_support.h"

#include "testfun/testsensor.h"

#include <gtest/gtest.h>

#include <unistd.h>

using devtest::DeviceTest;

namespace {

char kName[] = "G-\xB4\xAB\xB8\xD0\xC6\xF7";
const char kFile[] = "/proc/gsensor_config";
const std::string kStarting = "\xBF\xAA\xCA\xBC\xB2\xE2\xCA\xD4\xB4\xAB\xB8\xD0\xC6\xF7......";
const std::string kCannotOpen = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB4\xAB\xB8\xD0\xC6\xF7!";

class SensorTest;
SensorTest* s_test = nullptr;

class SensorTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        s_test = this;
        m_old = setSensorSleep(fakeSleep);
    }
    void TearDown() override
    {
        setSensorSleep(m_old);
        s_test = nullptr;
        DeviceTest::TearDown();
    }

    // The driver, between polls: sees what was written, then answers.
    static unsigned int fakeSleep(unsigned int seconds)
    {
        SensorTest* t = s_test;
        t->sleeps.push_back(seconds);
        t->seenBeforePoll.push_back(t->readDevice(kFile));
        const size_t poll = t->sleeps.size();
        if (t->removeBeforePoll == poll)
            ::unlink((t->root + kFile).c_str());
        else
            t->writeDevice(kFile, poll == t->passOnPoll ? "test_pass=1\n" : "test_pass=0\n");
        return 0;
    }

    std::vector<unsigned int> sleeps;
    std::vector<std::string> seenBeforePoll;
    size_t passOnPoll { 0 }; // 0: never
    size_t removeBeforePoll { 0 }; // 0: never

private:
    SensorSleep m_old { nullptr };
};

TEST_F(SensorTest, PassingOnTheThirdPollPasses)
{
    ASSERT_TRUE(writeDevice(kFile, ""));
    passOnPoll = 3;
    TestSensor item(kName);
    EXPECT_EQ(item.execute(&log), 0);
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(sleeps, (std::vector<unsigned int> { 2, 2, 2 }));
    EXPECT_EQ(seenBeforePoll.at(0), "sensor_test=1");
    // Written over the driver's last answer ("test_pass=1\n", 12 bytes).
    EXPECT_EQ(readDevice(kFile), "sensor_testend=1");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kStarting }));
}

TEST_F(SensorTest, PassingOnTheFirstPollStopsWaiting)
{
    ASSERT_TRUE(writeDevice(kFile, ""));
    passOnPoll = 1;
    TestSensor item(kName);
    EXPECT_EQ(item.execute(&log), 0);
    EXPECT_EQ(sleeps.size(), 1u);
    EXPECT_EQ(readDevice(kFile), "sensor_testend=1");
}

TEST_F(SensorTest, ASensorThatNeverPassesFailsAndStillGetsTheEndMarker)
{
    ASSERT_TRUE(writeDevice(kFile, ""));
    TestSensor item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(sleeps.size(), 3u);
    EXPECT_EQ(readDevice(kFile), "sensor_testend=1");
    EXPECT_EQ(log.lines, (std::vector<std::string> { kStarting }));
}

TEST_F(SensorTest, AMissingFileFailsAtOnce)
{
    TestSensor item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_TRUE(sleeps.empty());
    EXPECT_EQ(log.lines, (std::vector<std::string> { kStarting, kCannotOpen }));
}

TEST_F(SensorTest, AFileGoneBeforeAPollFails)
{
    ASSERT_TRUE(writeDevice(kFile, ""));
    removeBeforePoll = 2;
    TestSensor item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(sleeps.size(), 2u);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kStarting, kCannotOpen }));
}

TEST(SensorAnswerParse, OnlyTheFirstElevenCharactersCount)
{
    EXPECT_TRUE(sensorAnswerPasses("test_pass=1", 11));
    EXPECT_TRUE(sensorAnswerPasses("test_pass=10 and more", 21));
    EXPECT_FALSE(sensorAnswerPasses("test_pass=0", 11));
    EXPECT_FALSE(sensorAnswerPasses("test_pass=", 10));
    EXPECT_FALSE(sensorAnswerPasses(" test_pass=1", 12));
    EXPECT_FALSE(sensorAnswerPasses("test_pass=1", 10)); // the read was short
    EXPECT_FALSE(sensorAnswerPasses("", 0));
}

}
