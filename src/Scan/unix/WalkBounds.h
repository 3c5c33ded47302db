#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What a walk leaves out although it lies on its file system. The walker and those who read
/// ahead of it ask the same object, so that nobody looks into what the walk does not want to
/// see: a snapshot may be mounted by being looked at, and a call into it may hang.
///
/// Unchanged during a walk; any thread.
class WalkBounds {
public:
    static constexpr std::int32_t kMaxComponents = 200;  // levels below the root

    /// No bounds but the depth.
    WalkBounds() = default;

    /// `root` is the reported path of the walk's root. `snapshotDirectory` is the full path of
    /// a directory below it that holds snapshots, empty for none. `longest` is the number of
    /// characters up to which a reported path can be used.
    WalkBounds(std::string_view root, const std::string& snapshotDirectory, bool skipGridCopies,
               std::size_t longest);

    /// True for an entry that is passed over wherever it is: it is neither asked for nor
    /// counted.
    [[nodiscard]] bool passesOver(const char* name) const;

    /// True for a directory of snapshots among the entries of the root.
    [[nodiscard]] bool isSnapshot(std::string_view name) const;

    /// True if the walk does not enter a directory `name`, which is in a directory `depth`
    /// levels below the root (0: in the root) and whose path has `length` characters.
    [[nodiscard]] bool leavesOut(std::int32_t depth, std::string_view name,
                                 std::size_t length) const;

    /// Characters of the root's path with a "/" at its end.
    [[nodiscard]] std::size_t rootLength() const { return lengthOfRoot; }

private:
    std::string snapshotName;       // of an entry of the root; empty for none
    bool isInsideSnapshot = false;  // the root's own path names a snapshot
    bool gridCopiesAreSkipped = false;
    std::size_t lengthOfRoot = 1;
    std::size_t longestPath = static_cast<std::size_t>(-1);
};
