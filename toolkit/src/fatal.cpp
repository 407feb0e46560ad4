#include <lumi/fatal.h>

#include <cstdio>

// glibc's reporter behind assert(): prints "PROGRAM: SOURCE:LINE: FUNCTION:
// Assertion `CONDITION' failed." and aborts. <assert.h> declares it only
// without NDEBUG, so it is declared here for every build.
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
    const char* function) noexcept __attribute__((__noreturn__));

namespace lumi {

void fatalAssertion(const char* condition, const char* source, unsigned int line, const char* function)
{
    // What the program printed so far belongs before the failure.
    std::fflush(stdout);
    __assert_fail(condition, source, line, function);
}

}
