#pragma once
// The audio test: plays a start sound, records three seconds from the
// microphone through the OSS devices "/dev/dsp" and "/dev/mixer" into
// "/test.wav", and plays the recording back for the operator to judge by ear.
// It never decides itself: the result is always 2 (ask the operator).

#include "testfun/log.hpp"

#include <cstdint>

// Set to 1 once the kernel's module list has shown the AC97 codec driver;
// never cleared while the program runs (the driver does not go away).
extern int is_ac97;
// The up-sampled playback buffer (whole 2048-byte blocks; the tail past the
// played 576000 bytes stays silent). A fixed global: the test allocates nothing.
extern uint8_t rec_buffer[];

class TestAUDIO : public TestItem {
public:
    explicit TestAUDIO(char* name);

    // Looks for the AC97 driver, removes the old recording, runs
    // test(log, "rec", "/test.wav") and returns 2 with the result set to 2,
    // whatever the test's outcome (the operator hears when nothing played).
    int execute(Log* log) override;

    // mode "play": plays file; "rec": the start sound, the recording into
    // file and its playback. 0 when done, 1 at the first failing step (its
    // perror line says which).
    int test(Log* log, char* mode, char* file);
};

// How the test reaches the sound devices. Unit tests install their own so
// that they never open the machine's devices; null members mean the real
// open and ioctl. The paths given are those after setDeviceRoot.
struct AudioDeviceOps {
    int (*open)(const char* path, int flags) { nullptr };
    // An OSS request whose argument is one int.
    int (*ioctl)(int fd, unsigned long request, int* value) { nullptr };
};

// Installs ops and returns the previous ones.
AudioDeviceOps setAudioDeviceOps(const AudioDeviceOps& ops);
