#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZOR/CountedObject.h"
#include "ZOR/InterfaceRef.h"

namespace
{

using qelcore::utility::Guid;
using ZOR::InterfaceRef;
using ZOR::ZORUnknown;

class ISpoon : public ZORUnknown
{
public:
    virtual int Stir() = 0;
};
const Guid& GuidOf(ISpoon*)
{
    static constexpr Guid sGuid(1, 1);
    return sGuid;
}

class IFork : public ZORUnknown
{
public:
    virtual int Stab() = 0;
};
const Guid& GuidOf(IFork*)
{
    static constexpr Guid sGuid(1, 2);
    return sGuid;
}

class Spoon : public ZOR::CountedObject<ISpoon>
{
public:
    explicit Spoon(int& ioDestroyed)
        : mDestroyed(ioDestroyed)
    {
    }
    ~Spoon() override { ++mDestroyed; }
    int Stir() override { return 7; }

private:
    int& mDestroyed;
};

class Spork : public ZOR::CountedObject<ISpoon, IFork>
{
public:
    int Stir() override { return 1; }
    int Stab() override { return 2; }
};

class OneThatRefersToItselfWhileDying : public ZOR::CountedObject<ISpoon>
{
public:
    explicit OneThatRefersToItselfWhileDying(int& ioDestroyed)
        : mDestroyed(ioDestroyed)
    {
    }
    ~OneThatRefersToItselfWhileDying() override
    {
        InterfaceRef<ISpoon> self(this);
        ++mDestroyed;
    }
    int Stir() override { return 0; }

private:
    int& mDestroyed;
};

class SpoonTest : public testing::Test
{
protected:
    int mDestroyed = 0;
};

TEST_F(SpoonTest, AnObjectLivesAsLongAsItsLastReference)
{
    InterfaceRef<ISpoon> first(new Spoon(mDestroyed));
    InterfaceRef<ISpoon> second = first;

    first.reset();
    EXPECT_EQ(0, mDestroyed);

    second.reset();
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, AMoveTakesTheReferenceAlong)
{
    InterfaceRef<ISpoon> first(new Spoon(mDestroyed));
    InterfaceRef<ISpoon> second = std::move(first);

    EXPECT_FALSE(first);
    EXPECT_EQ(7, second->Stir());
    second = nullptr;
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, AReferenceTakenOverIsNotCountedAgain)
{
    InterfaceRef<ISpoon> first(new Spoon(mDestroyed));
    ISpoon* const bare = first.detach();
    EXPECT_FALSE(first);

    InterfaceRef<ISpoon>(bare, false);
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, AssigningAReferenceToItselfKeepsTheObject)
{
    InterfaceRef<ISpoon> spoon(new Spoon(mDestroyed));
    InterfaceRef<ISpoon>& same = spoon;
    spoon = same;

    EXPECT_EQ(0, mDestroyed);
    EXPECT_EQ(7, spoon->Stir());
}

TEST_F(SpoonTest, ADestructorMayReferToItsObject)
{
    InterfaceRef<ISpoon>(new OneThatRefersToItselfWhileDying(mDestroyed));
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, AnInterfaceFoundByItsIdentityCarriesAReferenceOfItsOwn)
{
    InterfaceRef<ZORUnknown> unknown(InterfaceRef<ISpoon>(new Spoon(mDestroyed)));
    InterfaceRef<ISpoon> spoon = ZOR::QueryInterface<ISpoon>(unknown);
    ASSERT_TRUE(spoon);

    unknown.reset();
    EXPECT_EQ(0, mDestroyed);
    EXPECT_EQ(7, spoon->Stir());
    spoon.reset();
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, AnInterfaceThatIsNotThereIsANullReferenceAndCountsNothing)
{
    InterfaceRef<ISpoon> spoon(new Spoon(mDestroyed));
    EXPECT_FALSE(ZOR::QueryInterface<IFork>(spoon));

    spoon.reset();
    EXPECT_EQ(1, mDestroyed);
}

TEST_F(SpoonTest, QueryMapSetsItsOutputToNullFirst)
{
    InterfaceRef<ISpoon> spoon(new Spoon(mDestroyed));
    void* found = this;

    const qelcore::Result result = spoon->QueryMap(ZOR::ToUUIDBytes(Guid(9, 9)), &found);

    EXPECT_TRUE(qelcore::Failed(result));
    EXPECT_EQ(nullptr, found);
    EXPECT_TRUE(qelcore::Failed(spoon->QueryMap(ZOR::ToUUIDBytes(Guid(9, 9)), nullptr)));
}

TEST(CountedObject, AnObjectOfTwoInterfacesAnswersForBothAndIsOneUnknown)
{
    InterfaceRef<Spork, ISpoon> spork(new Spork);
    InterfaceRef<IFork> fork = ZOR::QueryInterface<IFork>(spork);
    InterfaceRef<ISpoon> spoon = ZOR::QueryInterface<ISpoon>(fork);
    ASSERT_TRUE(fork && spoon);

    EXPECT_EQ(2, fork->Stab());
    EXPECT_EQ(1, spoon->Stir());
    EXPECT_EQ(fork->GetZORUnknown(), spoon->GetZORUnknown());
    EXPECT_EQ(ZOR::QueryInterface<ZORUnknown>(fork).get(), spoon->GetZORUnknown());
}

TEST(CountedObject, ConvertsToACountedReferenceToItsUnknown)
{
    InterfaceRef<Spork, ISpoon> spork(new Spork);
    InterfaceRef<ZORUnknown, ZORUnknown> unknown = *spork;

    spork.reset();
    EXPECT_EQ(1, ZOR::QueryInterface<ISpoon>(unknown)->Stir());
}

TEST(InterfaceRef, UseOfANullReferenceNamesTheType)
{
    const InterfaceRef<ISpoon> none;
    try
    {
        none->Stir();
        FAIL();
    }
    catch (const ZOR::NullInterfaceException& exception)
    {
        EXPECT_NE(std::string::npos, std::string(exception.what()).find("ISpoon"))
            << exception.what();
    }
    EXPECT_THROW(*none, ZOR::Exception);
}

TEST(InterfaceRef, ANullReferenceHasNoInterfaces)
{
    EXPECT_FALSE(ZOR::QueryInterface<IFork>(InterfaceRef<ISpoon>()));
    EXPECT_EQ(InterfaceRef<ISpoon>(), InterfaceRef<ISpoon>(nullptr));
}

TEST(UUIDBytes, StandInTheOrderOfTheUsualNotation)
{
    const Guid guid(0x267A9BAA, 0x13DE, 0x47e7, 0x96, 0x52, 0x60, 0x67, 0xD5, 0x21, 0x2D, 0x2E);
    const ZOR::CFUUIDBytes bytes = ZOR::ToUUIDBytes(guid);

    const std::uint8_t expected[16] = {0x26, 0x7A, 0x9B, 0xAA, 0x13, 0xDE, 0x47, 0xE7,
                                       0x96, 0x52, 0x60, 0x67, 0xD5, 0x21, 0x2D, 0x2E};
    EXPECT_EQ(0, std::memcmp(expected, bytes.bytes, 16));
    EXPECT_EQ(guid, ZOR::ToGuid(bytes));
}

} // namespace
