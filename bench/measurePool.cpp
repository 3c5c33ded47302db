// What it costs to replace a block of the pool by another, beside the system's allocator.
// Sizes are those of a scan: names and paths, records, some tables. Blocks are replaced at
// random in a live set of `range(0)` blocks.
//
// usage: measure_pool

#include <cstdlib>
#include <vector>

#include <benchmark/benchmark.h>

#include "Random.h"
#include "common/mem/keMalloc.h"

namespace {

struct SystemAllocator {
    static void* get(long size) { return std::malloc(static_cast<std::size_t>(size)); }
    static void put(void* block) { std::free(block); }
};

struct PoolAllocator {
    static void* get(long size) { return keMalloc(size, __FILE__, __LINE__); }
    static void put(void* block) { keFree(block, __FILE__, __LINE__); }
};

long anySize(Random& random) {
    const std::uint64_t kind = random.below(100);
    if (kind < 60)
        return static_cast<long>(10 + random.below(141));  // names and paths
    if (kind < 95)
        return static_cast<long>(200 + random.below(201));  // records
    return static_cast<long>(1024 + random.below(15361));   // tables
}

struct Replacement {
    std::size_t which;
    long size;
};

/// One allocation and one release for each turn.
template <class Allocator>
void replaceBlocks(benchmark::State& state) {
    Random random;
    std::vector<void*> blocks(static_cast<std::size_t>(state.range(0)));
    for (void*& block : blocks)
        block = Allocator::get(anySize(random));
    std::vector<Replacement> plan(1 << 20);
    for (Replacement& step : plan)
        step = {random.below(blocks.size()), anySize(random)};
    // The free space of a program that has run for a while.
    for (const Replacement& step : plan) {
        Allocator::put(blocks[step.which]);
        blocks[step.which] = Allocator::get(step.size);
    }

    std::size_t turn = 0;
    for ([[maybe_unused]] auto ignored : state) {
        const Replacement& step = plan[turn++ % plan.size()];
        Allocator::put(blocks[step.which]);
        blocks[step.which] = Allocator::get(step.size);
        *static_cast<char*>(blocks[step.which]) = 'x';
    }
    for (void* block : blocks)
        Allocator::put(block);
    KelPoolEnd();
}

/// The shortest way: the same small block again and again.
template <class Allocator>
void takeAndGive(benchmark::State& state) {
    for ([[maybe_unused]] auto ignored : state) {
        void* const block = Allocator::get(40);
        benchmark::DoNotOptimize(block);
        Allocator::put(block);
    }
    KelPoolEnd();
}

}  // namespace

BENCHMARK(takeAndGive<SystemAllocator>);
BENCHMARK(takeAndGive<PoolAllocator>);
BENCHMARK(replaceBlocks<SystemAllocator>)->Arg(10000)->Arg(100000);
BENCHMARK(replaceBlocks<PoolAllocator>)->Arg(10000)->Arg(100000);

BENCHMARK_MAIN();
