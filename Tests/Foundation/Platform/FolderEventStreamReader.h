#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "Platform/FolderEvents.h"
#include "Support/Descriptors.h"

namespace Testing
{

/// Takes what a stream tells, and waits for what is expected of it.
class FolderEventStreamReader
{
public:
    FolderEventStreamReader(const std::string& inRoot, std::uint32_t inFlags,
                            double inLatencySeconds = 0.01)
        : mRoot(inRoot)
        , mStream(Platform::FolderEvents().Create(inRoot, inLatencySeconds, inFlags))
    {
    }

    Platform::IFolderEventStream& Stream() { return *mStream; }

    /// Waits up to 20 s until a path below the root was told with all of these flags.
    bool Sees(const std::string& inName, std::uint32_t inFlags)
    {
        const std::string path = inName.empty() ? mRoot : mRoot + "/" + inName;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while ((mSeen[path] & inFlags) != inFlags)
        {
            if (std::chrono::steady_clock::now() > end)
                return false;
            if (IsReadable(mStream->Descriptor(), 100))
                Take();
        }
        return true;
    }
    void Take()
    {
        for (const Platform::FolderEvent& event : mStream->Take())
            mSeen[event.path] |= event.flags;
    }
    std::uint32_t Flags(const std::string& inName) { return mSeen[mRoot + "/" + inName]; }
    std::uint32_t RootFlags() { return mSeen[mRoot]; }
    void Forget() { mSeen.clear(); }

private:
    const std::string mRoot;
    const std::unique_ptr<Platform::IFolderEventStream> mStream;
    std::map<std::string, std::uint32_t> mSeen;
};

} // namespace Testing
