#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/FileSystem.h"
#include "qelcore/Dir.h"

namespace qelcore
{
namespace filesupport
{

/// The walk that copies of a FileIterator share. Folders below are opened when the one before them has
/// been read, so that one is open at a time however deep they go.
class FileIterator::Walk
{
public:
    /// Stands at the first file, or at the end.
    Walk(const UTF16String& inFolder, bool inRecursive, const FileFilter& inFilter);

    const File& Current() const { return mFile; }
    bool AtEnd() const { return mAtEnd; }
    void MoveOn();

private:
    int Open(const UTF16String& inFolder, Platform::LinkPolicy inPolicy);
    bool OpenNextFolder();
    void Stop();
    /// Whether the walk stops at that entry. Folders are noted for later.
    bool Takes(const Platform::DirectoryEntry& inEntry);
    bool LeadsToFile(const std::string& inName) const;

    const bool mRecursive;
    const FileFilter mFilter;
    UTF16String mFolder;      // the one that mListing reads
    std::string mFolderBytes; // the same
    std::unique_ptr<Platform::IDirectoryListing> mListing;
    std::vector<UTF16String> mFoldersToCome;
    File mFile;
    bool mAtEnd = false;
};

} // namespace filesupport
} // namespace qelcore
