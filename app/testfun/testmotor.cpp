#include "testfun/testmotor.h"

#include "testfun/devicefiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace {

const char kCannotOpen[]
    = "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8!"; // 不能打开震动设备!, cannot open
                                                                           // the vibration device!
const char kAskOperator[]
    = "\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8\xCA\xC7\xB7\xF1OK."; // 震动设备是否OK., is the vibration device OK.

// The pulse length in milliseconds the timed-output driver runs the motor for.
constexpr int kPulseMs = 5;

}

TestMotor::TestMotor(char* name)
    : TestItem(name, false)
{
}

int TestMotor::execute(Log* log)
{
    const int fd
        = ::open(devicePath("/sys/class/timed_output/vibrator/enable").c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        if (log)
            log->Message("%s", kCannotOpen);
        return 1;
    }
    char pulse[16];
    const int length = snprintf(pulse, sizeof pulse, "%d\n", kPulseMs);
    // Two pulses; a short write is not retried, the operator judges the buzz.
    for (int i = 0; i < 2; ++i) {
        if (::write(fd, pulse, static_cast<size_t>(length)) < 0)
            perror("vibrator");
    }
    ::close(fd);
    if (log)
        log->Message("%s", kAskOperator);
    return 2;
}
