#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Descriptors.h"
#include "Platform/FolderEvents.h"

namespace Testing
{

/// Folder events that come when the test says so. One thread at a time.
class FakeFolderEvents : public Platform::IFolderEvents
{
public:
    class Stream : public Platform::IFolderEventStream
    {
    public:
        Stream(FakeFolderEvents& inOwner, std::string inRoot, double inLatencySeconds,
               std::uint32_t inFlags)
            : root(std::move(inRoot))
            , latencySeconds(inLatencySeconds)
            , flags(inFlags)
            , mOwner(inOwner)
        {
            mOwner.mStreams.push_back(this);
        }
        ~Stream() override { std::erase(mOwner.mStreams, this); }
        bool Start() override { return isRunning = !mOwner.mustNotStart; }
        void Stop() override
        {
            isRunning = false;
            mEvents.clear();
            mReadable.Take();
        }
        int Descriptor() const override { return mReadable.Get(); }
        std::vector<Platform::FolderEvent> Take() override
        {
            mReadable.Take();
            return std::exchange(mEvents, {});
        }
        std::uint64_t LossCount() const override { return lossCount; }

        /// Has the events ready to be taken, as one delivery.
        void Deliver(std::vector<Platform::FolderEvent> inEvents)
        {
            for (Platform::FolderEvent& event : inEvents)
                mEvents.push_back(std::move(event));
            mReadable.Signal();
        }

        const std::string root;
        const double latencySeconds;
        const std::uint32_t flags;
        bool isRunning = false;
        std::uint64_t lossCount = 0;

    private:
        FakeFolderEvents& mOwner;
        std::vector<Platform::FolderEvent> mEvents;
        EventDescriptor mReadable;
    };

    std::unique_ptr<Platform::IFolderEventStream>
    Create(const std::string& inRoot, double inLatencySeconds, std::uint32_t inFlags) override
    {
        if (mustNotCreate)
            return nullptr;
        return std::make_unique<Stream>(*this, inRoot, inLatencySeconds, inFlags);
    }

    /// Those that exist, in the order of their making.
    const std::vector<Stream*>& Streams() const { return mStreams; }

    bool mustNotCreate = false;
    bool mustNotStart = false;

private:
    std::vector<Stream*> mStreams;
    Platform::ScopedFolderEvents mScope{*this};
};

} // namespace Testing
