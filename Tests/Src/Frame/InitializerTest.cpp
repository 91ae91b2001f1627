#include "RKInitializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "MediaManager/MediaManager.h"
#include "RiverKitServer.h"
#include "ZOR/CountedObject.h"
#include "ZOR/Foundation.h"

namespace
{

using testing::ElementsAreArray;
using testing::IsEmpty;

using Steps = std::vector<std::string>;

// The promised lists.
const Steps kStart = {"ZOR::Foundation::Initialize",
                      "ZOR::Messaging::Initialize",
                      "RK::FileManager::Startup",
                      "RK::MediaManager::Startup",
                      "RK::DirectoryChangeMonitor::Initialize",
                      "RK::SDKSupport::Initialize",
                      "InstallFileBufferFactory",
                      "RK::VolumeUtilities::Startup",
                      "RegisterStressMediaVector"};
const Steps kStop = {"RemoveFileBufferFactory",        "RK::VolumeUtilities::Shutdown",
                     "RK::DiskCacheManager::Shutdown", "RK::MediaManager::Shutdown",
                     "RK::FileManager::Shutdown",      "RK::DirectoryChangeMonitor::Terminate",
                     "RK::SDKSupport::Terminate",      "ZOR::Messaging::Terminate",
                     "ZOR::Foundation::Terminate"};

Steps sSeen;

class InitializerTest : public testing::Test
{
protected:
    InitializerTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        sSeen.clear();
        RK::Server::SetStepHook([](const char* inStep) { sSeen.push_back(inStep); });
    }
    ~InitializerTest() override { RK::Server::SetStepHook(nullptr); }

    static Steps TakeSeen() { return std::exchange(sSeen, Steps()); }
};

using InitializerDeathTest = InitializerTest;

TEST_F(InitializerTest, StartsAndStopsInTheOrderOfItsLists)
{
    {
        RK::Initializer library;
        EXPECT_THAT(TakeSeen(), ElementsAreArray(kStart));
    }
    EXPECT_THAT(TakeSeen(), ElementsAreArray(kStop));
}

TEST_F(InitializerTest, ASecondOneStartsNothingAndOnlyTheLastStopsWhicheverThatIs)
{
    for (const bool firstGoesFirst : {true, false})
    {
        auto first = std::make_unique<RK::Initializer>();
        TakeSeen();
        auto second = std::make_unique<RK::Initializer>();
        EXPECT_THAT(TakeSeen(), IsEmpty());

        (firstGoesFirst ? first : second).reset();
        EXPECT_THAT(TakeSeen(), IsEmpty());
        first.reset();
        second.reset();
        EXPECT_THAT(TakeSeen(), ElementsAreArray(kStop));
    }
}

TEST_F(InitializerTest, StartsEverythingAgainAfterItHasStopped)
{
    {
        RK::Initializer library;
    }
    TakeSeen();
    {
        RK::Initializer library;
        EXPECT_THAT(TakeSeen(), ElementsAreArray(kStart));
    }
    EXPECT_THAT(TakeSeen(), ElementsAreArray(kStop));
}

TEST_F(InitializerTest, OneThatWasMovedFromStopsNothing)
{
    auto first = std::make_unique<RK::Initializer>();
    auto second = std::make_unique<RK::Initializer>(std::move(*first));
    TakeSeen();

    first.reset();
    EXPECT_THAT(TakeSeen(), IsEmpty());
    second.reset();
    EXPECT_THAT(TakeSeen(), ElementsAreArray(kStop));
}

TEST_F(InitializerTest, OneConstructedWithinAStartStepOnlyCounts)
{
    static std::unique_ptr<RK::Initializer> sInner;
    RK::Server::SetStepHook(
        [](const char* inStep)
        {
            sSeen.push_back(inStep);
            RK::Server::SetStepHook([](const char* inLaterStep) { sSeen.push_back(inLaterStep); });
            sInner = std::make_unique<RK::Initializer>();
        });
    {
        RK::Initializer library;
        EXPECT_THAT(TakeSeen(), ElementsAreArray(kStart));
    }
    EXPECT_THAT(TakeSeen(), IsEmpty());

    sInner.reset();
    EXPECT_THAT(TakeSeen(), ElementsAreArray(kStop));
}

TEST_F(InitializerTest, StopsTheFileBufferFactoryBeforeTheFoundation)
{
    class Factory : public ZOR::CountedObject<ZOR::IFileBufferFactory>
    {
    public:
        ~Factory() override { sSeen.push_back("factory gone"); }
        ZOR::IFileBufferRef CreateFileBuffer() override { return nullptr; }
    };
    {
        RK::Initializer library;
        ZOR::Foundation::SetFileBufferFactory(ZOR::IFileBufferFactoryRef(new Factory));
        TakeSeen();
    }
    const Steps expected = {kStop[0], "factory gone", kStop.back()};
    EXPECT_EQ(expected, Steps({sSeen[0], sSeen[1], sSeen.back()}));
}

TEST_F(InitializerTest, TheFrameKnowsTheMediaManagersClass)
{
    EXPECT_EQ("267A9BAA-13DE-47E7-9652-6067D5212D2E", RK::Server::kMediaManagerClassID.ToString());
}

// What follows leaves the library started for ever, so it runs in a process of its own, whose exit code
// tells how far it came.
#define REQUIRE_OR_EXIT(inCondition)                                                               \
    do                                                                                             \
    {                                                                                              \
        if (!(inCondition))                                                                        \
        {                                                                                          \
            std::fprintf(stderr, "failed: %s\n", #inCondition);                                    \
            std::_Exit(1);                                                                         \
        }                                                                                          \
    } while (false)

void StartWithAFailingStep(const std::string& inFailing)
{
    static std::string sFailing;
    sFailing = inFailing;
    RK::Server::SetStepHook(
        [](const char* inStep)
        {
            sSeen.push_back(inStep);
            if (sFailing == inStep)
                throw std::runtime_error("no start");
        });
    bool thrown = false;
    try
    {
        RK::Initializer library;
    }
    catch (const std::runtime_error& error)
    {
        thrown = error.what() == std::string("no start");
    }
    REQUIRE_OR_EXIT(thrown);
}

void FailToStartAndTryAgain(std::size_t inFailing)
{
    StartWithAFailingStep(kStart[inFailing]);
    // The steps before ran, and none of the stop steps.
    REQUIRE_OR_EXIT(sSeen == Steps(kStart.begin(), kStart.begin() + inFailing + 1));
    const auto managerStep =
        std::find(kStart.begin(), kStart.end(), "RK::MediaManager::Startup") - kStart.begin();
    const bool managerStarted = static_cast<std::ptrdiff_t>(inFailing) > managerStep;
    REQUIRE_OR_EXIT(static_cast<bool>(RK::MediaManager::Running()) == managerStarted);
    sSeen.clear();

    // On another thread: the mutex must be free.
    std::thread([] { RK::Initializer again; }).join();
    REQUIRE_OR_EXIT(sSeen.empty());
    REQUIRE_OR_EXIT(static_cast<bool>(RK::MediaManager::Running()) == managerStarted);
    std::_Exit(0);
}

TEST_F(InitializerDeathTest, AStartStepThatThrowsIsNeitherUndoneNorTriedAgainAndReleasesTheMutex)
{
    for (std::size_t failing = 0; failing < kStart.size(); ++failing)
        EXPECT_EXIT(FailToStartAndTryAgain(failing), testing::ExitedWithCode(0), "");
}

void StopWithAFailingStep()
{
    RK::Server::SetStepHook(nullptr);
    RK::Initializer library;
    RK::Server::SetStepHook([](const char*) { throw std::runtime_error("no stop"); });
}

TEST_F(InitializerDeathTest, AnExceptionThatReachesTheDestructorEndsTheProcess)
{
    EXPECT_EXIT(StopWithAFailingStep(), testing::KilledBySignal(SIGABRT), "");
}

} // namespace
