#include "ZOR/WeakReference.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ZOR/FileBuffer.h"
#include "qelcore/ErrorManager.h"

namespace
{

using qelcore::utility::Guid;
using ZOR::InterfaceRef;
using ZOR::ReferenceBrokerPtr;
using ZOR::ZORUnknown;

class ILamp : public ZORUnknown
{
public:
    virtual int Glow() = 0;
};
const Guid& GuidOf(ILamp*)
{
    static constexpr Guid sGuid(2, 1);
    return sGuid;
}

class Lamp : public ZOR::WeakCountedObject<ILamp>
{
public:
    explicit Lamp(std::atomic<int>& ioDestroyed)
        : mDestroyed(ioDestroyed)
    {
    }
    ~Lamp() override
    {
        mGlow = 0;
        ++mDestroyed;
    }
    int Glow() override { return mGlow; }

private:
    std::atomic<int>& mDestroyed;
    int mGlow = 5;
};

class WeakReferenceTest : public testing::Test
{
protected:
    std::atomic<int> mDestroyed{0};
    InterfaceRef<ILamp> mLamp{new Lamp(mDestroyed)};

    ReferenceBrokerPtr Broker() const
    {
        return ZOR::QueryInterface<ZOR::IWeakReferenceCapable>(mLamp)->GetWeakReference();
    }
};

TEST_F(WeakReferenceTest, ABrokerGivesAStrongReferenceWhileTheObjectLives)
{
    const ReferenceBrokerPtr broker = Broker();
    InterfaceRef<ILamp> strong = ZOR::LockWeakReference<ILamp>(broker);
    ASSERT_TRUE(strong);

    mLamp.reset();
    EXPECT_EQ(0, mDestroyed);
    EXPECT_EQ(5, strong->Glow());
}

TEST_F(WeakReferenceTest, ABrokerKeepsNothingAliveAndFailsWhenTheObjectIsGone)
{
    const ReferenceBrokerPtr broker = Broker();
    mLamp.reset();

    EXPECT_EQ(1, mDestroyed);
    EXPECT_FALSE(broker->GetStrongReference());
    EXPECT_FALSE(ZOR::LockWeakReference<ILamp>(broker));
}

TEST_F(WeakReferenceTest, AnObjectHasOneBroker)
{
    EXPECT_EQ(Broker(), Broker());
}

TEST_F(WeakReferenceTest, AnInterfaceThatTheObjectLacksIsANullReference)
{
    EXPECT_FALSE(ZOR::LockWeakReference<ZOR::IFileBuffer>(Broker()));
    EXPECT_FALSE(ZOR::LockWeakReference<ILamp>(nullptr));
    mLamp.reset();
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(WeakReferenceTest, AnObjectThatNobodyHoldsYetCannotBeTakenFromItsBroker)
{
    Lamp* const lamp = new Lamp(mDestroyed);
    const ReferenceBrokerPtr broker = lamp->GetWeakReference();
    EXPECT_FALSE(broker->GetStrongReference());

    InterfaceRef<ILamp> held(lamp);
    EXPECT_TRUE(broker->GetStrongReference());
}

TEST_F(WeakReferenceTest, ABrokerTakesItsObjectOnceAndNeverNull)
{
    ZOR::ReferenceBroker broker;
    EXPECT_FALSE(broker.GetStrongReference());
    EXPECT_THROW(broker.SetObject(nullptr), qelcore::config::Error);

    broker.SetObject(mLamp.get());
    EXPECT_THROW(broker.SetObject(mLamp.get()), qelcore::config::Error);
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
