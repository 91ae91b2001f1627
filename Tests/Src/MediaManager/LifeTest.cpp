// Start, stop, and who may still call afterwards.
#include "ManagerFixture.h"

#include <cstdlib>
#include <memory>

#include "qelcore/Console.h"
#include "qelcore/ImmutableString.h"

namespace
{

using namespace RK;
using namespace Testing;
using qelcore::utility::Guid;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Singleton = ZOR::SingletonSupport<MediaManagerRef>;

class Life : public ::testing::Test
{
protected:
    Life()
    {
        TQM::SetApplicationType(0);
        MediaManager::ForgetMachine();
    }
    ~Life() override
    {
        MediaManager::Shutdown();
        EXPECT_FALSE(Singleton::Exists()) << "somebody kept the manager";
        MediaManager::ForgetMachine();
    }
    ManualExecutor& Background() { return *executors.lastCreatedCPU; }
    static bool HasCommand()
    {
        for (const auto& entry : qelcore::console::CommandRegistry::List())
        {
            if (entry.name == u"RK.PurgeMediaManager")
                return true;
        }
        return false;
    }

    FakeClock clock;
    FakeMemberships memberships;
    FakeMachineFigures machine;
    FakeRegistry registry;
    ManualExecutorFactory executors;
    qelcore::threads::ScopedExecutorFactory executorScope{executors};
};

TEST_F(Life, BeforeTheStartNothingIsHeldAndNothingIsPurged)
{
    EXPECT_EQ(0u, MM::GetSize());
    EXPECT_EQ(0u, MM::Purge(kEverything, kPurgeUrgency_Immediate));
    EXPECT_TRUE(MM::HasSufficientMemory());
    EXPECT_FALSE(MediaManager::Running());
}

TEST_F(Life, AfterTheStartTheManagerIsTheOneThatEverybodyGets)
{
    MediaManager::Startup();
    const IMediaManagerRef manager = GetMediaManager();
    ASSERT_TRUE(manager);
    EXPECT_EQ(manager.get(), MediaManager::Running().get());

    const FakeMapRef map(new FakeMap);
    manager->AddMedia(1, 500, 1, 0, map);
    manager->FlushAsyncEvents();
    EXPECT_EQ(500u, MM::GetSize());
    EXPECT_TRUE(MM::HasSufficientMemory());
    EXPECT_TRUE(MediaManager::Running()->HasSufficientMemory());
    EXPECT_EQ(500u, MM::Purge(1, kPurgeUrgency_Immediate));
}

TEST_F(Life, WithoutAStartTheManagerLivesAsLongAsItsReferences)
{
    {
        const IMediaManagerRef manager = GetMediaManager();
        ASSERT_TRUE(manager);
        EXPECT_FALSE(MediaManager::Running());
        EXPECT_EQ(0u, MM::GetSize());
    }
    EXPECT_FALSE(Singleton::Exists());
}

TEST_F(Life, TheManagerAnswersForItsInterfacesAndItsClass)
{
    MediaManager::Startup();
    const MediaManagerRef manager = MediaManager::Running();
    EXPECT_EQ(manager.get(), ZOR::QueryInterface<IMediaManager>(manager).get());
    EXPECT_EQ(manager->GetZORUnknown(), ZOR::QueryInterface<ZOR::ZORUnknown>(manager).get());
    EXPECT_FALSE(ZOR::QueryInterface<IMediaMap>(manager));

    const char kClass[] = "267A9BAA-13DE-47e7-9652-6067D5212D2E";
    void* found = nullptr;
    ASSERT_EQ(qelcore::kResult_OK,
              manager->QueryMap(ZOR::ToUUIDBytes(Guid::StringToGUID(kClass, 36)), &found));
    EXPECT_EQ(manager.get(), found);
    manager->Release();
    const ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown> unknown = *manager;
    EXPECT_EQ(manager->GetZORUnknown(), unknown.get());
}

TEST_F(Life, EachIdentityIsANewOne)
{
    const IMediaManagerRef manager = GetMediaManager();
    EXPECT_NE(manager->AcquireUniqueID(), manager->AcquireUniqueID());
}

TEST_F(Life, TheStopFlushesEverythingAlsoWhatIsStillAnEvent)
{
    MediaManager::Startup();
    const FakeMapRef map(new FakeMap);
    const IMediaManagerRef manager = GetMediaManager();
    manager->AddMedia(1, 500, 1, 0, map);
    manager->FlushAsyncEvents();
    manager->AddMedia(2, 500, 0, 0, map);
    MediaManager::Shutdown();

    EXPECT_THAT(map->Flushed(), ElementsAre(1, 2));
    EXPECT_EQ(0u, MM::GetSize());
}

TEST_F(Life, TheStopComesInItsOrder)
{
    using qelcore::utility::MemoryRecycler;
    MediaManager::Startup();
    const FakeMapRef map(new FakeMap);
    GetMediaManager()->AddMedia(1, 11 * kMiB, 1, 0, map); // a purge waits for its delay
    MemoryRecycler::SetPoolLimit(64 * kMiB);
    std::size_t actual = 0;
    void* const block = MemoryRecycler::Allocate(kMiB, actual);
    bool flushed = false;
    map->onFlush = [&](MediaID)
    {
        flushed = true;
        EXPECT_FALSE(HasCommand());
        EXPECT_TRUE(MediaManager::Running());
        const int waiting = Background().GetPendingCount();
        GetMediaManager()->EnterHighThroughputMode();
        EXPECT_EQ(waiting, Background().GetPendingCount()) << "the executor still takes jobs";
        MemoryRecycler::Recycle(block, actual);
    };
    MediaManager::Shutdown();

    EXPECT_TRUE(flushed);
    EXPECT_FALSE(MediaManager::Running());
    EXPECT_EQ(1u, MemoryRecycler::GetPoolLimit());
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(Life, TheRecyclersPoolIsBroughtToItsLimitByPurgesOnly)
{
    using qelcore::utility::MemoryRecycler;
    MediaManager::Startup();
    MemoryRecycler::SetPoolLimit(1);
    std::size_t actual = 0;
    void* const block = MemoryRecycler::Allocate(kMiB, actual);
    MemoryRecycler::Recycle(block, actual);
    EXPECT_EQ(actual, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(Life, AStopWithoutAStartDoesNoHarm)
{
    MediaManager::Shutdown();
    MediaManager::Shutdown();
    EXPECT_FALSE(MediaManager::Running());
}

TEST_F(Life, AThousandStartsAndStopsEachBeginAnew)
{
    const FakeMapRef map(new FakeMap);
    for (MediaID id = 1; id <= 1000; ++id)
    {
        MediaManager::Startup();
        const IMediaManagerRef manager = GetMediaManager();
        ASSERT_EQ(0u, manager->GetCurrentSpace());
        manager->AddMedia(id, 500, 1, 0, map);
        MediaManager::Shutdown();
        ASSERT_EQ(id, map->Flushed().size());
    }
}

TEST_F(Life, AJobThatWaitsKeepsNoManagerAliveAndFindsNone)
{
    const auto flushed = std::make_unique<FakeMapRef>(new FakeMap);
    {
        const IMediaManagerRef manager = GetMediaManager();
        manager->AddMedia(1, 11 * kMiB, 1, 0, *flushed); // asks for a purge
        manager->EnterHighThroughputMode();
        manager->FlushAsyncEvents();
        ASSERT_LT(0, Background().GetPendingCount());
    }
    EXPECT_FALSE(Singleton::Exists());
    Background().Advance(20000000);
    EXPECT_THAT((*flushed)->Flushed(), IsEmpty());
}

TEST_F(Life, AJobMayDropTheLastReferenceToTheManager)
{
    const auto pool = [this]
    {
        IMediaManagerRef manager = GetMediaManager();
        FakeMapRef map(new FakeMap);
        // As a map does that keeps its manager: from here on only the item's entry keeps both.
        map->onEnd = [manager]() mutable { manager = nullptr; };
        manager->SetReserveSize(1, 1ll << 40); // leaves 256 MiB
        manager->AddMedia(1, 300 * kMiB, 1, 0, map);
        manager->FlushAsyncEvents();
        return executors.lastCreatedCPU;
    }();
    ASSERT_TRUE(Singleton::Exists());
    pool->Advance(50);
    EXPECT_FALSE(Singleton::Exists());
}

TEST_F(Life, AfterTheStopOwnersMayGoOnCallingWithoutEffect)
{
    MediaManager::Startup();
    const IMediaManagerRef manager = GetMediaManager();
    MediaManager::Shutdown();
    const FakeMapRef map(new FakeMap);
    bool ended = false;
    {
        const FakeMapRef other(new FakeMap);
        other->onEnd = [&] { ended = true; };
        manager->AddMedia(1, 20 * kMiB, 1, 0, other);
    }
    EXPECT_TRUE(ended) << "an event holds the map";
    manager->AddMedia(1, 500, 1, 0, map);
    manager->TouchMedia(1, map->GetUniqueID());
    for (MediaID id = 1; id <= 70000; ++id)
        manager->RemoveMedia(id, map->GetUniqueID());
    manager->FlushAsyncEvents();
    manager->FlushTo(0);
    manager->SetReserveSize(1, 500);
    manager->SetApplicationMemoryRequirements(0);
    manager->EnterHighThroughputMode();
    manager->ExitHighThroughputMode();

    EXPECT_EQ(0u, manager->GetCurrentSpace());
    EXPECT_THAT(map->Flushed(), IsEmpty());
    EXPECT_EQ(0u, static_cast<MediaManager*>(manager.get())->GetLostEventCount());
    EXPECT_TRUE(memberships.told.empty()); // a stopped library joins no suite
}

TEST_F(Life, AStartTakesUpAManagerThatSomebodyKept)
{
    MediaManager::Startup();
    const IMediaManagerRef manager = GetMediaManager();
    const FakeMapRef map(new FakeMap);
    map->nonPurgeable = {1};
    manager->AddMedia(1, 500, 1, 0, map);
    manager->AddMedia(2, 11 * kMiB, 1, 0, map); // a purge is asked for, and dropped by the stop
    MediaManager::Shutdown();
    EXPECT_EQ(500u, manager->GetCurrentSpace());
    MediaManager::Startup();
    EXPECT_EQ(manager.get(), MediaManager::Running().get());

    map->nonPurgeable = {};
    manager->AddMedia(3, 11 * kMiB, 1, 0, map);
    Background().Advance(50); // the purge that 3 asked for
    EXPECT_EQ(500 + 11 * kMiB, manager->GetCurrentSpace());
    manager->AddMedia(4, 500, 1, 0, map);
    Background().Advance(14400000); // and the repeated one
    EXPECT_EQ(3u, manager->GetNumberOfEntries());

    MediaManager::Shutdown();
    EXPECT_THAT(map->Flushed(), ElementsAre(2, 3, 1, 4));
}

TEST_F(Life, ARemoveAfterTheStopTakesOffTheBooksWhatTheStopCouldNot)
{
    MediaManager::Startup();
    const IMediaManagerRef manager = GetMediaManager();
    const FakeMapRef map(new FakeMap);
    map->nonPurgeable = {1};
    manager->AddMedia(1, 500, 1, 0, map);
    MediaManager::Shutdown();
    ASSERT_EQ(500u, manager->GetCurrentSpace());

    manager->RemoveMedia(1, map->GetUniqueID());
    EXPECT_EQ(0u, manager->GetCurrentSpace()); // nobody else would apply it
}

TEST_F(Life, EnteringHighThroughputModePurgesUnusedStrings)
{
    using qelcore::utility::ImmutableString;
    const IMediaManagerRef manager = GetMediaManager();
    ImmutableString::PurgeUnusedStrings();
    ImmutableString::CreateDynamic("used by nobody in LifeTest");
    manager->EnterHighThroughputMode();
    Background().RunQueued();
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
}

TEST_F(Life, EveryThousandthBackgroundPurgePurgesUnusedStrings)
{
    using qelcore::utility::ImmutableString;
    const IMediaManagerRef manager = GetMediaManager();
    const auto purgesStrings = [this]
    {
        ImmutableString::CreateDynamic("used by nobody in LifeTest");
        Background().Advance(14400000);
        return !ImmutableString::PurgeUnusedStrings();
    };
    const auto purgesUntilStrings = [&]
    {
        int purges = 1;
        while (!purgesStrings() && purges < 2000)
            ++purges;
        return purges;
    };
    EXPECT_GE(1000, purgesUntilStrings()); // the count is the process's, and others have begun it
    EXPECT_EQ(1000, purgesUntilStrings());
}

void EndWithoutAStop()
{
    MediaManager::Startup();
    const FakeMapRef map(new FakeMap);
    GetMediaManager()->AddMedia(1, 11 * kMiB, 1, 0, map);
    GetMediaManager()->FlushAsyncEvents();
    std::exit(0);
}

TEST(LifeDeathTest, AProcessMayEndWithoutAStop)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(EndWithoutAStop(), ::testing::ExitedWithCode(0), "");
}

} // namespace
