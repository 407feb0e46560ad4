#pragma once
// The touch driver's calibration requests and the stored calibration.
//
// Every request passes an array of seven 32-bit integers in coefficient
// order (a1, b1, c1, a2, b2, c2, delta; see touch/calibrate.h). The stored
// calibration "calibration.dat" in the working directory is those seven
// numbers as 28 little-endian bytes, nothing else.

#include "touch/calibrate.h"

// The touch device node: samples are read from it (MultiTouchScreen) and the
// calibration requests go to it.
#define TS_DEVICE_PATH "/dev/ts_lumi"
#define TS_CALIBRATION_FILE "calibration.dat"

// The driver's requests (type 't').
enum : unsigned long {
    TS_CAL_START = 0x7401, // raw mode for calibration (numbers 1, no data)
    TS_CAL_DONE = 0x40047402, // install a coefficient set
    TS_RAWDATA = 0x80047403, // the latest raw x and y into elements 0 and 1
};

// Modes of pointerCalibrationSet.
enum : int {
    TS_MODE_CAL_START = 0,
    TS_MODE_CAL_DONE = 1,
    TS_MODE_RAWDATA = 2,
};

enum : int {
    TS_CALIBRATION_FILE_SIZE = kCalibrationCoefficientCount * 4, // 28
};

// The identity set: raw coordinates pass through unchanged.
extern const int g_tsIdentity[kCalibrationCoefficientCount];

// Opens the touch device read-write and issues one request with coeffs:
// mode 0 CAL_START, 1 CAL_DONE, 2 RAWDATA, anything else none. 0 on success,
// -1 after a message when the device cannot be opened or refuses the
// request. Each call opens the node anew and deliberately keeps the
// descriptor: the driver sees the opens it has always seen, and a factory
// run leaks a handful of descriptors per calibration, far below the limit.
int pointerCalibrationSet(int mode, int* coeffs);

// Writes len bytes of buf to "calibration.dat" (created or truncated).
// 0, or -1 after "[writeConfigFile] open calibration.dat fail".
int writeConfigFile(char* buf, int len);
// Reads the first 28 bytes of "calibration.dat" (fewer when the file is
// shorter, the rest of buf left as it was) into buf. len does not decide how
// much is read; it only bounds what is copied, so a smaller buffer is never
// overrun. 0 on success; -1 after "[loadConfigFile] open calibration.dat
// fail" when the file cannot be opened or read or is not a regular file.
int loadConfigFile(char* buf, int len);
// Loads the stored calibration into the driver. 1 when one was loaded; 0
// when there is none ("First calibrated! "), it cannot be read, it holds
// the identity set ("uncalibrated.. ") or the driver refused it. A short
// file keeps the identity values in its tail.
int touchScreenCalibrate();

// Where the device is opened: TS_DEVICE_PATH on the device and on the
// virtual board. Unit tests point it at a file of their own and answer the
// requests themselves, so they never reach a device. Null restores it.
const char* tsDevicePath();
void setTsDevicePath(const char* path);
using TsIoctl = int (*)(int fd, unsigned long request, int* coeffs);
TsIoctl setTsIoctl(TsIoctl func);
