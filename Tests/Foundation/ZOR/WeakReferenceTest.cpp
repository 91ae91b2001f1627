#include <gtest/gtest.h>

#include <atomic>

#include "Lamp.h"
#include "ZOR/FileBuffer.h"
#include "qelcore/ErrorManager.h"

namespace
{

using Testing::ILamp;
using Testing::Lamp;
using ZOR::InterfaceRef;
using ZOR::ReferenceBrokerPtr;

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

} // namespace
