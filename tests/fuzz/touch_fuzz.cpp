// Fuzzes what the touch code reads from outside: any bytes the touch device
// delivers (whole 8-byte samples taken, a cut-off tail dropped) and any
// calibration file, which must be refused or loaded without a crash and
// never sent to the driver unless it is exactly 28 bytes.

#include "touch/multitouchscreen.h"
#include "touch/tsdevice.h"

#include <lumi/app.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

const uint8_t* s_data = nullptr;
size_t s_size = 0;
int s_calDones = 0;

// The device: the fuzzer's bytes in one read, then an empty queue.
ssize_t fuzzRead(int, void* buffer, size_t size)
{
    if (!s_data) {
        errno = EAGAIN;
        return -1;
    }
    const size_t n = s_size < size ? s_size : size;
    memcpy(buffer, s_data, n);
    s_data = nullptr;
    return static_cast<ssize_t>(n);
}

int fuzzIoctl(int, unsigned long request, int*)
{
    if (request == TS_CAL_DONE)
        ++s_calDones;
    return 0;
}

struct Harness {
    GuiRT rt; // the loop only: no display
    GuiApp app;
    std::string dir; // the calibration file's working directory
    std::string home; // the fuzzer's own (its corpus paths are relative to it)

    Harness()
    {
        if (!freopen("/dev/null", "w", stdout))
            abort();
        char templ[] = "/tmp/touch-fuzz-XXXXXX";
        char cwd[4096];
        if (!mkdtemp(templ) || !getcwd(cwd, sizeof cwd))
            abort();
        dir = templ;
        home = cwd;
        // Requests go to a file of the fuzzer's own directory, answered here.
        const std::string device = dir + "/ts";
        FILE* f = fopen(device.c_str(), "w");
        if (!f)
            abort();
        fclose(f);
        static std::string path = device;
        setTsDevicePath(path.c_str());
        setTsIoctl(fuzzIoctl);
        setTsRead(fuzzRead);
        g_tsReadHandler.ts = MultiTouchScreen::getTs();
    }
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Harness h;
    if (size > 4096)
        return 0;
    s_data = data;
    s_size = size;
    g_tsReadHandler.onRead(-1);
    h.app.dispatchMessages();

    // The calibration file is read from the working directory: the harness's
    // own for these calls only.
    if (chdir(h.dir.c_str()) != 0)
        abort();
    FILE* f = fopen(TS_CALIBRATION_FILE, "wb");
    if (!f)
        abort();
    if (size && fwrite(data, 1, size, f) != size)
        abort();
    fclose(f);
    const int before = s_calDones;
    const int loaded = touchScreenCalibrate();
    // A set reaches the driver exactly when it is reported loaded, whatever
    // the file's length.
    if ((loaded != 0) != (s_calDones == before + 1))
        abort();
    char buf[8];
    loadConfigFile(buf, sizeof buf);
    if (chdir(h.home.c_str()) != 0)
        abort();
    return 0;
}
