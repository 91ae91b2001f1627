#pragma once

#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <vector>

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
        mount.id = mMounts.size() + 1;
        mount.root = "/";
        mount.mountPoint = inMountPoint;
        mount.type = inType;
        mount.source = inSource;
        mMounts.push_back(mount);
        mSpaces[inMountPoint] = inSpace;
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
        outSpace = mSpaces.at(mount.mountPoint);
        return 0;
    }

private:
    std::mutex mMutex; // guards all below
    std::vector<Platform::Mount> mMounts;
    std::map<std::string, Platform::VolumeSpace> mSpaces;
    std::map<std::string, int> mFailures;

    Platform::ScopedVolumeTable mScope{*this};
};

} // namespace Testing
