#include <thread>

#include "HostInternals.h"
#include "MVThread.h"

#ifndef NDEBUG

namespace
{

using Testing::Application;
using ::testing::ElementsAre;
using Testing::HostProcsFixture;

struct ThreadWatch : HostProcsFixture
{
    void SetUp() override
    {
        HostProcsFixture::SetUp();
        mvTellOfCallsBesideAnother(&app.procs);
    }
    void TearDown() override
    {
        mvTellOfCallsBesideAnother(nullptr);
        HostProcsFixture::TearDown();
    }

    std::uint64_t mBefore = mvCallsBesideAnother();
};

void CallOnAnotherThread()
{
    std::thread(
        []
        {
            std::int32_t enabled = 0;
            MVGetBlockDebugEnabled(&enabled);
        })
        .join();
}

void* AllocateWhileAnotherCalls(std::size_t inSize, void*)
{
    CallOnAnotherThread();
    return Application::Allocate(Application::Current().blocks, inSize);
}

void* AllocateAndCallBack(std::size_t inSize, void*)
{
    std::int32_t enabled = 0;
    MVGetBlockDebugEnabled(&enabled);
    return Application::Allocate(Application::Current().blocks, inSize);
}

TEST_F(ThreadWatch, NamesBothCallsWhenASecondThreadComesIn)
{
    app.procs.allocate = AllocateWhileAnotherCalls;
    void* block = nullptr;
    ::testing::internal::CaptureStderr();

    MVAllocateBlock(8, "", &block);

    const std::string text = "the plug-in host is for one thread at a time: "
                             "MVGetBlockDebugEnabled was called while another thread was in "
                             "MVAllocateBlock";
    EXPECT_EQ(text + "\n", ::testing::internal::GetCapturedStderr());
    EXPECT_THAT(app.asserted, ElementsAre(text));
    EXPECT_EQ(mBefore + 1, mvCallsBesideAnother());
    MVFreeBlock(block);
}

TEST_F(ThreadWatch, IsSilentWhenTheHostIsCalledBackOnTheSameThread)
{
    app.procs.allocate = AllocateAndCallBack;
    void* block = nullptr;

    MVAllocateBlock(8, "", &block);
    MVFreeBlock(block);

    EXPECT_EQ(mBefore, mvCallsBesideAnother());
}

TEST_F(ThreadWatch, IsSilentWhenThreadsCallOneAfterTheOther)
{
    std::int32_t enabled = 0;
    MVGetBlockDebugEnabled(&enabled);
    CallOnAnotherThread();
    MVGetBlockDebugEnabled(&enabled);

    EXPECT_EQ(mBefore, mvCallsBesideAnother());
}

TEST_F(ThreadWatch, SeesTheNextOffenceAfterOne)
{
    app.procs.allocate = AllocateWhileAnotherCalls;
    void* block = nullptr;
    ::testing::internal::CaptureStderr();
    for (int i = 0; i < 2; ++i)
    {
        MVAllocateBlock(8, "", &block);
        MVFreeBlock(block);
    }
    ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(mBefore + 2, mvCallsBesideAnother());
}

} // namespace

#endif
