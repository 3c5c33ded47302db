#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Common/unix/psmsgutil.h"
#include "common/mem/hiddenMemory.h"
#include "common/mem/keMalloc.h"
#include "common/ut/trace.h"
#include "common/ut/traceClasses.h"
#include "common/ut/traceControl.h"
#include "support/TempTree.h"
#include "support/inChild.h"

#if defined(POOL_HIDES_MEMORY) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized =
    true;  // such a build has no limit of memory, and pays for all of it
#else
constexpr bool kSanitized = false;
#endif

namespace {

constexpr char kFile[] = "a.c";

void* get(long size) {
    return keMalloc(size, kFile, 1);
}
void* resize(void* block, long size) {
    return keRealloc(block, size, kFile, 2);
}
void put(void* block) {
    keFree(block, kFile, 3);
}
long allocated() {
    return KelPoolStatistics().allocated;
}

/// What the test's failure handler answers, the last one again and again.
std::vector<int> answers;
std::size_t asked = 0;
void* spare = nullptr;

int answer() {
    return answers[std::min(asked++, answers.size() - 1)];
}
void releaseSpare() {
    put(spare);
    spare = nullptr;
}

}  // namespace

/// An empty pool and, if wanted, a trace of nothing but texts.
class keMallocTest : public testing::Test {
protected:
    keMallocTest() {
        static_cast<void>(trSetFlags("", true, kFoundationClasses, kFoundationAggregates));
        trClearFlags(kFoundationClasses);
        KelPoolEnd();
        asked = 0;
    }
    ~keMallocTest() override {
        trClearFlags(kFoundationClasses);
        setFailureHandler(nullptr);
        KelPoolEnd();
        closeTrace();
    }

    /// Starts the trace over.
    void openTrace() const {
        closeTrace();
        std::remove(tree.path("t").c_str());
        ASSERT_EQ(0, trOpen(tree.path("t"), false));
        told = tree.read("t").size();
    }

    /// What was traced since the last look, without a check of the whole pool.
    [[nodiscard]] std::string report() const {
        const std::string all = tree.read("t");
        std::string text = all.substr(told);
        told = all.size();
        return text;
    }

    const TempTree tree;
    mutable std::size_t told = 0;
};

/// A plain model of what is allocated: each block is filled with a byte of its own.
class Model {
public:
    void step() {
        // Grows to some thousand blocks and falls back to few, again and again.
        const bool rising = turn++ / 10000 % 2 == 0;
        const auto dice = random() % 10;
        if (blocks.empty() || (blocks.size() < 4000 && dice < (rising ? 5 : 2)))
            add(dice % 3 == 0);
        else if (dice < (rising ? 7 : 4))
            change(random() % blocks.size());
        else
            remove(random() % blocks.size());
    }
    void removeAll() {
        while (!blocks.empty())
            remove(random() % blocks.size());
    }

private:
    struct Block {
        unsigned char* place;
        std::size_t size;
        unsigned char content;
    };

    long anySize() {
        const auto dice = random() % 100;
        const int range = dice < 60 ? 120 : dice < 90 ? 3000 : dice < 98 ? 65384 : 200000;
        return static_cast<long>(random() % static_cast<unsigned>(range) + 1);
    }

    static bool isFilled(const Block& block, std::size_t bytes) {
        return block.place[0] == block.content &&
               std::memcmp(block.place, block.place + 1, bytes - 1) == 0;
    }
    void fill(Block& block) {
        block.content = static_cast<unsigned char>(random() % 255 + 1);
        std::memset(block.place, block.content, block.size);
    }

    void add(bool cleared) {
        const long size = anySize();
        Block block{};
        block.size = static_cast<std::size_t>(size);
        void* const place = cleared ? keCalloc(1, size, kFile, 4) : get(size);
        ASSERT_NE(nullptr, place);
        block.place = static_cast<unsigned char*>(place);
        if (cleared) {
            ASSERT_TRUE(isFilled(block, block.size));
        }
        fill(block);
        blocks.push_back(block);
    }
    void change(std::size_t which) {
        Block& block = blocks[which];
        const auto size = static_cast<std::size_t>(anySize());
        block.place = static_cast<unsigned char*>(resize(block.place, static_cast<long>(size)));
        ASSERT_NE(nullptr, block.place);
        ASSERT_TRUE(isFilled(block, std::min(size, block.size)));
        block.size = size;
        fill(block);
    }
    void remove(std::size_t which) {
        ASSERT_TRUE(isFilled(blocks[which], blocks[which].size));
        put(blocks[which].place);
        blocks[which] = blocks.back();
        blocks.pop_back();
    }

    std::vector<Block> blocks;
    std::mt19937 random{20};
    unsigned turn = 0;
};

TEST_F(keMallocTest, KeepsWhatAPlainModelKeeps) {
    Model model;
    for (int turn = 1; turn <= 200000 && !HasFatalFailure(); ++turn) {
        model.step();
        if (turn % 1000 == 0) {
            ASSERT_EQ(0, KelPoolCheck()) << turn;
        }
    }
    EXPECT_LT(10, KelPoolStatistics().maxSegments);
    EXPECT_LT(10, KelPoolStatistics().maxDirectBlocks);
    model.removeAll();
    EXPECT_EQ(0, KelPoolCheck());
    EXPECT_EQ(0, allocated());
    EXPECT_EQ(0, KelPoolStatistics().directBlocks);
    EXPECT_EQ(2, KelPoolStatistics().segments);
}

TEST_F(keMallocTest, SizesAtTheBounds) {
    const auto taken = [](long size) {
        void* const block = get(size);
        const long bytes = allocated();
        put(block);
        return bytes;
    };
    EXPECT_EQ(16, taken(1));
    EXPECT_EQ(20, taken(9));
    EXPECT_EQ(65392, taken(65384));
    EXPECT_EQ(0, KelPoolStatistics().maxDirectBlocks);
    EXPECT_EQ(65388 + 24, taken(65385)) << "direct";
    EXPECT_EQ(1, KelPoolStatistics().maxDirectBlocks);
    EXPECT_EQ(1, KelPoolStatistics().segments);
    EXPECT_EQ(65392, taken(65392 - 8 - 16)) << "a rest of 16 bytes stays in the block";
    EXPECT_EQ(65372, taken(65392 - 8 - 20)) << "one of 20 is split off";

    void* const block = get(100);
    EXPECT_EQ(block, resize(block, 84));
    EXPECT_EQ(92, allocated()) << "a tail of 16 bytes is split off";
    EXPECT_EQ(block, resize(block, 72));
    EXPECT_EQ(92, allocated()) << "one of 12 stays";
    EXPECT_EQ(block, resize(block, 84 + 16));
    EXPECT_EQ(108, allocated()) << "the tail comes back";
    void* const direct = resize(block, 65385);
    EXPECT_EQ(1, KelPoolStatistics().directBlocks);
    put(resize(direct, 10));
    EXPECT_EQ(0, allocated());
    EXPECT_EQ(0, KelPoolCheck());
}

TEST_F(keMallocTest, NeighboursMergeAndTheSmallestThatFitsIsTaken) {
    for (const bool lowerFirst : {true, false}) {
        void* const high = get(1000);
        void* const low = get(1000);
        void* const fence = get(1000);
        put(lowerFirst ? low : high);
        put(lowerFirst ? high : low);
        EXPECT_EQ(0, KelPoolCheck());
        void* const both = get(2008);
        EXPECT_EQ(low, both) << "as one block";
        put(both);
        put(fence);
    }
    std::vector<void*> blocks;
    for (const long size : {1500, 1000, 2000, 1000, 1200}) {
        blocks.push_back(get(size));
        blocks.push_back(get(8));  // keeps them apart
    }
    for (const std::size_t freed : {0U, 2U, 4U, 6U, 8U})
        put(blocks[freed]);
    EXPECT_EQ(0, KelPoolCheck());
    EXPECT_EQ(blocks[8], get(1100 + 84)) << "of 1200; all of them share a list";
    EXPECT_EQ(blocks[0], get(1496));
    EXPECT_EQ(blocks[6], get(1000)) << "that was freed last";
    EXPECT_EQ(blocks[2], get(1000));
    EXPECT_EQ(0, KelPoolCheck());
}

TEST_F(keMallocTest, TwoEmptySegmentsStay) {
    std::vector<void*> blocks;
    for (int i = 0; i < 6; ++i)
        blocks.push_back(get(65384));
    for (const long left : {5, 4, 3, 2, 2, 2}) {
        put(blocks.back());
        blocks.pop_back();
        EXPECT_EQ(left, KelPoolStatistics().segments);
    }
    EXPECT_EQ(6, KelPoolStatistics().maxSegments);
    static_cast<void>(get(10));
    static_cast<void>(get(100000));
    KelPoolEnd();
    EXPECT_EQ(0, allocated() + KelPoolStatistics().segments + KelPoolStatistics().maxSegments +
                     KelPoolStatistics().directBlocks + KelPoolStatistics().maxDirectBlocks);
}

TEST_F(keMallocTest, WrongCallsAreReportedAndChangeNothing) {
    for (const bool walks : {false, true}) {
        trMemory = walks ? 1 : 0;
        auto* const block = static_cast<char*>(get(100));
        auto* const freed = static_cast<char*>(get(50));
        static_cast<void>(get(8));
        put(freed);
        std::memset(block, 0, 100);
        if (walks) {  // in the middle of the block stands what looks like one
            constexpr BlockHead forged{kUsedMagic, 0, -24};
            std::memcpy(block + 8, &forged, sizeof forged);
        }
        const auto text = [](const char* format, const void* place) {
            std::array<char, 200> line{};
            std::snprintf(line.data(), line.size(), format, place);
            return std::string(line.data());
        };
        const long before = allocated();
        openTrace();
        EXPECT_EQ(nullptr, get(0));
        EXPECT_EQ(nullptr, get(-1));
        EXPECT_EQ(nullptr, get(LONG_MAX));
        EXPECT_EQ(nullptr, keCalloc(0, 3, kFile, 4));
        EXPECT_EQ(nullptr, keCalloc(LONG_MAX / 2, 3, kFile, 4));
        EXPECT_EQ(nullptr, keCalloc(LONG_MAX, 1, kFile, 4));
        EXPECT_EQ(nullptr, resize(block, 0));
        EXPECT_EQ(nullptr, resize(block, LONG_MAX - 20));
        EXPECT_EQ(nullptr, resize(nullptr, 1));
        EXPECT_EQ(nullptr, resize(block + 16, 1));
        EXPECT_EQ(nullptr, resize(freed, 1));
        put(nullptr);
        put(block + 3);
        put(block + 16);
        put(freed);
        EXPECT_EQ(
            "Wrong Alloc call: Size 0 File a.c Line 1\n"
            "Wrong Alloc call: Size -1 File a.c Line 1\n"
            "Alloc failed: Size 9223372036854775807 File a.c Line 1\n"
            "Wrong Calloc call: Size 0 Count 3 File a.c Line 4\n"
            "Wrong Calloc call: Size 4611686018427387903 Count 3 File a.c Line 4\n"
            "Calloc failed: Size 9223372036854775807 File a.c Line 4\n"
            "Wrong Realloc call: Size 0 File a.c Line 2\n" +
                text("Realloc failed: Old addr %p New Size 9223372036854775787 "
                     "File a.c Line 2\n",
                     block) +
                text("Attempt to realloc unknown pointer. Addr %p, File a.c, Line 2\n",
                     nullptr) +
                text("Attempt to realloc unknown pointer. Addr %p, File a.c, Line 2\n",
                     block + 16) +
                text("Attempt to realloc free pointer. Addr %p, File a.c, Line 2\n", freed) +
                "Attempt to free NULL pointer. File a.c Line 3\n" +
                text("Attempt to free unknown pointer. Addr %p, File a.c, Line 3\n",
                     block + 3) +
                text("Attempt to free unknown pointer. Addr %p, File a.c, Line 3\n",
                     block + 16) +
                text("Attempt to free pointer to a free block. Addr %p, File a.c, "
                     "Line 3\n",
                     freed),
            report());
        EXPECT_EQ(before, allocated());
        EXPECT_EQ(0, KelPoolCheck());
        static_cast<void>(report());
        put(block);
        EXPECT_EQ(walks ? text("KELMEM(-) Addr %p File a.c Line 3\n", block) : "", report());
        trMemory = 0;
        put(block);
        EXPECT_EQ(
            text("Attempt to free pointer to a free block. Addr %p, File a.c, Line 3\n", block),
            report())
            << "though it was merged";
    }
}

TEST_F(keMallocTest, WhatIsOverwrittenIsFoundAndTheOthersAreUsedOn) {
    openTrace();
    trMemdetail = 1;
    auto* const high = static_cast<char*>(get(100));
    EXPECT_NE(std::string::npos, report().find("Pool validation finished. RC = 0\n"));
    trMemdetail = 0;
    auto* const middle = static_cast<char*>(get(100));
    auto* const low = static_cast<char*>(get(100));
    auto* const direct = static_cast<char*>(get(100000));
    std::memset(low, 'x', 100 + 4);  // over the magic of the block behind
    std::memset(direct - 8, 'x', 2);
    EXPECT_EQ(4, KelPoolCheck()) << "magic and size before, magic, not in the table";
    const std::string found = report();
    for (const char* const part :
         {"(Magic value overwritten)\n", "\t\tFree block at ", "\t\t---- Segments dump ----\n",
          "78 78 78 78 78 78 78 78 78 78 78 78 78 78 78 78    xxxxxxxxxxxxxxxx\n"
          " (5 lines [80 bytes] identical to above line skipped)\n"
          "78 78 78 78                                        xxxx\n",
          "KELMEM(v) Pool validation finished. RC = 4\n"})
        EXPECT_NE(std::string::npos, found.find(part)) << part;
    put(middle);
    put(direct);
    trMemory = 1;
    put(middle);
    trMemory = 0;
    EXPECT_NE(std::string::npos,
              report().find("(Magic value overwritten)\nAttempt to free unkn"));
    put(high);
    put(low);
    for (int i = 0; i < 1000; ++i)
        EXPECT_NE(nullptr, get(i % 300 + 1));
}

TEST_F(keMallocTest, ListsThatAreOverwrittenAreGivenUp) {
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer does not let the test write there";
    std::vector<void*> blocks;
    for (int i = 0; i < 2000; ++i)
        blocks.push_back(get(600 + i % 100));
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        put(blocks[i]);
        if (i % 10 == 0)
            std::memset(blocks[i], static_cast<int>(i % 251), 8);
    }
    EXPECT_NE(0, KelPoolCheck());
    for (std::size_t i = 1; i < blocks.size(); i += 2)
        put(blocks[i]);
    for (int i = 0; i < 2000; ++i)
        EXPECT_NE(nullptr, get(600 + i % 100));
}

TEST_F(keMallocTest, TheFailureHandlerDecides) {
    setFailureHandler(answer, releaseSpare);
    answers = {kRetry, 7, kReleaseAndRetry, kGiveUp};
    spare = get(10);
    EXPECT_EQ(nullptr, get(LONG_MAX - 20));
    EXPECT_EQ(4U, asked);
    EXPECT_EQ(nullptr, spare);
    EXPECT_EQ(0, allocated());

    if (kSanitized)
        return;
    EXPECT_EQ(0, inChild([] {
                  constexpr long size = 300L << 20;
                  constexpr rlimit limit{500UL << 20, 500UL << 20};
                  setrlimit(RLIMIT_AS, &limit);
                  answers = {kReleaseAndRetry, kGiveUp};
                  asked = 0;
                  spare = get(size);
                  void* const first = get(size);
                  if (!first || spare || asked != 1)
                      return 1;
                  if (get(size) || asked != 2)
                      return 2;
                  setFailureHandler(nullptr);
                  while (get(60000)) {
                  }
                  return asked == 2 && KelPoolCheck() == 0 ? 0 : 3;
              }));
}

TEST_F(keMallocTest, ADirectBlockMayBeLargerThan32Bits) {
    if (kSanitized)
        GTEST_SKIP() << "takes real memory";
    constexpr long size = 5L << 30;
    auto* const block = static_cast<char*>(get(size));
    ASSERT_NE(nullptr, block);
    block[0] = block[size - 1] = 'x';
    auto* const larger = static_cast<char*>(resize(block, size + 100000));
    ASSERT_NE(nullptr, larger);
    EXPECT_EQ('x', larger[size - 1]);
    EXPECT_EQ(size + 100000 + 24, allocated());
    EXPECT_EQ(0, KelPoolCheck());
    put(larger);
    EXPECT_EQ(0, allocated());
}

TEST_F(keMallocTest, ThreadsShareIt) {
    std::array<std::atomic<unsigned char*>, 256> shared{};
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed)
        threads.emplace_back([&shared, seed] {
            std::minstd_rand random(seed + 1);
            for (int turn = 0; turn < 5000; ++turn) {
                const long size = static_cast<long>(random() % 2000 + 2);
                auto* block = static_cast<unsigned char*>(get(size));
                std::memset(block, turn % 256, static_cast<std::size_t>(size));
                block = shared[random() % shared.size()].exchange(block);
                if (!block)
                    continue;
                EXPECT_EQ(block[0], block[1]);
                put(turn % 3 == 0 ? resize(block, size) : block);
            }
        });
    EXPECT_EQ(0, KelPoolCheck());
    for (std::thread& thread : threads)
        thread.join();
    for (unsigned char* block : shared) {
        if (block)
            put(block);
    }
    EXPECT_EQ(0, allocated());
}

#ifdef POOL_HIDES_MEMORY
TEST_F(keMallocTest, FreeBlocksAreHidden) {
    auto* const block = static_cast<char*>(get(100));
    EXPECT_FALSE(isHidden(reinterpret_cast<std::byte*>(block), 100));
    put(block);
    for (int i = 0; i < 96; i += 8)
        EXPECT_TRUE(__asan_address_is_poisoned(block + i)) << i;
}
#endif
