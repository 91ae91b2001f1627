#include <gtest/gtest.h>

#include <algorithm>

#include "RKInitializer.h"
#include "qelcore/Console.h"

namespace
{

bool HasCommand(const qelcore::UTF16String& inName, const qelcore::UTF16String& inDescription)
{
    const auto commands = qelcore::console::CommandRegistry::List();
    return std::any_of(
        commands.begin(), commands.end(), [&](const auto& inCommand)
        { return inCommand.name == inName && inCommand.description == inDescription; });
}

bool HasPurge()
{
    return HasCommand(u"RK.PurgeMediaManager",
                      u"RK.PurgeMediaManager <bytes> - Purges <bytes> from the media manager or "
                      u"everything if <bytes> is unspecified.");
}

bool HasStress()
{
    return HasCommand(u"RK.StressMediaVector",
                      u"RK.StressMediaVector - Stress the MediaVector with multiple threads.");
}

TEST(ConsoleCommands, PurgingGoesWhenTheLibraryStopsAndTheStressCommandStays)
{
    {
        RK::Initializer library;
        EXPECT_TRUE(HasPurge());
        EXPECT_TRUE(HasStress());
    }
    EXPECT_FALSE(HasPurge());
    EXPECT_TRUE(HasStress());
}

} // namespace
