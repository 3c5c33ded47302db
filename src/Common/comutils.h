#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Common/AgentArgs.h"

/// The channels between a job and its agent: the start status, and the program that tells the
/// server of the end; the third is in jobFile.h. None of their failures stops a job. Main
/// thread only.

/// Forgets the agent's descriptor if none is open under its number: a file that the job
/// opens later would take that number, and the status. Call it before the first is opened.
void checkAgentDescriptor(AgentArgs& args);

/// Writes one character to the agent's descriptor, which stays open; nothing if that is -1.
void sendAgentStartStatus(int descriptor, char status);

/// A program that was started.
struct ExternalProgram {
    std::int32_t pid = -1;   // of the shell that runs it
    std::string stdoutPath;  // files that take its output; empty: ours takes it
    std::string stderrPath;
};

/// Starts a program, `arguments[0]`, through the shell: 0, or 71.
///
/// With `quote` each argument arrives as it stands, whatever bytes it has; without, the
/// shell reads all but the program. A program with a ";" outside double quotes is a command
/// for the shell. With `capture` an empty output path gets the name of a new file, which
/// the caller removes; with `append` existing output files grow. The environment ends in
/// null; a null one stands for ours.
[[nodiscard]] int SpawnExternalProgram(const std::vector<std::string>& arguments,
                                       ExternalProgram& program, bool capture, bool quote,
                                       bool append, char* const* environment);

/// The same in two steps, for callers that must not need memory when the time comes: a command
/// line that is put together beforehand, and its start.
///
/// addToCommand() adds an argument, the program first, as SpawnExternalProgram() reads it. It
/// takes no memory if `command` has room for a blank, two quotes, and the bytes of the
/// argument, four for each apostrophe in it.
void addToCommand(std::string& command, std::string_view argument, bool quote);

/// Starts a command line: 0, or 71. Takes no memory.
[[nodiscard]] int SpawnCommand(const std::string& command, ExternalProgram& program,
                               bool append, char* const* environment);

/// Waits for the end of the program and stores its exit code, or the number of the signal
/// that ended it: 0. After `limit` seconds (0: never) on the monotonic clock the shell is
/// killed: 68, or -1 if that fails. 74 if waiting fails. No signal ends the wait. Takes no
/// memory.
[[nodiscard]] int WaitForExternalProgram(const ExternalProgram& program, int& exitCode,
                                         unsigned limit);

/// Writes a text to standard output.
void cuMsgOut(const std::string& text);
