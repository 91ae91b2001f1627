#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/FileSystem.h"
#include "Support/FileOperation.h"
#include "Support/MemoryTree.h"

namespace Testing
{

// A file system in memory that begins with "/" and "/tmp". It writes down what changed it, and fails on
// request. Paths are absolute. Any thread.
class MemoryFileSystem : public Platform::IFileSystem
{
public:
    MemoryFileSystem() { mTree.Put("/tmp", Platform::FileKind::kDirectory, ""); }

    // Setting up. Folders above are made as needed; nothing of it is written down.
    void AddFile(const std::string& inPath, const std::string& inContents = "x",
                 Platform::FileTime inModified = {1000000000, 0})
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mTree.Put(inPath, Platform::FileKind::kFile, inContents).body->modified = inModified;
    }
    /// Writes into a file as somebody else would, at now: the same file, longer if need be.
    void Overwrite(const std::string& inPath, std::size_t inOffset, const std::string& inBytes)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        WriteTo(*mTree.At(inPath).body, inOffset, inBytes.data(), inBytes.size());
    }
    /// Cuts a file, or lengthens it by NULs, at now.
    void Truncate(const std::string& inPath, std::size_t inSize)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        MemoryTree::Body& body = *mTree.At(inPath).body;
        body.bytes.resize(inSize);
        body.modified = body.changed = mNow;
    }
    /// Sets the time of modification alone, which is a change at now.
    void SetModified(const std::string& inPath, Platform::FileTime inModified)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        MemoryTree::Body& body = *mTree.At(inPath).body;
        body.modified = inModified;
        body.changed = mNow;
    }
    /// The time that changes are stamped with from now on.
    void SetNow(Platform::FileTime inNow)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mNow = inNow;
    }
    void AdvanceSeconds(std::int64_t inSeconds)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mNow.seconds += inSeconds;
    }
    /// Transfers that touch the byte at inOffset fail from now on; 0 lets them work again.
    void FailReadsAt(const std::string& inPath, std::size_t inOffset, int inError)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mBadBytes[{inPath, inOffset}] = inError;
    }
    /// A file of a size without contents.
    void AddSizedFile(const std::string& inPath, std::uint64_t inBytes,
                      Platform::FileTime inAccessed, Platform::FileTime inModified)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        MemoryTree::Node& node = mTree.Put(inPath, Platform::FileKind::kFile, "");
        node.body->claimedSize = inBytes;
        node.accessed = inAccessed;
        node.body->modified = inModified;
    }
    /// Another volume is mounted there; with all that is in it.
    void AddMountPoint(const std::string& inPath)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mTree.Put(inPath, Platform::FileKind::kDirectory, "");
        mTree.SetMountPoint(inPath);
    }
    void AddDirectory(const std::string& inPath)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mTree.Put(inPath, Platform::FileKind::kDirectory, "");
    }
    /// @param inTarget  an absolute path.
    void AddLink(const std::string& inPath, const std::string& inTarget)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mTree.Put(inPath, Platform::FileKind::kSymbolicLink, inTarget);
    }
    /// Takes a path away with all below it, as somebody else would.
    void Vanish(const std::string& inPath)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mTree.EraseTree(inPath);
    }
    /// The folder vanishes once a listing of it has given that many entries.
    void VanishAfter(const std::string& inPath, std::size_t inEntries)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mVanishAfter[inPath] = inEntries;
    }
    /// From now on the operation fails for that path; 0 lets it work again.
    void Fail(FileOperation inOperation, const std::string& inPath, int inError)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFailures[{inOperation, inPath}] = inError;
    }
    /// The same for every path that has no failure of its own.
    void FailEverywhere(FileOperation inOperation, int inError) { Fail(inOperation, "*", inError); }
    /// What somebody else does just before the next such operation on that path. Only for those on
    /// open folders, for listings, and for the removal of files.
    void Before(FileOperation inOperation, const std::string& inPath, std::function<void()> inAct)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mBefore[{inOperation, inPath}] = std::move(inAct);
    }
    /// The most bytes that one transfer moves.
    void LimitTransfers(std::size_t inBytes) { mMaxTransfer = inBytes; }

    // Looking.
    bool Has(const std::string& inPath)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mTree.Has(inPath);
    }
    std::string Contents(const std::string& inPath)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mTree.At(inPath).body->bytes;
    }
    /// How many transfers have read from files.
    std::size_t ReadCount()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mReadCount;
    }
    /// What changed the tree, as "rename /a /b", in order.
    std::vector<std::string> Done()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mDone;
    }
    std::size_t OpenHandles()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mOpen.size();
    }

    int Open(const std::string& inPath, const Platform::OpenOptions& inOptions,
             Platform::FileHandle& outFile) override
    {
        using Platform::FileCreation;
        if (onOpen)
            onOpen(inPath);
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kOpen, inPath))
            return error;
        const FileCreation creation = inOptions.creation;
        const bool makes =
            creation != FileCreation::kMustExist && creation != FileCreation::kTruncateExisting;
        std::string path;
        const bool follow = creation != FileCreation::kMustCreate;
        const int found = mTree.Find(inPath, follow, path);
        if (found == 0 && creation == FileCreation::kMustCreate)
            return EEXIST;
        if (found != 0 && (found != ENOENT || !makes || !mTree.HasParent(path)))
            return found;
        if (found != 0)
        {
            mTree.Put(path, Platform::FileKind::kFile, "");
            mDone.push_back("create " + path);
        }
        MemoryTree::Node& node = mTree.At(path);
        if (node.kind == Platform::FileKind::kDirectory)
            return EISDIR;
        if (creation == FileCreation::kTruncateExisting ||
            creation == FileCreation::kCreateOrTruncate)
        {
            node.body->bytes.clear();
            node.body->modified = node.body->changed = mNow;
        }
        outFile = ++mLastHandle;
        mOpen[outFile] = {path, node.body, 0};
        return 0;
    }
    int Read(Platform::FileHandle inFile, void* outBytes, std::size_t inSize,
             std::size_t& outGot) override
    {
        if (onRead)
            onRead();
        const std::lock_guard<std::mutex> lock(mMutex);
        lastReadSize = inSize;
        OpenFile& file = mOpen.at(inFile);
        const int error = ReadFrom(file, file.position, outBytes, inSize, outGot);
        if (error == 0)
            file.position += outGot;
        return error;
    }
    int ReadAt(Platform::FileHandle inFile, std::uint64_t inOffset, void* outBytes,
               std::size_t inSize, std::size_t& outGot) override
    {
        if (onReadAt)
            onReadAt();
        const std::lock_guard<std::mutex> lock(mMutex);
        if (inOffset > std::numeric_limits<std::int64_t>::max())
            return EINVAL;
        return ReadFrom(mOpen.at(inFile), inOffset, outBytes, inSize, outGot);
    }
    int Write(Platform::FileHandle inFile, const void* inBytes, std::size_t inSize,
              std::size_t& outPut) override
    {
        if (onWrite)
            onWrite();
        const std::lock_guard<std::mutex> lock(mMutex);
        OpenFile& file = mOpen.at(inFile);
        if (const int error = Failure(FileOperation::kWrite, file.path))
            return error;
        outPut = std::min(inSize, mMaxTransfer);
        WriteTo(*file.body, file.position, inBytes, outPut);
        file.position += outPut;
        return 0;
    }
    int SyncBytes(Platform::FileHandle inFile) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const std::string path = mOpen.at(inFile).path;
        if (const int error = Failure(FileOperation::kSyncBytes, path))
            return error;
        mDone.push_back("sync " + path);
        return 0;
    }
    int BeginSyncBytes(Platform::FileHandle) override { return 0; }
    int Close(Platform::FileHandle inFile) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const std::string path = mOpen.at(inFile).path;
        mOpen.erase(inFile);
        return Failure(FileOperation::kClose, path);
    }
    int Stat(const std::string& inPath, Platform::LinkPolicy inPolicy,
             Platform::FileStatus& outStatus) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kStat, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, inPolicy == Platform::LinkPolicy::kFollow, path))
            return error;
        const MemoryTree::Node& node = mTree.At(path);
        outStatus = StatusOf(node.kind, node.accessed, *node.body);
        return 0;
    }
    int StatOpen(Platform::FileHandle inFile, Platform::FileStatus& outStatus) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const OpenFile& file = mOpen.at(inFile);
        if (const int error = Failure(FileOperation::kStatOpen, file.path))
            return error;
        outStatus = StatusOf(fileKind, {}, *file.body);
        return 0;
    }
    int VolumeOf(Platform::FileHandle inFile, Platform::VolumeTraits& outTraits) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kVolumeOf, mOpen.at(inFile).path))
            return error;
        outTraits = volume;
        return 0;
    }
    Platform::FileTime Now() override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mNow;
    }
    int List(const std::string& inPath, Platform::LinkPolicy inPolicy,
             std::unique_ptr<Platform::IDirectoryListing>& outListing) override
    {
        Act(FileOperation::kList, inPath);
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kList, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, inPolicy == Platform::LinkPolicy::kFollow, path))
            return error;
        if (mTree.At(path).kind != Platform::FileKind::kDirectory)
            return ENOTDIR;
        outListing = MakeListing(path);
        return 0;
    }
    int OpenFolder(const std::string& inPath, Platform::LinkPolicy inPolicy,
                   std::unique_ptr<Platform::IFolder>& outFolder) override
    {
        Act(FileOperation::kOpenFolder, inPath);
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kOpenFolder, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, inPolicy == Platform::LinkPolicy::kFollow, path))
            return error;
        if (mTree.At(path).kind != Platform::FileKind::kDirectory)
            return ENOTDIR;
        outFolder = MakeFolder(path);
        return 0;
    }
    int MakeDirectory(const std::string& inPath) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kMakeDirectory, inPath))
            return error;
        std::string path;
        const int error = mTree.Find(inPath, false, path);
        if (error != ENOENT || !mTree.HasParent(path))
            return error == 0 ? EEXIST : error;
        mTree.Put(path, Platform::FileKind::kDirectory, "");
        mDone.push_back("mkdir " + path);
        return 0;
    }
    int RemoveDirectory(const std::string& inPath) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kRemoveDirectory, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, false, path))
            return error;
        if (mTree.At(path).kind != Platform::FileKind::kDirectory)
            return ENOTDIR;
        if (!mTree.ChildrenOf(path).empty())
            return ENOTEMPTY;
        mTree.Erase(path);
        mDone.push_back("rmdir " + path);
        return 0;
    }
    int RemoveFile(const std::string& inPath) override
    {
        Act(FileOperation::kRemoveFile, inPath);
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kRemoveFile, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, false, path))
            return error;
        if (mTree.At(path).kind == Platform::FileKind::kDirectory)
            return EISDIR;
        mTree.Erase(path);
        mDone.push_back("unlink " + path);
        return 0;
    }
    int Rename(const std::string& inFrom, const std::string& inTo,
               Platform::RenameMode inMode) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const bool replaces = inMode == Platform::RenameMode::kReplace;
        const FileOperation operation =
            replaces ? FileOperation::kRename : FileOperation::kRenameNoReplace;
        if (const int error = Failure(operation, inFrom))
            return error;
        std::string from, to;
        if (const int error = mTree.Find(inFrom, false, from))
            return error;
        const int target = mTree.Find(inTo, false, to);
        if (target == 0 && !replaces)
            return EEXIST;
        if (target != 0 && (target != ENOENT || !mTree.HasParent(to)))
            return target;
        const bool folder = mTree.At(from).kind == Platform::FileKind::kDirectory;
        if (target == 0 && (mTree.At(to).kind == Platform::FileKind::kDirectory) != folder)
            return folder ? ENOTDIR : EISDIR;
        if (target == 0 && !mTree.ChildrenOf(to).empty())
            return ENOTEMPTY;
        mTree.MoveTree(from, to);
        mDone.push_back("rename " + from + " " + to);
        return 0;
    }
    int Link(const std::string& inFrom, const std::string& inTo) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kLink, inFrom))
            return error;
        std::string from, to;
        if (const int error = mTree.Find(inFrom, false, from))
            return error;
        if (mTree.At(from).kind == Platform::FileKind::kDirectory)
            return EPERM;
        const int target = mTree.Find(inTo, false, to);
        if (target != ENOENT || !mTree.HasParent(to))
            return target == 0 ? EEXIST : target;
        mTree.Link(from, to);
        mDone.push_back("link " + from + " " + to);
        return 0;
    }
    int Touch(const std::string& inPath) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kTouch, inPath))
            return error;
        std::string path;
        if (const int error = mTree.Find(inPath, true, path))
            return error;
        ++mTree.At(path).accessed.seconds;
        mDone.push_back("touch " + path);
        return 0;
    }
    int BlockSize(const std::string& inPath, std::uint64_t& outBytes) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (const int error = Failure(FileOperation::kBlockSize, inPath))
            return error;
        outBytes = blockSize;
        return 0;
    }
    int CurrentDirectory(std::string& outPath) override
    {
        outPath = "/";
        return 0;
    }
    std::string TempDirectory() override { return "/tmp"; }

    std::size_t lastReadSize = 0; // what the latest Read() asked for
    std::uint64_t blockSize = 4096;
    Platform::VolumeTraits volume{1, true, std::uint64_t{50} << 30};
    Platform::FileKind fileKind = Platform::FileKind::kFile; // what StatOpen() says of open files
    // Run ahead of each such call, and may change files.
    std::function<void()> onReadAt;
    std::function<void()> onRead;
    std::function<void()> onWrite;
    std::function<void(const std::string&)> onOpen;

private:
    struct OpenFile
    {
        std::string path;
        std::shared_ptr<MemoryTree::Body> body; // lives on when the name goes
        std::size_t position;
    };

    // Open folders and listings are in MemoryFolder.h.
    class Listing;
    class Folder;
    std::unique_ptr<Platform::IDirectoryListing> MakeListing(const std::string& inFolder);
    std::unique_ptr<Platform::IFolder> MakeFolder(const std::string& inFolder);

    void Act(FileOperation inOperation, const std::string& inPath)
    {
        std::function<void()> act;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            const auto found = mBefore.find({inOperation, inPath});
            if (found == mBefore.end())
                return;
            act = std::move(found->second);
            mBefore.erase(found);
        }
        act();
    }

    static Platform::FileStatus StatusOf(Platform::FileKind inKind, Platform::FileTime inAccessed,
                                         const MemoryTree::Body& inBody)
    {
        return {inKind,
                inBody.claimedSize.value_or(inBody.bytes.size()),
                inAccessed,
                inBody.modified,
                inBody.changed,
                inBody.inode,
                1};
    }
    void WriteTo(MemoryTree::Body& ioBody, std::size_t inOffset, const void* inBytes,
                 std::size_t inSize)
    {
        ioBody.modified = ioBody.changed = mNow;
        ioBody.bytes.resize(std::max(ioBody.bytes.size(), inOffset + inSize));
        if (inSize != 0)
            std::memcpy(ioBody.bytes.data() + inOffset, inBytes, inSize);
    }
    int ReadFrom(const OpenFile& inFile, std::size_t inOffset, void* outBytes, std::size_t inSize,
                 std::size_t& outGot)
    {
        ++mReadCount;
        if (const int error = Failure(FileOperation::kRead, inFile.path))
            return error;
        const std::string& bytes = inFile.body->bytes;
        const std::size_t got =
            std::min({inSize, bytes.size() - std::min(inOffset, bytes.size()), mMaxTransfer});
        for (const auto& bad : mBadBytes)
        {
            const std::size_t at = bad.first.second;
            if (bad.first.first == inFile.path && at >= inOffset && at - inOffset < got &&
                bad.second != 0)
                return bad.second;
        }
        if (got != 0)
            std::memcpy(outBytes, bytes.data() + inOffset, got);
        outGot = got;
        return 0;
    }
    int Failure(FileOperation inOperation, const std::string& inPath)
    {
        if (inPath.find('\0') != std::string::npos)
            return EINVAL;
        auto found = mFailures.find({inOperation, inPath});
        if (found == mFailures.end())
            found = mFailures.find({inOperation, "*"});
        return found == mFailures.end() ? 0 : found->second;
    }
    std::mutex mMutex; // guards all below
    MemoryTree mTree;
    std::map<std::pair<FileOperation, std::string>, int> mFailures;
    std::map<std::pair<std::string, std::size_t>, int> mBadBytes;
    std::map<std::pair<FileOperation, std::string>, std::function<void()>> mBefore;
    std::map<std::string, std::size_t> mVanishAfter;
    std::map<Platform::FileHandle, OpenFile> mOpen;
    std::vector<std::string> mDone;
    std::size_t mMaxTransfer = std::numeric_limits<std::size_t>::max();
    Platform::FileTime mNow{2000000000, 0};
    std::size_t mReadCount = 0;
    Platform::FileHandle mLastHandle = 0;

    Platform::ScopedFileSystem mScope{*this};
};

} // namespace Testing

#include "MemoryFolder.h"
