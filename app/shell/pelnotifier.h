#pragma once
// The notifier socket: other processes (the update script) report progress
// with short datagrams "TYPE@PAYLOAD"; each becomes message 8195 for the
// window with id 101.

#include "shell/notify_protocol.h"

#include <lumi/app.h>

class PelNotifier : public EventHandler {
public:
    PelNotifier() = default;
    ~PelNotifier() override;

    // Creates and binds the socket, owner-only, and registers it with the
    // loop. A stale file at the path is removed first; a socket that still
    // answers there belongs to a running instance and is left alone. Returns
    // 0; a socket or bind failure (or a running instance) prints the path
    // and the cause and ends the process with status 1.
    static int init();
    void onRead(int fd) override;

    // The socket path; tests and the virtual board point it elsewhere.
    static const char* path();
    static void setPath(const char* path);
    // The bound descriptor, or -1.
    static int fd();
    // Unregisters and closes the socket and removes its file, if the file at
    // the path is still the one this process bound.
    static void close();
};

extern PelNotifier g_pelNotifier;
