// replace: one item is one block disposed of and one allocated in its place, among 20000 live blocks of
// 16 to 256 bytes, sizes and places by a fixed random sequence; each thread has its own blocks.
// nodes: one item is one node of an ordered map of 8-byte keys, inserted and later erased.
// Real time, all threads together.
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "qelcore/SmallBlockAllocator.h"

namespace
{

using qelcore::utility::SmallBlockAllocator;

struct Pool
{
    static void* Allocate(std::size_t inSize) { return SmallBlockAllocator::Allocate(inSize); }
    static void Dispose(void* inBlock, std::size_t inSize)
    {
        SmallBlockAllocator::Dispose(inBlock, inSize);
    }
};

struct System
{
    static void* Allocate(std::size_t inSize) { return ::operator new(inSize); }
    static void Dispose(void* inBlock, std::size_t inSize) { ::operator delete(inBlock, inSize); }
};

struct Step
{
    std::uint32_t mPlace;
    std::uint32_t mSize;
};

std::vector<Step> Steps(unsigned inSeed)
{
    std::mt19937 random(inSeed);
    std::vector<Step> steps(1 << 16);
    for (Step& step : steps)
        step = {static_cast<std::uint32_t>(random() % 20000),
                static_cast<std::uint32_t>(16 + random() % 241)};
    return steps;
}

template <class Allocator>
void Replace(benchmark::State& ioState)
{
    const std::vector<Step> steps = Steps(static_cast<unsigned>(ioState.thread_index()));
    std::vector<std::pair<void*, std::size_t>> live(20000);
    for (std::size_t i = 0; i < live.size(); ++i)
        live[i] = {Allocator::Allocate(steps[i].mSize), steps[i].mSize};
    std::size_t at = 0;
    for (auto _ : ioState)
    {
        const Step step = steps[at++ % steps.size()];
        auto& block = live[step.mPlace];
        Allocator::Dispose(block.first, block.second);
        block = {Allocator::Allocate(step.mSize), step.mSize};
        *static_cast<char*>(block.first) = 1;
    }
    for (const auto& block : live)
        Allocator::Dispose(block.first, block.second);
    ioState.SetItemsProcessed(ioState.iterations());
}
BENCHMARK_TEMPLATE(Replace, Pool)->ThreadRange(1, 4)->UseRealTime();
BENCHMARK_TEMPLATE(Replace, System)->ThreadRange(1, 4)->UseRealTime();

template <template <class> class Allocator>
void Nodes(benchmark::State& ioState)
{
    using Map = std::map<std::uint64_t, std::uint64_t, std::less<>,
                         Allocator<std::pair<const std::uint64_t, std::uint64_t>>>;
    Map map;
    std::uint64_t next = 0;
    for (; next < 10000; ++next)
        map.emplace(next * 0x9e3779b97f4a7c15u, next);
    for (auto _ : ioState)
    {
        map.erase((next - 10000) * 0x9e3779b97f4a7c15u);
        map.emplace(next * 0x9e3779b97f4a7c15u, next);
        ++next;
    }
    ioState.SetItemsProcessed(ioState.iterations());
}
BENCHMARK_TEMPLATE(Nodes, qelcore::STLAllocator);
BENCHMARK_TEMPLATE(Nodes, std::allocator);

} // namespace
