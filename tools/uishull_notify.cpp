// uishull-notify: what update scripts run to drive the update screen
// ("uishull 7"). Each call sends one datagram "TYPE@PAYLOAD" to the
// program's notifier socket; see notifyUsage() for the command line.

#include "update/updatenotify.h"

#include <cstdio>

int main(int argc, char** argv)
{
    NotifyRequest request;
    std::string error;
    int status = parseNotifyArgs(argc, argv, request, error);
    if (status == NOTIFY_EXIT_OK && request.help) {
        fputs(notifyUsage(), stdout);
        return NOTIFY_EXIT_OK;
    }
    if (status == NOTIFY_EXIT_OK)
        status = sendNotify(request, error);
    if (status != NOTIFY_EXIT_OK) {
        fprintf(stderr, "uishull-notify: %s\n", error.c_str());
        if (status == NOTIFY_EXIT_USAGE)
            fputs(notifyUsage(), stderr);
    }
    return status;
}
