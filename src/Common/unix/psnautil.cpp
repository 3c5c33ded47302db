#include "Common/unix/psnautil.h"

#include <cerrno>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "common/ut/TraceScope.h"

std::string stripQuotes(const std::string& text) {
    TraceScope scope("stripQuotes");
    if (text.size() <= 2 || text.front() != '"' || text.back() != '"')
        return text;
    return text.substr(1, text.size() - 2);
}

bool psFileExists(const std::string& path) {
    TraceScope scope("psFileExists");
    const bool exists = access(stripQuotes(path).c_str(), F_OK) == 0;
    if (exists)
        trTrace(naMin, "File %s exists\n", path.c_str());
    else
        trTrace(naMin, "Files %s does not exists\n", path.c_str());
    return exists;
}

int psRemoveFile(const std::string& path) {
    TraceScope scope("psRemoveFile");
    return unlink(path.c_str()) == 0 ? 0 : errno;
}

int psFileSize(const std::string& path, std::int64_t& size) {
    TraceScope scope("psFileSize");
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno;
    size = status.st_size;
    return 0;
}

bool psIsAbsolutePath(const std::string& path) {
    return path.starts_with('/');
}

std::int64_t currentMilliseconds() {
    struct timeval now {};
    gettimeofday(&now, nullptr);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_usec / 1000;
}

std::int64_t currentSeconds() {
    return currentMilliseconds() / 1000;
}
