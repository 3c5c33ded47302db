#pragma once

#include <cstdint>
#include <map>
#include <string>

/// Makes the names of log and trace files that carry an instance number, such as
/// "scan_000007.log". Lives for a single naming step.
class LogUtil {
public:
    void setMaxSize(std::int32_t kilobytes) { maxSize = kilobytes; }

    /// The files of `directory` named component, one character, six digits, extension; by
    /// their number. Empty if the directory cannot be read.
    [[nodiscard]] static std::map<int, std::string> getMatchingFilesMap(
        const std::string& directory, const std::string& component,
        const std::string& extension);

    /// The name, without directory, of the next file. With `reuse` the newest instance goes
    /// on while more than 1023 bytes of its size limit are left.
    [[nodiscard]] std::string getNextLogName(const std::string& directory,
                                             const std::string& component,
                                             const std::string& extension, bool reuse) const;

private:
    [[nodiscard]] bool hasRoom(const std::string& path) const;

    std::int32_t maxSize = 1024;  // kilobytes
};
