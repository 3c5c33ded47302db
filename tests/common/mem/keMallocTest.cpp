#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <random>
#include <sys/resource.h>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/mem/hiddenMemory.h"
#include "common/mem/keMalloc.h"
#include "common/ut/traceClasses.h"
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

/// A block that is filled with a byte of its own.
struct Block {
    unsigned char* place = nullptr;
    std::size_t size = 0;
    unsigned char content = 0;

    [[nodiscard]] bool isFilled(std::size_t bytes) const {
        return bytes == 0 ||
               (place[0] == content && std::memcmp(place, place + 1, bytes - 1) == 0);
    }
};

/// An empty pool.
class keMallocTest : public testing::Test {
protected:
    keMallocTest() {
        KelPoolEnd();
        asked = 0;
    }
    ~keMallocTest() override {
        setFailureHandler(nullptr);
        KelPoolEnd();
    }
};

TEST_F(keMallocTest, KeepsWhatAPlainModelKeeps) {
    std::mt19937 random(20);
    const auto anySize = [&random] {
        const auto dice = random() % 100;
        const unsigned range = dice < 60 ? 120 : dice < 90 ? 3000 : dice < 98 ? 65384 : 200000;
        return static_cast<long>(random() % range + 1);
    };
    std::vector<Block> blocks;
    for (int turn = 1; turn <= 200000 || !blocks.empty(); ++turn) {
        // Grows to some thousand blocks and falls back to few, again and again.
        const bool rising = turn / 10000 % 2 == 0;
        const bool ends = turn > 200000;
        const auto dice = random() % 10;
        const bool adds =
            blocks.empty() || (!ends && blocks.size() < 4000 && dice < (rising ? 5 : 2));
        Block& block = adds ? blocks.emplace_back() : blocks[random() % blocks.size()];
        ASSERT_TRUE(block.isFilled(block.size));
        if (ends || (!adds && dice >= (rising ? 7 : 4))) {
            put(block.place);
            block = blocks.back();
            blocks.pop_back();
            continue;
        }
        const long size = anySize();
        const bool cleared = adds && dice % 3 == 0;
        void* const place = cleared ? keCalloc(1, size, kFile, 4)
                            : adds  ? get(size)
                                    : resize(block.place, size);
        ASSERT_NE(nullptr, place);
        const std::size_t before = std::exchange(block.size, static_cast<std::size_t>(size));
        block.place = static_cast<unsigned char*>(place);
        ASSERT_TRUE(block.isFilled(cleared ? block.size : std::min(before, block.size)));
        block.content = static_cast<unsigned char>(random() % 255 + 1);
        std::memset(place, block.content, block.size);
        ASSERT_TRUE(turn % 1000 != 0 || KelPoolCheck() == 0) << turn;
    }
    EXPECT_LT(10, KelPoolStatistics().maxSegments);
    EXPECT_LT(10, KelPoolStatistics().maxDirectBlocks);
    EXPECT_EQ(0, KelPoolCheck() + allocated() + KelPoolStatistics().directBlocks);
    EXPECT_EQ(2, KelPoolStatistics().segments) << "empty ones that stay";
}

TEST_F(keMallocTest, WrongCallsChangeNothing) {
    auto* const block = static_cast<char*>(get(100));
    auto* const freed = static_cast<char*>(get(50));
    static_cast<void>(get(8));
    put(freed);
    for (const bool walks : {false, true}) {
        trMemory = walks ? 1 : 0;
        std::memset(block, 0, 100);
        if (walks) {  // in the middle of the block is what looks like one
            constexpr BlockHead forged{kUsedMagic, 0, -24};
            std::memcpy(block + 8, &forged, sizeof forged);
        }
        const long before = allocated();
        for (const long size : {0L, -1L, LONG_MAX}) {
            EXPECT_EQ(nullptr, get(size));
            EXPECT_EQ(nullptr, keCalloc(size, 3, kFile, 4));
            EXPECT_EQ(nullptr, keCalloc(1, size, kFile, 4));
            EXPECT_EQ(nullptr, resize(block, size));
        }
        for (char* const wrong : {static_cast<char*>(nullptr), block + 3, block + 16, freed}) {
            EXPECT_EQ(nullptr, resize(wrong, 1));
            put(wrong);
        }
        EXPECT_EQ(before, allocated());
        EXPECT_EQ(0, KelPoolCheck());
    }
    trMemory = 0;
    put(block);
    put(block);  // though it was merged
    EXPECT_EQ(0, KelPoolCheck());
}

TEST_F(keMallocTest, WhatIsOverwrittenIsFoundAndTheOthersAreUsedOn) {
    std::vector<char*> blocks;
    for (int i = 0; i < 2000; ++i)
        blocks.push_back(static_cast<char*>(get(600 + i % 100)));
    auto* const direct = static_cast<char*>(get(100000));
    std::memset(blocks[1], 'x', 601 + 8);  // over the magic of a neighbour
    std::memset(direct - 8, 'x', 2);
    EXPECT_LE(3, KelPoolCheck()) << "magic and size before, not in the table";
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        put(blocks[i]);
        if (!kSanitized && i % 10 == 0)  // over the links of a list
            std::memset(blocks[i], static_cast<int>(i % 251), 8);
    }
    EXPECT_LE(3, KelPoolCheck());
    for (std::size_t i = 1; i < blocks.size(); i += 2)
        put(blocks[i]);
    put(direct);
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
                  const bool released = get(size) && !spare && asked == 1;
                  while (get(60000)) {
                  }
                  return released && asked == 2 && KelPoolCheck() == 0 ? 0 : 1;
              }));
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
    for (std::thread& thread : threads)
        thread.join();
    for (unsigned char* block : shared)
        put(block);
    EXPECT_EQ(0, allocated() + KelPoolCheck());
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

}  // namespace
