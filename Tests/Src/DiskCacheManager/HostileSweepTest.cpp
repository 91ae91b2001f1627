// Sweeps race against somebody who renames and links in the managed folder, and the folder itself, so that
// paths lead elsewhere. Files of the same names elsewhere are never touched.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "RiverKit/RKDiskCacheManager.h"
#include "RiverKit/RKDiskCacheSweepReport.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DiskCacheManager;
using qelcore::utility::FileNameToUTF16;

constexpr int kFolders = 6;
constexpr int kFiles = 12;
constexpr std::chrono::seconds kDuration{4};

// "cache" is managed. "outside" has the same names within, and "aside" is where the hostile ones put what
// they exchange: what is there once belonged to the cache.
class RealHostileSweep : public ::testing::Test
{
protected:
    RealHostileSweep()
    {
        mFolder.MakeFolder("aside");
        mFolder.MakeFolder("cache");
        mCache = open(At("cache").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int folder = 0; folder < kFolders; ++folder)
        {
            mFolder.MakeFolder("cache/" + Inner(folder));
            mFolder.MakeFolder("outside/" + Inner(folder) + "/empty/inner");
            const int outside =
                open(At("outside/" + Inner(folder)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            for (int file = 0; file < kFiles; ++file)
                PutInto(outside, std::to_string(file) + ".rkdc");
            close(outside);
            Refill(folder);
        }
    }
    ~RealHostileSweep() override { close(mCache); }
    static std::string Inner(int inFolder) { return "d" + std::to_string(inFolder); }
    static std::string Name(int inFolder, int inFile)
    {
        return Inner(inFolder) + "/" + std::to_string(inFile) + ".rkdc";
    }
    std::string At(const std::string& inName) const { return mFolder.Path(inName); }

    // The hostile ones never go through their own links, or they would be the ones who touch what is outside.

    /// The folder of a name within the cache, wherever the cache is now; -1 if a link stands there.
    int OpenFolderOf(const std::string& inName) const
    {
        const std::size_t slash = inName.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : inName.substr(0, slash);
        return openat(mCache, folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
    static std::string LeafOf(const std::string& inName)
    {
        return inName.substr(inName.rfind('/') + 1);
    }
    /// A file that any limit may take.
    static void PutInto(int inFolder, const std::string& inName)
    {
        const int file =
            openat(inFolder, inName.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        const timespec old = {::time(nullptr) - 86400, 0};
        const timespec times[2] = {old, old};
        if (file >= 0)
        {
            futimens(file, times);
            close(file);
        }
    }
    void Refill(int inFolder) const
    {
        const int folder = OpenFolderOf(Name(inFolder, 0));
        if (folder < 0)
            return;
        mkdirat(folder, "empty", 0700);
        const int empty = openat(folder, "empty", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (empty >= 0)
        {
            mkdirat(empty, "inner", 0700);
            close(empty);
        }
        for (int file = 0; file < kFiles; ++file)
            PutInto(folder, std::to_string(file) + ".rkdc");
        close(folder);
    }
    /// Puts a link to what has the same name outside in the place of something, for a moment.
    void Exchange(const std::string& inName) const
    {
        const int folder = OpenFolderOf(inName);
        if (folder < 0)
            return;
        const std::string leaf = LeafOf(inName);
        const std::string kept = At("aside/kept-" + std::to_string(mTicket++));
        if (renameat(folder, leaf.c_str(), AT_FDCWD, kept.c_str()) == 0)
        {
            if (symlinkat(At("outside/" + inName).c_str(), folder, leaf.c_str()) == 0)
            {
                std::this_thread::yield();
                unlinkat(folder, leaf.c_str(), 0);
            }
            // What others still make in it stays for the end of the test.
            std::error_code ignored;
            if (renameat2(AT_FDCWD, kept.c_str(), folder, leaf.c_str(), RENAME_NOREPLACE) != 0)
                std::filesystem::remove_all(kept, ignored);
        }
        close(folder);
    }
    /// The same with the managed folder itself.
    void ExchangeTop() const
    {
        const std::string place = At("cache");
        const std::string kept = At("aside/cache");
        if (rename(place.c_str(), kept.c_str()) != 0)
            return;
        if (symlink(At("outside").c_str(), place.c_str()) == 0)
        {
            std::this_thread::yield();
            unlink(place.c_str());
        }
        rename(kept.c_str(), place.c_str());
    }
    std::thread Start(const std::function<void(int)>& inAct)
    {
        return std::thread(
            [this, inAct]
            {
                for (int i = 0; !mDone; ++i)
                    inAct(i);
            });
    }

    Testing::TemporaryFolder mFolder;
    int mCache = -1;
    std::atomic<bool> mDone{false};
    mutable std::atomic<int> mTicket{0};
};

TEST_F(RealHostileSweep, WhateverIsRenamedAndLinkedNothingOutsideIsTouched)
{
    const ManagedDirectoryPtr handle =
        ManagedDirectory::Create(FileNameToUTF16(At("cache")), {u".rkdc"}, boost::none);
    handle->SetMaxFileCount(std::uint64_t{0});
    handle->SetDeleteEmptySubDirectories(true);
    std::vector<std::thread> hostile;
    hostile.push_back(Start([this](int i) { Exchange(Inner(i % kFolders)); }));
    hostile.push_back(Start([this](int i) { Exchange(Inner(i % kFolders) + "/empty"); }));
    hostile.push_back(Start([this](int i) { Exchange(Name(i % kFolders, i % kFiles)); }));
    hostile.push_back(Start([this](int i) { i % 64 == 0 ? ExchangeTop() : Refill(i % kFolders); }));

    std::uint64_t deleted = 0;
    std::uint64_t refused = 0;
    const auto end = std::chrono::steady_clock::now() + kDuration;
    while (std::chrono::steady_clock::now() < end)
    {
        const SweepReportPtr report = SweepNow();
        ASSERT_TRUE(report);
        for (const DirectorySweepReport& directory : report->directories)
        {
            refused += directory.refused.count;
            for (const SweepAmount& amount : directory.deleted)
                deleted += amount.files;
        }
    }
    mDone = true;
    for (std::thread& thread : hostile)
        thread.join();

    EXPECT_GT(deleted, 0u);
    EXPECT_GT(refused, 0u); // or nothing was met
    for (int folder = 0; folder < kFolders; ++folder)
    {
        EXPECT_TRUE(std::filesystem::exists(At("outside/" + Inner(folder) + "/empty/inner")));
        for (int file = 0; file < kFiles; ++file)
            EXPECT_TRUE(std::filesystem::exists(At("outside/" + Name(folder, file))));
    }
    RecordProperty("deleted", std::to_string(deleted));
    RecordProperty("refused", std::to_string(refused));
}

} // namespace
