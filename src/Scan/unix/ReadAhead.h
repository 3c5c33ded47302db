#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

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
/// the process may have, less those that others need; beyond a bound helpers wait and the scan
/// thread goes on by itself.
///
/// Failures: whoever lacks a descriptor, or memory in the kernel, leaves its task to the scan
/// thread, whose own answer counts. Without memory of its own any thread leaves all as it was
/// before its task, and the scan thread gets a bad_alloc from the next call here. What is made
/// known to others is prepared first, and then taken over by operations that cannot fail.
///
/// The end: helpers share the object, and end when the streams have gone. Nobody needs then
/// what they are still doing, so one that hangs is not waited for; it keeps what it uses.
///
/// The streams below are used by several threads at once, see DirectoryStream.
class ReadAhead : public std::enable_shared_from_this<ReadAhead> {
public:
    static constexpr unsigned kMostHelpers = 256;

    /// A root that reads as `root` does, with so many helper threads, which keep to the bounds
    /// of the walk. They are told to end with the last of the streams that come from it.
    [[nodiscard]] static std::unique_ptr<DirectoryStream> over(
        std::unique_ptr<DirectoryStream> root, unsigned helpers, const WalkBounds& bounds);

    ReadAhead(const WalkPlace& place, WalkBounds bounds);
    ~ReadAhead() = default;
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

    /// A stream that reads ahead from a directory that is open; for `prefixLength` see
    /// AheadDirectory. `share` is the stream's share of this object.
    [[nodiscard]] std::unique_ptr<DirectoryStream> adopt(std::shared_ptr<ReadAhead> share,
                                                         std::unique_ptr<DirectoryStream> open,
                                                         int depth, std::size_t prefixLength);

private:
    using Lock = std::unique_lock<std::mutex>;
    class Streams;

    /// Whether the walk waits for what is done.
    enum Need { NOW, AHEAD };

    struct Helper {
        std::thread thread;
        bool hasEnded = false;
    };

    void start(unsigned count);
    void stop();
    void help(Helper& self);
    void helpUntilStopped(Lock& lock);
    void workOrWait(Lock& lock);
    void work(Lock& lock, const AheadTask& task);
    [[nodiscard]] AheadTasks::iterator firstTask();
    void addTasks(AheadTasks::iterator before, AheadTasks& prepared) noexcept;
    void dropTask(AheadTasks::iterator task);
    void throwIfFailed() const;
    void fail() noexcept;
    void openClaimed(Lock& lock, AheadDirectory& directory, Need need);
    void list(Lock& lock, AheadDirectory& directory, Need need);
    void readAttributes(Lock& lock, AheadDirectory& directory, AheadBlock& block, Need need);
    void claim(AheadDirectory& directory) noexcept;
    void endClaim(AheadDirectory& directory, AheadDirectory::State state) noexcept;
    void claim(AheadBlock& block) noexcept;
    void endClaim(AheadDirectory& directory, AheadBlock& block,
                  AheadBlock::State state) noexcept;
    struct Names;
    void readNames(AheadDirectory& directory, DirectoryStream& stream, Names& names) const;
    void askFor(AheadBlock& block, DirectoryStream& stream);
    [[nodiscard]] AheadTasks childrenOf(const AheadDirectory& directory, AheadBlock& block,
                                        const std::shared_ptr<DirectoryStream>& stream) const;
    void addBlocks(AheadDirectory& directory, Names& names) noexcept;
    static void closeIfRead(AheadDirectory& directory);
    void wakeHelpers();
    void cancelLocked(AheadDirectory& directory);
    void giveBack(std::size_t bytes);
    void finished();

    const WalkPlace place;
    const WalkBounds bounds;
    const std::size_t mostOpen;             // directories opened ahead
    std::atomic<std::size_t> openCount{0};  // open, or being opened
    std::atomic<std::size_t> blockSize;

    std::mutex mutex;                    // guards what follows, and all directories and blocks
    std::condition_variable tasksAdded;  // for helpers
    std::condition_variable taskDone;    // for the scan thread
    std::condition_variable helperEnded;
    bool scanWaits = false;
    bool stopping = false;
    bool failed = false;  // somebody had no memory
    std::size_t usedBytes = 0;
    bool full = false;          // from the bound on until a quarter is free again
    AheadTasks tasks;           // in the order of the walk, claimed ones too
    std::size_t unclaimed = 0;  // of them
    std::size_t idle = 0;       // helpers that wait for work
    std::size_t running = 0;    // helpers that have not ended
    std::list<Helper> helpers;
};
