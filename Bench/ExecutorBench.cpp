// One item is one task: a closure of two words that adds one to a counter. A round posts 100000 of them
// and waits until all have run; real time. Peers: Boost.Asio's thread_pool of as many threads and, for
// the serial lane, its strand.
// posters: so many threads post at a time into the same executor.
#include <atomic>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include "qelcore/AsyncExecutor.h"

namespace
{

using namespace qelcore::threads;

constexpr int kTasks = 100000;

template <class Post>
void PostFrom(int inPosters, const Post& inPost)
{
    std::vector<std::thread> others;
    for (int i = 1; i < inPosters; ++i)
        others.emplace_back(inPost);
    inPost();
    for (std::thread& other : others)
        other.join();
}

void RunOurs(benchmark::State& ioState, const AsyncExecutorPtr& inExecutor)
{
    const auto posters = static_cast<int>(ioState.range(0));
    std::atomic<int> count{0};
    for (auto _ : ioState)
    {
        count = 0;
        std::atomic<int>* const counter = &count;
        PostFrom(posters,
                 [&]
                 {
                     for (int i = 0; i < kTasks / posters; ++i)
                         inExecutor->Post([counter, i] { *counter += i >= 0; }, 0);
                 });
        inExecutor->Flush();
        if (count != kTasks / posters * posters)
            ioState.SkipWithError("tasks were lost");
    }
    ioState.SetItemsProcessed(ioState.iterations() * kTasks);
}

template <class Executor>
void RunAsio(benchmark::State& ioState, Executor& ioExecutor)
{
    const auto posters = static_cast<int>(ioState.range(0));
    std::atomic<int> count{0};
    for (auto _ : ioState)
    {
        count = 0;
        std::atomic<int>* const counter = &count;
        PostFrom(posters,
                 [&]
                 {
                     for (int i = 0; i < kTasks / posters; ++i)
                         boost::asio::post(ioExecutor, [counter, i] { *counter += i >= 0; });
                 });
        // It has no flush.
        while (count != kTasks / posters * posters)
            std::this_thread::yield();
    }
    ioState.SetItemsProcessed(ioState.iterations() * kTasks);
}

void Pool(benchmark::State& ioState)
{
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    RunOurs(ioState, pool);
}
BENCHMARK(Pool)->ArgName("posters")->Arg(1)->Arg(2)->UseRealTime();

void AsioPool(benchmark::State& ioState)
{
    boost::asio::thread_pool pool(
        static_cast<std::size_t>(CreateCPUBoundExecutor()->GetParallelism()));
    RunAsio(ioState, pool);
}
BENCHMARK(AsioPool)->ArgName("posters")->Arg(1)->Arg(2)->UseRealTime();

void SerialView(benchmark::State& ioState)
{
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    RunOurs(ioState, CreateSubExecutor(pool, 1));
}
BENCHMARK(SerialView)->ArgName("posters")->Arg(1)->Arg(2)->UseRealTime();

void AsioStrand(benchmark::State& ioState)
{
    boost::asio::thread_pool pool(
        static_cast<std::size_t>(CreateCPUBoundExecutor()->GetParallelism()));
    auto strand = boost::asio::make_strand(pool);
    RunAsio(ioState, strand);
}
BENCHMARK(AsioStrand)->ArgName("posters")->Arg(1)->Arg(2)->UseRealTime();

void UnlimitedView(benchmark::State& ioState)
{
    const AsyncExecutorPtr pool = CreateCPUBoundExecutor();
    RunOurs(ioState, CreateSubExecutor(pool, -1));
}
BENCHMARK(UnlimitedView)->ArgName("posters")->Arg(1)->Arg(2)->UseRealTime();

} // namespace
