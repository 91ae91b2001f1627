#include "qelcore/DebugDatabase.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using qelcore::debug::DebugDatabase;
using testing::Contains;
using testing::Not;

class DebugDatabaseTest : public testing::Test
{
protected:
    void TearDown() override
    {
        for (const DebugDatabase::Entry& entry : mDatabase.List())
            if (entry.first.rfind("Test.", 0) == 0)
                mDatabase.RemoveEntry(entry.first);
    }
    template <class T>
    T Read(const char* inValue, T inDefault)
    {
        mDatabase.SetEntry("Test.Key", inValue);
        return mDatabase.GetEntryAs<T>("Test.Key", inDefault);
    }
    DebugDatabase& mDatabase = DebugDatabase::Instance();
};

TEST_F(DebugDatabaseTest, AnEntryIsReadAsItWasSetUntilItIsRemoved)
{
    EXPECT_EQ("default", mDatabase.GetEntry("Test.Key", "default"));
    mDatabase.SetEntry("Test.Key", " as it stands ");
    EXPECT_EQ(" as it stands ", mDatabase.GetEntry("Test.Key", "default"));
    mDatabase.RemoveEntry("Test.Key");
    EXPECT_EQ("default", mDatabase.GetEntry("Test.Key", "default"));
}

TEST_F(DebugDatabaseTest, KeysAreComparedExactly)
{
    mDatabase.SetEntry("Test.Key", "1");
    EXPECT_EQ(0, mDatabase.GetEntryAs<int>("test.key", 0));
    EXPECT_EQ(0, mDatabase.GetEntryAs<int>("Test.Ke", 0));
}

TEST_F(DebugDatabaseTest, ABoolIsTrueExactlyIfItEqualsTheWordTrue)
{
    EXPECT_TRUE(mDatabase.GetEntryAs<bool>("Test.Key", true));
    EXPECT_FALSE(mDatabase.GetEntryAs<bool>("Test.Key", false));
    EXPECT_TRUE(Read("true", false));
    for (const char* other : {"TRUE", "True", "true ", "1", "yes", "", "truetrue"})
        EXPECT_FALSE(Read(other, true)) << other;
}

TEST_F(DebugDatabaseTest, AnIntIsReadWholeOrNotAtAll)
{
    EXPECT_EQ(0, Read("0", 9));
    EXPECT_EQ(-12, Read("-12", 9));
    EXPECT_EQ(2147483647, Read("2147483647", 9));
    EXPECT_EQ(-2147483647 - 1, Read("-2147483648", 9));
    for (const char* other : {"", " 1", "1 ", "+1", "1.0", "0x10", "2147483648", "-2147483649",
                              "99999999999999999999", "one", "-", "--1"})
        EXPECT_EQ(9, Read(other, 9)) << other;
}

TEST_F(DebugDatabaseTest, AFloatIsReadWholeAndFiniteOrNotAtAll)
{
    EXPECT_EQ(0.5f, Read("0.5", 9.f));
    EXPECT_EQ(-1000.f, Read("-1e3", 9.f));
    for (const char* other : {"", " 1", "1 ", "+1", "0,5", "inf", "nan", "-inf", "1e99", "1e", "x"})
        EXPECT_EQ(9.f, Read(other, 9.f)) << other;
}

TEST_F(DebugDatabaseTest, TheChangeCountMovesAtEachChangeAndAtNothingElse)
{
    const std::int32_t start = mDatabase.ChangeCount();
    mDatabase.SetEntry("Test.Key", "1");
    EXPECT_EQ(start + 1, mDatabase.ChangeCount());
    mDatabase.SetEntry("Test.Key", "1");
    mDatabase.GetEntry("Test.Key", "");
    mDatabase.RemoveEntry("Test.Other");
    EXPECT_EQ(start + 1, mDatabase.ChangeCount());
    mDatabase.SetEntry("Test.Key", "2");
    mDatabase.RemoveEntry("Test.Key");
    EXPECT_EQ(start + 3, mDatabase.ChangeCount());
}

TEST_F(DebugDatabaseTest, TheListHoldsAllEntriesByKey)
{
    mDatabase.SetEntry("Test.B", "2");
    mDatabase.SetEntry("Test.A", "1");

    const std::vector<DebugDatabase::Entry> entries = mDatabase.List();
    EXPECT_THAT(entries, Contains(DebugDatabase::Entry("Test.A", "1")));
    EXPECT_THAT(entries, Contains(DebugDatabase::Entry("Test.B", "2")));
    EXPECT_TRUE(std::is_sorted(entries.begin(), entries.end()));
}

TEST_F(DebugDatabaseTest, SettingsInOneTextAreTakenApart)
{
    EXPECT_EQ(4u, mDatabase.SetEntries("Test.A=1; Test.B = x=y ;;nonsense;=5;Test.C=;Test.A=2"));
    EXPECT_EQ("2", mDatabase.GetEntry("Test.A", "unset"));
    EXPECT_EQ("x=y", mDatabase.GetEntry("Test.B", "unset"));
    EXPECT_EQ("", mDatabase.GetEntry("Test.C", "unset"));
    EXPECT_EQ("unset", mDatabase.GetEntry("nonsense", "unset"));
    EXPECT_EQ("unset", mDatabase.GetEntry("", "unset"));
}

TEST_F(DebugDatabaseTest, TheEnvironmentGivesTheFirstEntries)
{
    // The style runs this test in a process of its own from the start, which then has the variable.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ASSERT_EQ(0, setenv("RK_DEBUG", "Test.Environment=5;Test.Other=true", 1));
    EXPECT_EXIT(
        {
            const bool right = mDatabase.GetEntryAs<int>("Test.Environment", 0) == 5 &&
                               mDatabase.GetEntryAs<bool>("Test.Other", false) &&
                               mDatabase.ChangeCount() == 0;
            std::_Exit(right ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    unsetenv("RK_DEBUG");
}

} // namespace
