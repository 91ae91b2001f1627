// Folders that lie deeper than calls can go: nothing recurses along them.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <limits.h>
#include <pthread.h>

#include "DiskCacheManagerTree.h"
#include "Support/MemoryFileSystem.h"
#include "Support/Sanitizers.h"

namespace
{

using namespace RK::DiskCacheManager;

constexpr std::size_t kDepth = 2500; // the paths alone cost its square

// "/c" holds "d", that holds another, and so on; the last one holds a file. No path of it is ever kept.
class DeepFileSystem : public Testing::MemoryFileSystem
{
public:
    int OpenFolder(const std::string&, Platform::LinkPolicy,
                   std::unique_ptr<Platform::IFolder>& outFolder) override
    {
        outFolder = std::make_unique<Folder>(*this, 0);
        return 0;
    }

    bool hasFile = true;

private:
    class Listing : public Platform::IDirectoryListing
    {
    public:
        explicit Listing(std::vector<Platform::DirectoryEntry> inEntries)
            : mEntries(std::move(inEntries))
        {
        }
        int Next(Platform::DirectoryEntry& outEntry, bool& outEnd) override
        {
            outEnd = mEntries.empty();
            if (outEnd)
                return 0;
            outEntry = mEntries.back();
            mEntries.pop_back();
            return 0;
        }

    private:
        std::vector<Platform::DirectoryEntry> mEntries;
    };
    class Folder : public Platform::IFolder
    {
    public:
        Folder(DeepFileSystem& inOwner, std::size_t inDepth)
            : mOwner(inOwner)
            , mDepth(inDepth)
            , mIdentity{1, inDepth + 1, 1}
        {
        }
        const Platform::FolderIdentity& Identity() const override { return mIdentity; }
        int List(std::unique_ptr<Platform::IDirectoryListing>& outListing) override
        {
            std::vector<Platform::DirectoryEntry> entries;
            if (mDepth < kDepth)
                entries.push_back({"d", Platform::FileKind::kDirectory});
            else if (mOwner.hasFile)
                entries.push_back({"f.rkdc", Platform::FileKind::kFile});
            outListing = std::make_unique<Listing>(std::move(entries));
            return 0;
        }
        int StatEntry(const std::string& inName, Platform::FileStatus& outStatus) override
        {
            outStatus = {};
            outStatus.kind =
                inName == "d" ? Platform::FileKind::kDirectory : Platform::FileKind::kFile;
            return 0;
        }
        int OpenFolder(const std::string&, std::unique_ptr<Platform::IFolder>& outFolder) override
        {
            outFolder = std::make_unique<Folder>(mOwner, mDepth + 1);
            return 0;
        }
        int OpenFolderBelow(const std::string& inPath,
                            std::unique_ptr<Platform::IFolder>& outFolder) override
        {
            const std::size_t names = (inPath.size() + 1) / 2; // "d/d/d"
            outFolder = std::make_unique<Folder>(mOwner, mDepth + names);
            return 0;
        }
        int OpenParent(std::unique_ptr<Platform::IFolder>&) override { return EIO; }
        int MakeDirectory(const std::string&) override { return EIO; }
        int RemoveDirectory(const std::string&) override { return EIO; }
        int RemoveFile(const std::string&) override
        {
            mOwner.hasFile = false;
            return 0;
        }

    private:
        DeepFileSystem& mOwner;
        const std::size_t mDepth;
        const Platform::FolderIdentity mIdentity;
    };
};

/// On a thread whose stack is as small as there are.
void RunOnASmallStack(const std::function<void()>& inWork)
{
    constexpr std::size_t kStackBytes = RK_TEST_SANITIZER ? 512 * 1024 : 96 * 1024;
    const auto run = [](void* inArgument) -> void*
    {
        (*static_cast<const std::function<void()>*>(inArgument))();
        return nullptr;
    };
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes,
                                           std::max<std::size_t>(kStackBytes, PTHREAD_STACK_MIN)));
    pthread_t thread;
    ASSERT_EQ(
        0, pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&inWork)));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(DeepTree, AFileBelowThousandsOfFoldersIsListedNamedAndRemoved)
{
    DeepFileSystem files;
    RunOnASmallStack(
        [&]
        {
            SweepWatch watch(std::make_shared<qelcore::threads::AtomicInt>(0));
            ManagedTree tree(u"/c");
            std::vector<TreeFile> found;
            const auto ignore = [](SweepStep, const std::string&, int) {};
            ASSERT_EQ(0, tree.List({ExtensionMatcher({u".rkdc"}), {}, watch, ignore}, found));
            EXPECT_EQ(kDepth + 1, tree.FolderCount());
            EXPECT_TRUE(tree.EmptyFolders().empty());
            ASSERT_EQ(1u, found.size());

            const std::string path = tree.PathOf(found[0]);
            EXPECT_EQ(2 + 2 * kDepth + 7, path.size());
            EXPECT_EQ("/c/d/d", path.substr(0, 6));
            EXPECT_EQ("/d/d/f.rkdc", path.substr(path.size() - 11));

            int error = 0;
            EXPECT_EQ(ManagedTree::Removal::kDone, tree.RemoveFile(found[0], 1, true, error));
            EXPECT_FALSE(files.hasFile);
        });
}

} // namespace
