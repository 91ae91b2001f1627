#pragma once

#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/eventfd.h>
#include <unistd.h>

#include "Platform/VolumeTable.h"

namespace Testing
{

// Volumes by the text of paths: one of the type ext4 at "/", of 100 GiB with 50 GiB free, until the
// test mounts others. Any thread.
class FakeVolumeTable : public Platform::IVolumeTable
{
public:
    FakeVolumeTable() { Add("/", "ext4", "/dev/sda1", {50ull << 30, 100ull << 30}); }

    void Add(const std::string& inMountPoint, const std::string& inType,
             const std::string& inSource, Platform::VolumeSpace inSpace)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        Platform::Mount mount;
        mount.id = mNextID++;
        mount.root = "/";
        mount.mountPoint = inMountPoint;
        mount.type = inType;
        mount.source = inSource;
        mMounts.push_back(mount);
        mSpaces[inMountPoint] = inSpace;
    }
    /// Changes the mount that is on top at inMountPoint.
    void Edit(const std::string& inMountPoint, const std::function<void(Platform::Mount&)>& inEdit)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        inEdit(*Find(inMountPoint));
    }
    /// Takes away the mount that is on top at inMountPoint.
    void Remove(const std::string& inMountPoint)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mMounts.erase(Find(inMountPoint));
    }
    void SetLabel(const std::string& inMountPoint, const std::string& inLabel)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLabels[inMountPoint] = inLabel;
    }
    /// Lets those who watch the table know that it may have changed.
    void TellChange()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        for (const std::weak_ptr<Signal>& watcher : mWatchers)
            if (const std::shared_ptr<Signal> signal = watcher.lock())
                eventfd_write(signal->descriptor, 1);
    }
    /// The mount points that were asked for their labels.
    std::vector<std::string> LabelQuestions() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mLabelQuestions;
    }
    /// From now on the table cannot be watched.
    void MustNotWatch()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mMustNotWatch = true;
    }
    /// From now on questions about that path fail; 0 lets them work again.
    void Fail(const std::string& inPath, int inError)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFailures[inPath] = inError;
    }

    int Mounts(std::vector<Platform::Mount>& outMounts) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        outMounts = mMounts;
        return 0;
    }
    int MountOfPath(const std::string& inPath, Platform::Mount& outMount) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto failure = mFailures.find(inPath);
        if (failure != mFailures.end() && failure->second != 0)
            return failure->second;
        const Platform::Mount* best = nullptr;
        for (const Platform::Mount& mount : mMounts)
        {
            const std::string prefix = mount.mountPoint == "/" ? "/" : mount.mountPoint + "/";
            if ((inPath + "/").compare(0, prefix.size(), prefix) == 0 &&
                (best == nullptr || prefix.size() > best->mountPoint.size()))
                best = &mount;
        }
        if (best == nullptr)
            return ENOENT;
        outMount = *best;
        return 0;
    }
    int Space(const std::string& inPath, Platform::VolumeSpace& outSpace) override
    {
        Platform::Mount mount;
        if (const int error = MountOfPath(inPath, mount))
            return error;
        const std::lock_guard<std::mutex> lock(mMutex);
        outSpace = mSpaces[mount.mountPoint];
        return 0;
    }

    int Label(const std::string& inMountPoint, std::string& outLabel) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLabelQuestions.push_back(inMountPoint);
        const auto failure = mFailures.find(inMountPoint);
        if (failure != mFailures.end() && failure->second != 0)
            return failure->second;
        const auto label = mLabels.find(inMountPoint);
        if (label == mLabels.end())
            return ENOTTY;
        outLabel = label->second;
        return 0;
    }
    std::unique_ptr<Platform::IVolumeChanges> WatchChanges() override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mMustNotWatch)
            return nullptr;
        auto changes = std::make_unique<Changes>();
        mWatchers.push_back(changes->signal);
        return changes;
    }

private:
    struct Signal
    {
        ~Signal() { close(descriptor); }
        const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    };
    class Changes : public Platform::IVolumeChanges
    {
    public:
        int Descriptor() const override { return signal->descriptor; }
        void Clear() override
        {
            eventfd_t count;
            eventfd_read(signal->descriptor, &count);
        }
        const std::shared_ptr<Signal> signal = std::make_shared<Signal>();
    };

    // With mMutex held.
    std::vector<Platform::Mount>::iterator Find(const std::string& inMountPoint)
    {
        for (auto mount = mMounts.end(); mount != mMounts.begin();)
            if ((--mount)->mountPoint == inMountPoint)
                return mount;
        throw std::logic_error("nothing is mounted on " + inMountPoint);
    }

    mutable std::mutex mMutex; // guards all below
    std::uint64_t mNextID = 1;
    bool mMustNotWatch = false;
    std::map<std::string, std::string> mLabels;
    std::vector<std::string> mLabelQuestions;
    std::vector<std::weak_ptr<Signal>> mWatchers;
    std::vector<Platform::Mount> mMounts;
    std::map<std::string, Platform::VolumeSpace> mSpaces;
    std::map<std::string, int> mFailures;

    Platform::ScopedVolumeTable mScope{*this};
};

} // namespace Testing
