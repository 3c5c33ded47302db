#pragma once

#include <cstdint>
#include <map>
#include <string>

/// Makes the names of log and trace files that carry an instance number, such as
/// "scan_000007.log", and removes old files. Lives for a single naming step. Main thread.
class LogUtil {
public:
    using Files = std::map<int, std::string>;  // number to path

    /// Modes of purgeLogFiles(): which limit counts.
    enum Mode : int { KEEP_LOGS = 1, KEEP_RUNS = 2 };

    void setMaxNumLogs(std::int32_t files) { maxNumLogs = files; }
    void setMaxNumRuns(std::int32_t runs) { maxNumRuns = runs; }
    void setMaxNumDays(std::int32_t days) { maxNumDays = days; }
    void setMaxSize(std::int32_t kilobytes) { maxSize = kilobytes; }
    void setNewFile(bool isNew) { newFile = isNew; }

    /// The files of `directory` named component, one character, six digits, extension; by
    /// their number. Empty if the directory cannot be read.
    [[nodiscard]] static Files getMatchingFilesMap(const std::string& directory,
                                                   const std::string& component,
                                                   const std::string& extension);

    /// The files of `directory` of all runs of a job, with any extension: named job, one
    /// character, four digits, and behind the next "_" the component; by the number of
    /// their schedule run. Of several files of one number the one read last stands.
    [[nodiscard]] static Files getRunFilesMap(const std::string& directory,
                                              const std::string& jobName,
                                              const std::string& component);

    /// The name, without directory, of the next file. With `reuse` the newest instance goes
    /// on while more than 1023 bytes of its size limit are left.
    [[nodiscard]] std::string getNextLogName(const std::string& directory,
                                             const std::string& component,
                                             const std::string& extension, bool reuse);

    /// Deletes what is older than the limit of days, then, lowest numbers first, what is
    /// more than the limit of the mode, a new file counted. Failures are passed over.
    void purgeLogFiles(const Files& files, Mode mode) const;

private:
    [[nodiscard]] bool hasRoom(const std::string& path) const;

    void purgeOldFiles(const Files& files) const;

    std::int32_t maxNumLogs = 8;
    std::int32_t maxNumRuns = 5;
    std::int32_t maxNumDays = 90;
    std::int32_t maxSize = 1024;  // kilobytes
    bool newFile = false;         // the next name stands for a file that does not exist yet
};
