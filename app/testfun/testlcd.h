#pragma once
// The LCD test: shows the colour bars (ImageWnd) and lets the operator judge
// them.

#include "testfun/log.hpp"

class TestLCD : public TestItem {
public:
    explicit TestLCD(char* name);

    // Opens the colour-bar window, sets the result to 2 and returns 2 at once
    // (the operator decides; the window closes itself later).
    int execute(Log* log) override;
};
