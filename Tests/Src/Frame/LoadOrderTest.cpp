#include "LoadOrder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace
{

/// Whether the library is built with the source of that unit.
bool Exists(std::string_view inUnit)
{
    const std::string sources = std::string(":") + RK_LIBRARY_SOURCES + ":";
    return sources.find(":" + std::string(inUnit) + ".cpp:") != std::string::npos;
}

TEST(LoadOrder, EveryUnitThatExistsWasSetUpOnceAndInThePromisedOrder)
{
    std::vector<std::string_view> promised;
    for (const std::string_view unit : RK::LoadOrder::kUnits)
    {
        if (Exists(unit))
            promised.push_back(unit);
    }
    std::vector<std::string_view> recorded;
    for (std::size_t place = 0; place < RK::LoadOrder::RecordedCount(); ++place)
        recorded.push_back(RK::LoadOrder::RecordedAt(place));

    ASSERT_GE(promised.size(), 6u);
    EXPECT_THAT(recorded, testing::ElementsAreArray(promised));
}

} // namespace
