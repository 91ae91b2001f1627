#include "ZORMessaging/Station.h"

#include <atomic>
#include <string>
#include <unordered_map>

#include <boost/make_shared.hpp>

#include "qelcore/RecursiveMutex.h"

namespace ZOR
{

using qelcore::threads::RecursiveMutex;

namespace
{

struct Registered
{
    StationFactory factory;
    StationPtr station; // null until first used
};

// Never destroyed, so that a station may be disposed of at exit.
class Registry
{
public:
    static Registry& Instance()
    {
        static Registry* const sInstance = new Registry;
        return *sInstance;
    }

    bool Register(const StationID& inID, const StationFactory& inFactory)
    {
        RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationRegistry::RegisterStation");
        return mStations.emplace(inID, Registered{inFactory, nullptr}).second;
    }

    bool Dispose(const StationID& inID)
    {
        Registered gone; // its end may call out: after the lock
        {
            RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationRegistry::DisposeStation");
            const auto found = mStations.find(inID);
            if (found == mStations.end())
                return false;
            gone = std::move(found->second);
            mStations.erase(found);
        }
        if (gone.station)
            gone.station->RemoveAllListeners();
        return true;
    }

    /// @return null if there is no such station.
    StationPtr Find(const StationID& inID)
    {
        StationFactory factory;
        {
            RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationRegistry::Find");
            const auto found = mStations.find(inID);
            if (found == mStations.end() || found->second.station)
                return found == mStations.end() ? nullptr : found->second.station;
            factory = found->second.factory;
        }
        return Keep(inID, factory ? factory(inID) : boost::make_shared<Station>());
    }

    /// @return null if nobody has used the station yet, so nobody listens either.
    StationPtr FindUsed(const StationID& inID)
    {
        RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationRegistry::FindUsed");
        const auto found = mStations.find(inID);
        return found == mStations.end() ? nullptr : found->second.station;
    }

private:
    // Of two threads that used a station first the later one takes the earlier one's.
    StationPtr Keep(const StationID& inID, const StationPtr& inMade)
    {
        RecursiveMutex::ScopedLock lock(mMutex, "ZOR::StationRegistry::Keep");
        const auto found = mStations.find(inID);
        if (found == mStations.end())
            return nullptr;
        if (!found->second.station)
            found->second.station = inMade;
        return found->second.station;
    }

    RecursiveMutex mMutex; // a leaf
    std::unordered_map<StationID, Registered> mStations RK_GUARDED_BY(mMutex);
};

} // namespace

StationID StationRegistry::UniqueStationID()
{
    static std::atomic<std::uint64_t> sCount{0};
    return StationID::CreateDynamic(("ZOR.Station." + std::to_string(++sCount)).c_str());
}

bool StationRegistry::RegisterStation(const StationID& inID, const StationFactory& inFactory)
{
    return !inID.IsNull() && Registry::Instance().Register(inID, inFactory);
}

bool StationRegistry::DisposeStation(const StationID& inID)
{
    return Registry::Instance().Dispose(inID);
}

bool StationUtils::AddListener(const StationID& inID, const ISafeListenerRef& inListener)
{
    const StationPtr station = Registry::Instance().Find(inID);
    return station && station->AddListener(inListener);
}

bool StationUtils::AddListener(const StationID& inID, Listener* inListener)
{
    const StationPtr station = Registry::Instance().Find(inID);
    return station && station->AddListener(inListener);
}

bool StationUtils::RemoveListener(const StationID& inID, const ISafeListenerRef& inListener)
{
    const StationPtr station = Registry::Instance().Find(inID);
    return station && station->RemoveListener(inListener);
}

bool StationUtils::RemoveListener(const StationID& inID, Listener* inListener)
{
    const StationPtr station = Registry::Instance().Find(inID);
    return station && station->RemoveListener(inListener);
}

void StationUtils::BroadcastMessage(const StationID& inID, const Message& inMessage)
{
    const StationPtr station = Registry::Instance().FindUsed(inID);
    if (station)
        station->Broadcast(inMessage);
}

StationUtils::ManagedStation::ManagedStation(const StationFactory& inFactory)
    : mStationID(StationRegistry::UniqueStationID())
{
    StationRegistry::RegisterStation(mStationID, inFactory);
}

StationUtils::ManagedStation::~ManagedStation()
{
    StationRegistry::DisposeStation(mStationID);
}

} // namespace ZOR
