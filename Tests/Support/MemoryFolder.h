// What a MemoryFileSystem gives to open: folders, and listings of them. Included by MemoryFileSystem.h.
#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "MemoryFileSystem.h"

namespace Testing
{

class MemoryFileSystem::Listing : public Platform::IDirectoryListing
{
public:
    Listing(MemoryFileSystem& inOwner, const std::string& inFolder,
            std::vector<Platform::DirectoryEntry> inEntries)
        : mOwner(inOwner)
        , mFolder(inFolder)
        , mEntries(std::move(inEntries))
    {
    }
    int Next(Platform::DirectoryEntry& outEntry, bool& outEnd) override
    {
        mOwner.Act(FileOperation::kNext, mFolder);
        const std::lock_guard<std::mutex> lock(mOwner.mMutex);
        const auto vanish = mOwner.mVanishAfter.find(mFolder);
        if (vanish != mOwner.mVanishAfter.end() && vanish->second == mNext)
            mOwner.mTree.EraseTree(mFolder);
        if (const int error = mOwner.Failure(FileOperation::kNext, mFolder))
            return error;
        outEnd = mNext == mEntries.size() || !mOwner.mTree.Has(mFolder);
        if (!outEnd)
            outEntry = mEntries[mNext++];
        return 0;
    }

private:
    MemoryFileSystem& mOwner;
    const std::string mFolder;
    const std::vector<Platform::DirectoryEntry> mEntries;
    std::size_t mNext = 0;
};

// Known by its inode, so that it stays the same folder when it is renamed. One that was removed
// still knows where it was, as on a real disk.
class MemoryFileSystem::Folder : public Platform::IFolder
{
public:
    Folder(MemoryFileSystem& inOwner, const std::string& inPath)
        : mOwner(inOwner)
        , mPath(inPath)
    {
        mIdentity = {1, mOwner.mTree.At(inPath).body->inode, mOwner.mTree.MountOf(inPath)};
    }
    const Platform::FolderIdentity& Identity() const override { return mIdentity; }
    int List(std::unique_ptr<Platform::IDirectoryListing>& outListing) override
    {
        return mOwner.List(PathNow(), Platform::LinkPolicy::kDoNotFollow, outListing);
    }
    int StatEntry(const std::string& inName, Platform::FileStatus& outStatus) override
    {
        mOwner.Act(FileOperation::kStat, Entry(inName));
        return mOwner.Stat(Entry(inName), Platform::LinkPolicy::kDoNotFollow, outStatus);
    }
    int OpenFolder(const std::string& inName,
                   std::unique_ptr<Platform::IFolder>& outFolder) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        std::unique_ptr<Platform::IFolder> folder;
        if (const int error =
                mOwner.OpenFolder(Entry(inName), Platform::LinkPolicy::kDoNotFollow, folder))
            return error;
        if (folder->Identity().mount != mIdentity.mount)
            return EXDEV;
        outFolder = std::move(folder);
        return 0;
    }
    int OpenParent(std::unique_ptr<Platform::IFolder>& outFolder) override
    {
        return mOwner.OpenFolder(MemoryTree::ParentOf(PathNow()),
                                 Platform::LinkPolicy::kDoNotFollow, outFolder);
    }
    int MakeDirectory(const std::string& inName) override
    {
        return IsOneComponent(inName) ? mOwner.MakeDirectory(Entry(inName)) : EINVAL;
    }
    int RemoveDirectory(const std::string& inName) override
    {
        if (!IsOneComponent(inName))
            return EINVAL;
        mOwner.Act(FileOperation::kRemoveDirectory, Entry(inName));
        return mOwner.RemoveDirectory(Entry(inName));
    }
    int RemoveFile(const std::string& inName) override
    {
        return IsOneComponent(inName) ? mOwner.RemoveFile(Entry(inName)) : EINVAL;
    }

private:
    static bool IsOneComponent(const std::string& inName)
    {
        return !inName.empty() && inName != "." && inName != ".." &&
               inName.find('/') == std::string::npos;
    }
    std::string Entry(const std::string& inName)
    {
        return MemoryTree::WithSlash(PathNow()) + inName;
    }
    std::string PathNow()
    {
        const std::lock_guard<std::mutex> lock(mOwner.mMutex);
        mOwner.mTree.FindInode(mIdentity.inode, mPath);
        return mPath;
    }

    MemoryFileSystem& mOwner;
    std::string mPath;
    Platform::FolderIdentity mIdentity;
};

/// With the lock held, as the next one.
inline std::unique_ptr<Platform::IDirectoryListing>
MemoryFileSystem::MakeListing(const std::string& inFolder)
{
    return std::make_unique<Listing>(*this, inFolder, mTree.ChildrenOf(inFolder));
}

inline std::unique_ptr<Platform::IFolder> MemoryFileSystem::MakeFolder(const std::string& inFolder)
{
    return std::make_unique<Folder>(*this, inFolder);
}

} // namespace Testing
