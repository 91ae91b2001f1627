// The figures within a control group that is really there.
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Foundation/Platform/Src/LinuxMachineFigures.h"
#include "Support/ChildProcess.h"
#include "Support/ControlGroup.h"
#include "Support/FakeClock.h"
#include "Support/TemporaryFolder.h"

namespace
{

using Platform::LinuxMachineFigures;
using Testing::MemoryGroup;

constexpr std::uint64_t kMiB = 1 << 20;

TEST(LimitedFigures, TheLimitIsTheTotalAndItsChangeIsSeen)
{
    const MemoryGroup group;
    RK_NEEDS_A_MEMORY_GROUP(group);
    ASSERT_TRUE(group.SetLimit(96 * kMiB));
    const int answer = Testing::RunInChild(
        [&]
        {
            Testing::FakeClock clock;
            LinuxMachineFigures figures;
            if (figures.TotalPhysicalMemory() <= 96 * kMiB)
                return 1; // outside of it yet
            if (!group.Enter())
                return 2;
            clock.AdvanceSeconds(1);
            if (figures.TotalPhysicalMemory() != 96 * kMiB)
                return 3;
            if (!group.SetLimit(80 * kMiB))
                return 4;
            clock.AdvanceSeconds(1);
            return figures.TotalPhysicalMemory() == 80 * kMiB ? 0 : 5;
        });
    EXPECT_EQ(0, answer);
}

TEST(LimitedFigures, TheNarrowestOfNestedGroupsCounts)
{
    const MemoryGroup outer;
    RK_NEEDS_A_MEMORY_GROUP(outer);
    const MemoryGroup inner(outer, "inner");
    ASSERT_TRUE(inner.Exists());
    ASSERT_TRUE(outer.SetLimit(64 * kMiB));
    ASSERT_TRUE(inner.SetLimit(128 * kMiB));
    const int answer = Testing::RunInChild(
        [&]
        {
            LinuxMachineFigures figures;
            const bool entered = inner.Enter();
            return entered && figures.TotalPhysicalMemory() == 64 * kMiB ? 0 : 1;
        });
    EXPECT_EQ(0, answer);
}

TEST(LimitedFigures, WhatTheProcessTouchesIsNoLongerFree)
{
    const MemoryGroup group;
    RK_NEEDS_A_MEMORY_GROUP(group);
    // A sanitizer takes several bytes of its own for each one touched.
    ASSERT_TRUE(group.SetLimit(512 * kMiB));
    const int answer = Testing::RunInChild(
        [&]
        {
            LinuxMachineFigures figures;
            if (!group.Enter())
                return 1;
            const std::uint64_t before = figures.FreePhysicalMemory();
            const std::uint64_t processBefore = figures.ProcessMemory();
            if (before == 0 || before > 512 * kMiB)
                return 2;
            const std::vector<char> touched(48 * kMiB, 'x');
            const std::uint64_t after = figures.FreePhysicalMemory();
            if (after + 44 * kMiB > before || figures.FreeActiveMemory() > after + 4 * kMiB)
                return 3;
            return figures.ProcessMemory() >= processBefore + 44 * kMiB && touched.back() == 'x'
                       ? 0
                       : 4;
        });
    EXPECT_EQ(0, answer);
}

TEST(LimitedFigures, WhatFilesTakeCanStillBeHad)
{
    const MemoryGroup group;
    RK_NEEDS_A_MEMORY_GROUP(group);
    ASSERT_TRUE(group.SetLimit(128 * kMiB));
    const Testing::TemporaryFolder folder;
    const int answer = Testing::RunInChild(
        [&]
        {
            LinuxMachineFigures figures;
            if (!group.Enter())
                return 1;
            const std::uint64_t before = figures.FreePhysicalMemory();
            {
                std::ofstream file(folder.Path("f"), std::ios::binary);
                const std::string block(kMiB, 'x');
                for (int i = 0; i < 48; ++i)
                    file << block; // 48 MiB of the group are this file's now
            }
            return figures.FreePhysicalMemory() + 16 * kMiB > before ? 0 : 2;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
