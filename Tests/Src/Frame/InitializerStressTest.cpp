#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"
#include "ZOR/Foundation.h"

namespace
{

TEST(InitializerStress, StartsAndStopsAThousandTimes)
{
    for (int turn = 0; turn < 1000; ++turn)
        RK::Initializer library;
}

// An owner of media that holds nothing but counts what it was asked to let go of.
class Map : public ZOR::CountedObject<RK::IMediaMap>
{
public:
    Map(RK::IMediaManager& inManager, std::atomic<int>& ioAlive)
        : mID(inManager.AcquireUniqueID())
        , mAlive(ioAlive)
    {
        ++mAlive;
    }
    ~Map() override { --mAlive; }
    void Flush(RK::MediaID) override {}
    qelcore::utility::Guid GetUniqueID() const override { return mID; }

private:
    const qelcore::utility::Guid mID;
    std::atomic<int>& mAlive;
};

// Adds items of a map that nobody but the manager holds in the end.
void WorkWithTheManager(std::atomic<int>& ioMapsAlive)
{
    const RK::IMediaManagerRef manager = RK::GetMediaManager();
    if (!manager)
        return;
    const RK::IMediaMapRef map(new Map(*manager.get(), ioMapsAlive));
    for (RK::MediaID id = 1; id <= 100; ++id)
    {
        manager->AddMedia(id, 1000, 1, 0, map);
        manager->TouchMedia(id, map->GetUniqueID());
    }
    manager->RemoveMedia(1, map->GetUniqueID());
    RK::MM::Purge(10000, RK::kPurgeUrgency_Immediate);
    RK::MM::GetSize();
}

class Factory : public ZOR::CountedObject<ZOR::IFileBufferFactory>
{
public:
    explicit Factory(std::atomic<int>& ioAlive)
        : mAlive(ioAlive)
    {
        ++mAlive;
    }
    ~Factory() override { --mAlive; }
    ZOR::IFileBufferRef CreateFileBuffer() override { return nullptr; }

private:
    std::atomic<int>& mAlive;
};

TEST(InitializerStress, StartsAndStopsWhileOtherThreadsDoAndWorkWithTheLibrary)
{
    std::atomic<bool> done{false};
    std::atomic<int> factoriesAlive{0};
    std::atomic<int> mapsAlive{0};
    std::atomic<int> rounds{0};
    std::thread worker(
        [&]
        {
            while (!done)
            {
                ZOR::Foundation::SetFileBufferFactory(
                    ZOR::IFileBufferFactoryRef(new Factory(factoriesAlive)));
                ZOR::Foundation::GetFileBufferFactory();
                WorkWithTheManager(mapsAlive);
                ++rounds;
            }
        });
    std::thread other(
        [&]
        {
            while (!done)
                RK::Initializer library;
        });
    while (rounds < 200)
        RK::Initializer library;
    done = true;
    worker.join();
    other.join();

    {
        RK::Initializer library; // its stop drops what the worker has left
    }
    EXPECT_EQ(0, factoriesAlive);
    EXPECT_EQ(0, mapsAlive);
    EXPECT_EQ(0u, RK::MM::GetSize());
}

} // namespace
