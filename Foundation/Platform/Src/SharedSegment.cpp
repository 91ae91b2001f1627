#include "Platform/SharedSegment.h"

#include <cerrno>
#include <climits>
#include <ctime>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "LockedDescriptors.h"
#include "Platform/Pages.h"
#include "Platform/Process.h"

namespace Platform
{
namespace
{

constexpr mode_t kOwnerOnly = 0600;
constexpr std::size_t kBellSize = sizeof(std::uint32_t);
// Locks stand far behind the bytes, one byte each; nothing needs to be there.
constexpr off_t kFirstLock = off_t{1} << 40;

/// A descriptor that is closed at the end unless it was released.
class Descriptor
{
public:
    explicit Descriptor(int inNumber)
        : mNumber(inNumber)
    {
    }
    ~Descriptor()
    {
        if (mNumber >= 0)
            close(mNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return mNumber; }
    bool IsOpen() const { return mNumber >= 0; }
    void Reset(int inNumber) { mNumber = inNumber; }
    void Release() { mNumber = -1; }

private:
    int mNumber;
};

void SleepMilliseconds(int inMilliseconds)
{
    const timespec time = {inMilliseconds / 1000, (inMilliseconds % 1000) * 1000000L};
    nanosleep(&time, nullptr);
}

/// Tries as the one that opens, and then as the one that makes.
/// @return 0, or a number of errno.
int OpenObject(const std::string& inPath, bool inCreate, Descriptor& outDescriptor, bool& outMade)
{
    outMade = false;
    constexpr int kTries = 10; // others may make and remove it in between
    int error = ENOENT;
    for (int i = 0; i < kTries; ++i)
    {
        outDescriptor.Reset(shm_open(inPath.c_str(), O_RDWR, 0));
        error = outDescriptor.IsOpen() ? 0 : errno;
        if (error != ENOENT || !inCreate)
            return error;
        outDescriptor.Reset(shm_open(inPath.c_str(), O_RDWR | O_CREAT | O_EXCL, kOwnerOnly));
        error = outDescriptor.IsOpen() ? 0 : errno;
        if (error != EEXIST)
            break;
    }
    outMade = error == 0;
    if (outMade && fchmod(outDescriptor.Number(), kOwnerOnly) != 0) // whatever the umask says
        error = errno;
    return error;
}

std::string PathOf(const std::string& inName)
{
    return "/" + inName + "." + std::to_string(geteuid());
}

bool IsOurs(const struct stat& inStatus)
{
    return S_ISREG(inStatus.st_mode) && inStatus.st_uid == geteuid() &&
           (inStatus.st_mode & 07777) == kOwnerOnly;
}

/// Gives a new object its size, also one whose maker has not come to that yet.
SegmentResult Prepare(int inDescriptor, std::size_t inSize)
{
    struct stat status{};
    if (fstat(inDescriptor, &status) != 0)
        return SegmentResult::kFailed;
    if (!IsOurs(status))
        return SegmentResult::kForeign;
    const auto size = static_cast<off_t>(inSize);
    if (status.st_size != 0 && status.st_size != size)
        return SegmentResult::kForeign;
    return posix_fallocate(inDescriptor, 0, size) == 0 ? SegmentResult::kOpened
                                                       : SegmentResult::kFailed;
}

SegmentResult ResultOfError(int inError)
{
    if (inError == ENOENT)
        return SegmentResult::kAbsent;
    // Not to be opened by us, or no file at all: then it is not ours.
    const bool foreign = inError == EACCES || inError == ELOOP || inError == EISDIR;
    return foreign ? SegmentResult::kForeign : SegmentResult::kFailed;
}

struct flock LockRequest(short inType, unsigned inNumber)
{
    struct flock request{};
    request.l_type = inType;
    request.l_whence = SEEK_SET;
    request.l_start = kFirstLock + static_cast<off_t>(inNumber);
    request.l_len = 1;
    return request;
}

} // namespace

SegmentResult SharedSegment::Open(const std::string& inName, std::size_t inSize, bool inCreate,
                                  std::unique_ptr<SharedSegment>& outSegment)
{
    outSegment.reset();
    const std::string path = PathOf(inName);
    const ForkBarrier barrier;
    Descriptor descriptor(-1);
    bool made = false;
    const int error = OpenObject(path, inCreate, descriptor, made);
    if (error != 0)
        return ResultOfError(error);
    const SegmentResult result = Prepare(descriptor.Number(), inSize);
    if (result != SegmentResult::kOpened)
    {
        if (made)
            shm_unlink(path.c_str());
        return result;
    }
    void* const bell =
        mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.Number(), 0);
    if (bell == MAP_FAILED)
        return SegmentResult::kFailed;
    // A mapping keeps the opening alive, and with it the locks: children get none.
    madvise(bell, kPageSize, MADV_DONTFORK);
    AddLockedDescriptor(barrier, descriptor.Number());
    outSegment.reset(new SharedSegment(path, inSize, descriptor.Number(), bell));
    descriptor.Release();
    return SegmentResult::kOpened;
}

bool SharedSegment::Remove(const std::string& inName)
{
    return shm_unlink(PathOf(inName).c_str()) == 0 || errno == ENOENT;
}

SharedSegment::SharedSegment(const std::string& inPath, std::size_t inSize, int inDescriptor,
                             void* inBell)
    : mPath(inPath)
    , mSize(inSize)
    , mDescriptor(inDescriptor)
    , mBell(inBell)
    , mForkCount(ForkCount())
{
}

SharedSegment::~SharedSegment()
{
    if (mForkCount != ForkCount())
        return; // the child was given neither
    const ForkBarrier barrier;
    RemoveLockedDescriptor(barrier, mDescriptor);
    munmap(mBell, kPageSize);
    close(mDescriptor);
}

bool SharedSegment::IsCurrent() const
{
    const Descriptor named(shm_open(mPath.c_str(), O_RDONLY, 0));
    struct stat mine{};
    struct stat theirs{};
    return named.IsOpen() && fstat(named.Number(), &theirs) == 0 &&
           fstat(mDescriptor, &mine) == 0 && mine.st_ino == theirs.st_ino &&
           mine.st_dev == theirs.st_dev;
}

bool SharedSegment::Read(void* outBytes) const
{
    return pread(mDescriptor, outBytes, mSize, 0) == static_cast<ssize_t>(mSize);
}

bool SharedSegment::Write(const void* inBytes) const
{
    const std::size_t size = mSize - kBellSize;
    return pwrite(mDescriptor, static_cast<const char*>(inBytes) + kBellSize, size, kBellSize) ==
           static_cast<ssize_t>(size);
}

bool SharedSegment::Lock(unsigned inNumber, int inTimeoutMilliseconds)
{
    // The kernel's own wait has no limit, and a holder may be stopped for good.
    for (int waited = 0;; ++waited)
    {
        struct flock request = LockRequest(F_WRLCK, inNumber);
        if (fcntl(mDescriptor, F_OFD_SETLK, &request) == 0)
            return true;
        if (waited >= inTimeoutMilliseconds)
            return false;
        SleepMilliseconds(1);
    }
}

void SharedSegment::Unlock(unsigned inNumber)
{
    struct flock request = LockRequest(F_UNLCK, inNumber);
    fcntl(mDescriptor, F_OFD_SETLK, &request);
}

bool SharedSegment::IsLockedByOthers(unsigned inNumber) const
{
    struct flock request = LockRequest(F_WRLCK, inNumber);
    return fcntl(mDescriptor, F_OFD_GETLK, &request) == 0 && request.l_type != F_UNLCK;
}

void SharedSegment::Ring() const
{
    // The kernel adds, since a mapping that was cut off must not be touched here.
    syscall(SYS_futex, mBell, FUTEX_WAKE_OP, INT_MAX, nullptr, mBell,
            FUTEX_OP(FUTEX_OP_ADD, 1, FUTEX_OP_CMP_EQ, 0));
}

std::uint32_t SharedSegment::BellCount() const
{
    std::uint32_t count = 0;
    const ssize_t got = pread(mDescriptor, &count, sizeof count, 0);
    return got == static_cast<ssize_t>(sizeof count) ? count : 0;
}

void SharedSegment::WaitForBell(std::uint32_t inCount, int inTimeoutMilliseconds) const
{
    const timespec limit = {inTimeoutMilliseconds / 1000,
                            (inTimeoutMilliseconds % 1000) * 1000000L};
    const long result = syscall(SYS_futex, mBell, FUTEX_WAIT, inCount, &limit, nullptr, 0);
    const bool expected = result == 0 || errno == EAGAIN || errno == ETIMEDOUT || errno == EINTR;
    if (!expected) // cut off, or refused: the caller must not turn to a loop without a pause
        SleepMilliseconds(inTimeoutMilliseconds);
}

} // namespace Platform
