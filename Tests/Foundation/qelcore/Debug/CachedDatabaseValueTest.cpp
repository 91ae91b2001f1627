#include "qelcore/CachedDatabaseValue.h"

#include <gtest/gtest.h>

namespace
{

using qelcore::debug::CachedDatabaseValue;
using qelcore::debug::DebugDatabase;

constinit CachedDatabaseValue<int> sStatic{"Test.Cached.Static", 7};
const int sReadBeforeMain = sStatic.Get();

class CachedDatabaseValueTest : public testing::Test
{
protected:
    void TearDown() override { DebugDatabase::Instance().RemoveEntry("Test.Cached"); }
    static void Set(const char* inValue)
    {
        DebugDatabase::Instance().SetEntry("Test.Cached", inValue);
    }
};

TEST_F(CachedDatabaseValueTest, AStaticOneCanBeReadBeforeMain)
{
    EXPECT_EQ(7, sReadBeforeMain);
}

TEST_F(CachedDatabaseValueTest, TheDefaultHoldsWhereNothingIsSet)
{
    EXPECT_TRUE(CachedDatabaseValue<bool>("Test.Cached", true).Get());
    EXPECT_FALSE(CachedDatabaseValue<bool>("Test.Cached", false).Get());
    EXPECT_EQ(-5, CachedDatabaseValue<int>("Test.Cached", -5).Get());
    EXPECT_EQ(0.25f, CachedDatabaseValue<float>("Test.Cached", 0.25f).Get());
}

TEST_F(CachedDatabaseValueTest, ASettingTakesEffectAtTheNextRead)
{
    const CachedDatabaseValue<int> value("Test.Cached", 1);
    EXPECT_EQ(1, value);

    Set("2");
    EXPECT_EQ(2, value);

    Set("-2147483648");
    EXPECT_EQ(INT32_MIN, value);

    DebugDatabase::Instance().RemoveEntry("Test.Cached");
    EXPECT_EQ(1, value);
}

TEST_F(CachedDatabaseValueTest, AChangeOfAnotherKeyLeavesTheValue)
{
    const CachedDatabaseValue<float> value("Test.Cached", 0.f);
    Set("-1.5");
    EXPECT_EQ(-1.5f, value);

    DebugDatabase::Instance().SetEntry("Test.Cached.Other", "1");
    EXPECT_EQ(-1.5f, value);
    DebugDatabase::Instance().RemoveEntry("Test.Cached.Other");
}

TEST_F(CachedDatabaseValueTest, ABoolIsTrueForTheWordTrueAlone)
{
    const CachedDatabaseValue<bool> value("Test.Cached", true);
    Set("True");
    EXPECT_FALSE(value);
    Set("true");
    EXPECT_TRUE(value);
    Set("1");
    EXPECT_FALSE(value);
}

TEST_F(CachedDatabaseValueTest, ACopyReadsTheDatabaseForItself)
{
    Set("3");
    const CachedDatabaseValue<int> first("Test.Cached", 1);
    EXPECT_EQ(3, first);

    const CachedDatabaseValue<int> copy(first);
    Set("4");

    EXPECT_STREQ("Test.Cached", copy.Key());
    EXPECT_EQ(1, copy.Default());
    EXPECT_EQ(4, copy);
    EXPECT_EQ(4, first);
}

TEST_F(CachedDatabaseValueTest, ATableOfRowsCanHoldThem)
{
    struct Row
    {
        const char* name;
        CachedDatabaseValue<bool> enabled;
        bool special;
    };
    static const Row sTable[] = {{"a", {"Test.Cached", true}, false},
                                 {"b", {"Test.Cached.Other", false}, true}};
    Set("false");
    EXPECT_FALSE(sTable[0].enabled);
    EXPECT_FALSE(sTable[1].enabled);
    Set("true");
    EXPECT_TRUE(sTable[0].enabled);
}

} // namespace
