#include "update/updatenotify.h"

#include "platform/charset.h"
#include "platform/utf8.h"
#include "shell/notify_protocol.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kMaxTimeoutSeconds = 86400;

bool isDigits(const std::string& text, size_t maxDigits)
{
    if (text.empty() || text.size() > maxDigits)
        return false;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
    }
    return true;
}

// A decimal int with an optional sign and nothing else; false when it does
// not fit.
bool parseInt(const std::string& text, long long low, long long high, long long& value)
{
    size_t at = 0;
    bool negative = false;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        negative = text[at] == '-';
        ++at;
    }
    const std::string digits = text.substr(at);
    // Eleven digits already exceed any int: stop before the arithmetic can overflow.
    if (!isDigits(digits, 11))
        return false;
    long long v = 0;
    for (char c : digits)
        v = v * 10 + (c - '0');
    if (negative)
        v = -v;
    if (v < low || v > high)
        return false;
    value = v;
    return true;
}

std::string joinWords(int first, int argc, const char* const* argv)
{
    std::string text;
    for (int i = first; i < argc; ++i) {
        if (i > first)
            text += ' ';
        text += argv[i] ? argv[i] : "";
    }
    return text;
}

// UTF-8 to GBK, character by character, so that a character GBK lacks
// becomes one '?' instead of a stray byte that would swallow the next
// character on the screen. False (with a message) for text that is not UTF-8.
bool utf8ToGbk(const std::string& text, std::string& gbk, std::string& error)
{
    gbk.clear();
    const char* p = text.c_str();
    unsigned short code = 0;
    for (const char* next = decodeUtf8Char(p, &code); next; p = next, next = decodeUtf8Char(p, &code)) {
        const size_t length = static_cast<size_t>(next - p);
        const unsigned char lead = static_cast<unsigned char>(*p);
        if (length == 1 && lead < 0x80) {
            gbk += *p;
            continue;
        }
        if (length == 1) {
            error = "the text is not UTF-8 (leave out --utf8 to send its bytes as they are)";
            return false;
        }
        char one[8] = {};
        std::memcpy(one, p, length);
        char* converted = utf82str(one, CHARSET_GBK);
        if (converted && std::strlen(converted) == 2 && static_cast<unsigned char>(converted[0]) >= 0x80)
            gbk.append(converted, 2);
        else
            gbk += '?';
        std::free(converted);
    }
    return true;
}

}

const char* notifyUsage()
{
    return "usage: uishull-notify [OPTIONS] TYPE PAYLOAD...   (or TYPE@PAYLOAD)\n"
           "       uishull-notify [OPTIONS] step TEXT...      add a step to the list (type 1)\n"
           "       uishull-notify [OPTIONS] title TEXT...     set the title (type 2)\n"
           "       uishull-notify [OPTIONS] progress N        set the percentage (type 3)\n"
           "       uishull-notify [OPTIONS] done              finish: black screen, exit a second later "
           "(type 4)\n"
           "       uishull-notify [OPTIONS] status TEXT...    set the status line (type 5)\n"
           "Sends one datagram \"TYPE@PAYLOAD\" to the update screen (uishull 7).\n"
           "Several words of text are joined with blanks. Texts are sent as bytes:\n"
           "the screen reads them as GBK.\n"
           "options:\n"
           "  --socket PATH      the program's socket (default " PEL_NOTIFIER_PATH ")\n"
           "  --utf8             the text is UTF-8: convert it to GBK before sending\n"
           "  --timeout SECONDS  give up when the program does not take the datagram in\n"
           "                     time (default: wait as long as it takes)\n"
           "  --help             this text\n"
           "exit status: 0 sent, 1 not sent (no socket, message too long), 2 bad usage\n";
}

int parseNotifyArgs(int argc, const char* const* argv, NotifyRequest& request, std::string& error)
{
    request = NotifyRequest {};
    request.socketPath = PEL_NOTIFIER_PATH;
    error.clear();
    bool utf8 = false;

    int i = 1;
    for (; i < argc && argv[i]; ++i) {
        const std::string arg = argv[i];
        if (arg == "--") {
            ++i;
            break;
        }
        if (arg == "--help" || arg == "-h") {
            request.help = true;
            return NOTIFY_EXIT_OK;
        }
        if (arg == "--utf8") {
            utf8 = true;
            continue;
        }
        if (arg == "--socket" || arg == "--timeout") {
            if (i + 1 >= argc || !argv[i + 1]) {
                error = arg + " needs a value";
                return NOTIFY_EXIT_USAGE;
            }
            const std::string value = argv[++i];
            if (arg == "--socket") {
                // The path goes into sun_path with its terminating 0.
                if (value.empty() || value.size() >= sizeof(sockaddr_un {}.sun_path)) {
                    error = "--socket needs a path of 1 to "
                        + std::to_string(sizeof(sockaddr_un {}.sun_path) - 1) + " bytes";
                    return NOTIFY_EXIT_USAGE;
                }
                request.socketPath = value;
            } else {
                long long seconds = 0;
                if (!parseInt(value, 1, kMaxTimeoutSeconds, seconds) || value[0] == '+' || value[0] == '-') {
                    error = "--timeout needs a number of seconds from 1 to "
                        + std::to_string(kMaxTimeoutSeconds);
                    return NOTIFY_EXIT_USAGE;
                }
                request.timeoutSeconds = static_cast<int>(seconds);
            }
            continue;
        }
        if (arg.size() > 1 && arg[0] == '-') {
            error = "unknown option " + arg;
            return NOTIFY_EXIT_USAGE;
        }
        break;
    }
    if (i >= argc || !argv[i]) {
        error = "nothing to send";
        return NOTIFY_EXIT_USAGE;
    }

    const std::string command = argv[i++];
    const int words = argc - i; // arguments after the command word
    std::string type;
    std::string payload;
    bool text = true; // the payload is text (converted with --utf8)
    if (command == "step" || command == "title" || command == "status") {
        if (words < 1) {
            error = command + " needs a text";
            return NOTIFY_EXIT_USAGE;
        }
        int number = PEL_NOTIFY_STATUS;
        if (command == "step")
            number = PEL_NOTIFY_STEP;
        else if (command == "title")
            number = PEL_NOTIFY_TITLE;
        type = std::to_string(number);
        payload = joinWords(i, argc, argv);
    } else if (command == "progress") {
        long long value = 0;
        if (words != 1 || !parseInt(argv[i], INT_MIN, INT_MAX, value)) {
            error = "progress needs one whole number (a percentage)";
            return NOTIFY_EXIT_USAGE;
        }
        type = std::to_string(PEL_NOTIFY_PROGRESS);
        payload = std::to_string(value);
        text = false;
    } else if (command == "done") {
        if (words != 0) {
            error = "done takes no text";
            return NOTIFY_EXIT_USAGE;
        }
        type = std::to_string(PEL_NOTIFY_DONE);
        text = false;
    } else {
        const size_t at = command.find('@');
        if (at != std::string::npos) {
            type = command.substr(0, at);
            payload = command.substr(at + 1);
            if (words > 0)
                payload += ' ' + joinWords(i, argc, argv);
        } else {
            type = command;
            payload = joinWords(i, argc, argv);
        }
        if (!isDigits(type, kNotifyMaxTypeDigits)) {
            error = "unknown command \"" + command.substr(0, 64)
                + "\": expected step, title, progress, done, status or a TYPE of 1 to "
                + std::to_string(kNotifyMaxTypeDigits) + " digits";
            return NOTIFY_EXIT_USAGE;
        }
    }

    if (utf8 && text) {
        std::string gbk;
        if (!utf8ToGbk(payload, gbk, error))
            return NOTIFY_EXIT_USAGE;
        payload = gbk;
    }

    request.datagram = type + "@" + payload;
    if (request.datagram.size() > static_cast<size_t>(kNotifyMaxDatagram)) {
        error = "the message is " + std::to_string(request.datagram.size())
            + " bytes; the program reads at most " + std::to_string(kNotifyMaxDatagram);
        request.datagram.clear();
        return NOTIFY_EXIT_FAILED;
    }
    return NOTIFY_EXIT_OK;
}

int sendNotify(const NotifyRequest& request, std::string& error)
{
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    if (request.socketPath.empty() || request.socketPath.size() >= sizeof addr.sun_path) {
        error = "bad socket path";
        return NOTIFY_EXIT_FAILED;
    }
    if (request.datagram.size() > static_cast<size_t>(kNotifyMaxDatagram)) {
        error = "the message is longer than " + std::to_string(kNotifyMaxDatagram) + " bytes";
        return NOTIFY_EXIT_FAILED;
    }
    std::memcpy(addr.sun_path, request.socketPath.data(), request.socketPath.size());

    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return NOTIFY_EXIT_FAILED;
    }
    if (request.timeoutSeconds > 0) {
        // A datagram socket waits for room in the receiver's queue; the
        // send timeout bounds that wait.
        timeval tv {};
        tv.tv_sec = request.timeoutSeconds;
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    }
    ssize_t sent;
    do {
        sent = sendto(fd, request.datagram.data(), request.datagram.size(), 0,
            reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    } while (sent < 0 && errno == EINTR);
    const int code = errno;
    close(fd);
    if (sent == static_cast<ssize_t>(request.datagram.size()))
        return NOTIFY_EXIT_OK;

    const std::string where = request.socketPath;
    if (sent >= 0)
        error = "cannot send to " + where + ": the datagram was cut short";
    else if (code == ENOENT)
        error = "no socket at " + where + " (is \"uishull 7\" running?)";
    else if (code == ECONNREFUSED)
        error = "nobody listens at " + where + " (a file left by an earlier run?)";
    else if (code == EAGAIN || code == EWOULDBLOCK)
        error = "the program did not take the message within " + std::to_string(request.timeoutSeconds)
            + " s (" + where + ")";
    else
        error = "cannot send to " + where + ": " + std::strerror(code);
    return NOTIFY_EXIT_FAILED;
}
