#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qelcore/ImmutableString.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::utility::AsciiToUTF16;
using qelcore::utility::ImmutableString;

std::string TextOf(unsigned inNumber)
{
    return "stress " + std::to_string(inNumber);
}

template <class Job>
void RunThreads(int inCount, const Job& inJob)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < inCount; ++i)
        threads.emplace_back(inJob, i);
    for (std::thread& thread : threads)
        thread.join();
}

// What a thread holds must stay one object with its text, whatever the others intern, let go and purge.
TEST(ImmutableStringStress, HeldStringsStayOneObjectWhileOthersAreMadeAndPurged)
{
    constexpr unsigned kTexts = 300; // few, so that threads meet over each
    constexpr int kRounds = 20000;
    std::atomic<int> working{3};
    std::atomic<int> broken{0};
    std::atomic<int> freed{0};

    RunThreads(4,
               [&](int inThread)
               {
                   if (inThread == 3)
                   {
                       while (working != 0)
                           freed += ImmutableString::PurgeUnusedStrings() ? 1 : 0;
                       return;
                   }
                   std::mt19937 random(static_cast<unsigned>(inThread));
                   std::vector<ImmutableString> held(16);
                   std::vector<unsigned> numbers(16, 0);
                   for (int round = 0; round < kRounds; ++round)
                   {
                       const std::size_t place = random() % held.size();
                       const std::string before = TextOf(numbers[place]);
                       if (!held[place].IsNull() &&
                           (held[place].ToString() != AsciiToUTF16(before.c_str()) ||
                            held[place] != ImmutableString::CreateDynamic(before.c_str())))
                           ++broken;
                       numbers[place] = random() % kTexts;
                       held[place] = ImmutableString::CreateDynamic(TextOf(numbers[place]).c_str());
                   }
                   --working;
               });

    EXPECT_EQ(0, broken);
    EXPECT_GT(freed, 0);
    ImmutableString::PurgeUnusedStrings();
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings()); // every count came back to 0
}

TEST(ImmutableStringStress, EveryThreadGetsTheSameObjectWhileTheTableGrows)
{
    constexpr unsigned kTexts = 20000;
    std::vector<std::vector<ImmutableString>> made(4);

    RunThreads(4,
               [&made](int inThread)
               {
                   for (unsigned i = 0; i < kTexts; ++i)
                       made[static_cast<std::size_t>(inThread)].push_back(
                           ImmutableString::CreateDynamic(TextOf(i).c_str()));
               });

    for (unsigned i = 0; i < kTexts; ++i)
        for (const auto& strings : made)
            ASSERT_EQ(made[0][i], strings[i]) << i;
    made.clear();
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
}

// Nobody ever holds the string for long, so each look-up races with a purge for its first holder.
TEST(ImmutableStringStress, AStringIsEitherFoundOrFreedWhenALookUpMeetsAPurge)
{
    constexpr int kRounds = 30000;
    std::atomic<int> working{2};
    std::atomic<int> broken{0};

    RunThreads(4,
               [&](int inThread)
               {
                   if (inThread >= 2) // two purges at once
                   {
                       while (working != 0)
                           ImmutableString::PurgeUnusedStrings();
                       return;
                   }
                   for (int round = 0; round < kRounds; ++round)
                   {
                       const ImmutableString a = ImmutableString::CreateStatic("contended");
                       const ImmutableString b = ImmutableString::CreateDynamic(u"contended", 9);
                       if (a != b || a.ToString() != u"contended")
                           ++broken;
                   }
                   --working;
               });

    EXPECT_EQ(0, broken);
}

} // namespace
