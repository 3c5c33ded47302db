#include "Scan/unix/ReadAhead.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <malloc.h>
#include <new>
#include <sys/resource.h>
#include <system_error>
#include <utility>

#include "Scan/unix/AheadStream.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kMostBytes = 16U << 20U;  // of blocks that are known and not used up
constexpr std::size_t kBytesToGoOn = kMostBytes / 4 * 3;
constexpr std::size_t kListedAtOnce = 256;  // names read between two looks at the bounds
constexpr std::size_t kSmallBlock = 16;     // entries; where answers take long
constexpr std::size_t kLargeBlock = 128;    // entries; where the lock would cost more
constexpr auto kLongAnswer = std::chrono::microseconds(40);

/// Raises the limit of descriptors as far as it goes up to `wanted`; gives what it is then.
std::size_t descriptorLimit() {
    constexpr rlim_t wanted = 4096;
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    if (limit.rlim_cur < wanted) {
        limit.rlim_cur = std::min(wanted, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    return static_cast<std::size_t>(std::min(limit.rlim_cur, wanted));
}

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// Counts an open directory while it lives.
class CountedStream : public DirectoryStream {
public:
    CountedStream(std::unique_ptr<DirectoryStream> opened, std::atomic<std::size_t>& openCount)
        : stream(std::move(opened)), count(openCount) {
        ++count;
    }
    ~CountedStream() override { --count; }
    CountedStream(const CountedStream&) = delete;
    CountedStream& operator=(const CountedStream&) = delete;

    int next(const char*& name) override { return stream->next(name); }
    int attributes(const char* name, EntryStat& result) override {
        return stream->attributes(name, result);
    }
    void attributesOf(std::span<const EntryQuery> queries) override {
        stream->attributesOf(queries);
    }
    int open(const char* name, const WalkPlace& place,
             std::unique_ptr<DirectoryStream>& child) override {
        return stream->open(name, place, child);
    }
    bool deviceTells() override { return stream->deviceTells(); }

private:
    const std::unique_ptr<DirectoryStream> stream;
    std::atomic<std::size_t>& count;
};

}  // namespace

std::size_t AheadBlock::bytes() const {
    constexpr std::size_t allocations = 64;  // what the allocator adds to an entry's child
    return sizeof(AheadBlock) + 2 * names.size() +
           entries.size() * (sizeof(AheadEntry) + sizeof(AheadDirectory) + allocations);
}

std::unique_ptr<DirectoryStream> ReadAhead::over(std::unique_ptr<DirectoryStream> root,
                                                 unsigned helpers, const WalkBounds& bounds) {
    TraceScope scope("ReadAhead::over");
    WalkPlace place;
    EntryStat stat;
    if (root->attributes("", stat) != 0)
        return root;
    place.identity = stat.identity;
    place.deviceTells = root->deviceTells();

    const auto ahead = std::make_shared<ReadAhead>(place, bounds);
    auto stream = std::make_unique<AheadStream>(
        ahead, ahead->adopt(std::move(root), 0, bounds.rootLength()));
    ahead->start(std::min(helpers, kMostHelpers));
    return stream;
}

ReadAhead::ReadAhead(const WalkPlace& walkPlace, WalkBounds walkBounds)
    : place(walkPlace),
      bounds(std::move(walkBounds)),
      mostOpen(descriptorLimit() / 2),
      blockSize(kSmallBlock) {
    // Blocks are made and deleted by different threads; many arenas would keep far more
    // memory than is in use.
    constexpr int arenas = 4;
    mallopt(M_ARENA_MAX, arenas);
}

ReadAhead::~ReadAhead() {
    TraceScope scope("ReadAhead::~ReadAhead");
    {
        const Lock lock(mutex);
        stopping = true;
    }
    tasksAdded.notify_all();
    for (std::thread& thread : threads)
        thread.join();
}

void ReadAhead::start(unsigned helpers) {
    TraceScope scope("ReadAhead::start");
    // Signals are for the main thread: one that stops the job must interrupt its waits.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const Lock lock(mutex);
    try {
        for (unsigned i = 0; i < helpers; ++i)
            threads.emplace_back(&ReadAhead::help, this);
    } catch (const std::system_error& failure) {
        trTrace(naMin, "%u of %u helper threads: %s\n", static_cast<unsigned>(threads.size()),
                helpers, failure.what());
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::shared_ptr<AheadDirectory> ReadAhead::adopt(std::unique_ptr<DirectoryStream> open,
                                                 int depth, std::size_t prefixLength) {
    TraceScope scope("ReadAhead::adopt");
    auto directory = std::make_shared<AheadDirectory>();
    directory->state = AheadDirectory::PAUSED;
    directory->depth = depth;
    directory->prefixLength = prefixLength;
    directory->opened = true;
    directory->stream = std::make_shared<CountedStream>(std::move(open), openCount);
    const Lock lock(mutex);
    addTask(tasks.begin(), directory, nullptr);
    return directory;
}

std::shared_ptr<AheadBlock> ReadAhead::take(AheadDirectory& directory) {
    TraceScope scope("ReadAhead::take");
    Lock lock(mutex);
    for (;;) {
        if (!directory.blocks.empty()) {
            std::shared_ptr<AheadBlock> block = directory.blocks.front();
            if (block->state == AheadBlock::READY) {
                directory.blocks.pop_front();
                return block;
            }
            if (block->state == AheadBlock::UNCLAIMED) {
                readAttributes(lock, directory, *block);
                continue;
            }
        } else if (directory.state == AheadDirectory::LISTED) {
            return nullptr;
        } else if (directory.state == AheadDirectory::PAUSED) {
            list(lock, directory);
            continue;
        }
        workOrWait(lock);
    }
}

int ReadAhead::open(AheadDirectory& directory) {
    TraceScope scope("ReadAhead::open");
    Lock lock(mutex);
    if (directory.state == AheadDirectory::WAITING)
        openClaimed(lock, directory);
    while (!directory.opened)
        workOrWait(lock);
    return directory.openRc;
}

/// What the scan thread needs, a helper has begun. Going to sleep and waking up again takes as
/// long as a task on a local disk; so the scan thread does the next one meanwhile.
void ReadAhead::workOrWait(Lock& lock) {
    if (failed)
        throw std::bad_alloc();
    const auto first = firstTask();
    if (first != tasks.end())
        return work(lock, AheadTask(*first));
    if (idle > 0 && unclaimed > 0)
        tasksAdded.notify_one();
    scanWaits = true;
    taskDone.wait(lock);
    scanWaits = false;
}

/// Does a task that nobody has claimed.
void ReadAhead::work(Lock& lock, const AheadTask& task) {
    if (task.block)
        readAttributes(lock, *task.directory, *task.block);
    else
        readNames(lock, *task.directory);
}

void ReadAhead::cancel(const std::shared_ptr<AheadDirectory>& directory) {
    TraceScope scope("ReadAhead::cancel");
    const Lock lock(mutex);
    cancelLocked(*directory);
    wakeHelpers();
}

/// Bounded by the depth of a walk: a directory holds only what was read below it.
void ReadAhead::cancelLocked(AheadDirectory& directory) {
    if (directory.cancelled)
        return;
    directory.cancelled = true;
    if (directory.state == AheadDirectory::WAITING || directory.state == AheadDirectory::PAUSED)
        dropTask(directory.task);
    for (const std::shared_ptr<AheadBlock>& block : directory.blocks) {
        if (block->state == AheadBlock::UNCLAIMED)
            dropTask(block->task);
        for (const AheadEntry& entry : block->entries) {
            if (block->state == AheadBlock::READY && entry.child)
                cancelLocked(*entry.child);
        }
        giveBack(block->bytes());
    }
    directory.blocks.clear();
}

void ReadAhead::release(const AheadBlock& block) {
    TraceScope scope("ReadAhead::release");
    const Lock lock(mutex);
    giveBack(block.bytes());
    wakeHelpers();
}

void ReadAhead::giveBack(std::size_t bytes) {
    usedBytes -= bytes;
    full = full && usedBytes >= kBytesToGoOn;
}

/// A helper thread. Without memory what it has begun stays undone: then the scan thread ends
/// the walk, as it would without memory of its own.
void ReadAhead::help() {
    Lock lock(mutex);
    try {
        helpUntilStopped(lock);
    } catch (const std::bad_alloc&) {
        if (!lock.owns_lock())
            lock.lock();
        failed = true;
        finished();
    }
}

void ReadAhead::helpUntilStopped(Lock& lock) {
    while (!stopping) {
        const auto first = firstTask();
        if (first == tasks.end()) {
            ++idle;
            tasksAdded.wait(lock);
            --idle;
            continue;
        }
        work(lock, AheadTask(*first));
    }
}

/// The first task that nobody has claimed, if the bounds allow it. There are hardly more
/// claimed ones before it than threads.
AheadTasks::iterator ReadAhead::firstTask() {
    auto task = tasks.begin();
    for (; task != tasks.end(); ++task) {
        if (task->block && task->block->state == AheadBlock::UNCLAIMED)
            return task;
        const bool waits = task->directory->state == AheadDirectory::WAITING;
        if (!task->block && (waits || task->directory->state == AheadDirectory::PAUSED))
            return full || (waits && openCount >= mostOpen) ? tasks.end() : task;
    }
    return task;
}

/// The walk needs what is added before the task `before`.
void ReadAhead::addTask(AheadTasks::iterator before, std::shared_ptr<AheadDirectory> directory,
                        std::shared_ptr<AheadBlock> block) {
    const auto task = tasks.insert(before, {std::move(directory), std::move(block)});
    (task->block ? task->block->task : task->directory->task) = task;
    ++unclaimed;
}

/// Forgets a task that nobody has claimed.
void ReadAhead::dropTask(AheadTasks::iterator task) {
    --unclaimed;
    tasks.erase(task);
}

/// A directory that was claimed is a task again, unless there is nothing left to do.
void ReadAhead::endClaim(AheadDirectory& directory) {
    if (directory.state == AheadDirectory::LISTED || directory.cancelled)
        tasks.erase(directory.task);
    else
        ++unclaimed;
}

/// Opens a directory if it is not open, and reads some of its names.
void ReadAhead::readNames(Lock& lock, AheadDirectory& directory) {
    if (directory.state == AheadDirectory::WAITING)
        openClaimed(lock, directory);
    if (directory.state == AheadDirectory::PAUSED && !directory.cancelled)
        list(lock, directory);
}

/// Opens a directory that is WAITING. Gives the lock up meanwhile.
void ReadAhead::openClaimed(Lock& lock, AheadDirectory& directory) {
    directory.state = AheadDirectory::CLAIMED;
    --unclaimed;
    lock.unlock();
    std::unique_ptr<DirectoryStream> opened;
    int rc = directory.parent->open(directory.name.c_str(), place, opened);
    std::shared_ptr<DirectoryStream> stream;
    if (rc == 0)
        stream = std::make_shared<CountedStream>(std::move(opened), openCount);
    lock.lock();
    directory.opened = true;
    directory.openRc = rc;
    directory.stream = std::move(stream);
    directory.parent.reset();
    directory.state = rc == 0 ? AheadDirectory::PAUSED : AheadDirectory::LISTED;
    endClaim(directory);
    finished();
}

/// Reads some names of a directory that is PAUSED. Gives the lock up meanwhile.
void ReadAhead::list(Lock& lock, AheadDirectory& directory) {
    directory.state = AheadDirectory::CLAIMED;
    --unclaimed;
    const std::shared_ptr<DirectoryStream> stream = directory.stream;
    lock.unlock();
    std::vector<std::shared_ptr<AheadBlock>> blocks;
    const std::size_t most = blockSize;
    bool more = true;
    int rc = 0;
    for (std::size_t count = 0; count < kListedAtOnce;) {
        const char* name = nullptr;
        rc = stream->next(name);
        more = rc == 0 && name;
        if (!more)
            break;
        if (isDots(name) || bounds.passesOver(name))
            continue;
        if (blocks.empty() || blocks.back()->entries.size() == most)
            blocks.push_back(std::make_shared<AheadBlock>());
        AheadBlock& block = *blocks.back();
        block.entries.emplace_back().name = static_cast<std::uint32_t>(block.names.size());
        block.names.append(name, std::strlen(name) + 1);
        ++count;
    }
    lock.lock();
    directory.readRc = rc;
    directory.state = more ? AheadDirectory::PAUSED : AheadDirectory::LISTED;
    if (!directory.cancelled)
        addBlocks(directory, blocks);
    endClaim(directory);
    closeIfRead(directory);
    wakeHelpers();
    finished();
}

/// Takes blocks in, before the names that are still to be read.
void ReadAhead::addBlocks(AheadDirectory& directory,
                          const std::vector<std::shared_ptr<AheadBlock>>& blocks) {
    for (const std::shared_ptr<AheadBlock>& block : blocks) {
        usedBytes += block->bytes();
        directory.blocks.push_back(block);
        addTask(directory.task, directory.shared_from_this(), block);
    }
    full = full || usedBytes >= kMostBytes;
    directory.unread += blocks.size();
}

/// Reads the attributes of a block that is UNCLAIMED. Gives the lock up meanwhile.
void ReadAhead::readAttributes(Lock& lock, AheadDirectory& directory, AheadBlock& block) {
    block.state = AheadBlock::CLAIMED;
    --unclaimed;
    const std::shared_ptr<DirectoryStream> stream = directory.stream;
    lock.unlock();
    const auto start = std::chrono::steady_clock::now();
    std::vector<EntryQuery> queries;
    queries.reserve(block.entries.size());
    for (AheadEntry& entry : block.entries)
        queries.push_back({block.nameOf(entry), &entry.stat, &entry.rc});
    stream->attributesOf(queries);
    const auto time = (std::chrono::steady_clock::now() - start) / block.entries.size();
    blockSize = time > kLongAnswer ? kSmallBlock : kLargeBlock;
    lock.lock();
    block.state = AheadBlock::READY;
    --directory.unread;
    if (!directory.cancelled)
        addChildren(directory, block);
    tasks.erase(block.task);
    closeIfRead(directory);
    wakeHelpers();
    finished();
}

/// Notes the directories of a block that the walk will enter, to be read in its place.
void ReadAhead::addChildren(AheadDirectory& directory, AheadBlock& block) {
    for (AheadEntry& entry : block.entries) {
        if (entry.rc != 0 || !entry.stat.isDirectory() ||
            !place.holds(entry.stat.identity, true))
            continue;
        const std::string_view name = block.nameOf(entry);
        if (bounds.leavesOut(directory.depth, name, directory.prefixLength + name.size()))
            continue;
        entry.child = std::make_shared<AheadDirectory>();
        entry.child->depth = directory.depth + 1;
        entry.child->name = name;
        entry.child->prefixLength = directory.prefixLength + name.size() + 1;
        entry.child->parent = directory.stream;
        addTask(block.task, entry.child, nullptr);
    }
}

/// Nothing more is read through the directory itself; its children hold it until they are
/// open.
void ReadAhead::closeIfRead(AheadDirectory& directory) {
    if (directory.depth > 0 && directory.state == AheadDirectory::LISTED &&
        directory.unread == 0)
        directory.stream.reset();
}

/// Wakes as many helpers as there is work for, less one task that this thread does itself.
void ReadAhead::wakeHelpers() {
    if (idle == 0 || unclaimed < 2 || firstTask() == tasks.end())
        return;
    for (std::size_t count = std::min(idle, unclaimed - 1); count > 0; --count)
        tasksAdded.notify_one();
}

/// The scan thread may wait for what has just been done.
void ReadAhead::finished() {
    if (scanWaits)
        taskDone.notify_one();
}
