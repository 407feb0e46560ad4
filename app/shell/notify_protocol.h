#pragma once
// The program's notification protocol, in one place: the message that every
// finished piece of work and every datagram of the notifier socket becomes,
// the window it is addressed to, and the meaning of its first parameter.
//
// Datagrams on the socket read "TYPE@PAYLOAD"; the update screen takes the
// five types below. The quick-test screen takes type 3 as "a test finished"
// (the calibration window and the tests that finish later post it too).

// Where the socket lives; update scripts send to this path.
#define PEL_NOTIFIER_PATH "/tmp/autorun_msg.dat"

// The most the notifier reads of one datagram, and the field its type is
// copied into (so at most nine characters of the type count).
constexpr int PEL_NOTIFY_MAX_DATAGRAM = 1024;
constexpr int PEL_NOTIFY_TYPE_FIELD = 10;

// The id of the mode's main window (the quick-test or the update screen),
// the one window these messages go to.
constexpr int PEL_MAIN_WND_ID = 101;

// The application's own message: first parameter the type, second the value
// (type 3), pointer parameter a heap string of the payload (other types).
enum : int {
    MSG_PEL_NOTIFY = 0x2003,
};

enum PelNotifyType : int {
    PEL_NOTIFY_STEP = 1,       // a step of the update (text)
    PEL_NOTIFY_TITLE = 2,      // the update's title (text)
    PEL_NOTIFY_PROGRESS = 3,   // percentage (value)
    PEL_NOTIFY_DONE = 4,       // the update has ended
    PEL_NOTIFY_STATUS = 5,     // a status line (text)
};

// To the quick-test screen, type 3 means that the running test has finished.
constexpr int PEL_NOTIFY_TEST_FINISHED = PEL_NOTIFY_PROGRESS;
