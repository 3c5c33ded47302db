#include <cerrno>
#include <filesystem>
#include <functional>
#include <random>
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

namespace {

/// A real directory in which some calls fail, always the same ones: which, the hash of the
/// names tells.
class FaultyStream : public DirectoryStream {
public:
    FaultyStream(std::unique_ptr<DirectoryStream> directory, unsigned oneIn, std::size_t seed)
        : real(std::move(directory)), rate(oneIn), hash(seed) {}

    int next(const char*& name) override {
        const int rc = real->next(name);
        if (rc == 0 && name && fails(name, 'n'))
            return EIO;
        return rc;
    }
    int attributes(const char* name, EntryStat& result) override {
        return name[0] != '\0' && fails(name, 'a') ? EIO : real->attributes(name, result);
    }
    void attributesOf(std::span<const EntryQuery> queries) override {
        std::vector<EntryQuery> good;
        for (const EntryQuery& query : queries) {
            if (fails(query.name, 'a'))
                *query.rc = EIO;
            else
                good.push_back(query);
        }
        real->attributesOf(good);
    }
    int open(const char* name, const WalkPlace& place,
             std::unique_ptr<DirectoryStream>& child) override {
        if (fails(name, 'o'))
            return EACCES;
        const int rc = real->open(name, place, child);
        if (rc == 0)
            child = std::make_unique<FaultyStream>(std::move(child), rate, hashOf(name, 'd'));
        return rc;
    }
    bool deviceTells() override { return real->deviceTells(); }

private:
    [[nodiscard]] std::size_t hashOf(const std::string& name, char what) const {
        return std::hash<std::string>()(name + what) ^ (hash * 31);
    }
    [[nodiscard]] bool fails(const std::string& name, char what) const {
        return rate != 0 && hashOf(name, what) % rate == 0;
    }

    const std::unique_ptr<DirectoryStream> real;
    const unsigned rate;
    const std::size_t hash;
};

class FaultyReader : public DirectoryReaderUnix {
public:
    FaultyReader(unsigned oneIn, unsigned helperThreads, bool isGuarded)
        : rate(oneIn), helpers(helperThreads), guarded(isGuarded) {}

    std::unique_ptr<DirectoryStream> Open(const std::string& path) override {
        std::unique_ptr<DirectoryStream> stream = DirectoryReaderUnix::Open(path);
        if (!firstReader || !stream)
            return stream;
        if (guarded &&
            SharedGuardedStream::openRoot(scanner->localPathOf(path), kLimit, stream) != 0)
            return nullptr;
        stream = std::make_unique<FaultyStream>(std::move(stream), rate, 1);
        return helpers > 0 ? ReadAhead::over(std::move(stream), helpers, scanner->getBounds())
                           : std::move(stream);
    }

private:
    static constexpr std::chrono::minutes kLimit{1};

    const unsigned rate;
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
        auto reader = std::make_unique<FaultyReader>(rate, helpers, guarded);
        reader->init(pScanner, first);
        return reader;
    }

    /// Everything that a walk tells: code, calls in their order, attributes, log without times.
    std::string walk(unsigned oneIn, unsigned helperThreads, bool isGuarded = false) {
        rate = oneIn;
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

    static std::size_t count(const std::string& directory) {
        const std::filesystem::directory_iterator entries(directory);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    const TempTree tree;
    std::optional<TestMount> fast;  // making directories takes long on some disks
    std::mt19937 random{7};
    unsigned rate = 0;
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
        tree.mkdirp(".snapshot/below/that");  // read ahead in vain
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
    EXPECT_EQ(threads + idle, count("/proc/self/task"));
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

TEST_F(ReadAheadTest, AStopEndsTheHelpers) {
    for (int i = 0; i < 2000; ++i)
        tree.mkdirp(std::to_string(i % 50) + "/" + std::to_string(i) + "/x");
    const std::size_t threads = count("/proc/self/task");
    int seen = 0;
    action.onAct = [&seen](const std::string& /*path*/) {
        if (++seen == 100)
            agentStop = 1;
    };
    ScanAbortException* abort = nullptr;
    try {
        walk(0, 8);
    } catch (ScanAbortException* thrown) {
        abort = thrown;
    }
    const std::unique_ptr<ScanAbortException> failure(abort);
    agentStop = 0;
    EXPECT_TRUE(failure);
    EXPECT_EQ(100, seen);
    EXPECT_EQ(threads, count("/proc/self/task"));
}

}  // namespace
