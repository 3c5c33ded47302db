#include "Common/LogUtil.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "Common/unix/psnautil.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kInstanceDigits = 6;

/// The instance number of a file name, -1 if the name is none of the component's.
int instanceOf(const std::string& name, const std::string& component,
               const std::string& extension) {
    const std::size_t dot = name.rfind('.');
    if (!name.starts_with(component) || dot == std::string::npos ||
        name.substr(dot) != extension)
        return -1;
    if (name.size() < component.size() + 1 + kInstanceDigits)
        return -1;
    const std::string digits = name.substr(component.size() + 1, kInstanceDigits);
    const bool number =
        std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    return number ? std::stoi(digits) : -1;
}

}  // namespace

std::map<int, std::string> LogUtil::getMatchingFilesMap(const std::string& directory,
                                                        const std::string& component,
                                                        const std::string& extension) {
    TraceScope scope("LogUtil::getMatchingFilesMap");
    std::map<int, std::string> files;
    std::error_code failure;
    std::filesystem::directory_iterator entry(directory, failure);
    while (!failure && entry != std::filesystem::directory_iterator()) {
        const std::string name = entry->path().filename().string();
        const int instance = instanceOf(name, component, extension);
        if (instance >= 0)
            files[instance] = std::string(directory).append("/").append(name);
        entry.increment(failure);
    }
    if (files.empty())
        trTrace(naMin, "Found no matching file\n");
    return files;
}

std::string LogUtil::getNextLogName(const std::string& directory, const std::string& component,
                                    const std::string& extension, bool reuse) const {
    TraceScope scope("LogUtil::getNextLogName");
    const std::map<int, std::string> files =
        getMatchingFilesMap(directory, component, extension);
    int instance = 1;
    if (!files.empty()) {
        const auto& [newest, path] = *files.rbegin();
        instance = reuse && hasRoom(path) ? newest : newest + 1;
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
