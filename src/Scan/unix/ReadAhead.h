#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Scan/unix/AheadDirectory.h"
#include "Scan/unix/WalkBounds.h"

/// Reads directories and attributes ahead of the scan thread, on helper threads.
///
/// What a directory holds becomes known in blocks: names first, then the attributes of each
/// block by any helper, and the directories among them are opened and read in turn. Helpers
/// always begin with what the walk will need first. The scan thread takes entries strictly in
/// the order of the plain walk; what it needs and nobody has begun it does itself, so that it
/// never waits for work that waits. It alone runs filters and statistics.
///
/// Bounded: what is known and not yet taken has at most 16 MiB, and what the
/// helpers hold at that moment; directories are opened ahead up to half of the descriptors that
/// the process may have; beyond a bound helpers wait and the scan thread goes on by itself.
///
/// The streams below are used by several threads at once, see DirectoryStream.
class ReadAhead : public std::enable_shared_from_this<ReadAhead> {
public:
    static constexpr unsigned kMostHelpers = 256;

    /// A root that reads as `root` does, with so many helper threads, which keep to the bounds
    /// of the walk. They end with the last of the streams that come from it.
    [[nodiscard]] static std::unique_ptr<DirectoryStream> over(
        std::unique_ptr<DirectoryStream> root, unsigned helpers, const WalkBounds& bounds);

    ReadAhead(const WalkPlace& place, WalkBounds bounds);
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // What follows is for the streams, on the scan thread.

    /// The next block of a directory; null at the end of its names.
    [[nodiscard]] std::shared_ptr<AheadBlock> take(AheadDirectory& directory);

    /// Opens the directory if it is not open: 0 or an errno value.
    [[nodiscard]] int open(AheadDirectory& directory);

    /// Nobody will ask for the directory and what lies below it.
    void cancel(const std::shared_ptr<AheadDirectory>& directory);

    /// A block that was taken is used up.
    void release(const AheadBlock& block);

    /// Adds a directory that is open; for `prefixLength` see AheadDirectory.
    [[nodiscard]] std::shared_ptr<AheadDirectory> adopt(std::unique_ptr<DirectoryStream> open,
                                                        int depth, std::size_t prefixLength);

private:
    using Lock = std::unique_lock<std::mutex>;

    void start(unsigned helpers);
    void help();
    void helpUntilStopped(Lock& lock);
    void workOrWait(Lock& lock);
    void work(Lock& lock, const AheadTask& task);
    [[nodiscard]] AheadTasks::iterator firstTask();
    void addTask(AheadTasks::iterator before, std::shared_ptr<AheadDirectory> directory,
                 std::shared_ptr<AheadBlock> block);
    void dropTask(AheadTasks::iterator task);
    void endClaim(AheadDirectory& directory);
    void readNames(Lock& lock, AheadDirectory& directory);
    void list(Lock& lock, AheadDirectory& directory);
    void openClaimed(Lock& lock, AheadDirectory& directory);
    void readAttributes(Lock& lock, AheadDirectory& directory, AheadBlock& block);
    void addBlocks(AheadDirectory& directory,
                   const std::vector<std::shared_ptr<AheadBlock>>& blocks);
    void addChildren(AheadDirectory& directory, AheadBlock& block);
    static void closeIfRead(AheadDirectory& directory);
    void wakeHelpers();
    void cancelLocked(AheadDirectory& directory);
    void giveBack(std::size_t bytes);
    void finished();

    const WalkPlace place;
    const WalkBounds bounds;
    std::size_t mostOpen;  // directories opened ahead
    std::atomic<std::size_t> openCount{0};
    std::atomic<std::size_t> blockSize;

    std::mutex mutex;                    // guards what follows, and all directories and blocks
    std::condition_variable tasksAdded;  // for helpers
    std::condition_variable taskDone;    // for the scan thread
    bool scanWaits = false;
    bool stopping = false;
    bool failed = false;  // a helper had no memory
    std::size_t usedBytes = 0;
    bool full = false;          // from the bound on until a quarter is free again
    AheadTasks tasks;           // in the order of the walk, claimed ones too
    std::size_t unclaimed = 0;  // of them
    std::size_t idle = 0;       // helpers that wait for work
    std::vector<std::thread> threads;
};
