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

#include "Scan/Scanner.h"
#include "Scan/unix/AheadStream.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kMostBytes = 16U << 20U;  // of blocks that are known and not used up
constexpr std::size_t kListedAtOnce = 256;      // names read between two looks at the bounds
constexpr std::size_t kSmallBlock = 16;         // entries; where answers take long
constexpr std::size_t kLargeBlock = 128;        // entries; where the lock would cost more
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

bool isDirectory(const EntryStat& stat) {
    return (stat.mode & 0170000U) == 0040000U;
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
    int open(const char* name, const EntryIdentity& expected,
             std::unique_ptr<DirectoryStream>& child) override {
        return stream->open(name, expected, child);
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
                                                 unsigned helpers) {
    TraceScope scope("ReadAhead::over");
    WalkPlace place;
    EntryStat stat;
    if (root->attributes("", stat) != 0)
        return root;
    place.identity = stat.identity;
    place.deviceTells = root->deviceTells();

    const auto ahead = std::make_shared<ReadAhead>(place);
    auto stream = std::make_unique<AheadStream>(ahead, ahead->adopt(std::move(root), 0));
    ahead->start(std::min(helpers, kMostHelpers));
    return stream;
}

ReadAhead::ReadAhead(const WalkPlace& walkPlace)
    : place(walkPlace), mostOpen(descriptorLimit() / 2), blockSize(kSmallBlock) {
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
    work.notify_all();
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
    helped = !threads.empty();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::shared_ptr<AheadDirectory> ReadAhead::adopt(std::unique_ptr<DirectoryStream> open,
                                                 int depth) {
    TraceScope scope("ReadAhead::adopt");
    auto directory = std::make_shared<AheadDirectory>();
    directory->state = AheadDirectory::PAUSED;
    directory->depth = depth;
    directory->opened = true;
    directory->stream = std::make_shared<CountedStream>(std::move(open), openCount);
    const Lock lock(mutex);
    listTasks.push_back(directory);
    work.notify_one();
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
        waitForHelpers(lock);
    }
}

int ReadAhead::open(AheadDirectory& directory) {
    TraceScope scope("ReadAhead::open");
    Lock lock(mutex);
    if (directory.state == AheadDirectory::WAITING)
        openClaimed(lock, directory);
    while (!directory.opened)
        waitForHelpers(lock);
    return directory.openRc;
}

void ReadAhead::waitForHelpers(Lock& lock) {
    scanWaits = true;
    done.wait(lock);
    scanWaits = false;
    if (failed)
        throw std::bad_alloc();
}

void ReadAhead::cancel(const std::shared_ptr<AheadDirectory>& directory) {
    TraceScope scope("ReadAhead::cancel");
    const Lock lock(mutex);
    cancelLocked(*directory);
}

/// Bounded by the depth of a walk: a directory holds only what was read below it.
void ReadAhead::cancelLocked(AheadDirectory& directory) {
    directory.cancelled = true;
    for (const std::shared_ptr<AheadBlock>& block : directory.blocks) {
        for (const AheadEntry& entry : block->entries) {
            if (block->state == AheadBlock::READY && entry.child)
                cancelLocked(*entry.child);
        }
        usedBytes -= block->bytes();
    }
    directory.blocks.clear();
}

void ReadAhead::release(const AheadBlock& block) {
    TraceScope scope("ReadAhead::release");
    const Lock lock(mutex);
    const bool wasFull = usedBytes >= kMostBytes;
    usedBytes -= block.bytes();
    if (wasFull && usedBytes < kMostBytes)
        work.notify_all();
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
        StatTask task;
        if (takeStatTask(task)) {
            readAttributes(lock, *task.directory, *task.block);
        } else if (const std::shared_ptr<AheadDirectory> directory = takeListTask()) {
            if (directory->state == AheadDirectory::WAITING)
                openClaimed(lock, *directory);
            if (directory->state == AheadDirectory::PAUSED)
                list(lock, *directory);
            if (directory->state == AheadDirectory::PAUSED && !directory->cancelled)
                listTasks.push_back(directory);
        } else {
            work.wait(lock);
        }
    }
}

/// The next block that nobody has claimed.
bool ReadAhead::takeStatTask(StatTask& task) {
    while (!statTasks.empty()) {
        task = std::move(statTasks.back());
        statTasks.pop_back();
        if (task.block->state == AheadBlock::UNCLAIMED && !task.directory->cancelled)
            return true;
    }
    return false;
}

/// The next directory with names to read, if the bounds allow it.
std::shared_ptr<AheadDirectory> ReadAhead::takeListTask() {
    while (!listTasks.empty() && usedBytes < kMostBytes) {
        std::shared_ptr<AheadDirectory> directory = listTasks.back();
        const bool waiting = directory->state == AheadDirectory::WAITING;
        if (waiting && openCount >= mostOpen && !directory->cancelled)
            return nullptr;
        listTasks.pop_back();
        if (!directory->cancelled && (waiting || directory->state == AheadDirectory::PAUSED))
            return directory;
    }
    return nullptr;
}

/// Opens a directory that is WAITING. Gives the lock up meanwhile.
void ReadAhead::openClaimed(Lock& lock, AheadDirectory& directory) {
    directory.state = AheadDirectory::CLAIMED;
    lock.unlock();
    std::unique_ptr<DirectoryStream> opened;
    int rc = directory.parent->open(directory.name.c_str(), directory.expected, opened);
    std::shared_ptr<DirectoryStream> stream;
    if (rc == 0)
        stream = std::make_shared<CountedStream>(std::move(opened), openCount);
    lock.lock();
    directory.opened = true;
    directory.openRc = rc;
    directory.stream = std::move(stream);
    directory.parent.reset();
    directory.state = rc == 0 ? AheadDirectory::PAUSED : AheadDirectory::LISTED;
    finished();
}

/// Reads some names of a directory that is PAUSED. Gives the lock up meanwhile.
void ReadAhead::list(Lock& lock, AheadDirectory& directory) {
    directory.state = AheadDirectory::CLAIMED;
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
        if (isDots(name))
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
    closeIfRead(directory);
    finished();
}

/// Takes blocks in; the first of them is read first.
void ReadAhead::addBlocks(AheadDirectory& directory,
                          const std::vector<std::shared_ptr<AheadBlock>>& blocks) {
    for (const std::shared_ptr<AheadBlock>& block : blocks) {
        usedBytes += block->bytes();
        directory.blocks.push_back(block);
    }
    directory.unread += blocks.size();
    const std::shared_ptr<AheadDirectory> owner = directory.shared_from_this();
    for (auto block = blocks.rbegin(); block != blocks.rend() && helped; ++block)
        statTasks.push_back({owner, *block});
    wake(blocks.size());
}

/// Reads the attributes of a block that is UNCLAIMED. Gives the lock up meanwhile.
void ReadAhead::readAttributes(Lock& lock, AheadDirectory& directory, AheadBlock& block) {
    block.state = AheadBlock::CLAIMED;
    const std::shared_ptr<DirectoryStream> stream = directory.stream;
    lock.unlock();
    const auto start = std::chrono::steady_clock::now();
    for (AheadEntry& entry : block.entries)
        entry.rc = stream->attributes(block.nameOf(entry), entry.stat);
    const auto time = (std::chrono::steady_clock::now() - start) / block.entries.size();
    blockSize = time > kLongAnswer ? kSmallBlock : kLargeBlock;
    lock.lock();
    block.state = AheadBlock::READY;
    --directory.unread;
    if (!directory.cancelled)
        addChildren(directory, block);
    closeIfRead(directory);
    finished();
}

/// Notes the directories of a block that the walk will enter, to be read in their order.
void ReadAhead::addChildren(AheadDirectory& directory, AheadBlock& block) {
    if (directory.depth + 1 >= Scanner::kMaxComponents)
        return;
    std::size_t added = 0;
    for (auto entry = block.entries.rbegin(); entry != block.entries.rend(); ++entry) {
        if (entry->rc != 0 || !isDirectory(entry->stat) || !place.holds(entry->stat.identity))
            continue;
        entry->child = std::make_shared<AheadDirectory>();
        entry->child->depth = directory.depth + 1;
        entry->child->name = block.nameOf(*entry);
        entry->child->expected = entry->stat.identity;
        entry->child->parent = directory.stream;
        if (helped)
            listTasks.push_back(entry->child);
        ++added;
    }
    wake(added);
}

/// Nothing more is read through the directory itself; its children hold it until they are
/// open.
void ReadAhead::closeIfRead(AheadDirectory& directory) {
    if (directory.depth > 0 && directory.state == AheadDirectory::LISTED &&
        directory.unread == 0)
        directory.stream.reset();
}

void ReadAhead::wake(std::size_t tasks) {
    if (tasks > 1)
        work.notify_all();
    else if (tasks == 1)
        work.notify_one();
}

/// The scan thread may wait for what has just been done.
void ReadAhead::finished() {
    if (scanWaits)
        done.notify_one();
}
