#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace Testing
{

enum class Need
{
    kMet,
    kMissing, // the right is not there: skip, and say which
    kBroken   // the right is there, and what it allows does not work
};

/// @param inRequired  whether a right that does not work is a failure, or is taken for missing.
inline Need NeedOf(bool inWorks, bool inHasRight, bool inRequired)
{
    if (inWorks)
        return Need::kMet;
    return inHasRight && inRequired ? Need::kBroken : Need::kMissing;
}

/// Whether the environment asks for it, by RK_REQUIRE_REAL.
inline bool RealTestsAreRequired()
{
    return std::getenv("RK_REQUIRE_REAL") != nullptr;
}

/// Whether this process has one of the kernel's capabilities, such as CAP_SYS_ADMIN.
inline bool HasCapability(int inNumber)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.compare(0, 7, "CapEff:") == 0)
            return (std::stoull(line.substr(7), nullptr, 16) >> inNumber & 1) != 0;
    }
    return false;
}

/// Whether the mount table has the volume of "/". In a bare chroot it has not.
inline bool RootIsAMountPoint()
{
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);)
    {
        std::istringstream fields(line);
        std::string field;
        for (int i = 0; i < 5; ++i)
            fields >> field;
        if (field == "/")
            return true;
    }
    return false;
}

} // namespace Testing

/// Skips the test where something that needs a right does not work. With RK_REQUIRE_REAL it fails instead
/// where the right is there.
/// @param inText  what is needed.
#define RK_NEEDS(inWorks, inHasRight, inText)                                                      \
    do                                                                                             \
    {                                                                                              \
        const ::Testing::Need rkNeed =                                                             \
            ::Testing::NeedOf(inWorks, inHasRight, ::Testing::RealTestsAreRequired());             \
        if (rkNeed == ::Testing::Need::kBroken)                                                    \
            FAIL() << "has the right, and yet it does not work: " << inText;                       \
        if (rkNeed == ::Testing::Need::kMissing)                                                   \
            GTEST_SKIP() << "needs " << inText;                                                    \
    } while (false)
