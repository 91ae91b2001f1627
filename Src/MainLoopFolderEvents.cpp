#include "MainLoopFolderEvents.h"

#include <system_error>
#include <utility>

#include "qelcore/Trace.h"

namespace RK
{

std::unique_ptr<MainLoopFolderEvents> MainLoopFolderEvents::Create(const std::string& inRoot,
                                                                   double inLatencySeconds,
                                                                   std::uint32_t inFlags,
                                                                   const Callback& inCallback)
{
    std::unique_ptr<Platform::IFolderEventStream> stream =
        Platform::FolderEvents().Create(inRoot, inLatencySeconds, inFlags);
    if (!stream || !stream->Start())
        return nullptr;
    try
    {
        return std::unique_ptr<MainLoopFolderEvents>(
            new MainLoopFolderEvents(std::move(stream), inRoot, inCallback));
    }
    catch (const std::system_error&)
    {
        return nullptr; // no descriptors are left
    }
}

MainLoopFolderEvents::MainLoopFolderEvents(std::unique_ptr<Platform::IFolderEventStream> inStream,
                                           std::string inRoot, const Callback& inCallback)
    : mStream(std::move(inStream))
    , mRoot(std::move(inRoot))
    , mCallback(inCallback)
    , mWatch(qelcore::threads::WatchDescriptor(mStream->Descriptor(),
                                               qelcore::threads::kDescriptorEvent_Readable,
                                               [this](unsigned) { OnReadable(); }))
{
}

MainLoopFolderEvents::~MainLoopFolderEvents()
{
    mWatch.End();
    mStream->Stop();
}

void MainLoopFolderEvents::OnReadable()
{
    const std::vector<Platform::FolderEvent> events = mStream->Take();
    const std::uint64_t lossCount = mStream->LossCount();
    if (lossCount != mToldLossCount)
        RK_TRACE("RK.FolderEvents", 1,
                 "Events were lost below " << mRoot
                                           << ", or could not be watched for: " << lossCount
                                           << " times. Clients are told to look at all of it.");
    mToldLossCount = lossCount;
    if (!events.empty())
        mCallback(events);
}

} // namespace RK
