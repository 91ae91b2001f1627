#include "DecodeQueueMonitor.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <boost/weak_ptr.hpp>

#include "DecodeQueueImpl.h"
#include "RKIdentifiedDecodeQueue.h"
#include "qelcore/DebugMonitor.h"
#include "qelcore/NumberText.h"
#include "qelcore/ThreadAnnotations.h"

namespace RK
{
namespace
{

using qelcore::utility::NumberToString;
using NumberedQueue = std::pair<std::uint64_t, boost::shared_ptr<DecodeQueueImpl>>;

constexpr double kNanosecondsPerMillisecond = 1e6;

void ReportPlace(const char* inLabel, const DecodePlaceCounters& inPlace,
                 qelcore::UTF16StringStream& outReport)
{
    const double mean = inPlace.entered > 0
                            ? static_cast<double>(inPlace.nanoseconds) /
                                  static_cast<double>(inPlace.entered) / kNanosecondsPerMillisecond
                            : 0;
    outReport << "  " << inLabel << ": " << inPlace.present << " | " << inPlace.entered << " | "
              << inPlace.cancelled << " | " << NumberToString(mean, 3) << " ms\n";
}

void ReportQueue(const NumberedQueue& inQueue, qelcore::UTF16StringStream& outReport)
{
    const bool identified = dynamic_cast<IdentifiedDecodeQueue*>(inQueue.second.get()) != nullptr;
    const DecodeQueueImpl::Limits limits = inQueue.second->GetLimits();
    const DecodeQueueCounters counters = inQueue.second->Counters();
    outReport << "Queue " << inQueue.first << (identified ? ", identified" : "") << ", CPU limit "
              << limits.mCPU << ", I/O limit " << limits.mIO << "\n"
              << "  Queued: " << counters.queued << ", Started At Once: " << counters.startedAtOnce
              << ", Retired: " << counters.retired << ", Failed: " << counters.retiredFailed << "\n"
              << "  Place: Now | Entered | Cancelled | Mean Time\n";
    ReportPlace("Pending I/O", counters.pendingIO, outReport);
    ReportPlace("Active I/O", counters.activeIO, outReport);
    ReportPlace("Pending CPU", counters.pendingCPU, outReport);
    ReportPlace("Active CPU", counters.activeCPU, outReport);
    if (identified)
        ReportPlace("Parked", counters.parked, outReport);
}

class Registry
{
public:
    // Never destroyed: queues may end after the statics have.
    static Registry& Instance()
    {
        static Registry& sRegistry = *new Registry;
        return sRegistry;
    }

    std::uint64_t Add(const boost::shared_ptr<DecodeQueueImpl>& inQueue)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mQueues.emplace(++mLastNumber, inQueue);
        return mLastNumber;
    }
    void Remove(std::uint64_t inNumber)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mQueues.erase(inNumber);
    }

private:
    Registry()
    {
        qelcore::debug::RegisterDebugMonitorCallback("RK.DecodeQueues",
                                                     [this](qelcore::UTF16StringStream& outReport)
                                                     { Report(outReport); });
    }
    // A queue is asked, and perhaps dropped, without the lock: its end comes back here.
    std::vector<NumberedQueue> Living() const
    {
        std::vector<NumberedQueue> living;
        const std::lock_guard<std::mutex> lock(mMutex);
        for (const auto& [number, weak] : mQueues)
        {
            if (auto queue = weak.lock())
                living.emplace_back(number, std::move(queue));
        }
        return living;
    }
    void Report(qelcore::UTF16StringStream& outReport) const
    {
        const std::vector<NumberedQueue> living = Living();
        outReport << "Decode Queues: " << living.size() << "\n";
        for (const NumberedQueue& queue : living)
            ReportQueue(queue, outReport);
    }

    mutable std::mutex mMutex;
    std::uint64_t mLastNumber = 0;
    std::map<std::uint64_t, boost::weak_ptr<DecodeQueueImpl>> mQueues; // guarded by mMutex
};

} // namespace

std::uint64_t DecodeQueueMonitor::Add(const boost::shared_ptr<DecodeQueueImpl>& inQueue)
{
    return Registry::Instance().Add(inQueue);
}

void DecodeQueueMonitor::Remove(std::uint64_t inNumber)
{
    Registry::Instance().Remove(inNumber);
}

} // namespace RK
