#include "touch/tsdevice.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

const int g_tsIdentity[kCalibrationCoefficientCount] = { 1, 0, 0, 0, 1, 0, 1 };

namespace {

const char* s_devicePath = TS_DEVICE_PATH;

int systemIoctl(int fd, unsigned long request, int* coeffs)
{
    return ioctl(fd, request, coeffs);
}

TsIoctl s_ioctl = systemIoctl;

// Writes all of buf, retrying short writes; false on an error.
bool writeAll(int fd, const char* buf, size_t len)
{
    while (len > 0) {
        const ssize_t n = ::write(fd, buf, len);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        buf += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

// One request of the calibration driver, announced before it is made: 0, or
// -1 with the failure line printed.
int calibrationRequest(int fd, unsigned long request, int* coeffs, const char* announce, const char* failure)
{
    puts(announce);
    if (s_ioctl(fd, request, coeffs) < 0) {
        puts(failure);
        return -1;
    }
    return 0;
}

}

const char* tsDevicePath()
{
    return s_devicePath;
}

void setTsDevicePath(const char* path)
{
    s_devicePath = path ? path : TS_DEVICE_PATH;
}

TsIoctl setTsIoctl(TsIoctl func)
{
    TsIoctl previous = s_ioctl;
    s_ioctl = func ? func : systemIoctl;
    return previous;
}

int pointerCalibrationSet(int mode, int* coeffs)
{
    // Kept open on purpose: see the header.
    const int fd = ::open(s_devicePath, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        puts("open device error......");
        return -1;
    }
    switch (mode) {
    case TS_MODE_CAL_START:
        return calibrationRequest(
            fd, TS_CAL_START, coeffs, " [--I] CAL_START......", "CAL_START......ioctl failed!");
    case TS_MODE_CAL_DONE:
        return calibrationRequest(
            fd, TS_CAL_DONE, coeffs, "[--I] CAL_DONE......", "CAL_DONE......ioctl failed!");
    case TS_MODE_RAWDATA:
        return calibrationRequest(
            fd, TS_RAWDATA, coeffs, "[--I] RAWDATA......", "RAWDATA......ioctl failed!");
    default:
        return 0;
    }
}

int writeConfigFile(char* buf, int len)
{
    const int fd = ::open(TS_CALIBRATION_FILE, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        printf("[writeConfigFile] open %s fail \n", TS_CALIBRATION_FILE);
        return -1;
    }
    const bool ok = len <= 0 || writeAll(fd, buf, static_cast<size_t>(len));
    ::close(fd);
    if (!ok) {
        printf("[writeConfigFile] write %s fail: %s\n", TS_CALIBRATION_FILE, strerror(errno));
        return -1;
    }
    return 0;
}

int loadConfigFile(char* buf, int len)
{
    // Non-blocking, so that a FIFO or a device planted at the name cannot
    // hold start-up; anything but a regular file counts as one that cannot
    // be opened.
    const int fd = ::open(TS_CALIBRATION_FILE, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat st { };
    if (fd >= 0 && (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))) {
        ::close(fd);
        printf("[loadConfigFile] open %s fail \n", TS_CALIBRATION_FILE);
        return -1;
    }
    if (fd < 0) {
        printf("[loadConfigFile] open %s fail \n", TS_CALIBRATION_FILE);
        return -1;
    }
    // The first 28 bytes whatever the file's length; a shorter file gives
    // what it has and leaves the rest of buf as the caller set it.
    char data[TS_CALIBRATION_FILE_SIZE];
    size_t got = 0;
    bool failed = false;
    while (got < sizeof data) {
        const ssize_t n = ::read(fd, data + got, sizeof data - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            failed = true;
        if (n <= 0)
            break;
        got += static_cast<size_t>(n);
    }
    ::close(fd);
    if (failed) {
        printf("[loadConfigFile] open %s fail \n", TS_CALIBRATION_FILE);
        return -1;
    }
    if (buf && len > 0)
        memcpy(buf, data, static_cast<size_t>(len) < got ? static_cast<size_t>(len) : got);
    return 0;
}

int touchScreenCalibrate()
{
    struct stat st;
    if (stat(TS_CALIBRATION_FILE, &st) != 0) {
        puts("First calibrated! ");
        return 0;
    }
    // The file is read over the identity set, so a short one keeps the
    // identity values in its tail. It is little-endian whatever the host's
    // byte order.
    unsigned char bytes[TS_CALIBRATION_FILE_SIZE];
    for (int i = 0; i < kCalibrationCoefficientCount; ++i)
        for (int b = 0; b < 4; ++b)
            bytes[4 * i + b] = static_cast<unsigned char>(static_cast<uint32_t>(g_tsIdentity[i]) >> (8 * b));
    if (loadConfigFile(reinterpret_cast<char*>(bytes), sizeof bytes) != 0)
        return 0;
    int coeffs[kCalibrationCoefficientCount];
    for (int i = 0; i < kCalibrationCoefficientCount; ++i) {
        const unsigned char* p = bytes + 4 * i;
        coeffs[i] = static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8
            | static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24);
    }
    if (coeffs[kCoeffDelta] == 1 && coeffs[kCoeffA1] == 1 && coeffs[kCoeffB2] == 1) {
        puts("uncalibrated.. ");
        return 0;
    }
    // Any other set goes to the driver as stored, a divisor of 0 included:
    // the driver already takes the all-zero set a window abandoned before
    // its first pass gives back.
    return pointerCalibrationSet(TS_MODE_CAL_DONE, coeffs) == 0 ? 1 : 0;
}
