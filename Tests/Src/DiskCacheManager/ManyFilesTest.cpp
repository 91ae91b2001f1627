// A sweep over as many files as a large cache has, on a volume in memory.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "RealSweepFixture.h"
#include "Support/ChildProcess.h"

namespace
{

using namespace RK::DiskCacheManager;
using Testing::kDay;

constexpr int kFolders = 1000;
constexpr int kLeft = 1234;

/// Some seconds' worth. RK_TEST_FILES asks for another number, such as 1000000.
int NumberOfFiles()
{
    constexpr int kUsual = 100000;
    const char* asked = std::getenv("RK_TEST_FILES");
    return asked != nullptr ? std::atoi(asked) : kUsual;
}

class ManyFiles : public Testing::RealSweep
{
protected:
    static std::string FolderName(int inNumber) { return "f" + std::to_string(inNumber); }

    /// Names of 255 bytes, the longest that there are, at each hundredth file; with a number in front.
    static std::string FileName(int inNumber)
    {
        const std::string name = std::to_string(inNumber);
        const std::string filler(inNumber % 100 == 0 ? 250 - name.size() : 0, 'n');
        return name + filler + ".rkdc";
    }

    /// Tiny files of one byte, the higher their number the older.
    void Make(int inFiles) const
    {
        const std::int64_t now = ::time(nullptr);
        for (int folder = 0; folder < kFolders; ++folder)
        {
            const std::string path = mFolder.MakeFolder(FolderName(folder));
            const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            for (int file = folder; file < inFiles; file += kFolders)
            {
                const std::string name = FileName(file);
                const int made =
                    openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
                const timespec time = {now - kDay - file, 0};
                const timespec times[2] = {time, time};
                if (made < 0 || write(made, "x", 1) != 1 || futimens(made, times) != 0)
                    ADD_FAILURE() << "cannot make file " << file;
                close(made);
            }
            close(directory);
        }
    }

    std::set<int> NumbersLeft() const
    {
        std::set<int> numbers;
        for (int folder = 0; folder < kFolders; ++folder)
        {
            DIR* listing = opendir(mFolder.Path(FolderName(folder)).c_str());
            while (const dirent* entry = readdir(listing))
            {
                if (entry->d_name[0] != '.')
                    numbers.insert(std::atoi(entry->d_name));
            }
            closedir(listing);
        }
        return numbers;
    }
};

TEST_F(ManyFiles, TheNewestStayExactly)
{
    RK_NEEDS_MOUNTS();
    const int files = NumberOfFiles();
    ASSERT_GT(files, kLeft);
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts())
                return 98;
            if (mount("many", mFolder.Path().c_str(), "tmpfs", 0, "nr_inodes=0,size=90%") != 0)
                return 97;
            Make(files);
            const ManagedDirectoryPtr handle = Manage();
            ManagedVolume::Create(qelcore::utility::FileNameToUTF16(mFolder.Path()), {})
                ->SetFreeSpacePercentage(boost::none);
            handle->SetMaxFileCount(std::uint64_t{kLeft});
            WaitForSweep();
            const std::set<int> left = NumbersLeft();
            EXPECT_EQ(static_cast<std::size_t>(kLeft), left.size());
            EXPECT_EQ(0, left.empty() ? -1 : *left.begin());
            EXPECT_EQ(kLeft - 1, left.empty() ? -1 : *left.rbegin());
            return HasFailure() ? 1 : 0;
        });
    EXPECT_EQ(0, answer);
}

} // namespace
