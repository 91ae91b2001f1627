#pragma once

// The numbers that a stranger may hand over in an enumeration's place.

#include <cstdint>
#include <limits>
#include <vector>

namespace RKTests
{

/// Every number from -1000 to 1000, each power of two with its neighbours, and both ends.
inline std::vector<std::int32_t> FarNumbers()
{
    std::vector<std::int32_t> numbers;
    for (std::int32_t number = -1000; number <= 1000; ++number)
        numbers.push_back(number);
    for (int bit = 10; bit < 31; ++bit)
    {
        const std::int32_t power = std::int32_t{1} << bit;
        for (const std::int32_t number : {power - 1, power, power + 1})
        {
            numbers.push_back(number);
            numbers.push_back(-number);
        }
    }
    numbers.push_back(std::numeric_limits<std::int32_t>::min());
    numbers.push_back(std::numeric_limits<std::int32_t>::max());
    return numbers;
}

} // namespace RKTests
