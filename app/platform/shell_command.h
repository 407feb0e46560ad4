#pragma once
// The program runs a few shell commands ("poweroff", "rm <socket>") through
// system(). They go through this one function so that tests can see them
// without running them: a test must never power the machine off.

using ShellCommandRunner = int (*)(const char* command);

// Runs command with system() (or the runner a test installed); returns its result.
int runShellCommand(const char* command);

// Installs runner (null: system() again) and returns the previous one.
ShellCommandRunner setShellCommandRunner(ShellCommandRunner runner);
