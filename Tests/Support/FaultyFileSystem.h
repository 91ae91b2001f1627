#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fnmatch.h>

#include "Platform/FileSystem.h"
#include "Platform/Folder.h"
#include "Support/FileOperation.h"
#include "Support/Gate.h"

namespace Testing
{

// Stands before another file system, in its place for as long as it lives, and hands everything on but for
// what the test asks of it: calls that fail, transfers that come short, calls that wait. Any thread.
//
//     FaultyFileSystem faults;                                       // before the file system in force
//     faults.FailFrom(FileOperation::kWrite, "*.rkdc", 3, ENOSPC);   // two writes more, then the disk is full
//
// A call is known by its operation and its path; files and listings by the path they were opened with. A
// pattern is the shell's, and its * takes slashes too. What has two paths (rename, link) matches by either.
// Each rule counts the calls that match it from 1, beginning when it is made. Of several that concern a call
// the one made last decides how it fails, and the smallest limit of a transfer counts.
class FaultyFileSystem : public Platform::IFileSystem
{
public:
    explicit FaultyFileSystem(Platform::IFileSystem& inBehind = Platform::FileSystem())
        : mBehind(inBehind)
        , mScope(*this)
    {
    }

    // Setting up. Before the end whoever waits must have been let go, and be back.

    void Fail(FileOperation inOperation, const std::string& inPattern, int inError)
    {
        Add({inOperation, inPattern, inError});
    }
    /// Only the inNth such call.
    void FailNth(FileOperation inOperation, const std::string& inPattern, std::size_t inNth,
                 int inError)
    {
        Add({inOperation, inPattern, inError, inNth, inNth});
    }
    /// The inNth such call and all after it.
    void FailFrom(FileOperation inOperation, const std::string& inPattern, std::size_t inNth,
                  int inError)
    {
        Add({inOperation, inPattern, inError, inNth});
    }
    /// The inNth such call does its work, and tells of a failure all the same. An open that does so leaves
    /// no handle.
    void FailAfterwards(FileOperation inOperation, const std::string& inPattern, std::size_t inNth,
                        int inError)
    {
        Rule rule{inOperation, inPattern, inError, inNth, inNth};
        rule.afterwards = true;
        Add(std::move(rule));
    }
    /// The most bytes that one kRead or kWrite moves. 0 makes reads meet the end, and writes take nothing.
    void LimitTransfers(FileOperation inOperation, const std::string& inPattern,
                        std::size_t inBytes)
    {
        Rule rule{inOperation, inPattern, 0};
        rule.maxBytes = inBytes;
        Add(std::move(rule));
    }
    /// Such calls wait until the gate is opened, and only then meet the rules above. The gate tells how many
    /// have come.
    std::shared_ptr<Gate> Hold(FileOperation inOperation, const std::string& inPattern)
    {
        Rule rule{inOperation, inPattern, 0};
        rule.gate = std::make_shared<Gate>();
        const std::shared_ptr<Gate> gate = rule.gate;
        Add(std::move(rule));
        return gate;
    }
    /// Everything works again, and whoever waits goes on.
    void Clear()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        for (const Rule& rule : mRules)
        {
            if (rule.gate != nullptr)
                rule.gate->Open();
        }
        mRules.clear();
    }

    // Looking.

    /// How many such calls have come, whatever became of them.
    std::size_t Calls(FileOperation inOperation, const std::string& inPattern = "*")
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::size_t count = 0;
        for (const auto& call : mCalls)
        {
            if (call.first.first == inOperation && Any(call.first.second, inPattern))
                count += call.second;
        }
        return count;
    }
    /// How many calls were made to fail.
    std::size_t Failures()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mFailures;
    }

    int Open(const std::string& inPath, const Platform::OpenOptions& inOptions,
             Platform::FileHandle& outFile) override
    {
        Platform::FileHandle file = Platform::kNoFile;
        const int error = Do(FileOperation::kOpen, {inPath},
                             [&](std::size_t) { return mBehind.Open(inPath, inOptions, file); });
        if (error == 0)
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mPaths[outFile = file] = inPath;
        }
        else if (file != Platform::kNoFile)
            mBehind.Close(file);
        return error;
    }
    int Read(Platform::FileHandle inFile, void* outBytes, std::size_t inSize,
             std::size_t& outGot) override
    {
        return Do(FileOperation::kRead, {PathOf(inFile)}, [&](std::size_t inMax)
                  { return mBehind.Read(inFile, outBytes, std::min(inSize, inMax), outGot); });
    }
    int ReadAt(Platform::FileHandle inFile, std::uint64_t inOffset, void* outBytes,
               std::size_t inSize, std::size_t& outGot) override
    {
        return Do(FileOperation::kRead, {PathOf(inFile)},
                  [&](std::size_t inMax)
                  {
                      return mBehind.ReadAt(inFile, inOffset, outBytes, std::min(inSize, inMax),
                                            outGot);
                  });
    }
    int Write(Platform::FileHandle inFile, const void* inBytes, std::size_t inSize,
              std::size_t& outPut) override
    {
        return Do(FileOperation::kWrite, {PathOf(inFile)}, [&](std::size_t inMax)
                  { return mBehind.Write(inFile, inBytes, std::min(inSize, inMax), outPut); });
    }
    int BeginSyncBytes(Platform::FileHandle inFile) override
    {
        return mBehind.BeginSyncBytes(inFile);
    }
    int SyncBytes(Platform::FileHandle inFile) override
    {
        return Do(FileOperation::kSyncBytes, {PathOf(inFile)},
                  [&](std::size_t) { return mBehind.SyncBytes(inFile); });
    }
    /// The handle is gone, also where it is made to fail.
    int Close(Platform::FileHandle inFile) override
    {
        const std::string path = PathOf(inFile);
        const Verdict verdict = Judge(FileOperation::kClose, {path});
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mPaths.erase(inFile);
        }
        const int error = mBehind.Close(inFile);
        return verdict.error != 0 ? verdict.error : error;
    }
    int Stat(const std::string& inPath, Platform::LinkPolicy inPolicy,
             Platform::FileStatus& outStatus) override
    {
        return Do(FileOperation::kStat, {inPath},
                  [&](std::size_t) { return mBehind.Stat(inPath, inPolicy, outStatus); });
    }
    int StatOpen(Platform::FileHandle inFile, Platform::FileStatus& outStatus) override
    {
        return Do(FileOperation::kStatOpen, {PathOf(inFile)},
                  [&](std::size_t) { return mBehind.StatOpen(inFile, outStatus); });
    }
    int VolumeOf(Platform::FileHandle inFile, Platform::VolumeTraits& outTraits) override
    {
        return Do(FileOperation::kVolumeOf, {PathOf(inFile)},
                  [&](std::size_t) { return mBehind.VolumeOf(inFile, outTraits); });
    }
    Platform::FileTime Now() override { return mBehind.Now(); }
    int List(const std::string& inPath, Platform::LinkPolicy inPolicy,
             std::unique_ptr<Platform::IDirectoryListing>& outListing) override
    {
        return ListBy(inPath, outListing,
                      [&](auto& outInner) { return mBehind.List(inPath, inPolicy, outInner); });
    }
    int OpenFolder(const std::string& inPath, Platform::LinkPolicy inPolicy,
                   std::unique_ptr<Platform::IFolder>& outFolder) override
    {
        return OpenFolderBy(inPath, outFolder, [&](auto& outInner)
                            { return mBehind.OpenFolder(inPath, inPolicy, outInner); });
    }
    int MakeDirectory(const std::string& inPath) override
    {
        return Do(FileOperation::kMakeDirectory, {inPath},
                  [&](std::size_t) { return mBehind.MakeDirectory(inPath); });
    }
    int RemoveDirectory(const std::string& inPath) override
    {
        return Do(FileOperation::kRemoveDirectory, {inPath},
                  [&](std::size_t) { return mBehind.RemoveDirectory(inPath); });
    }
    int RemoveFile(const std::string& inPath) override
    {
        return Do(FileOperation::kRemoveFile, {inPath},
                  [&](std::size_t) { return mBehind.RemoveFile(inPath); });
    }
    int Rename(const std::string& inFrom, const std::string& inTo,
               Platform::RenameMode inMode) override
    {
        const bool replaces = inMode == Platform::RenameMode::kReplace;
        return Do(replaces ? FileOperation::kRename : FileOperation::kRenameNoReplace,
                  {inFrom, inTo},
                  [&](std::size_t) { return mBehind.Rename(inFrom, inTo, inMode); });
    }
    int Link(const std::string& inFrom, const std::string& inTo) override
    {
        return Do(FileOperation::kLink, {inFrom, inTo},
                  [&](std::size_t) { return mBehind.Link(inFrom, inTo); });
    }
    int Touch(const std::string& inPath) override
    {
        return Do(FileOperation::kTouch, {inPath},
                  [&](std::size_t) { return mBehind.Touch(inPath); });
    }
    int BlockSize(const std::string& inPath, std::uint64_t& outBytes) override
    {
        return Do(FileOperation::kBlockSize, {inPath},
                  [&](std::size_t) { return mBehind.BlockSize(inPath, outBytes); });
    }
    int CurrentDirectory(std::string& outPath) override
    {
        return mBehind.CurrentDirectory(outPath);
    }
    std::string TempDirectory() override { return mBehind.TempDirectory(); }

private:
    static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

    using Paths = std::vector<std::string>;
    using Call = std::pair<FileOperation, Paths>;

    struct Rule
    {
        FileOperation operation;
        std::string pattern;
        int error;
        std::size_t first = 1; // the calls that it makes fail
        std::size_t last = kNoLimit;
        bool afterwards = false;
        std::size_t maxBytes = kNoLimit;
        std::shared_ptr<Gate> gate = nullptr; // of a rule that holds
        std::size_t met = 0;
    };
    struct Verdict
    {
        int error = 0;
        bool afterwards = false;
        std::size_t maxBytes = kNoLimit;
    };

    class Listing : public Platform::IDirectoryListing
    {
    public:
        Listing(FaultyFileSystem& inOwner, std::string inFolder,
                std::unique_ptr<Platform::IDirectoryListing> inBehind)
            : mOwner(inOwner)
            , mFolder(std::move(inFolder))
            , mBehind(std::move(inBehind))
        {
        }
        int Next(Platform::DirectoryEntry& outEntry, bool& outEnd) override
        {
            return mOwner.Do(FileOperation::kNext, {mFolder},
                             [&](std::size_t) { return mBehind->Next(outEntry, outEnd); });
        }

    private:
        FaultyFileSystem& mOwner;
        const std::string mFolder;
        const std::unique_ptr<Platform::IDirectoryListing> mBehind;
    };

    // Its path is the one it was reached by, whatever it is called now.
    class Folder : public Platform::IFolder
    {
    public:
        Folder(FaultyFileSystem& inOwner, std::string inPath,
               std::unique_ptr<Platform::IFolder> inBehind)
            : mOwner(inOwner)
            , mPath(std::move(inPath))
            , mBehind(std::move(inBehind))
        {
        }
        const Platform::FolderIdentity& Identity() const override { return mBehind->Identity(); }
        int List(std::unique_ptr<Platform::IDirectoryListing>& outListing) override
        {
            return mOwner.ListBy(mPath, outListing,
                                 [&](auto& outInner) { return mBehind->List(outInner); });
        }
        int StatEntry(const std::string& inName, Platform::FileStatus& outStatus) override
        {
            return mOwner.Do(FileOperation::kStat, {Entry(inName)},
                             [&](std::size_t) { return mBehind->StatEntry(inName, outStatus); });
        }
        int OpenFolder(const std::string& inName,
                       std::unique_ptr<Platform::IFolder>& outFolder) override
        {
            return mOwner.OpenFolderBy(Entry(inName), outFolder, [&](auto& outInner)
                                       { return mBehind->OpenFolder(inName, outInner); });
        }
        int OpenParent(std::unique_ptr<Platform::IFolder>& outFolder) override
        {
            const std::string parent = mPath.substr(0, std::max<std::size_t>(mPath.rfind('/'), 1));
            return mOwner.OpenFolderBy(parent, outFolder, [&](auto& outInner)
                                       { return mBehind->OpenParent(outInner); });
        }
        int MakeDirectory(const std::string& inName) override
        {
            return mOwner.Do(FileOperation::kMakeDirectory, {Entry(inName)},
                             [&](std::size_t) { return mBehind->MakeDirectory(inName); });
        }
        int RemoveDirectory(const std::string& inName) override
        {
            return mOwner.Do(FileOperation::kRemoveDirectory, {Entry(inName)},
                             [&](std::size_t) { return mBehind->RemoveDirectory(inName); });
        }
        int RemoveFile(const std::string& inName) override
        {
            return mOwner.Do(FileOperation::kRemoveFile, {Entry(inName)},
                             [&](std::size_t) { return mBehind->RemoveFile(inName); });
        }

    private:
        std::string Entry(const std::string& inName) const
        {
            return mPath == "/" ? mPath + inName : mPath + "/" + inName;
        }

        FaultyFileSystem& mOwner;
        const std::string mPath;
        const std::unique_ptr<Platform::IFolder> mBehind;
    };

    static bool Any(const Paths& inPaths, const std::string& inPattern)
    {
        return std::any_of(inPaths.begin(), inPaths.end(), [&](const std::string& inPath)
                           { return fnmatch(inPattern.c_str(), inPath.c_str(), 0) == 0; });
    }
    static bool Concerns(const Rule& inRule, const Call& inCall)
    {
        return inRule.operation == inCall.first && Any(inCall.second, inRule.pattern);
    }

    void Add(Rule inRule)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mRules.push_back(std::move(inRule));
    }
    std::string PathOf(Platform::FileHandle inFile)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mPaths.find(inFile);
        return found == mPaths.end() ? std::string() : found->second;
    }

    /// Lets the call through as far as the rules allow. @param inAct  is given the most bytes it may move.
    int Do(FileOperation inOperation, std::initializer_list<std::string> inPaths,
           const std::function<int(std::size_t)>& inAct)
    {
        const Verdict verdict = Judge(inOperation, inPaths);
        if (verdict.error != 0 && !verdict.afterwards)
            return verdict.error;
        const int error = inAct(verdict.maxBytes);
        return error != 0 ? error : verdict.error;
    }
    template <typename Act>
    int ListBy(const std::string& inPath, std::unique_ptr<Platform::IDirectoryListing>& outListing,
               Act inAct)
    {
        std::unique_ptr<Platform::IDirectoryListing> inner;
        const int error =
            Do(FileOperation::kList, {inPath}, [&](std::size_t) { return inAct(inner); });
        if (error == 0)
            outListing = std::make_unique<Listing>(*this, inPath, std::move(inner));
        return error;
    }
    template <typename Act>
    int OpenFolderBy(const std::string& inPath, std::unique_ptr<Platform::IFolder>& outFolder,
                     Act inAct)
    {
        std::unique_ptr<Platform::IFolder> inner;
        const int error =
            Do(FileOperation::kOpenFolder, {inPath}, [&](std::size_t) { return inAct(inner); });
        if (error == 0)
            outFolder = std::make_unique<Folder>(*this, inPath, std::move(inner));
        return error;
    }

    Verdict Judge(FileOperation inOperation, const Paths& inPaths)
    {
        const Call call(inOperation, inPaths);
        for (const std::shared_ptr<Gate>& gate : Arrive(call))
            gate->Pass();
        const std::lock_guard<std::mutex> lock(mMutex);
        Verdict verdict;
        for (Rule& rule : mRules)
        {
            if (!Concerns(rule, call))
                continue;
            ++rule.met;
            verdict.maxBytes = std::min(verdict.maxBytes, rule.maxBytes);
            if (rule.error != 0 && rule.met >= rule.first && rule.met <= rule.last)
                verdict = {rule.error, rule.afterwards, verdict.maxBytes};
        }
        mFailures += verdict.error != 0 ? 1 : 0;
        return verdict;
    }
    /// @return the gates that the call has to pass.
    std::vector<std::shared_ptr<Gate>> Arrive(const Call& inCall)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls[inCall];
        std::vector<std::shared_ptr<Gate>> gates;
        for (const Rule& rule : mRules)
        {
            if (rule.gate != nullptr && Concerns(rule, inCall))
                gates.push_back(rule.gate);
        }
        return gates;
    }

    Platform::IFileSystem& mBehind;

    std::mutex mMutex; // guards all below
    std::vector<Rule> mRules;
    std::map<Platform::FileHandle, std::string> mPaths; // of open files
    std::map<Call, std::size_t> mCalls;                 // how often each was made
    std::size_t mFailures = 0;

    Platform::ScopedFileSystem mScope;
};

} // namespace Testing
