#include "Common/LogUtil.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

#include "Common/unix/psnautil.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kInstanceDigits = 6;

constexpr std::size_t kRunDigits = 4;
constexpr std::int64_t kDay = 86400;  // seconds

/// The number in so many digits from `start` on, -1 if there are other characters.
int digitsAt(const std::string& name, std::size_t start, std::size_t count) {
    if (name.size() < start + count)
        return -1;
    const std::string digits = name.substr(start, count);
    const bool number =
        std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    return number ? std::stoi(digits) : -1;
}

/// The instance number of a file name, -1 if the name is none of the component's.
int instanceOf(const std::string& name, const std::string& component,
               const std::string& extension) {
    const std::size_t dot = name.rfind('.');
    if (!name.starts_with(component) || dot == std::string::npos ||
        name.substr(dot) != extension)
        return -1;
    return digitsAt(name, component.size() + 1, kInstanceDigits);
}

/// The number of the schedule run in a file name, -1 if the name is none of the job's.
int runOf(const std::string& name, const std::string& jobName, const std::string& component) {
    trTrace(naMax, "file %s, job %s\n", name.c_str(), jobName.c_str());
    if (!name.starts_with(jobName))
        return -1;
    const std::size_t bar = name.find('_', jobName.size());
    if (bar == std::string::npos || name.compare(bar + 1, component.size(), component) != 0)
        return -1;
    return digitsAt(name, jobName.size() + 1, kRunDigits);
}

/// The files of a directory to whose names `numberOf` gives a number of 0 or more.
template <class NumberOf>
LogUtil::Files collect(const std::string& directory, const NumberOf& numberOf) {
    LogUtil::Files files;
    std::error_code failure;
    std::filesystem::directory_iterator entry(directory, failure);
    while (!failure && entry != std::filesystem::directory_iterator()) {
        const std::string name = entry->path().filename().string();
        const int number = numberOf(name);
        if (number >= 0)
            files[number] = std::string(directory).append("/").append(name);
        entry.increment(failure);
    }
    if (files.empty())
        trTrace(naMin, "Found no matching file\n");
    return files;
}

}  // namespace

LogUtil::Files LogUtil::getMatchingFilesMap(const std::string& directory,
                                            const std::string& component,
                                            const std::string& extension) {
    TraceScope scope("LogUtil::getMatchingFilesMap");
    return collect(directory, [&](const std::string& name) {
        return instanceOf(name, component, extension);
    });
}

LogUtil::Files LogUtil::getRunFilesMap(const std::string& directory, const std::string& jobName,
                                       const std::string& component) {
    TraceScope scope("LogUtil::getRunFilesMap");
    return collect(directory,
                   [&](const std::string& name) { return runOf(name, jobName, component); });
}

std::string LogUtil::getNextLogName(const std::string& directory, const std::string& component,
                                    const std::string& extension, bool reuse) {
    TraceScope scope("LogUtil::getNextLogName");
    const Files files = getMatchingFilesMap(directory, component, extension);
    int instance = 1;
    if (!files.empty()) {
        const auto& [newest, path] = *files.rbegin();
        newFile = !reuse || !hasRoom(path);
        instance = newFile ? newest + 1 : newest;
    }
    return component + "_" + zeroPadded(instance, kInstanceDigits) + extension;
}

bool LogUtil::hasRoom(const std::string& path) const {
    TraceScope scope("LogUtil::hasRoom");
    constexpr std::int32_t leastRoom = 1023;  // bytes
    std::int64_t size = 0;
    if (psFileSize(path, size) != 0) {
        trTrace(naMin, "psFileSize failed on  = %s\n", path.c_str());
        return false;
    }
    // In 32 bits, as the limit is: a limit of 2 GiB wraps.
    const std::uint32_t limit = static_cast<std::uint32_t>(maxSize) << 10U;
    return static_cast<std::int32_t>(limit - static_cast<std::uint32_t>(size)) > leastRoom;
}

void LogUtil::purgeLogFiles(const Files& files, Mode mode) const {
    TraceScope scope("LogUtil::purgeLogFiles");
    if (mode == KEEP_LOGS && maxNumDays >= 1)
        purgeOldFiles(files);

    const std::int64_t limit = mode == KEEP_LOGS ? maxNumLogs : maxNumRuns;
    std::int64_t surplus = static_cast<std::int64_t>(files.size()) + (newFile ? 1 : 0) - limit;
    for (const auto& [number, path] : files) {
        if (surplus-- < 1)
            return;
        trTrace(naMin, "File \"%s\" with run number %d will be deleted\n", path.c_str(),
                number);
        static_cast<void>(psRemoveFile(path));
    }
}

void LogUtil::purgeOldFiles(const Files& files) const {
    TraceScope scope("LogUtil::purgeOldFiles");
    const std::int64_t oldest = currentSeconds() - maxNumDays * kDay;
    for (const auto& [number, path] : files) {
        struct stat status {};
        if (stat(path.c_str(), &status) != 0 || status.st_mtime >= oldest)
            continue;
        trTrace(naMin, "File \"%s\" will be deleted\n", path.c_str());
        static_cast<void>(psRemoveFile(path));
    }
}
