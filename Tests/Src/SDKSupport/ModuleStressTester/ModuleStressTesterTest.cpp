#include <atomic>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "RKModuleStressTester.h"
#include "Support/ContractWatch.h"

// The C library's generator, turned by hand: the library's calls come here.
namespace
{

std::atomic<int> sNextDraw{0};
std::atomic<int> sDraws{0};
std::atomic<int> sSeedings{0};
std::atomic<unsigned> sLastSeed{0};

} // namespace

extern "C" int rand() noexcept
{
    ++sDraws;
    return sNextDraw;
}

extern "C" void srand(unsigned inSeed) noexcept
{
    ++sSeedings;
    sLastSeed = inSeed;
}

namespace
{

using namespace RK::ModuleStressTester;

constexpr int kGreatestDraw = 0x7FFFFFFF;

bool Fails(int inCount, int inType, int inStressArgument)
{
    const std::int32_t answer =
        DoStressTest(inCount, static_cast<StressType>(inType), inStressArgument);
    EXPECT_TRUE(answer == 0 || static_cast<std::uint32_t>(answer) == 0xFFFFFFFFu) << answer;
    return answer != 0;
}

bool Raises(int inType, int inStressArgument, int inCount)
{
    try
    {
        DoCallbackStressTest(static_cast<CallbackStressType>(inType), inStressArgument, inCount);
    }
    catch (int raised)
    {
        EXPECT_EQ(-1, raised);
        return true;
    }
    return false;
}

bool FailsAtDraw(int inDraw, int inCount, int inType, int inStressArgument)
{
    sNextDraw = inDraw;
    return Fails(inCount, inType, inStressArgument);
}

bool RaisesAtDraw(int inDraw, int inStressArgument)
{
    sNextDraw = inDraw;
    return Raises(1, inStressArgument, 0);
}

TEST(ModuleStress, FailsTheCallOfItsCount)
{
    EXPECT_TRUE(Fails(5, 2, 5));
    EXPECT_FALSE(Fails(4, 2, 5));
    EXPECT_FALSE(Fails(6, 2, 5));
    EXPECT_TRUE(Fails(-1, 2, -1));
}

TEST(ModuleStress, FailsTheCallsAboveItsCount)
{
    EXPECT_TRUE(Fails(6, 3, 5));
    EXPECT_FALSE(Fails(5, 3, 5));
    EXPECT_TRUE(Fails(INT_MAX, 3, INT_MIN));
}

TEST(ModuleStress, FailsByChanceOneCallInItsArgument)
{
    EXPECT_TRUE(FailsAtDraw(0, 0, 1, 10));
    EXPECT_TRUE(FailsAtDraw(kGreatestDraw / 10 - 1, 0, 1, 10));
    EXPECT_FALSE(FailsAtDraw(kGreatestDraw / 10, 0, 1, 10));
    EXPECT_FALSE(FailsAtDraw(0, 0, 1, INT_MAX) && FailsAtDraw(1, 0, 1, INT_MAX));
}

TEST(ModuleStress, AnArgumentOf1SparesTheGreatestDrawAlone)
{
    EXPECT_TRUE(FailsAtDraw(kGreatestDraw - 1, 0, 1, 1));
    EXPECT_FALSE(FailsAtDraw(kGreatestDraw, 0, 1, 1));
    EXPECT_TRUE(RaisesAtDraw(kGreatestDraw - 1, 1));
    EXPECT_FALSE(RaisesAtDraw(kGreatestDraw, 1));
}

TEST(ModuleStress, FailsTheCallOfItsCountByChanceOneTimeInTen)
{
    EXPECT_TRUE(FailsAtDraw(0xCCCCCCB, 5, 4, 5));
    EXPECT_FALSE(FailsAtDraw(0xCCCCCCC, 5, 4, 5));
    const int draws = sDraws;
    EXPECT_FALSE(FailsAtDraw(0, 4, 4, 5));
    EXPECT_EQ(draws, sDraws) << "drew although the count is another one";
}

TEST(ModuleStress, AnyOtherTypeNeverFailsAndNeverDraws)
{
    sNextDraw = 0;
    const int draws = sDraws;
    for (const int type : {0, 5, -1, INT_MAX})
        EXPECT_FALSE(Fails(1, type, 1)) << type;
    for (const int type : {0, 4, -1, INT_MAX})
        EXPECT_FALSE(Raises(type, 1, 1)) << type;
    EXPECT_EQ(draws, sDraws);
}

TEST(ModuleStress, CallbacksRaiseAtTheirCount)
{
    EXPECT_TRUE(Raises(2, 5, 5));
    EXPECT_FALSE(Raises(2, 5, 4));
}

TEST(ModuleStress, CallbacksRaiseByChanceOneTimeInTheirArgument)
{
    EXPECT_TRUE(RaisesAtDraw(kGreatestDraw / 3 - 1, 3));
    EXPECT_FALSE(RaisesAtDraw(kGreatestDraw / 3, 3));
}

TEST(ModuleStress, CallbacksOfTheLastTypeAlwaysRaiseWhateverTheArgument)
{
    EXPECT_TRUE(Raises(3, 0, 0));
    EXPECT_TRUE(Raises(3, -1, 7));
}

TEST(ModuleStress, ARandomTypeNeedsAnArgumentAbove0)
{
    const int draws = sDraws;
    for (const int argument : {0, -1, INT_MIN})
    {
        Testing::ExpectContractViolation([&] { Fails(1, 1, argument); }, "stressArgument > 0",
                                         "Src/SDKSupport/ModuleStressTester", "DoStressTest");
        Testing::ExpectContractViolation([&] { Raises(1, argument, 1); }, "stressArgument > 0",
                                         "Src/SDKSupport/ModuleStressTester",
                                         "DoCallbackStressTest");
    }
    EXPECT_EQ(draws, sDraws);
    EXPECT_NO_THROW(Fails(1, 4, 0));
    EXPECT_NO_THROW(Raises(2, 0, 1));
}

// In a process of its own, since each of the two seeds only once in a process.
TEST(ModuleStressDeathTest, EachFunctionSeedsWithTheTimeAheadOfItsFirstDraw)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto seedings = []
    {
        const unsigned before = static_cast<unsigned>(std::time(nullptr));
        Fails(1, 2, 1);
        const bool none = sSeedings == 0;
        Fails(1, 1, 2);
        Fails(1, 4, 1);
        const bool one = sSeedings == 1 && sLastSeed - before <= 60;
        sLastSeed = 0;
        Raises(1, 2, 0);
        Raises(1, 2, 0);
        const bool two = sSeedings == 2 && sLastSeed - before <= 60;
        return (none ? 0 : 1) + (one ? 0 : 2) + (two ? 0 : 4);
    };
    EXPECT_EXIT(std::_Exit(seedings()), testing::ExitedWithCode(0), "");
}

TEST(ModuleStress, MayBeAskedOnManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(
            []
            {
                for (int count = 0; count < 1000; ++count)
                {
                    Fails(count, 1, 2);
                    Raises(1, 2, count);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(sDraws, 8000);
    EXPECT_LE(sSeedings, 2);
}

} // namespace
