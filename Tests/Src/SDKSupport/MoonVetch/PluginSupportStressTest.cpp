// The basic suite from eight threads.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "LibraryPluginFixture.h"

namespace
{

using PluginSupportStress = Testing::LibraryPluginTest;

constexpr int kThreads = 8;
constexpr int kRounds = 1500;

/// One thread's turns. @return how often something was not as it should be.
int Hammer(int inThread, const void* inTable)
{
    const MVBasicSuite& basic = *RK::GetMVBasicSuite();
    int wrong = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        const void* table = nullptr;
        wrong += basic.AcquireSuite("Test Suite", 3, &table) != kMVNoError || table != inTable;
        const void* strings = nullptr;
        wrong +=
            basic.AcquireSuite(kMVStringsSuite, kMVStringsSuiteVersion, &strings) != kMVNoError;
        // Looked for in vain, and remembered once.
        wrong += basic.AcquireSuite("Nobody's", inThread, &table) != kMVSuiteNotFoundError;
        const auto size = static_cast<std::size_t>(1 + (round * 37 + inThread) % 500);
        void* block = nullptr;
        wrong += basic.AllocateBlock(size, &block) != kMVNoError;
        std::memset(block, inThread, size);
        void* moved = nullptr;
        wrong += basic.ReallocateBlock(block, 2 * size, &moved) != kMVNoError;
        wrong += static_cast<const char*>(moved)[size - 1] != inThread;
        wrong += basic.FreeBlock(moved) != kMVNoError;
        wrong += basic.IsEqual("a", round % 2 == 0 ? "a" : "b") != (round % 2 == 0 ? 1 : 0);
        wrong += basic.Undefined() != kMVNoError;
        wrong += basic.ReleaseSuite(kMVStringsSuite, kMVStringsSuiteVersion) != kMVNoError;
        wrong += basic.ReleaseSuite("Test Suite", 3) != kMVNoError;
    }
    return wrong;
}

TEST_F(PluginSupportStress, EightThreadsUseTheBasicSuiteAndWhatTheyHeldIsGivenBack)
{
    const std::int32_t before = AcquireCount(kMVStringsSuite, kMVStringsSuiteVersion);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] { wrong += Hammer(thread, &mTable); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0, AcquireCount(kSuite, 3));
    EXPECT_EQ(before, AcquireCount(kMVStringsSuite, kMVStringsSuiteVersion));
    EXPECT_EQ(kMVSuiteOverReleasedError, Basic().ReleaseSuite(kSuite, 3));
}

} // namespace
