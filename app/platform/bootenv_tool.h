#pragma once
// uishull-bootenv: service access to the boot loader's environment through
// the direct path (the same loading, checking and writing back as the
// program's), on the device's partitions or on image files.

#include <cstdio>

enum BootenvExit {
    BOOTENV_EXIT_OK = 0,
    BOOTENV_EXIT_FAILED = 1, // no valid environment, no such variable, no room, cannot write
    BOOTENV_EXIT_USAGE = 2,
};

// The command line described by bootenvUsage(). Results go to out, errors
// (one line, prefixed "uishull-bootenv: ") to err; the store's own
// diagnostics go to standard output as the program prints them.
int runBootenvTool(int argc, char** argv, FILE* out, FILE* err);

const char* bootenvUsage();
