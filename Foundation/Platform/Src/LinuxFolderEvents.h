#pragma once

#include "Platform/FolderEvents.h"

namespace Platform
{

// Folder events by inotify: a watch for each folder, in the process's one instance (Inotify), and a thread
// for each stream, which keeps the watches in step (WatchedTree) and gathers events. What blocks, a folder
// of a server that is away, blocks that thread alone.
class LinuxFolderEvents : public IFolderEvents
{
public:
    std::unique_ptr<IFolderEventStream> Create(const std::string& inRoot, double inLatencySeconds,
                                               std::uint32_t inFlags) override;
};

} // namespace Platform
