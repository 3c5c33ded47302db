#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Common/AgentArgs.h"

/// The channels between a job and its agent: the start status, the job file, and the
/// program that tells the server of the end. None of their failures stops a job.

/// Writes one character to the agent's descriptor; nothing if that is -1.
void sendAgentStartStatus(int descriptor, char status);

/// Makes the job file; its path, empty if none was made. None is made yet.
[[nodiscard]] std::string createJobFile(int component, AgentArgs& args, int scheduled);

/// Adds the end of the job to the job file; an `endTime` of -1 (seconds) stands for now.
void updateJobFile(const std::string& path, std::int32_t exitCode, std::int64_t endTime);

/// A program that was started.
struct ExternalProgram {
    std::int32_t pid = -1;
    std::string stdoutPath;  // file that takes its output, with capture
    std::string stderrPath;
};

/// Starts a program through the shell: 0, or 71. No program is started yet: always 71.
[[nodiscard]] int SpawnExternalProgram(const std::vector<std::string>& arguments,
                                       ExternalProgram& program, bool capture, bool quote,
                                       bool append, char* const* environment);

/// Waits at most `limit` seconds (0: for ever), then kills it: 0, 68, 74 or -1.
[[nodiscard]] int WaitForExternalProgram(ExternalProgram& program, int& exitCode,
                                         unsigned limit);
