#pragma once

#include <string>
#include <vector>

/// Runs one command through the shell with its output in files:
///
///     CmdExecer command({"/bin/sh", "-c", "\"ls /\""}, "", "", false);
///     if (command.execute() != -1)
///         read(command.getSysOutFile());
///
/// For a single run. Main thread.
class CmdExecer {
public:
    /// Joins the arguments with blanks; the shell reads them, and with `quote` takes each
    /// as it stands. Output is appended to the two files. For an empty path the object
    /// makes a file of its own and removes it when it goes.
    CmdExecer(const std::vector<std::string>& arguments, const std::string& outPath,
              const std::string& errPath, bool quote);
    ~CmdExecer();
    CmdExecer(const CmdExecer&) = delete;
    CmdExecer& operator=(const CmdExecer&) = delete;

    static constexpr unsigned kUsualLimit = 60;  // seconds

    /// Runs the command and waits for it: its exit code; -1 if it could not be run; the
    /// wait status if a signal ended the shell. After `limit` seconds, and when the job is
    /// told to stop, the command is killed with all that it started in its group: -1.
    [[nodiscard]] int execute(unsigned limit = kUsualLimit);

    /// The file with the command's output, in double quotes if it holds a blank.
    [[nodiscard]] const std::string& getSysOutFile() const { return sysOutFile; }

private:
    std::string sysOutFile;
    std::string sysErrFile;
    std::string cmdLine;  // empty if there is nothing to run
    bool sysOutFileIsTemp = false;
    bool sysErrFileIsTemp = false;
};
