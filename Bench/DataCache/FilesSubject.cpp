// The bare file system: what a data cache in a folder cannot do without.
#include <atomic>
#include <string>

#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "PooledSubject.h"

namespace Bench
{
namespace
{

enum class Sync
{
    kNone,
    kBytes, // waits for the bytes to be with the device, not for the journal
};

class FilesSubject final : public PooledSubject
{
public:
    FilesSubject(const std::string& inFolder, Sync inSync, bool inOwnThreads)
        : PooledSubject(inOwnThreads)
        , mFolder(inFolder + "/")
        , mSync(inSync)
    {
    }

private:
    void PutNow(const Item& inItem) override
    {
        const std::string temp = mFolder + "." + std::to_string(mNext++) + ".tmp";
        const int file = open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        Insist(write(file, inItem.bytes, inItem.size) == static_cast<ssize_t>(inItem.size),
               "write");
        if (mSync == Sync::kBytes)
            Insist(sync_file_range(file, 0, 0,
                                   SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE |
                                       SYNC_FILE_RANGE_WAIT_AFTER) == 0,
                   "sync");
        Insist(close(file) == 0, "close");
        Insist(renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, PathOf(inItem).c_str(),
                         RENAME_NOREPLACE) == 0,
               "rename");
    }
    void GetNow(const Item& inItem) override
    {
        const int file = open(PathOf(inItem).c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status;
        Insist(fstat(file, &status) == 0, "open");
        const auto size = static_cast<std::size_t>(status.st_size);
        const auto buffer = NewBuffer(size);
        Insist(read(file, buffer.get(), size) == status.st_size, "read");
        close(file);
        InsistOn(inItem, buffer.get(), size);
    }
    std::string PathOf(const Item& inItem) const { return mFolder + NameOf(inItem) + ".rkdc"; }

    const std::string mFolder;
    const Sync mSync;
    std::atomic<std::uint64_t> mNext{0};
};

} // namespace

SubjectPtr CreateFiles(const std::string& inFolder)
{
    return std::make_unique<FilesSubject>(inFolder, Sync::kNone, true);
}
SubjectPtr CreateSyncedFiles(const std::string& inFolder)
{
    return std::make_unique<FilesSubject>(inFolder, Sync::kBytes, true);
}
SubjectPtr CreateInlineFiles(const std::string& inFolder)
{
    return std::make_unique<FilesSubject>(inFolder, Sync::kNone, false);
}

} // namespace Bench
