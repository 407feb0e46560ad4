#pragma once
// The sending side of the notifier socket, for update scripts: turns a
// command line into one datagram "TYPE@PAYLOAD" and sends it to the
// program's socket. The uishull-notify tool is a thin main around this.
//
//   uishull-notify [OPTIONS] TYPE PAYLOAD...   (or TYPE@PAYLOAD)
//   uishull-notify [OPTIONS] step|title|status TEXT...
//   uishull-notify [OPTIONS] progress N
//   uishull-notify [OPTIONS] done
//
// Options: --socket PATH, --utf8 (the text is UTF-8; send it as GBK),
// --timeout SECONDS (give up when the program does not take the datagram in
// time; default: wait for it), --help.

#include "shell/notify_protocol.h"

#include <string>

// The most the program reads of one datagram.
constexpr int kNotifyMaxDatagram = PEL_NOTIFY_MAX_DATAGRAM;
// The program keeps the type in a 10-byte field: nine digits at most.
constexpr int kNotifyMaxTypeDigits = PEL_NOTIFY_TYPE_FIELD - 1;

// Exit statuses of the tool.
enum : int {
    NOTIFY_EXIT_OK = 0,
    NOTIFY_EXIT_FAILED = 1, // nothing sent: no socket, or the datagram is too long
    NOTIFY_EXIT_USAGE = 2, // the command line makes no sense
};

struct NotifyRequest {
    std::string socketPath;
    std::string datagram;
    int timeoutSeconds { 0 }; // 0: wait as long as the program takes
    bool help { false };
};

// Reads the command line (argv[0] is the program name). Returns
// NOTIFY_EXIT_OK with request filled, or another status with a message in
// error. Any bytes are accepted as text; numbers are checked strictly.
int parseNotifyArgs(int argc, const char* const* argv, NotifyRequest& request, std::string& error);

// Sends request.datagram to request.socketPath as one datagram. Blocks while
// the program's queue is full (up to the timeout, if one was given).
// NOTIFY_EXIT_OK, or NOTIFY_EXIT_FAILED with a message in error.
int sendNotify(const NotifyRequest& request, std::string& error);

// The usage text, for --help and usage errors.
const char* notifyUsage();
