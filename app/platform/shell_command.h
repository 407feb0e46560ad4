#pragma once
// The program runs shell commands ("poweroff", "rm <socket>", the network
// tools of the device tests) through system() or popen(). They go through
// this one module so that tests can see them without running them: a test
// must never power the machine off or touch the host's network.

#include <cstdio>

using ShellCommandRunner = int (*)(const char* command);

// Runs command with system() (or the runner a test installed); returns its result.
int runShellCommand(const char* command);

// Installs runner (null: system() again) and returns the previous one.
ShellCommandRunner setShellCommandRunner(ShellCommandRunner runner);

// A command whose output the program reads, as popen(command, "r") gives it.
// A test's opener returns any readable stream (a file with the output it
// scripts) or null for a pipe that cannot be opened.
using ShellPipeOpener = FILE* (*)(const char* command);

// Starts command with its standard output readable from the stream returned
// (popen, or the opener a test installed); null when it cannot be started.
FILE* openShellPipe(const char* command);
// Closes a stream of openShellPipe: pclose for a real pipe (waits for the
// command), fclose for a test's stream. Returns that call's result.
int closeShellPipe(FILE* pipe);

// Installs opener (null: popen() again) and returns the previous one. Streams
// opened before the change are still closed the way they were opened.
ShellPipeOpener setShellPipeOpener(ShellPipeOpener opener);
