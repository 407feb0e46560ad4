#include "testfun/inputitem.h"

#include "testfun/linuxevent.h"

#include <lumi/app.h>
#include <lumi/message.h>

#include <cstdio>

RequiredKey test_key[INPUT_REQUIRED_KEYS] = {
    { 0, VK_Menu },
    { 0, VK_Previous }, // the Back key of the handheld reads as VK_Previous
    { 0, VK_VolUp },
    { 0, VK_VolDown },
};
int ticks = 0;

namespace {

// clang-format off
const char kPressKeys[] = "\xC7\xEB\xB0\xB4\xB0\xB4\xBC\xFC"; // 请按按键, please press the keys
const char* const kPrompts[INPUT_REQUIRED_KEYS] = {
    "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB" "Menu\xBC\xFC",                 // 请在5秒内输入Menu键
    "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB" "Back\xBC\xFC",                 // 请在5秒内输入Back键
    "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL+ \xBC\xFC", // 请在5秒内输入音量 VOL+ 键
    "\xC7\xEB\xD4\xDA" "5" "\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL- \xBC\xFC", // 请在5秒内输入音量 VOL- 键
};
// clang-format on

struct KeyLabel {
    int key;
    const char* text;
};

const KeyLabel kKeyLabels[] = {
    { VK_Select, "input: VK_Select" },
    { VK_Menu, "input: VK_Menu" },
    { VK_Home, "input: VK_Home" },
    { VK_Back, "input: VK_Back" },
    { VK_Escape, "input: VK_Escape" },
    { VK_Right, "input: VK_Right" },
    { VK_Left, "input: VK_Left" },
    { VK_Up, "input: VK_Up" },
    { VK_Down, "input: VK_Down" },
    { VK_Power, "input: VK_Power" },
    { VK_Sleep, "input: VK_Sleep" },
    { VK_VolUp, "input: VK_VolUp" },
    { VK_VolDown, "input: VK_VolDown" },
    { VK_Previous, "input: VK_Previous" },
    { VK_Next, "input: VK_Next" },
    { VK_Mute, "input: VK_Mute" },
    { VK_PlayPause, "input: VK_PlayPause" },
    { VK_Stop, "input: VK_Stop" },
    { VK_PrtScr, "input: VK_PrtScr" },
};

MsgLoop* loop()
{
    return GuiRT::instance();
}

void stopCountdown()
{
    int& timer = g_linuxEventMouse.keyTestTimer;
    if (timer != 0) {
        if (MsgLoop* l = loop())
            l->delTimer(timer);
        timer = 0;
    }
}

}

const char* inputPrompt(int i)
{
    return (i >= 0 && i < INPUT_REQUIRED_KEYS) ? kPrompts[i] : "";
}

InputItem::InputItem(char* name)
    : TestItem(name, false)
{
    s_input = this;
}

InputItem::~InputItem()
{
    // The layer and the countdown must not reach a deleted test.
    if (s_input == this) {
        stopCountdown();
        ticks = 0;
        s_input = nullptr;
    }
}

void InputItem::Message(const char* text)
{
    if (m_log)
        m_log->Message("%s", text);
}

void InputItem::restartCountdown()
{
    stopCountdown();
    if (MsgLoop* l = loop())
        g_linuxEventMouse.keyTestTimer = l->addTimer(1000, InputCheckProc, this);
    ticks = 0;
}

int InputItem::execute(Log* log)
{
    m_log = log;
    Message(kPressKeys);
    for (RequiredKey& k : test_key)
        k.pressed = 0;
    Message(kPrompts[0]);
    restartCountdown();
    result = -1;
    return -1;
}

void InputItem::checkKey(int key)
{
    // Keys count only while the test waits for them: before its first run and
    // after its verdict, releases are the operator's navigation, and their
    // lines would land in another test's log.
    if (g_linuxEventMouse.keyTestTimer == 0)
        return;

    char line[50];
    const char* label = nullptr;
    for (const KeyLabel& l : kKeyLabels) {
        if (l.key == key)
            label = l.text;
    }
    if (label)
        snprintf(line, sizeof line, "%s", label);
    else
        snprintf(line, sizeof line, "input: %c", key);
    Message(line);

    RequiredKey* required = nullptr;
    for (RequiredKey& k : test_key) {
        if (k.key == key)
            required = &k;
    }
    if (!required)
        return;
    required->pressed = 1;

    for (int i = 0; i < INPUT_REQUIRED_KEYS; ++i) {
        if (!test_key[i].pressed) {
            // Each newly awaited key gets a full countdown.
            Message(kPrompts[i]);
            restartCountdown();
            return;
        }
    }

    stopCountdown();
    ticks = 0;
    setResult(0);
    postTestFinished();
}

void InputCheckProc(void* arg, int timerId)
{
    if (timerId == 0 || timerId != g_linuxEventMouse.keyTestTimer)
        return;
    ++ticks;
    if (ticks <= INPUT_COUNTDOWN_SECONDS) {
        char count[16];
        snprintf(count, sizeof count, "%d", ticks);
        static_cast<InputItem*>(arg)->Message(count);
        return;
    }
    stopCountdown();
    ticks = 0;
    if (s_input)
        s_input->setResult(1);
    postTestFinished();
}
