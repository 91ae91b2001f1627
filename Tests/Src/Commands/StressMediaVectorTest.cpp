#include "Commands/StressMediaVector.h"

#include <gtest/gtest.h>

#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "qelcore/Console.h"
#include "qelcore/TextConversion.h"
#include "qelcore/UTFStream.h"

namespace
{

using RK::Commands::StressMediaVector;

TEST(StressMediaVector, IsNamedAndDescribedAsTheConsoleShowsIt)
{
    EXPECT_EQ(qelcore::UTF16String(u"RK.StressMediaVector"), StressMediaVector::kName);
    EXPECT_EQ(qelcore::UTF16String(
                  u"RK.StressMediaVector - Stress the MediaVector with multiple threads."),
              StressMediaVector::kDescription);
}

TEST(StressMediaVector, WithAnArgumentDoesNothingButSaySo)
{
    StressMediaVector command(StressMediaVector::kName, StressMediaVector::kDescription);
    qelcore::oUTF16StringStream stream;

    command.Execute(u"10", stream); // no media manager runs here

    EXPECT_EQ(qelcore::UTF16String(u"No argument.\n"), stream.str());
}

TEST(StressMediaVector, FindsNoBrokenElementAndLeavesNothingInTheManager)
{
    const RK::Initializer initializer;
    const RK::IMediaManagerRef manager = RK::GetMediaManager();
    manager->FlushAsyncEvents();
    const std::uint32_t entries = manager->GetNumberOfEntries();
    const std::uint64_t space = manager->GetCurrentSpace();
    qelcore::oUTF16StringStream stream;

    ASSERT_TRUE(qelcore::console::CommandRegistry::Execute(StressMediaVector::kName, stream));

    const qelcore::UTF16String text = stream.str();
    EXPECT_NE(qelcore::UTF16String::npos, text.find(u", broken: 0\n"));
    EXPECT_EQ(qelcore::UTF16String::npos, text.find(u"Reads: 0,"));
    EXPECT_EQ(qelcore::UTF16String::npos, text.find(u"writes: 0,"));
    EXPECT_EQ(qelcore::UTF16String::npos, text.find(u"clears: 0,"));
    EXPECT_EQ(entries, manager->GetNumberOfEntries());
    EXPECT_EQ(space, manager->GetCurrentSpace());
}

} // namespace
