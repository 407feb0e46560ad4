#pragma once
// Process-level helpers of the platform library.

// Installs handlers for the fatal signals (SIGSEGV, SIGBUS, SIGILL, SIGFPE,
// SIGABRT) that print the signal and a backtrace on stderr, then re-raise
// the signal with its default action. Returns 0.
int install_sigchk();

// Writes one timestamped line to stderr ("[seconds.micros] text"); a
// missing final newline is added.
void do_log_debug(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
