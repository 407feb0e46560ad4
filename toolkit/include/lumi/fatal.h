#pragma once
// Programming errors (an index past the end, a nameless test, a paint before
// a grid has a size, an answer to a question nobody asked) stop the program
// the way a failed standard assertion does, with the same line on stderr
// ("PROGRAM: SOURCE:LINE: FUNCTION: Assertion `CONDITION' failed."), in every
// build type: the device runs an optimised build, and a factory tool that
// carried on would record verdicts nobody asked for. Source, line and
// function are given by the caller, so the text that crash logs are matched
// against stays fixed wherever the check moves to.

namespace lumi {

// Prints the assertion line (after what stdout holds) and aborts.
[[noreturn]] void fatalAssertion(
    const char* condition, const char* source, unsigned int line, const char* function);

}

// The one fatal check: on failure it reports the condition's text as written.
#define LUMI_ASSERT(condition, source, line, function)                                                       \
    ((condition) ? static_cast<void>(0) : ::lumi::fatalAssertion(#condition, source, line, function))
