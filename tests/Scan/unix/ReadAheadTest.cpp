#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <iterator>
#include <new>
#include <random>
#include <sys/resource.h>
#include <thread>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Common/unix/pssignal.h"
#include "Scan/WalkTest.h"
#include "Scan/unix/DirectStream.h"
#include "Scan/unix/DirectoryReaderUnix.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/SharedGuardedStream.h"
#include "common/thrd/psThread.h"
#include "common/unx/virtstat.h"
#include "support/FailingNew.h"
#include "support/inChild.h"

namespace {

/// What goes wrong in a walk.
struct Faults {
    unsigned rate = 0;  // one call of so many fails, always the same ones; 0 for none

    /// What happens to a call for `name` on a helper thread: 0 or an errno value.
    std::function<int(const std::string& name)> ofHelper = [](auto& /*name*/) { return 0; };

    [[nodiscard]] int onThisThread(const std::string& name) const {
        return std::this_thread::get_id() == scanThread ? 0 : ofHelper(name);
    }

    const std::thread::id scanThread = std::this_thread::get_id();
    std::atomic<int> open{0};  // directories
    std::atomic<int> mostOpen{0};
};

/// A real directory in which some calls fail: which ones always do, the hash of the names
/// tells.
class FaultyStream : public DirectoryStream {
public:
    FaultyStream(std::unique_ptr<DirectoryStream> directory, Faults& theFaults,
                 std::size_t seed)
        : real(std::move(directory)), faults(theFaults), hash(seed) {
        const int open = ++faults.open;
        for (int most = faults.mostOpen; most < open;)
            faults.mostOpen.compare_exchange_weak(most, open);
    }
    ~FaultyStream() override { --faults.open; }
    FaultyStream(const FaultyStream&) = delete;
    FaultyStream& operator=(const FaultyStream&) = delete;

    int next(const char*& name) override {
        if (const int fault = faults.onThisThread("the names"); fault != 0)
            return fault;
        const int rc = real->next(name);
        return rc == 0 && name && fails(name, 'n') ? EIO : rc;
    }
    int attributes(const char* name, EntryStat& result) override {
        return name[0] != '\0' && fails(name, 'a') ? EIO : real->attributes(name, result);
    }
    void attributesOf(std::span<const EntryQuery> queries) override {
        std::vector<EntryQuery> good;
        for (const EntryQuery& query : queries) {
            *query.rc = fails(query.name, 'a') ? EIO : faults.onThisThread(query.name);
            if (*query.rc == 0)
                good.push_back(query);
        }
        real->attributesOf(good);
    }
    int open(const char* name, const WalkPlace& place,
             std::unique_ptr<DirectoryStream>& child) override {
        EXPECT_STRNE(".snapshot", name) << "which the walk leaves out";
        int rc = fails(name, 'o') ? EACCES : real->open(name, place, child);
        if (rc == 0)
            rc = faults.onThisThread(name);
        if (rc == 0)
            child = std::make_unique<FaultyStream>(std::move(child), faults, hashOf(name, 'd'));
        return rc;
    }
    bool deviceTells() override { return real->deviceTells(); }

private:
    [[nodiscard]] std::size_t hashOf(const std::string& name, char what) const {
        return std::hash<std::string>()(name + what) ^ (hash * 31);
    }
    [[nodiscard]] bool fails(const std::string& name, char what) const {
        return faults.rate != 0 && hashOf(name, what) % faults.rate == 0;
    }

    const std::unique_ptr<DirectoryStream> real;
    Faults& faults;
    const std::size_t hash;
};

class FaultyReader : public DirectoryReaderUnix {
public:
    FaultyReader(Faults& theFaults, unsigned helperThreads, bool isGuarded)
        : faults(theFaults), helpers(helperThreads), guarded(isGuarded) {}

    std::unique_ptr<DirectoryStream> Open(const std::string& path) override {
        std::unique_ptr<DirectoryStream> stream = DirectoryReaderUnix::Open(path);
        if (!firstReader || !stream)
            return stream;
        if (guarded &&
            SharedGuardedStream::openRoot(scanner->localPathOf(path), kLimit, stream) != 0)
            return nullptr;
        stream = std::make_unique<FaultyStream>(std::move(stream), faults, 1);
        return helpers > 0 ? ReadAhead::over(std::move(stream), helpers, scanner->getBounds())
                           : std::move(stream);
    }

private:
    static constexpr std::chrono::minutes kLimit{1};

    Faults& faults;
    const unsigned helpers;
    const bool guarded;
};

class ReadAheadTest : public WalkTest, public DirectoryReaderFactory {
protected:
    ReadAheadTest() {
        std::thread([] {}).join();  // so that a sanitizer's own thread is among those counted
        if (TestMount::possible())
            fast.emplace(TestMount::tmpfs(tree.root()));
    }

    std::unique_ptr<DirectoryReader> newDirectoryReader(Scanner* pScanner,
                                                        bool first) override {
        auto reader = std::make_unique<FaultyReader>(faults, helpers, guarded);
        reader->init(pScanner, first);
        return reader;
    }

    /// Everything that a walk tells: code, calls in their order, attributes, log without times.
    std::string walk(unsigned oneIn, unsigned helperThreads, bool isGuarded = false) {
        faults.rate = oneIn;
        faults.mostOpen = 0;
        guarded = isGuarded;
        helpers = helperThreads;
        action.story.clear();
        action.seen.clear();
        std::filesystem::remove(LogTest::tree.path("log"));
        std::string told = std::to_string(WalkTest::walk(*this, tree.root())) + action.story;
        for (const auto& [path, file] : action.seen)
            told += "\n" + path + " " + std::to_string(file.faInodeNumber) + " " +
                    std::to_string(file.faLength) + " " + std::to_string(file.faModified);
        static const std::regex time(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
        return told + std::regex_replace(LogTest::tree.read("log"), time, "$1");
    }

    /// Fills a directory: wide, deep, empty, by chance.
    void grow(const std::string& directory, int depth) {
        std::uniform_int_distribution<int> die(0, 99);
        const int files = die(random) < 5 ? die(random) * 6 : die(random) / 15;
        for (int i = 0; i < files; ++i)
            tree.touch(directory + "f" + std::to_string(i), static_cast<std::size_t>(i));
        const int directories = depth > 6 ? 0 : die(random) / (12 + 8 * depth);
        for (int i = 0; i < directories; ++i) {
            const std::string name = directory + "d" + std::to_string(i);
            tree.mkdirp(name);
            grow(name + "/", depth + 1);
        }
    }

    /// The calls of a walk with four helpers while an allocation fails; empty if it ended so.
    std::string walkWithout(FailingNew::Threads threads, long after, bool& hasFailed) {
        helpers = 4;
        action.story.clear();
        try {
            const FailingNew shortage(threads, after);
            EXPECT_EQ(0, WalkTest::walk(*this, tree.root()));
            hasFailed = FailingNew::hasFailed();
        } catch (const std::bad_alloc&) {
            action.story.clear();
        }
        return action.story;
    }

    /// Walks until something sets agentStop; true if it ended so.
    bool isStopped(unsigned helperThreads) {
        ScanAbortException* abort = nullptr;
        try {
            walk(0, helperThreads);
        } catch (ScanAbortException* thrown) {
            abort = thrown;
        }
        agentStop = 0;
        return std::unique_ptr<ScanAbortException>(abort) != nullptr;
    }

    static std::size_t count(const std::string& directory) {
        const std::filesystem::directory_iterator entries(directory);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    /// True once there are so many threads: the system lists one for a moment after its end.
    static bool comesDownTo(std::size_t threads) {
        for (int i = 0; i < 1000 && count("/proc/self/task") > threads; ++i)
            psThreadDelay(1);
        return count("/proc/self/task") == threads;
    }

    const TempTree tree;
    std::optional<TestMount> fast;  // making directories takes long on some disks
    std::mt19937 random{7};
    Faults faults;
    unsigned helpers = 0;
    bool guarded = false;
};

TEST_F(ReadAheadTest, TellsWhatThePlainWalkTells) {
    const std::size_t descriptors = count("/proc/self/fd");
    const std::size_t threads = count("/proc/self/task");
    for (int round = 0; round < 6; ++round) {
        for (const auto& entry : std::filesystem::directory_iterator(tree.root()))
            std::filesystem::remove_all(entry.path());
        grow("", 0);
        tree.mkdirp(".snapshot/below/that");
        for (const unsigned oneIn : {0U, 50U, 4U}) {
            const std::string plain = walk(oneIn, 0);
            for (const unsigned helperThreads : {1U, 2U, 16U})
                for (const bool withTimeout : {false, true})
                    ASSERT_EQ(plain, walk(oneIn, helperThreads, withTimeout))
                        << oneIn << " " << helperThreads << " " << withTimeout;
        }
    }
    const std::size_t idle = psThreadCount();  // with four ends of pipes each
    EXPECT_GE(kMostGuardedCalls, idle);
    EXPECT_EQ(descriptors + 4 * idle, count("/proc/self/fd"));
    EXPECT_TRUE(comesDownTo(threads + idle));
}

TEST_F(ReadAheadTest, AWideAndADeepDirectoryStayWithinTheBounds) {
    std::string deep;
    for (int level = 0; level < WalkBounds::kMaxComponents + 5; ++level)
        deep += "d/";
    tree.mkdirp(deep);
    for (int i = 0; i < 30000; ++i)
        tree.touch("wide-and-of-a-rather-long-name-" + std::to_string(i));
    for (int i = 0; i < 5000; ++i)
        tree.mkdirp("many/" + std::to_string(i) + "/in");
    const std::string plain = walk(0, 0);
    EXPECT_EQ(plain, walk(0, 8));
    EXPECT_EQ(plain, walk(0, 8, true));
}

TEST_F(ReadAheadTest, WhatAHelperLacksTheScanThreadAsksFor) {
    grow("", 0);
    const std::string plain = walk(0, 0);
    std::atomic<unsigned> calls{0};
    faults.ofHelper = [&calls](const std::string& /*name*/) {
        constexpr int kCodes[] = {0, EMFILE, 0, ENFILE, 0, 0, ENOMEM};
        return kCodes[calls++ % std::size(kCodes)];
    };
    for (const unsigned helperThreads : {1U, 16U})
        for (const bool withTimeout : {false, true})
            EXPECT_EQ(plain, walk(0, helperThreads, withTimeout));
    EXPECT_LT(0U, calls);
}

TEST_F(ReadAheadTest, FewDescriptorsAreEnoughForManyHelpers) {
    for (int i = 0; i < 3000; ++i)
        tree.mkdirp("many/" + std::to_string(i) + "/in");
    const std::string plain = walk(0, 0);
    faults.ofHelper = [](const std::string& name) {
        if (name != "the names")
            psThreadDelay(1);  // with a directory that is just open
        return 0;
    };
    action.onAct = [](const std::string& path) {
        if (path == "/")
            psThreadDelay(200);  // so that the helpers get to the bound
    };
    for (const rlim_t limit : {64UL, 400UL}) {
        EXPECT_EQ(0, inChild([&] {
                      const struct rlimit few = {limit, limit};
                      if (setrlimit(RLIMIT_NOFILE, &few) != 0 || walk(0, 64) != plain)
                          return 1;
                      return faults.mostOpen > 100 ? 2 : 0;
                  }))
            << limit;
    }
}

TEST_F(ReadAheadTest, AnAllocationThatFailsEndsTheWalkOrNothing) {
    for (int i = 0; i < 4; ++i)
        tree.mkdirp("directory-of-a-long-name-" + std::to_string(i) + "/below/that");
    for (int i = 0; i < 40; ++i)
        tree.touch("directory-of-a-long-name-1/" + std::to_string(i));
    walk(0, 0);
    const std::string plain = action.story;
    const std::size_t threads = count("/proc/self/task");
    std::atomic<int> calls{0};
    faults.ofHelper = [&calls](const std::string& /*name*/) {
        ++calls;
        return 0;
    };
    int mostCalls = INT_MAX;
    action.onAct = [&](const std::string& path) {  // the helpers do all
        for (int i = 0; i < 300 && path == "/" && calls < mostCalls && !FailingNew::hasFailed();
             ++i)
            psThreadDelay(1);
    };
    bool hasFailed = false;
    EXPECT_EQ(plain, walkWithout(FailingNew::OTHERS, LONG_MAX, hasFailed));
    mostCalls = calls;
    for (const auto whose : {FailingNew::OTHERS, FailingNew::OWN}) {
        int ended = 0;
        hasFailed = true;
        for (long after = 0; hasFailed; ++after) {
            calls = 0;
            const std::string story = walkWithout(whose, after, hasFailed);
            if (story.empty())
                ++ended;
            else
                ASSERT_EQ(plain, story) << after << " allocations came before";
        }
        EXPECT_LT(20, ended);
        action.onAct = [](const std::string& /*path*/) {};
    }
    EXPECT_EQ(0, faults.open);
    EXPECT_TRUE(comesDownTo(threads));
}

TEST_F(ReadAheadTest, TheEndDoesNotWaitForAHelperThatHangs) {
    tree.mkdirp("stuck/in");
    tree.mkdirp("other/in");
    const std::size_t threads = count("/proc/self/task");
    std::atomic<bool> hangs{false};
    std::atomic<bool> mayGoOn{false};
    faults.ofHelper = [&](const std::string& name) {
        if (name == "in") {
            hangs = true;
            mayGoOn.wait(false);
        }
        return 0;
    };
    action.onAct = [&](const std::string& /*path*/) {
        for (int i = 0; i < 3000 && !hangs; ++i)
            psThreadDelay(10);
        agentStop = 1;
    };
    EXPECT_TRUE(isStopped(2));
    EXPECT_TRUE(hangs);
    EXPECT_LT(threads, count("/proc/self/task")) << "and it keeps what it uses";
    EXPECT_LT(0, faults.open);
    mayGoOn = true;
    mayGoOn.notify_all();
    for (int i = 0; i < 3000 && threads < count("/proc/self/task"); ++i)
        psThreadDelay(10);
    EXPECT_EQ(0, faults.open);
}

TEST_F(ReadAheadTest, AStopEndsTheHelpers) {
    for (int i = 0; i < 2000; ++i)
        tree.mkdirp(std::to_string(i % 50) + "/" + std::to_string(i) + "/x");
    const std::size_t threads = count("/proc/self/task");
    int seen = 0;
    action.onAct = [&seen](const std::string& /*path*/) {
        if (++seen == 100)
            agentStop = 1;
    };
    EXPECT_TRUE(isStopped(8));
    EXPECT_EQ(100, seen);
    EXPECT_TRUE(comesDownTo(threads));
}

}  // namespace
