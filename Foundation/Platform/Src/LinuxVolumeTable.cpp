#include "LinuxVolumeTable.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "KeptFile.h"
#include "LinuxVolumeChanges.h"
#include "MountInfo.h"
#include "OwnedDescriptor.h"

namespace Platform
{
namespace
{

// How many threads may be left behind altogether: volumes that are away stay few, and a number that
// grows means that something else is wrong.
constexpr std::size_t kMaxOverdue = 32;

int AskForMountID(const std::string& inPath, std::uint64_t& outMountID)
{
    struct statx status;
    if (statx(AT_FDCWD, inPath.c_str(), AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_MNT_ID,
              &status) != 0)
        return errno;
    if ((status.stx_mask & STATX_MNT_ID) == 0)
        return ENOSYS;
    outMountID = status.stx_mnt_id;
    return 0;
}

int AskForSpace(const std::string& inPath, VolumeSpace& outSpace)
{
    struct statvfs status;
    while (statvfs(inPath.c_str(), &status) != 0)
    {
        if (errno != EINTR)
            return errno;
    }
    const std::uint64_t unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    outSpace.freeBytes = unit * status.f_bavail; // f_bfree counts what only root may fill
    outSpace.sizeBytes = unit * status.f_blocks;
    return 0;
}

int AskForLabel(const std::string& inPath, std::string& outLabel)
{
    const OwnedDescriptor folder(
        open(inPath.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    char label[FSLABEL_MAX] = {};
    if (!folder.IsOpen() || ioctl(folder.Get(), FS_IOC_GETFSLABEL, label) != 0)
        return errno;
    outLabel.assign(label, strnlen(label, sizeof label));
    return 0;
}

/// What one question's two threads share.
template <class Answer>
struct Question
{
    std::mutex mutex; // guards all below
    std::condition_variable answered;
    bool done = false;
    bool overdue = false; // the asking thread has gone
    int error = 0;
    Answer answer{};
};

} // namespace

bool IsLocalFileSystem(const std::string& inType)
{
    static constexpr std::array<std::string_view, 14> sLocal = {
        "bcachefs", "btrfs", "devtmpfs", "erofs", "exfat",    "ext2", "ext3",
        "ext4",     "f2fs",  "iso9660",  "tmpfs", "squashfs", "vfat", "xfs"};
    return std::find(sLocal.begin(), sLocal.end(), inType) != sLocal.end();
}

/// The volumes that owe an answer to a question whose deadline has passed.
class LinuxVolumeTable::OverdueQuestions
{
public:
    bool Refuses(const std::string& inKey)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mKeys.count(inKey) != 0 || mKeys.size() >= kMaxOverdue;
    }
    void Add(const std::string& inKey)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mKeys.insert(inKey);
    }
    void Remove(const std::string& inKey)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mKeys.erase(mKeys.find(inKey));
    }

private:
    std::mutex mMutex; // a leaf
    std::multiset<std::string> mKeys;
};

LinuxVolumeTable::Options LinuxVolumeTable::RealOptions()
{
    Options options;
    options.mountIDOf = AskForMountID;
    options.spaceOf = AskForSpace;
    options.labelOf = AskForLabel;
    return options;
}

LinuxVolumeTable::LinuxVolumeTable()
    : LinuxVolumeTable(RealOptions())
{
}

LinuxVolumeTable::LinuxVolumeTable(const Options& inOptions)
    : mOptions(inOptions)
    , mOverdue(std::make_shared<OverdueQuestions>())
{
}

LinuxVolumeTable::~LinuxVolumeTable() = default;

template <class Answer>
int LinuxVolumeTable::AskInTime(const std::string& inPath, const std::vector<Mount>& inMounts,
                                const std::function<int(const std::string&, Answer&)>& inQuestion,
                                Answer& outAnswer)
{
    if (inPath.empty())
        return ENOENT;
    if (inPath.find('\0') != std::string::npos)
        return EINVAL;
    // A volume of another machine owes its answer as a whole. On a local one only a link can lead to
    // such a volume, and all its other paths must stay usable.
    const Mount* const mount = FindMountByText(inMounts, inPath);
    const bool local = mount == nullptr || IsLocalFileSystem(mount->type);
    const std::string key = local ? inPath : mount->mountPoint;
    if (mOverdue->Refuses(key))
        return ETIMEDOUT;

    const auto question = std::make_shared<Question<Answer>>();
    const auto answer = [question, inQuestion, inPath, key, overdue = mOverdue]
    {
        Answer result{};
        const int error = inQuestion(inPath, result);
        const std::lock_guard<std::mutex> lock(question->mutex);
        question->error = error;
        question->answer = result;
        question->done = true;
        if (question->overdue)
            overdue->Remove(key);
        question->answered.notify_one();
    };
    try
    {
        std::thread(answer).detach();
    }
    catch (const std::system_error&)
    {
        return EAGAIN;
    }
    std::unique_lock<std::mutex> lock(question->mutex);
    if (!question->answered.wait_for(lock, mOptions.deadline, [&] { return question->done; }))
    {
        question->overdue = true;
        mOverdue->Add(key);
        return ETIMEDOUT;
    }
    if (question->error == 0)
        outAnswer = question->answer;
    return question->error;
}

int LinuxVolumeTable::Mounts(std::vector<Mount>& outMounts)
{
    std::string text;
    KeptFile file(mOptions.root + "/proc/self/mountinfo");
    if (!file.Read(text))
        return ENOENT;
    outMounts = ParseMountInfo(text);
    return 0;
}

int LinuxVolumeTable::MountOfPath(const std::string& inPath, Mount& outMount)
{
    std::vector<Mount> mounts;
    if (const int error = Mounts(mounts))
        return error;
    std::uint64_t id = 0;
    const int error = AskInTime<std::uint64_t>(inPath, mounts, mOptions.mountIDOf, id);
    // Where there is no such folder the name stands for the table of mounts itself: see EventQueue.h.
    if (error == ENOENT && inPath == "/Volumes")
        return MountOfPath("/", outMount);
    if (error != 0 && error != ENOSYS)
        return error;
    const auto byID = std::find_if(mounts.begin(), mounts.end(),
                                   [id](const Mount& inMount) { return inMount.id == id; });
    // Kernels before 5.8 do not tell the mount; and it may have come after the table was read.
    const Mount* const found =
        error == 0 && byID != mounts.end() ? &*byID : FindMountByText(mounts, inPath);
    if (found == nullptr)
        return ENOENT;
    outMount = *found;
    return 0;
}

int LinuxVolumeTable::Space(const std::string& inPath, VolumeSpace& outSpace)
{
    std::vector<Mount> mounts;
    Mounts(mounts); // without it every path owes for itself alone
    return AskInTime<VolumeSpace>(inPath, mounts, mOptions.spaceOf, outSpace);
}

int LinuxVolumeTable::Label(const std::string& inMountPoint, std::string& outLabel)
{
    std::vector<Mount> mounts;
    Mounts(mounts);
    return AskInTime<std::string>(inMountPoint, mounts, mOptions.labelOf, outLabel);
}

std::unique_ptr<IVolumeChanges> LinuxVolumeTable::WatchChanges()
{
    return LinuxVolumeChanges::Create(mOptions.root + "/proc/self/mountinfo");
}

} // namespace Platform
