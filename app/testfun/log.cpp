#include "testfun/log.hpp"

#include "platform/charset.h"
#include "shell/notify_protocol.h"

#include <lumi/app.h>
#include <lumi/controls.h>
#include <lumi/fatal.h>
#include <lumi/message.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Formatted text of one log line; the buffer has a few bytes more so that
// the newline and the 0 byte always fit after a line that fills it.
constexpr size_t kLogLineSize = 1024;

}

TestItem::TestItem(char* name, bool autoRun)
{
    // The line the device prints: source "testfun/log", line 52, checked in
    // release builds too, which the device runs: a nameless test is a
    // programming error that must stop the program there.
    LUMI_ASSERT(name && strlen(name), "testfun/log", 52, "TestItem::TestItem(char*, bool)");
    int length = static_cast<int>(strlen(name));
    this->name = str2utf8(name, &length, CHARSET_GBK);
    this->autoRun = autoRun;
    tested = false;
}

TestItem::~TestItem()
{
    free(name);
    name = nullptr;
}

const char* TestItem::getName()
{
    return name;
}

int TestItem::getResult()
{
    return result;
}

void TestItem::setResult(int value)
{
    result = value;
}

bool TestItem::isAutoRun()
{
    return autoRun;
}

void TestItem::setTested(bool value)
{
    tested = value;
}

bool TestItem::getTested()
{
    return tested;
}

void EditLog::Message(const char* fmt, ...)
{
    if (!edit || !fmt)
        return;

    char line[kLogLineSize + 4];
    va_list args;
    va_start(args, fmt);
    const int rc = vsnprintf(line, kLogLineSize, fmt, args);
    va_end(args);
    if (rc < 0)
        line[0] = '\0'; // an encoding error leaves the buffer undefined: an empty line

    // Kept: the newline goes after whatever was formatted, without shortening
    // a line that fills the 1024 bytes first.
    const size_t n = strlen(line);
    if (m_observer)
        m_observer(line);
    line[n] = '\n';
    line[n + 1] = '\0';

    int length = static_cast<int>(n + 1);
    if (char* utf8 = str2utf8(line, &length, CHARSET_GBK)) {
        edit->replaceText(utf8);
        free(utf8);
    }

    // Once there are more than eight lines, scroll so that the newest line is
    // the last one shown.
    int first = 0;
    int last = 0;
    edit->visibleLines(&first, &last);
    const int count = edit->lineCount();
    if (count > 8)
        edit->setTopLine(count - (last - first));

    // The test that writes is running inside an event handler: paint now, not
    // when the loop next runs.
    edit->updateWindow();
}

int demoTestItem::s_result = 0;

demoTestItem::demoTestItem(char* name)
    : TestItem(name, false)
{
    outcome = s_result % 3;
    ++s_result;
}

int demoTestItem::execute(Log* log)
{
    if (log) {
        log->Message("Test: %s", name);
        log->Message("Test: waiting %s", name);
        log->Message("Test: waiting0 ....%s", name);
    }
    switch (outcome) {
    case 1:
        return 1;
    case 2:
        return 2;
    default:
        return 0;
    }
}

int postTestFinished()
{
    GuiApp* app = theGuiApp();
    WndBase* window = app ? app->getWndById(PEL_MAIN_WND_ID) : nullptr;
    if (!window)
        return -1;
    app->addMsg(LUMIMessage(window, MSG_PEL_NOTIFY, PEL_NOTIFY_TEST_FINISHED));
    return 0;
}
