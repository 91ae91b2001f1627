// A program of its own, since it puts an operator new that can fail in the place of everybody's, and since the
// report is made once in a process.
#include <new>

#include <gtest/gtest.h>

#include "RiverKit/RKErrorReport.h"
#include "Support/OwnOperatorNew.h"

namespace
{
constinit thread_local bool sMemoryIsOut = false;
} // namespace

bool Testing::OnAllocation() noexcept
{
    return !sMemoryIsOut;
}

namespace
{

TEST(ErrorReportWithoutMemory, IsMadeByTheNextToAskOnceThereIsSome)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP() << "a sanitizer has the allocator";
    sMemoryIsOut = true;
    bool failed = false;
    try
    {
        RK::ErrorReport::Get();
    }
    catch (const std::bad_alloc&)
    {
        failed = true;
    }
    sMemoryIsOut = false;
    EXPECT_TRUE(failed);

    const boost::shared_ptr<RK::ErrorReport> report = RK::ErrorReport::Get();
    ASSERT_TRUE(report);
    EXPECT_TRUE(report->Empty());
    EXPECT_EQ(report, RK::ErrorReport::Get());
}

} // namespace
