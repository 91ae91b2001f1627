// frames: one item is one block taken, one byte written in each of its pages, and given back: what a
// decoder does that lets each frame go before it takes the next. Peers: malloc, whose limit for keeping
// large blocks adapts itself, and bare pages of the system.
// window: the same with eight frames alive, the oldest given back for each one taken.
#include <array>
#include <cstdlib>

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include "qelcore/MemoryRecycler.h"

namespace
{

using qelcore::utility::MemoryRecycler;

struct Block
{
    void* mBytes = nullptr;
    std::size_t mSize = 0;
};

struct Recycler
{
    static Block Take(std::size_t inSize)
    {
        Block block;
        block.mBytes = MemoryRecycler::Allocate(inSize, block.mSize);
        return block;
    }
    static void Give(const Block& inBlock)
    {
        MemoryRecycler::Recycle(inBlock.mBytes, inBlock.mSize);
    }
};

struct Malloc
{
    static Block Take(std::size_t inSize) { return {std::malloc(inSize), inSize}; }
    static void Give(const Block& inBlock) { std::free(inBlock.mBytes); }
};

struct Pages
{
    static Block Take(std::size_t inSize)
    {
        return {mmap(nullptr, inSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
                inSize};
    }
    static void Give(const Block& inBlock)
    {
        if (inBlock.mBytes != nullptr)
            munmap(inBlock.mBytes, inBlock.mSize);
    }
};

void Touch(const Block& inBlock)
{
    for (std::size_t i = 0; i < inBlock.mSize; i += 4096)
        static_cast<volatile char*>(inBlock.mBytes)[i] = 1;
}

template <class Source>
void Frames(benchmark::State& ioState)
{
    const auto size = static_cast<std::size_t>(ioState.range(0));
    for (auto _ : ioState)
    {
        const Block block = Source::Take(size);
        Touch(block);
        Source::Give(block);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

template <class Source>
void Window(benchmark::State& ioState)
{
    const auto size = static_cast<std::size_t>(ioState.range(0));
    std::array<Block, 8> alive;
    std::size_t at = 0;
    for (auto _ : ioState)
    {
        Block& oldest = alive[at++ % alive.size()];
        Source::Give(oldest);
        oldest = Source::Take(size);
        Touch(oldest);
    }
    for (const Block& block : alive)
        Source::Give(block);
    ioState.SetItemsProcessed(ioState.iterations());
}

constexpr int kHD = 1920 * 1080 * 4;
constexpr int kUHD = 3840 * 2160 * 4;

BENCHMARK_TEMPLATE(Frames, Recycler)->Arg(100000)->Arg(kHD)->Arg(kUHD);
BENCHMARK_TEMPLATE(Frames, Malloc)->Arg(100000)->Arg(kHD)->Arg(kUHD);
BENCHMARK_TEMPLATE(Frames, Pages)->Arg(100000)->Arg(kHD)->Arg(kUHD);
BENCHMARK_TEMPLATE(Window, Recycler)->Arg(kHD)->Arg(kUHD);
BENCHMARK_TEMPLATE(Window, Malloc)->Arg(kHD)->Arg(kUHD);
BENCHMARK_TEMPLATE(Window, Pages)->Arg(kHD)->Arg(kUHD);

} // namespace
