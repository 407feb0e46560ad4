#pragma once
// Reading one datagram of the notifier socket: "TYPE@PAYLOAD". Pure: bytes
// in, the meaning out; the notifier prints and posts from the result.

#include <cstddef>
#include <string>

struct NotifyDatagram {
    // False when the text holds no '@': the datagram is dropped with
    // "Receive NULL ".
    bool hasSeparator { false };
    // The characters before the first '@', cut to nine (the type goes
    // through a 10-byte field), read with atoi.
    int type { 0 };
    // Type 3 only: the payload read with atoi.
    int value { 0 };
    // Types other than 3: the payload travels as a heap copy.
    bool passesPayload { false };
    // Everything after the first '@', up to the end of the text.
    std::string payload;
};

// Reads the datagram as the notifier receives it: at most the first
// PEL_NOTIFY_MAX_DATAGRAM bytes count, and the text ends at the first NUL
// (the receive buffer is cleared before each receive). Safe on any bytes.
NotifyDatagram parseNotifyDatagram(const void* bytes, size_t length);
