// Fuzzes the notifier's datagram reader: any bytes must be read or refused
// without a crash, and what is read must stay within the datagram.

#include "shell/notify_datagram.h"
#include "shell/notify_protocol.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const NotifyDatagram d = parseNotifyDatagram(data, size);
    const size_t seen = size < PEL_NOTIFY_MAX_DATAGRAM ? size : PEL_NOTIFY_MAX_DATAGRAM;
    const void* nul = std::memchr(data, '\0', seen);
    const size_t textLength = nul ? static_cast<size_t>(static_cast<const uint8_t*>(nul) - data) : seen;
    const void* at = std::memchr(data, '@', textLength);
    if (d.hasSeparator != (at != nullptr))
        std::abort();
    if (!d.hasSeparator) {
        if (d.passesPayload || !d.payload.empty() || d.type != 0 || d.value != 0)
            std::abort();
        return 0;
    }
    const size_t typeLength = static_cast<size_t>(static_cast<const uint8_t*>(at) - data);
    // The payload is exactly the rest of the text.
    if (d.payload.size() != textLength - typeLength - 1
        || std::memcmp(d.payload.data(), data + typeLength + 1, d.payload.size()) != 0)
        std::abort();
    // Nine characters cannot make a number beyond nine digits.
    if (d.type > 999999999 || d.type < -99999999)
        std::abort();
    if (d.passesPayload == (d.type == PEL_NOTIFY_PROGRESS))
        std::abort();
    if (d.type != PEL_NOTIFY_PROGRESS && d.value != 0)
        std::abort();
    return 0;
}
