// Runs the program's audio test item on the board without the quick-test
// screen: its printed lines and perror lines in order on standard output, its
// log lines as "log: ..." and its result as "audio RESULT".
//
//     audio-probe [RUNS]     (the item runs RUNS times, default 1)

#include "testfun/log.hpp"
#include "testfun/testaudio.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

class PrintLog final : public Log {
public:
    __attribute__((format(printf, 2, 3))) void Message(const char* fmt, ...) override
    {
        char text[1024];
        va_list args;
        va_start(args, fmt);
        vsnprintf(text, sizeof text, fmt, args);
        va_end(args);
        printf("log: %s\n", text);
    }
};

char kName[] = "audio";

}

int main(int argc, char** argv)
{
    // One stream, so that the perror lines keep their place among the others.
    dup2(1, 2);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const int runs = argc > 1 ? std::atoi(argv[1]) : 1;
    PrintLog log;
    for (int i = 0; i < runs; ++i) {
        TestAUDIO item(kName);
        printf("audio %d\n", item.execute(&log));
    }
    printf("done\n");
    return 0;
}
