#include <gtest/gtest.h>

#include <stdexcept>

#include "Clerk.h"

namespace
{

using Testing::Clerk;
using Testing::IClerk;
using ZOR::InterfaceRef;

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

} // namespace
