#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Clerk.h"
#include "Lamp.h"

namespace
{

using Testing::Clerk;
using Testing::ILamp;
using Testing::Lamp;
using ZOR::InterfaceRef;
using ZOR::ReferenceBrokerPtr;

TEST(SingletonSupportStress, ThreadsThatAskForTheCriticalSectionTogetherGetOne)
{
    using C = Clerk<5>;
    std::atomic<bool> go{false};
    std::vector<qelcore::threads::RecursiveMutex*> seen(8);
    std::vector<std::thread> threads;
    for (auto& slot : seen)
        threads.emplace_back(
            [&]
            {
                while (!go)
                    std::this_thread::yield();
                slot = &C::Support::GetCriticalSection();
            });
    go = true;
    for (auto& thread : threads)
        thread.join();

    for (auto* mutex : seen)
        EXPECT_EQ(seen[0], mutex);
}

TEST(SingletonSupportStress, TheObjectIsNeverDoubledNorUsedAfterItsEnd)
{
    using C = Clerk<6>;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            []
            {
                for (int turn = 0; turn < 20000; ++turn)
                {
                    C::Ref clerk = C::Support::CreateClassRef();
                    C::Ref another = clerk;
                    clerk.reset();
                    EXPECT_GT(another->Number(), 0);
                }
            });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(0, C::sAlive);
    EXPECT_EQ(C::sMade, C::sDestroyed);
    EXPECT_FALSE(C::Support::Exists());
}

// The critical section is held, so that the last release has to wait with the count at 0.
TEST(SingletonSupportStress, OneTakenUpAgainWhileItsLastReleaseWaitsStaysWhole)
{
    using C = Clerk<9>;
    for (int round = 0; round < 200; ++round)
    {
        C::Ref first = C::Support::CreateClassRef();
        const int number = first->Number();
        std::atomic<bool> releasing{false};
        C::Ref second;
        std::thread releaser;
        {
            qelcore::threads::RecursiveMutex::ScopedLock lock(C::Support::GetCriticalSection(),
                                                              "test");
            releaser = std::thread(
                [&]
                {
                    releasing = true;
                    first.reset();
                });
            while (!releasing)
                std::this_thread::yield();
            for (int turn = 0; turn < 100; ++turn) // most rounds: until it has come to the lock
                std::this_thread::yield();
            second = C::Support::CreateClassRef();
        }
        releaser.join();
        EXPECT_EQ(number, second->Number());
    }
    EXPECT_EQ(200, C::sMade);
    EXPECT_EQ(200, C::sDestroyed);
}

TEST(SingletonSupportStress, ConstructionsThatThrowLeaveNoTrace)
{
    using C = Clerk<8>;
    C::sFailures = 200;
    std::atomic<int> thrown{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            [&thrown]
            {
                for (int turn = 0; turn < 2000; ++turn)
                {
                    try
                    {
                        EXPECT_GT(C::Support::CreateClassRef()->Number(), 0);
                    }
                    catch (const std::runtime_error&)
                    {
                        ++thrown;
                    }
                }
            });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(200, thrown);
    EXPECT_EQ(C::sMade, C::sDestroyed);
    EXPECT_FALSE(C::Support::Exists());
}

TEST(WeakReferenceStress, AStrongReferenceIsToALivingObjectOrNull)
{
    std::atomic<int> destroyed{0};
    constexpr int kRounds = 2000;
    for (int round = 0; round < kRounds; ++round)
    {
        InterfaceRef<ILamp> lamp(new Lamp(destroyed));
        const ReferenceBrokerPtr broker =
            ZOR::QueryInterface<ZOR::IWeakReferenceCapable>(lamp)->GetWeakReference();
        std::thread other(
            [&broker]
            {
                while (InterfaceRef<ILamp> strong = ZOR::LockWeakReference<ILamp>(broker))
                    EXPECT_EQ(5, strong->Glow());
            });
        lamp.reset();
        other.join();
        EXPECT_EQ(round + 1, destroyed);
    }
}

} // namespace
