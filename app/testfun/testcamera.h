#pragma once
// The camera test: powers the sensor up through the controller's registers
// (/dev/mem), captures ten frames from /dev/video0 with memory-mapped
// buffers and writes each one, converted to 32-bit pixels, straight into the
// frame buffer /dev/fb0, so that the operator sees the live picture and
// judges it. Runs synchronously inside execute.

#include "testfun/log.hpp"

#include <cstddef>
#include <cstdio>
#include <sys/select.h>
#include <sys/types.h>

class TestCamera : public TestItem {
public:
    explicit TestCamera(char* name);

    // 1 when any step failed, else 2 (the operator decides). The result is
    // left to the quick-test window; nothing is logged.
    int execute(Log* log) override;
};

// The steps, in the order test() runs them; each returns 0 or 1.
int enable_device();
int open_device();
int start_capturing();
int mainloop();
int stop_capturing();
int uninit_device();
// All of them, then the stream and the video descriptor closed: 0 or 1.
int test();

// The controller's registers and where the picture goes.
constexpr unsigned long CAMERA_REG_BASE = 0xD8110000UL;
constexpr int CAMERA_FRAMES = 10;
constexpr int CAMERA_OPEN_ATTEMPTS = 5;
constexpr unsigned CAMERA_OPEN_RETRY_SECONDS = 2;
constexpr long CAMERA_FRAME_WAIT_SECONDS = 2;
constexpr unsigned CAMERA_REQUESTED_BUFFERS = 4;

// The module's state between the steps (what the device's program keeps in
// globals); read by tests.
struct CameraBuffer {
    void* start { nullptr };
    size_t length { 0 };
};
struct CameraState {
    // configuration, from the boot environment
    unsigned width { 320 };
    unsigned height { 240 };
    int semiPlanar { 0 };
    unsigned xOffset { 360 };
    unsigned yOffset { 40 };
    // the screen
    unsigned screenWidth { 0 };
    unsigned screenHeight { 0 };
    // devices
    int videoFd { -1 };
    FILE* frameBuffer { nullptr };
    unsigned char* converted { nullptr };
    CameraBuffer* buffers { nullptr };
    unsigned nBuffers { 0 };
    int framesShown { 0 };
};
const CameraState& cameraState();
// Back to the state at start-up (the test's sensor settings included), for
// tests that play a fresh program: frees the conversion buffer and the buffer
// table, but leaves mappings, descriptors and streams to their drivers.
void resetCameraState();

// The system calls the camera test makes, replaceable so that unit tests
// play the drivers in-process and never reach the machine's devices. A
// member left null uses the system's own.
struct CameraSystem {
    int (*open)(const char* path, int flags) { nullptr };
    int (*close)(int fd) { nullptr };
    int (*ioctl)(int fd, unsigned long request, void* arg) { nullptr };
    void* (*mmap)(void* addr, size_t length, int prot, int flags, int fd, off_t offset) { nullptr };
    int (*munmap)(void* addr, size_t length) { nullptr };
    int (*select)(
        int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, struct timeval* timeout) { nullptr };
    unsigned (*sleep)(unsigned seconds) { nullptr };
    FILE* (*fopen)(const char* path, const char* mode) { nullptr };
    // The boot environment's reader (zor_getsyspara).
    int (*getsyspara)(const char* name, char* value, int* len) { nullptr };
};
// Installs calls (all null: the system's); returns the previous set.
CameraSystem setCameraSystem(const CameraSystem& calls);

// The video requests' wrapper: repeats the request while it fails with EINTR.
int xioctl(int fd, unsigned long request, void* arg);
