#include "Scan/unix/WalkBounds.h"

#include <cstring>

namespace {

constexpr std::string_view kSnapshot = ".snapshot";  // as part of a name
constexpr char kGridCopy[] = ".gridcopy";

}  // namespace

WalkBounds::WalkBounds(std::string_view root, const std::string& snapshotDirectory,
                       bool skipGridCopies, std::size_t longest)
    : isInsideSnapshot(root.find(kSnapshot) != std::string_view::npos),
      gridCopiesAreSkipped(skipGridCopies),
      longestPath(longest) {
    std::string start(root);
    if (!start.ends_with('/'))
        start += '/';
    lengthOfRoot = start.size();
    if (snapshotDirectory.starts_with(start))
        snapshotName = snapshotDirectory.substr(start.size());
}

bool WalkBounds::passesOver(const char* name) const {
    return gridCopiesAreSkipped && std::strcmp(name, kGridCopy) == 0;
}

// Meant: the whole path counts, so a mount point of that name loses all its directories.
bool WalkBounds::isSnapshot(std::string_view name) const {
    return isInsideSnapshot || (!snapshotName.empty() && name == snapshotName) ||
           name.find(kSnapshot) != std::string_view::npos;
}

bool WalkBounds::leavesOut(std::int32_t depth, std::string_view name,
                           std::size_t length) const {
    return depth + 1 >= kMaxComponents || length > longestPath ||
           (depth == 0 && isSnapshot(name));
}
