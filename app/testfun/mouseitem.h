#pragma once
// The pointer test: asks for a mouse and passes as soon as the input event
// layer finds a device with relative axes, now or at any later re-scan (the
// hot-plug monitor re-scans when a mouse is plugged in).

#include "testfun/log.hpp"

class MouseItem : public TestItem {
public:
    // Becomes the pointer test the input event layer reports to (s_mouseTest).
    explicit MouseItem(char* name);
    ~MouseItem() override;

    // Re-scans the input devices and returns 4: the result is set by the
    // re-scans, and the screen is not held while the operator finds a mouse.
    int execute(Log* log) override;
};
