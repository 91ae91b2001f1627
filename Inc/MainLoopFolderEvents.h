#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/function.hpp>

#include "Platform/FolderEvents.h"
#include "qelcore/DescriptorWatch.h"

namespace RK
{

// A stream of folder events that calls back on the main thread, once for all that is due.
//
// Threads  Made and ended on any thread. When the destructor returns, the callback is not running and will
//          not run, unless the destructor was called from within it. It waits for a running callback, so hold
//          no lock that the callback takes.
class MainLoopFolderEvents
{
public:
    using Callback = boost::function<void(const std::vector<Platform::FolderEvent>& inEvents)>;

    /// @param inFlags  a sum of Platform::kFolderStream_ values.
    /// @return null if the folder cannot be watched, or there is no room for a stream.
    static std::unique_ptr<MainLoopFolderEvents> Create(const std::string& inRoot,
                                                        double inLatencySeconds,
                                                        std::uint32_t inFlags,
                                                        const Callback& inCallback);
    ~MainLoopFolderEvents();
    MainLoopFolderEvents(const MainLoopFolderEvents&) = delete;
    MainLoopFolderEvents& operator=(const MainLoopFolderEvents&) = delete;

    /// See Platform::IFolderEventStream::LossCount.
    std::uint64_t LossCount() const { return mStream->LossCount(); }

private:
    MainLoopFolderEvents(std::unique_ptr<Platform::IFolderEventStream> inStream, std::string inRoot,
                         const Callback& inCallback);
    void OnReadable();

    const std::unique_ptr<Platform::IFolderEventStream> mStream;
    const std::string mRoot;
    const Callback mCallback;
    std::uint64_t mToldLossCount = 0;
    qelcore::threads::DescriptorWatch mWatch; // ends first
};

} // namespace RK
