#pragma once

#include <sys/types.h>

/// A command line for "/bin/sh -c". The texts are not owned and must last until
/// startShell() returns.
struct ShellCommand {
    const char* text = "";
    const char* stdoutPath = nullptr;    // file that takes standard output, null for none
    const char* stderrPath = nullptr;    // file that takes standard error, null for none
    bool append = false;                 // to the files, which are emptied otherwise
    int stdoutDescriptor = -1;           // takes standard output, -1 for none
    char* const* environment = nullptr;  // ends in null; null for that of this process
};

/// Starts a shell that runs the command: its process id, or -1 with `errno` of fork().
///
/// The child owns nothing of this process: no descriptor above 2, no signal blocked, all
/// signals with their default action. One that cannot open its files or start the shell
/// says so on standard error and ends with exit code 71. Any thread.
[[nodiscard]] pid_t startShell(const ShellCommand& command);

/// Waits for the end of a child, however many signals arrive: 0 and its wait status, or -1
/// with `errno`.
[[nodiscard]] int waitForChild(pid_t child, int& status);
