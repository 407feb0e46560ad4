#pragma once
// The key test: the operator presses four keys of the handheld (Menu, Back,
// volume up, volume down) in any order, each within five seconds of the
// previous one. The input event layer hands it every key release; a
// one-second timer counts down and fails the test on the sixth second.

#include "testfun/log.hpp"

// One key the test waits for.
struct RequiredKey {
    int pressed; // 0 or 1
    int key; // toolkit key code
};

enum : int {
    INPUT_REQUIRED_KEYS = 4,
    INPUT_COUNTDOWN_SECONDS = 5,
};

// The keys, in the order they are asked for.
extern RequiredKey test_key[INPUT_REQUIRED_KEYS];
// Seconds since the awaited key was asked for.
extern int ticks;

class InputItem : public TestItem {
public:
    // Becomes the key test the input event layer reports to (s_input).
    explicit InputItem(char* name);
    ~InputItem() override;

    // Asks for the first key and starts the countdown. Returns -1: the
    // result follows when the keys are in or the time is up.
    int execute(Log* log) override;

    // Writes a line to the log of the current run; nothing before the first run.
    void Message(const char* text);
    // A key (toolkit code of the default map) was released.
    void checkKey(int key);

private:
    void restartCountdown();

    Log* m_log { nullptr };
};

// The countdown's timer callback (arg: the InputItem).
void InputCheckProc(void* arg, int timerId);

// The GBK prompt that asks for required key i (0..3).
const char* inputPrompt(int i);
