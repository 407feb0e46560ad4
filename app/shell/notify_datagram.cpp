#include "shell/notify_datagram.h"

#include "shell/notify_protocol.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

NotifyDatagram parseNotifyDatagram(const void* bytes, size_t length)
{
    // The text as the receive buffer holds it: cleared first, with one byte
    // more than a datagram can fill, so it is always terminated.
    char text[PEL_NOTIFY_MAX_DATAGRAM + 1];
    std::memset(text, 0, sizeof text);
    if (bytes)
        std::memcpy(text, bytes, std::min(length, static_cast<size_t>(PEL_NOTIFY_MAX_DATAGRAM)));

    NotifyDatagram result;
    const char* at = std::strchr(text, '@');
    if (!at)
        return result;
    result.hasSeparator = true;

    // The type goes through a 10-byte field: a few digits are all it may hold.
    char typeText[PEL_NOTIFY_TYPE_FIELD];
    const size_t typeLength = std::min(static_cast<size_t>(at - text), sizeof typeText - 1);
    std::memcpy(typeText, text, typeLength);
    typeText[typeLength] = '\0';
    result.type = std::atoi(typeText);

    const char* payload = at + 1;
    result.payload = payload;
    // Type 3 carries a number (the update's percentage; to the quick test,
    // "finished"), every other type a text.
    if (result.type == PEL_NOTIFY_PROGRESS) {
        result.value = std::atoi(payload);
    } else {
        result.passesPayload = true;
    }
    return result;
}
