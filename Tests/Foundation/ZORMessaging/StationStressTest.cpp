#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "TestMessages.h"
#include "ZORMessaging/Station.h"

namespace
{

using Testing::NumberMessage;
namespace StationUtils = ZOR::StationUtils;

constexpr int kRounds = 400;

/// Says by a crash, or to the sanitizers, if it is called after its end.
class MortalListener : public ZOR::Listener
{
public:
    explicit MortalListener(std::atomic<int>& ioHeard)
        : mHeard(ioHeard)
    {
    }
    ~MortalListener() override { *mAlive = 0; }
    void ListenToMessage(const ZOR::Message&) override
    {
        EXPECT_EQ(*mAlive, 1);
        ++mHeard;
    }

private:
    std::atomic<int>& mHeard;
    const std::unique_ptr<int> mAlive = std::make_unique<int>(1);
};

class CountingSafeListener : public ZOR::WeakCountedObject<ZOR::ISafeListener>
{
public:
    explicit CountingSafeListener(std::atomic<int>& ioHeard)
        : mHeard(ioHeard)
    {
    }
    void ListenToMessage(const ZOR::Message&) override { ++mHeard; }

private:
    std::atomic<int>& mHeard;
};

/// Two threads tell until the client's work is done.
template <class Client>
void RunWhileOthersTell(const ZOR::StationID& inStation, const Client& inClient)
{
    std::atomic<bool> done{false};
    std::vector<std::thread> tellers;
    tellers.reserve(2);
    for (int i = 0; i < 2; ++i)
        tellers.emplace_back(
            [&]
            {
                while (!done)
                    StationUtils::BroadcastMessage(inStation, NumberMessage(1));
            });
    inClient();
    done = true;
    for (std::thread& teller : tellers)
        teller.join();
}

TEST(StationStress, APlainListenerMayEndOnceItWasRemoved)
{
    const StationUtils::ManagedStation station;
    std::atomic<int> heard{0};
    RunWhileOthersTell(station.GetStationID(),
                       [&]
                       {
                           for (int round = 0; round < kRounds || heard == 0; ++round)
                           {
                               MortalListener listener(heard);
                               StationUtils::AddListener(station.GetStationID(), &listener);
                               StationUtils::RemoveListener(station.GetStationID(), &listener);
                           }
                       });
    EXPECT_GT(heard, 0);
}

TEST(StationStress, APlainListenerMayEndOnceItsStationHasGone)
{
    const ZOR::StationID id = ZOR::StationRegistry::UniqueStationID();
    std::atomic<int> heard{0};
    RunWhileOthersTell(id,
                       [&]
                       {
                           for (int round = 0; round < kRounds || heard == 0; ++round)
                           {
                               MortalListener listener(heard);
                               ZOR::StationRegistry::RegisterStation(id);
                               StationUtils::AddListener(id, &listener);
                               ZOR::StationRegistry::DisposeStation(id);
                           }
                       });
    EXPECT_GT(heard, 0);
}

TEST(StationStress, ACountedListenerMayGoWithoutAWord)
{
    const StationUtils::ManagedStation station;
    std::atomic<int> heard{0};
    RunWhileOthersTell(station.GetStationID(),
                       [&]
                       {
                           for (int round = 0; round < kRounds || heard == 0; ++round)
                               StationUtils::AddListener(
                                   station.GetStationID(),
                                   ZOR::ISafeListenerRef(new CountingSafeListener(heard)));
                       });
    EXPECT_EQ(StationUtils::RemoveListener(station.GetStationID(), ZOR::ISafeListenerRef()), false);
}

} // namespace
