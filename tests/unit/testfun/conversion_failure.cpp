// The switch that makes str2utf8 fail. The executable is linked with
// --wrap of str2utf8's symbol, so every call from the program's code lands
// here first.

#include "testfun_support.h"

#include "platform/charset.h"

namespace {

int s_failNext = 0;
int s_failed = 0;

}

// The mangled name of char* str2utf8(const char*, int*, unsigned short),
// which the linker's --wrap option works on.
extern "C" char* __real__Z8str2utf8PKcPit(const char* text, int* length, unsigned short charset);

extern "C" char* __wrap__Z8str2utf8PKcPit(const char* text, int* length, unsigned short charset)
{
    if (s_failNext > 0) {
        --s_failNext;
        ++s_failed;
        return nullptr;
    }
    return __real__Z8str2utf8PKcPit(text, length, charset);
}

namespace testfuntest {

void failConversions(int count)
{
    s_failNext = count;
}

int failedConversions()
{
    return s_failed;
}

}
