#include "ZOR/SingletonSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

using ZOR::InterfaceRef;
using ZOR::ZORUnknown;

class IClerk : public ZORUnknown
{
public:
    virtual int Number() = 0;
};

// A singleton that counts how often it was made and destroyed; Tag keeps the tests apart.
template <int Tag>
class Clerk : public IClerk
{
public:
    using Ref = InterfaceRef<Clerk, IClerk>;
    using Support = ZOR::SingletonSupport<Ref>;

    Clerk()
    {
        if (sFailures > 0)
        {
            --sFailures;
            throw std::runtime_error("no clerk");
        }
        mNumber = ++sMade;
        EXPECT_EQ(1, ++sAlive);
    }
    ~Clerk() override
    {
        EXPECT_EQ(0, --sAlive);
        ++sDestroyed;
        mNumber = -1;
    }
    void AddRef() override { Support::AddRef(this); }
    void Release() override { Support::Release(this); }
    qelcore::Result QueryMap(const ZOR::CFUUIDBytes&, void**) override
    {
        return qelcore::kResult_GeneralFailure;
    }
    ZORUnknown* GetZORUnknown() override { return this; }
    int Number() override { return mNumber; }

    inline static std::atomic<int> sMade{0};
    inline static std::atomic<int> sDestroyed{0};
    inline static std::atomic<int> sAlive{0};
    inline static int sFailures = 0;

private:
    int mNumber;
};

TEST(SingletonSupport, EveryReferenceIsToTheOneObject)
{
    using C = Clerk<1>;
    C::Ref first = C::Support::CreateClassRef();
    C::Ref second = C::Support::CreateClassRef();

    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(1, C::sMade);
}

TEST(SingletonSupport, TheObjectGoesWithItsLastReferenceAndComesBackAnew)
{
    using C = Clerk<2>;
    C::Ref first = C::Support::CreateClassRef();
    InterfaceRef<IClerk> second = first;
    first.reset();
    EXPECT_EQ(0, C::sDestroyed);
    EXPECT_TRUE(C::Support::Exists());

    second.reset();
    EXPECT_EQ(1, C::sDestroyed);
    EXPECT_FALSE(C::Support::Exists());

    EXPECT_EQ(2, C::Support::CreateClassRef()->Number());
    EXPECT_EQ(2, C::sDestroyed);
}

TEST(SingletonSupport, AConstructorThatThrowsLeavesItAbsentAndALaterCallTriesAgain)
{
    using C = Clerk<3>;
    C::sFailures = 2;
    EXPECT_THROW(C::Support::CreateClassRef(), std::runtime_error);
    EXPECT_FALSE(C::Support::Exists());
    EXPECT_THROW(C::Support::CreateClassRef(), std::runtime_error);

    const C::Ref clerk = C::Support::CreateClassRef();
    EXPECT_EQ(1, clerk->Number());
    EXPECT_EQ(0, C::sDestroyed);
}

TEST(SingletonSupport, TheCriticalSectionIsOneAndCanBeTakenAgainByItsHolder)
{
    using C = Clerk<4>;
    auto& mutex = C::Support::GetCriticalSection();
    EXPECT_EQ(&mutex, &C::Support::GetCriticalSection());

    qelcore::threads::RecursiveMutex::ScopedLock lock(mutex, "test");
    EXPECT_EQ(1, C::Support::CreateClassRef()->Number());
}

TEST(SingletonSupport, ThreadsThatAskForTheCriticalSectionTogetherGetOne)
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

} // namespace
