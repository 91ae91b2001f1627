#include <atomic>
#include <thread>

#include "HostInternals.h"
#include "MVThread.h"

#ifndef NDEBUG

namespace
{

std::atomic<std::uint64_t> sTold{0};

struct ThreadWatchStress : Testing::HostProcsFixture
{
    void SetUp() override
    {
        HostProcsFixture::SetUp();
        sTold = 0;
        app.procs.assertTrap = [](const char*, void*) { ++sTold; };
        mvTellOfCallsBesideAnother(&app.procs);
    }
    void TearDown() override
    {
        mvTellOfCallsBesideAnother(nullptr);
        HostProcsFixture::TearDown();
    }
};

TEST_F(ThreadWatchStress, TellsOfEachOffenceOnceAndRacesWithNobody)
{
    constexpr int kMostCalls = 1000000;
    const std::uint64_t before = mvCallsBesideAnother();
    ::testing::internal::CaptureStderr();
    const auto call = [before]
    {
        for (int i = 0; i < kMostCalls && mvCallsBesideAnother() - before < 100; ++i)
        {
            std::int32_t enabled = 0;
            MVGetBlockDebugEnabled(&enabled);
        }
    };
    std::thread one(call);
    std::thread two(call);
    one.join();
    two.join();
    ::testing::internal::GetCapturedStderr();

    EXPECT_GT(sTold, 0u);
    EXPECT_EQ(mvCallsBesideAnother() - before, sTold);

    std::int32_t enabled = 0;
    MVGetBlockDebugEnabled(&enabled); // alone again
    EXPECT_EQ(mvCallsBesideAnother() - before, sTold);
}

} // namespace

#endif
