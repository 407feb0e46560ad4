// Runs the program's audio test item on the board without the quick-test
// screen: its printed lines and perror lines in order on standard output, its
// log lines as "log: ..." and its result as "audio RESULT".
//
//     audio-probe [RUNS]     (the item runs RUNS times, default 1)

#include "line_log.h"
#include "testfun/log.hpp"
#include "testfun/testaudio.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

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
