#include "common/ut/makeDirPath.h"

#include <cerrno>
#include <sys/stat.h>

#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

bool isDirectory(const std::string& path) {
    struct stat status {};
    return uninterrupted([&] { return stat(path.c_str(), &status); }) == 0 &&
           S_ISDIR(status.st_mode);
}

int makeDirectory(const std::string& path) {
    if (uninterrupted([&] { return mkdir(path.c_str(), 0755); }) == 0 ||
        (errno == EEXIST && isDirectory(path)))
        return 0;
    return -1;
}

}  // namespace

int makeDirPath(const std::string& path) {
    FoundationScope scope("makeDirPath");
    if (path.empty()) {
        errno = EINVAL;
        return -1;
    }
    if (isDirectory(path))
        return 0;

    // From the top down, one level at a time: no depth of the path can exhaust the stack.
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        if (makeDirectory(path.substr(0, slash)) != 0)
            return -1;
    }
    return makeDirectory(path);
}
