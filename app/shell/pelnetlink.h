#pragma once
// The hot-plug monitor: listens to the kernel's device events and, when a
// mouse is plugged in or out, re-scans the input devices one second later,
// retrying each second until a device is found (at most 11 re-scans). A storm
// of events gives one re-scan, a second after the last of them.

#include <lumi/app.h>

class PelNetlink : public EventHandler {
public:
    PelNetlink() = default;
    ~PelNetlink() override = default;

    // Opens and binds the uevent socket and registers it with the loop.
    // 0 on success, -1 when the socket cannot be made or bound (the program
    // then runs without hot-plug handling).
    static int init();
    // Receives one event (at most 2048 bytes, any bytes).
    void onRead(int fd) override;

    // The bound socket, or -1. The program keeps it for its whole life; tests
    // close it with close().
    static int fd();
    static void close();
};

extern PelNetlink g_pelNetlink;

enum : int {
    NETLINK_EVENT_BYTES = 2048,
    NETLINK_RESCAN_MS = 1000,
    NETLINK_LAST_RETRY = 10, // re-scans are counted 0..10
};

// The pending re-scan timer (0: none) and the re-scans done for it.
extern int g_inputCheckTimer;
extern int g_inputCheckRetry;

// The re-scan timer's callback: closes and reopens the input devices.
void inputCheckProc(void* arg, int timerId);
