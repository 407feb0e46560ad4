#pragma once
// Programming errors (a nameless test, a paint before the grid has a size, an
// answer to a question nobody asked) stop the program the way a failed
// standard assertion does, with the same line on stderr, in every build type:
// the device runs an optimised build, and a factory tool that carried on
// would record verdicts nobody asked for. The source name and line are given
// by the caller so the text that crash logs are matched against stays fixed.

[[noreturn]] void fatalAssertion(const char* condition, const char* source, unsigned int line,
    const char* function);

// Checks condition; on failure reports its text as written.
#define PEL_ASSERT(condition, source, line, function)                                                       \
    ((condition) ? static_cast<void>(0) : fatalAssertion(#condition, source, line, function))
