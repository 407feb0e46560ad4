#pragma once
// A log for tests and probes that formats each line of the program's items
// itself and hands it on whole: the subclass says only where a line goes.

#include "testfun/log.hpp"

#include <cstdarg>
#include <cstdio>

class LineLog : public Log {
public:
    __attribute__((format(printf, 2, 3))) void Message(const char* fmt, ...) final
    {
        char text[2048];
        va_list args;
        va_start(args, fmt);
        vsnprintf(text, sizeof text, fmt, args);
        va_end(args);
        line(text);
    }

protected:
    // One formatted line, cut at 2047 bytes.
    virtual void line(const char* text) = 0;
};

// Prints every line as "log: LINE" on standard output, where a probe's
// caller reads it among the item's own printed lines.
class PrintLog final : public LineLog {
protected:
    void line(const char* text) override { printf("log: %s\n", text); }
};
