#include "Scan/unix/ReadAhead.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <iterator>
#include <malloc.h>
#include <new>
#include <sys/resource.h>
#include <system_error>
#include <utility>
#include <vector>

#include "Scan/unix/AheadStream.h"
#include "common/thrd/SignalsBlocked.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kMostBytes = 16U << 20U;  // of blocks that are known and not used up
constexpr std::size_t kBytesToGoOn = kMostBytes / 4 * 3;
constexpr std::size_t kListedAtOnce = 256;  // names read between two looks at the bounds
constexpr std::size_t kSmallBlock = 16;     // entries; where answers take long
constexpr std::size_t kLargeBlock = 128;    // entries; where the lock would cost more
constexpr auto kLongAnswer = std::chrono::microseconds(40);
constexpr auto kPatience = std::chrono::seconds(1);  // with helpers whose work nobody needs

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

/// Descriptors that are left to the levels of the walk, to guarded calls and to all others.
constexpr std::size_t kOthersDescriptors = WalkBounds::kMaxComponents + 112;

std::size_t mostOpenAhead() {
    const std::size_t limit = descriptorLimit();
    return std::min(limit / 2, limit - std::min(limit, kOthersDescriptors));
}

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// A directory that is open, or is being opened, while it lives.
class OpenCount {
public:
    explicit OpenCount(std::atomic<std::size_t>& openCount) noexcept : count(&openCount) {
        ++*count;
    }
    OpenCount(OpenCount&& other) noexcept : count(std::exchange(other.count, nullptr)) {}
    OpenCount& operator=(OpenCount&&) = delete;
    OpenCount(const OpenCount&) = delete;
    OpenCount& operator=(const OpenCount&) = delete;
    ~OpenCount() {
        if (count)
            --*count;
    }

private:
    std::atomic<std::size_t>* count;  // not owned
};

/// An open directory that is counted.
class CountedStream : public DirectoryStream {
public:
    CountedStream(std::unique_ptr<DirectoryStream> opened, OpenCount counted) noexcept
        : count(std::move(counted)), stream(std::move(opened)) {}

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
    const OpenCount count;
    const std::unique_ptr<DirectoryStream> stream;  // closed before it counts no longer
};

/// Gives a lock up while it lives.
class Unlocked {
public:
    explicit Unlocked(std::unique_lock<std::mutex>& held) : lock(held) { lock.unlock(); }
    ~Unlocked() { lock.lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    std::unique_lock<std::mutex>& lock;
};

/// Undoes something unless it is kept.
template <class Undo>
class Rollback {
public:
    explicit Rollback(Undo action) : undo(std::move(action)) {}
    ~Rollback() {
        if (!isKept)
            undo();
    }
    Rollback(const Rollback&) = delete;
    Rollback& operator=(const Rollback&) = delete;

    void keep() noexcept { isKept = true; }

private:
    const Undo undo;
    bool isKept = false;
};

/// Prepares a task, to be taken over by ReadAhead::addTasks().
void prepareTask(AheadTasks& prepared, std::shared_ptr<AheadDirectory> directory,
                 std::shared_ptr<AheadBlock> block) {
    prepared.push_back({std::move(directory), std::move(block)});
    const AheadTask& task = prepared.back();
    (task.block ? task.block->task : task.directory->task) = std::prev(prepared.end());
}

bool lacksSomething(const AheadBlock& block) {
    return std::any_of(block.entries.begin(), block.entries.end(),
                       [](const AheadEntry& entry) { return isShortage(entry.rc); });
}

}  // namespace

/// Shared by the streams of a walk, of which the last one ends the reading ahead.
class ReadAhead::Streams {
public:
    explicit Streams(std::shared_ptr<ReadAhead> readAhead) noexcept
        : ahead(std::move(readAhead)) {}
    ~Streams() { ahead->stop(); }
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    const std::shared_ptr<ReadAhead> ahead;  // with the helpers
};

/// What was read of a directory's names, ready to be taken over.
struct ReadAhead::Names {
    std::list<std::shared_ptr<AheadBlock>> blocks;
    AheadTasks tasks;  // one for each
    int rc = 0;
    bool hasMore = true;
};

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

    const auto streams = std::make_shared<Streams>(std::make_shared<ReadAhead>(place, bounds));
    ReadAhead* const ahead = streams->ahead.get();
    auto stream = ahead->adopt({streams, ahead}, std::move(root), 0, bounds.rootLength());
    ahead->start(std::min(helpers, kMostHelpers));
    return stream;
}

ReadAhead::ReadAhead(const WalkPlace& walkPlace, WalkBounds walkBounds)
    : place(walkPlace),
      bounds(std::move(walkBounds)),
      mostOpen(mostOpenAhead()),
      blockSize(kSmallBlock) {
    // Blocks are made and deleted by different threads; many arenas would keep far more
    // memory than is in use.
    constexpr int arenas = 4;
    mallopt(M_ARENA_MAX, arenas);
}

void ReadAhead::start(unsigned count) {
    TraceScope scope("ReadAhead::start");
    const SignalsBlocked signals;
    const Lock lock(mutex);
    try {
        for (; running < count; ++running) {
            Helper& helper = helpers.emplace_back();
            helper.hasEnded = true;  // until it begins
            helper.thread = std::thread(&ReadAhead::help, shared_from_this(), std::ref(helper));
            helper.hasEnded = false;
        }
    } catch (const std::system_error& failure) {
        trTrace(naMin, "%u of %u helper threads: %s\n", static_cast<unsigned>(running), count,
                failure.what());
    }
}

/// Ends the helpers. The walk is over, so nobody needs what they are still doing: who hangs is
/// left alone, with the share that it has in all it uses, until the system comes back to it.
void ReadAhead::stop() {
    TraceScope scope("ReadAhead::stop");
    Lock lock(mutex);
    stopping = true;
    tasksAdded.notify_all();
    helperEnded.wait_for(lock, kPatience, [this] { return running == 0; });
    if (running > 0)
        trTrace(naMin, "%u helper threads hang\n", static_cast<unsigned>(running));
    for (Helper& helper : helpers) {
        if (!helper.hasEnded)
            helper.thread.detach();
        else if (helper.thread.joinable())
            helper.thread.join();
    }
}

std::unique_ptr<DirectoryStream> ReadAhead::adopt(std::shared_ptr<ReadAhead> share,
                                                  std::unique_ptr<DirectoryStream> open,
                                                  int depth, std::size_t prefixLength) {
    TraceScope scope("ReadAhead::adopt");
    auto directory = std::make_shared<AheadDirectory>();
    directory->state = AheadDirectory::PAUSED;
    directory->depth = depth;
    directory->prefixLength = prefixLength;
    directory->opened = true;
    directory->stream = std::make_shared<CountedStream>(std::move(open), OpenCount(openCount));
    AheadTasks task;
    prepareTask(task, directory, nullptr);
    auto stream = std::make_unique<AheadStream>(std::move(share), std::move(directory));
    const Lock lock(mutex);
    addTasks(tasks.begin(), task);
    return stream;
}

std::shared_ptr<AheadBlock> ReadAhead::take(AheadDirectory& directory) {
    TraceScope scope("ReadAhead::take");
    Lock lock(mutex);
    for (;;) {
        throwIfFailed();
        if (!directory.blocks.empty()) {
            std::shared_ptr<AheadBlock> block = directory.blocks.front();
            if (block->state == AheadBlock::READY) {
                directory.blocks.pop_front();
                return block;
            }
            if (block->state == AheadBlock::UNCLAIMED) {
                readAttributes(lock, directory, *block, NOW);
                continue;
            }
        } else if (directory.state == AheadDirectory::LISTED) {
            return nullptr;
        } else if (directory.state == AheadDirectory::PAUSED) {
            list(lock, directory, NOW);
            continue;
        }
        workOrWait(lock);
    }
}

int ReadAhead::open(AheadDirectory& directory) {
    TraceScope scope("ReadAhead::open");
    Lock lock(mutex);
    while (!directory.opened) {
        throwIfFailed();
        if (directory.state == AheadDirectory::WAITING)
            openClaimed(lock, directory, NOW);
        else
            workOrWait(lock);
    }
    return directory.openRc;
}

/// What the scan thread needs, a helper has begun. Going to sleep and waking up again takes as
/// long as a task on a local disk; so the scan thread does the next one meanwhile.
void ReadAhead::workOrWait(Lock& lock) {
    const auto first = firstTask();
    if (first != tasks.end())
        return work(lock, AheadTask(*first));
    if (idle > 0 && unclaimed > 0)
        tasksAdded.notify_one();
    scanWaits = true;
    taskDone.wait(lock);
    scanWaits = false;
}

/// Does a task that nobody has claimed: the attributes of a block, or some names of a
/// directory, which is opened first if it is not open.
void ReadAhead::work(Lock& lock, const AheadTask& task) {
    AheadDirectory& directory = *task.directory;
    if (task.block)
        return readAttributes(lock, directory, *task.block, AHEAD);
    if (directory.state == AheadDirectory::WAITING)
        openClaimed(lock, directory, AHEAD);
    if (directory.state == AheadDirectory::PAUSED && !directory.cancelled)
        list(lock, directory, AHEAD);
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

/// A helper thread.
void ReadAhead::help(Helper& self) {
    Lock lock(mutex);
    try {
        helpUntilStopped(lock);
    } catch (const std::bad_alloc&) {
        fail();
    }
    self.hasEnded = true;
    --running;
    helperEnded.notify_one();
}

void ReadAhead::helpUntilStopped(Lock& lock) {
    while (!stopping && !failed) {
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

/// The first task that nobody has claimed, if the bounds allow it and what is left to the scan
/// thread comes after it: who goes on lacks the same again. There are hardly more claimed ones
/// before it than threads.
AheadTasks::iterator ReadAhead::firstTask() {
    auto task = tasks.begin();
    for (; task != tasks.end(); ++task) {
        if (task->block) {
            if (task->block->state == AheadBlock::UNCLAIMED)
                return task->block->isLeft ? tasks.end() : task;
            continue;
        }
        const AheadDirectory& directory = *task->directory;
        const bool waits = directory.state == AheadDirectory::WAITING;
        if (waits || directory.state == AheadDirectory::PAUSED) {
            const bool mayNot = full || directory.isLeft || (waits && openCount >= mostOpen);
            return mayNot ? tasks.end() : task;
        }
    }
    return task;
}

/// Takes tasks over, which the walk needs before the task `before`.
void ReadAhead::addTasks(AheadTasks::iterator before, AheadTasks& prepared) noexcept {
    unclaimed += prepared.size();
    tasks.splice(before, prepared);
}

/// Forgets a task that nobody has claimed.
void ReadAhead::dropTask(AheadTasks::iterator task) {
    --unclaimed;
    tasks.erase(task);
}

void ReadAhead::throwIfFailed() const {
    if (failed)
        throw std::bad_alloc();
}

/// Somebody has no memory.
void ReadAhead::fail() noexcept {
    failed = true;
    finished();
}

void ReadAhead::claim(AheadDirectory& directory) noexcept {
    directory.state = AheadDirectory::CLAIMED;
    directory.isLeft = false;
    --unclaimed;
}

/// A directory that was claimed is a task again, unless there is nothing left to do.
void ReadAhead::endClaim(AheadDirectory& directory, AheadDirectory::State state) noexcept {
    directory.state = state;
    if (state == AheadDirectory::LISTED || directory.cancelled)
        tasks.erase(directory.task);
    else
        ++unclaimed;
    closeIfRead(directory);
    finished();
}

void ReadAhead::claim(AheadBlock& block) noexcept {
    block.state = AheadBlock::CLAIMED;
    block.isLeft = false;
    --unclaimed;
}

/// As with a directory.
void ReadAhead::endClaim(AheadDirectory& directory, AheadBlock& block,
                         AheadBlock::State state) noexcept {
    block.state = state;
    if (state == AheadBlock::READY)
        --directory.unread;
    if (state == AheadBlock::READY || directory.cancelled)
        tasks.erase(block.task);
    else
        ++unclaimed;
    closeIfRead(directory);
    finished();
}

/// Opens a directory that is WAITING. Gives the lock up meanwhile.
void ReadAhead::openClaimed(Lock& lock, AheadDirectory& directory, Need need) {
    claim(directory);
    Rollback claimed([this, &directory] {
        fail();
        endClaim(directory, AheadDirectory::WAITING);
    });
    OpenCount count(openCount);
    std::shared_ptr<DirectoryStream> stream;
    int rc = 0;
    {
        const Unlocked unlocked(lock);
        std::unique_ptr<DirectoryStream> opened;
        rc = directory.parent->open(directory.name.c_str(), place, opened);
        if (rc == 0)
            stream = std::make_shared<CountedStream>(std::move(opened), std::move(count));
    }
    claimed.keep();
    directory.isLeft = need == AHEAD && isShortage(rc);
    if (directory.isLeft)
        return endClaim(directory, AheadDirectory::WAITING);
    directory.opened = true;
    directory.openRc = rc;
    directory.stream = std::move(stream);
    directory.parent.reset();
    endClaim(directory, rc == 0 ? AheadDirectory::PAUSED : AheadDirectory::LISTED);
}

/// Reads some names of a directory that is PAUSED. Gives the lock up meanwhile.
void ReadAhead::list(Lock& lock, AheadDirectory& directory, Need need) {
    claim(directory);
    Rollback claimed([this, &directory] {
        fail();
        endClaim(directory, AheadDirectory::PAUSED);
    });
    const std::shared_ptr<DirectoryStream> stream = directory.stream;
    Names names;
    {
        const Unlocked unlocked(lock);
        readNames(directory, *stream, names);
    }
    claimed.keep();
    if (!directory.cancelled)
        addBlocks(directory, names);
    directory.isLeft = need == AHEAD && isShortage(names.rc);
    if (directory.isLeft)
        return endClaim(directory, AheadDirectory::PAUSED);
    directory.readRc = names.rc;
    endClaim(directory, names.hasMore ? AheadDirectory::PAUSED : AheadDirectory::LISTED);
    wakeHelpers();
}

/// Reads some names, without the lock.
void ReadAhead::readNames(AheadDirectory& directory, DirectoryStream& stream,
                          Names& names) const {
    const std::size_t most = blockSize;
    for (std::size_t count = 0; count < kListedAtOnce;) {
        const char* name = nullptr;
        names.rc = stream.next(name);
        names.hasMore = names.rc == 0 && name;
        if (!names.hasMore)
            return;
        if (isDots(name) || bounds.passesOver(name))
            continue;
        if (names.blocks.empty() || names.blocks.back()->entries.size() == most) {
            names.blocks.push_back(std::make_shared<AheadBlock>());
            prepareTask(names.tasks, directory.shared_from_this(), names.blocks.back());
        }
        AheadBlock& block = *names.blocks.back();
        block.entries.emplace_back().name = static_cast<std::uint32_t>(block.names.size());
        block.names.append(name, std::strlen(name) + 1);
        ++count;
    }
}

/// Takes blocks over, before the names that are still to be read.
void ReadAhead::addBlocks(AheadDirectory& directory, Names& names) noexcept {
    for (const std::shared_ptr<AheadBlock>& block : names.blocks)
        usedBytes += block->bytes();
    full = full || usedBytes >= kMostBytes;
    directory.unread += names.blocks.size();
    directory.blocks.splice(directory.blocks.end(), names.blocks);
    addTasks(directory.task, names.tasks);
}

/// Reads the attributes of a block that is UNCLAIMED. Gives the lock up meanwhile.
void ReadAhead::readAttributes(Lock& lock, AheadDirectory& directory, AheadBlock& block,
                               Need need) {
    claim(block);
    Rollback claimed([this, &directory, &block] {
        fail();
        endClaim(directory, block, AheadBlock::UNCLAIMED);
    });
    const std::shared_ptr<DirectoryStream> stream = directory.stream;
    AheadTasks children;
    bool isLeft = false;
    {
        const Unlocked unlocked(lock);
        askFor(block, *stream);
        isLeft = need == AHEAD && lacksSomething(block);
        if (!isLeft)
            children = childrenOf(directory, block, stream);
    }
    claimed.keep();
    block.isLeft = isLeft;
    if (isLeft)
        return endClaim(directory, block, AheadBlock::UNCLAIMED);
    if (!directory.cancelled)
        addTasks(block.task, children);
    endClaim(directory, block, AheadBlock::READY);
    wakeHelpers();
}

/// Asks for the attributes of a block, without the lock, and finds out how many to ask for.
void ReadAhead::askFor(AheadBlock& block, DirectoryStream& stream) {
    std::vector<EntryQuery> queries;
    queries.reserve(block.entries.size());
    for (AheadEntry& entry : block.entries)
        queries.push_back({block.nameOf(entry), &entry.stat, &entry.rc});
    const auto start = std::chrono::steady_clock::now();
    stream.attributesOf(queries);
    const auto time = (std::chrono::steady_clock::now() - start) / block.entries.size();
    blockSize = time > kLongAnswer ? kSmallBlock : kLargeBlock;
}

/// Notes the directories of a block that the walk will enter, and gives a task for each, to be
/// done in the place of the block. Without the lock.
AheadTasks ReadAhead::childrenOf(const AheadDirectory& directory, AheadBlock& block,
                                 const std::shared_ptr<DirectoryStream>& stream) const {
    AheadTasks children;
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
        entry.child->parent = stream;
        prepareTask(children, entry.child, nullptr);
    }
    return children;
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
