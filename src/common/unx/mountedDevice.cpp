#include "common/unx/mountedDevice.h"

#include <fstream>
#include <sstream>
#include <sys/sysmacros.h>

#include "common/ut/TraceScope.h"

namespace {

/// A mount point as the table writes it: blanks and the like as "\040".
std::string unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

bool holds(const std::string& mountPoint, const std::string& path) {
    if (!path.starts_with(mountPoint))
        return false;
    return mountPoint.ends_with('/') || path.size() == mountPoint.size() ||
           path[mountPoint.size()] == '/';
}

}  // namespace

std::uint64_t mountedDevice(const std::string& path) {
    FoundationScope scope("mountedDevice");
    return mountedDevice(path, "/proc/self/mountinfo");
}

std::uint64_t mountedDevice(const std::string& path, const std::string& table) {
    std::ifstream rows(table);
    std::uint64_t device = 0;
    std::size_t longest = 0;
    for (std::string row; std::getline(rows, row);) {
        std::istringstream cells(row);
        std::string cell;
        std::string mountPoint;
        unsigned major = 0;
        unsigned minor = 0;
        char colon = 0;
        cells >> cell >> cell >> major >> colon >> minor >> cell >> mountPoint;
        mountPoint = unescaped(mountPoint);
        // Of several mounts at one place the last row is the visible one.
        if (!cells || !holds(mountPoint, path) || mountPoint.size() < longest)
            continue;
        longest = mountPoint.size();
        device = makedev(major, minor);
    }
    return device;
}
