#pragma once

#include <memory>
#include <string>

#include "Platform/FileSystem.h"
#include "Platform/Folder.h"

struct stat;
struct timespec;

namespace Platform
{

FileTime TimeOf(const timespec& inTime);
FileStatus StatusOf(const struct stat& inStat);

/// @param inFile  a descriptor of a folder, which the listing takes over; closed if this fails.
int ListDescriptor(int inFile, std::unique_ptr<IDirectoryListing>& outListing);

/// Opens a folder by its path.
int OpenLinuxFolder(const std::string& inPath, LinkPolicy inPolicy,
                    std::unique_ptr<IFolder>& outFolder);

} // namespace Platform
