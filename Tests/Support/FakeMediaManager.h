#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "RiverKit/RKMediaManager.h"
#include "ZOR/CountedObject.h"

namespace Testing
{

// A media manager that writes down what maps tell it, and purges only when the test says so, in the way
// of the real one: with its lock held. Made with new, held by an IMediaManagerRef.
class FakeMediaManager : public ZOR::CountedObject<RK::IMediaManager>
{
public:
    std::vector<std::string> log;
    std::recursive_mutex mutex;   // the manager's lock
    RK::IMediaMapRef lastMap;     // of AddMedia
    bool requireSize = true;      // AddMedia of 0 bytes throws
    std::function<void()> onCall; // runs in AddMedia, TouchMedia and RemoveMedia

    struct ZeroSize
    {
    };

    qelcore::utility::Guid AcquireUniqueID() override { return {1, ++mMaps}; }
    void AddMedia(RK::MediaID inID, RK::Size inSize, RK::Priority inPriority,
                  RK::HandleCount inHandleCount, const RK::IMediaMapRef& inSourceMapRef) override
    {
        if (requireSize && inSize == 0)
            throw ZeroSize();
        {
            const std::lock_guard<std::mutex> lock(mLogMutex);
            lastMap = inSourceMapRef;
        }
        Note("add " + std::to_string(inID) + " size " + std::to_string(inSize) + " priority " +
             std::to_string(inPriority) + " handles " + std::to_string(inHandleCount) + " map " +
             std::to_string(inSourceMapRef->GetUniqueID().Low()));
    }
    void TouchMedia(RK::MediaID inID, qelcore::utility::Guid inMapID) override
    {
        Note("touch " + std::to_string(inID) + " map " + std::to_string(inMapID.Low()));
    }
    void RemoveMedia(RK::MediaID inID, qelcore::utility::Guid inMapID) override
    {
        Note("remove " + std::to_string(inID) + " map " + std::to_string(inMapID.Low()));
    }
    /// As a purge does: @return whether the item was flushed.
    bool Purge(RK::MediaID inID)
    {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        if (lastMap->IsNonPurgeable(inID))
            return false;
        lastMap->Flush(inID);
        return true;
    }
    std::vector<std::string> TakeLog()
    {
        const std::lock_guard<std::mutex> lock(mLogMutex);
        return std::exchange(log, {});
    }

    std::uint32_t GetNumberOfEntries() const override { return 0; }
    std::uint64_t GetCurrentSpace() const override { return 0; }
    void FlushTo(std::uint32_t) override {}
    void FlushAsyncEvents() override {}
    void SetReserveSize(int, long long) override {}
    void AdjustReservedMemorySize(int, long long) override {}
    void SetReserveSize(const qelcore::utility::Guid&, long long) override {}
    void SetApplicationMemoryRequirements(memorybalancer::MemoryPriority) override {}
    boost::shared_ptr<memorybalancer::MemoryBalancer> GetMemoryBalancer() override { return {}; }
    std::uint64_t GetMaximumSize() const override { return 0; }
    void SetMaximumSize(std::size_t) override {}
    void EnterHighThroughputMode() override {}
    void ExitHighThroughputMode() override {}

private:
    void Note(std::string inLine)
    {
        {
            const std::lock_guard<std::mutex> lock(mLogMutex);
            log.push_back(std::move(inLine));
        }
        if (onCall)
            onCall();
    }

    std::atomic<std::int64_t> mMaps{0};
    std::mutex mLogMutex;
};

} // namespace Testing
