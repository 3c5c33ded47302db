#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <sys/types.h>

/// Programs that this process starts, and waiting for them within limits.

/// The shell that reads commands: `{kShell, "-c", command, nullptr}`.
inline constexpr char kShell[] = "/bin/sh";

/// A program to start. Nothing is owned, and all must last until startProgram() returns.
struct ChildProgram {
    const char* const* arguments = nullptr;  // the program's path first; ends in null
    const char* stdoutPath = nullptr;        // file that takes standard output, null for none
    const char* stderrPath = nullptr;        // file that takes standard error, null for none
    bool append = false;                     // to the files, which are emptied otherwise
    int stdoutDescriptor = -1;               // takes standard output, -1 for none
    char* const* environment = nullptr;      // ends in null; null for that of this process
    bool ownGroup = false;  // leads a process group of its own, and dies with this process
    bool quiet = false;     // standard input and error are /dev/null
};

/// Starts the program: its process id, or -1 with `errno` of fork().
///
/// The child owns nothing of this process: no descriptor above 2, no signal blocked, all
/// signals with their default action. One that cannot open its files or run the program
/// complains on standard error and ends with exit code 71. Takes no memory. Any thread, but
/// with `ownGroup` the child dies with the thread.
[[nodiscard]] pid_t startProgram(const ChildProgram& program);

/// How a wait for a child ended.
enum class ChildWait {
    ENDED,
    TIMED_OUT,
    STOPPED,
    FAILED,  // no such child; or, when it was to be started, it could not be
};

/// What ends a wait before the child ends.
struct WaitLimit {
    std::chrono::milliseconds time{0};        // on the monotonic clock; 0: no limit
    const std::atomic<bool>* stop = nullptr;  // not owned; null: none. Looked at all the time
};

/// Waits for the end of a child, however many signals arrive: ENDED and its wait status, or
/// why the wait is over while the child runs on; FAILED with `errno`. Takes no memory.
[[nodiscard]] ChildWait waitForChild(pid_t child, int& status, const WaitLimit& limit = {});

/// Kills a child that leads its own group, and all of the group. Waits a moment for its end.
void killChildGroup(pid_t child);

/// What a program that was run has printed, and how it ended.
struct ProgramOutput {
    ChildWait wait = ChildWait::FAILED;
    int status = -1;   // the wait status if it ended
    std::string text;  // the beginning of its standard output
};

/// Runs a program of its own group for what it prints, `most` bytes of that. Over the limit it
/// is killed with its group. One that prints more finds its output closed.
[[nodiscard]] ProgramOutput runProgram(ChildProgram program, const WaitLimit& limit,
                                       std::size_t most);

/// The path of a program that lies in an absolute directory of PATH, or of the system's
/// usual ones without PATH; empty if there is none.
[[nodiscard]] std::string findProgram(const std::string& name);
