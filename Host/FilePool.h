#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include <RiverKit/RKFileManager.h>

#include "qelcore/RecycledMemory.h"

namespace RKHost
{

class KeptFiles;

// Reads files, and keeps them open for the next time: as many as the library's file manager allows,
// which has those closed that were not read for the longest time.
//
// A file that was kept open is found again by its path only as long as that leads to the same file.
//
// Threads  ReadWholeFile from any thread, several at a time; OpenCount too.
class FilePool
{
public:
    FilePool();
    /// Closes everything. No file may be being read.
    ~FilePool();
    FilePool(const FilePool&) = delete;
    FilePool& operator=(const FilePool&) = delete;

    /// Reads a whole regular file of at most 2 GB. What is none (pipes, devices, folders) is not opened.
    /// @param inIsCancelled  asked between pieces of it; true ends the reading.
    /// @return null if it was cancelled.
    /// @throw std::runtime_error, whose text does not name the file.
    qelcore::utility::RecycledMemoryPtr ReadWholeFile(const std::string& inPath,
                                                      const std::function<bool()>& inIsCancelled);

    /// Files that are kept open and not being read, at some moment during the call.
    std::size_t OpenCount() const;

private:
    const ZOR::InterfaceRef<KeptFiles, RK::IOpenFileOwner> mFiles;
};

/// Sets the file manager's limits to what the system lets this process open.
void AdoptSystemFileLimits();

} // namespace RKHost
