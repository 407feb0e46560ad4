#include "testfun/testsensor.h"

#include "testfun/devicefiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

const char kStarting[]
    = "\xBF\xAA\xCA\xBC\xB2\xE2\xCA\xD4\xB4\xAB\xB8\xD0\xC6\xF7......"; // 开始测试传感器......, starting the
                                                                        // sensor test......
const char kCannotOpen[]
    = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB4\xAB\xB8\xD0\xC6\xF7!"; // 不能打开传感器!, cannot open the sensor!

constexpr const char* kSensorFile = "/proc/gsensor_config";
constexpr int kPolls = 3;
constexpr unsigned int kPollSeconds = 2;
constexpr size_t kPollBytes = 50;

unsigned int systemSleep(unsigned int seconds)
{
    return ::sleep(seconds);
}

SensorSleep s_sleep = systemSleep;

int openSensor()
{
    return ::open(devicePath(kSensorFile).c_str(), O_RDWR | O_CLOEXEC);
}

// Writes a marker to the driver. false when the file cannot be opened.
bool writeMarker(const char* marker, size_t length)
{
    const int fd = openSensor();
    if (fd < 0)
        return false;
    if (::write(fd, marker, length) < 0)
        perror("gsensor");
    ::close(fd);
    return true;
}

}

SensorSleep setSensorSleep(SensorSleep wait)
{
    SensorSleep previous = s_sleep;
    s_sleep = wait ? wait : systemSleep;
    return previous;
}

TestSensor::TestSensor(char* name)
    : TestItem(name, false)
{
}

bool sensorAnswerPasses(const char* data, size_t size)
{
    char text[64];
    std::memset(text, 0, sizeof text);
    std::memcpy(text, data, size < kPollBytes ? size : kPollBytes);
    // The driver may follow the answer with more; only its first 11
    // characters count.
    text[11] = '\0';
    return std::strcmp(text, "test_pass=1") == 0;
}

int TestSensor::execute(Log* log)
{
    if (log)
        log->Message("%s", kStarting);
    if (!writeMarker("sensor_test=1", 13)) {
        if (log)
            log->Message("%s", kCannotOpen);
        return 1;
    }

    bool passed = false;
    for (int poll = 0; poll < kPolls && !passed; ++poll) {
        s_sleep(kPollSeconds);
        const int fd = openSensor();
        if (fd < 0) {
            if (log)
                log->Message("%s", kCannotOpen);
            return 1;
        }
        char text[64];
        std::memset(text, 0, sizeof text);
        const ssize_t got = ::read(fd, text, kPollBytes);
        ::close(fd);
        passed = sensorAnswerPasses(text, got > 0 ? static_cast<size_t>(got) : 0);
    }

    // The driver leaves its self-test only on this marker, pass or fail.
    if (!writeMarker("sensor_testend=1", 16)) {
        if (log)
            log->Message("%s", kCannotOpen);
        return 1;
    }
    return passed ? 0 : 1;
}
