#include "WholeFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HostError.h"

namespace RKHost
{

namespace
{

std::string ReasonOf(int inError)
{
    return std::error_code(inError, std::generic_category()).message();
}

[[noreturn]] void Fail(const std::string& inPath, const std::string& inReason)
{
    throw HostError(kExit_Failure, inPath + ": " + inReason);
}

class Descriptor
{
public:
    explicit Descriptor(int inNumber)
        : mNumber(inNumber)
    {
    }
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return mNumber; }
    bool Close()
    {
        const int number = mNumber;
        mNumber = -1;
        return number < 0 || close(number) == 0;
    }

private:
    int mNumber;
};

// The file that takes the place of another one. Unless that comes about it is gone at the end.
class Replacement
{
public:
    explicit Replacement(const std::string& inTarget)
        : mTarget(inTarget)
        , mPath(inTarget + ".XXXXXX")
        , mFile(mkostemp(mPath.data(), O_CLOEXEC))
    {
        if (mFile.Number() < 0)
            Fail(mTarget, "no file can be made beside it: " + ReasonOf(errno));
    }
    ~Replacement()
    {
        if (!mDone)
            unlink(mPath.c_str());
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void Write(std::string_view inBytes)
    {
        for (std::size_t at = 0; at < inBytes.size();)
        {
            const ssize_t put = write(mFile.Number(), inBytes.data() + at, inBytes.size() - at);
            if (put < 0 && errno != EINTR)
                FailToWrite();
            at += put > 0 ? static_cast<std::size_t>(put) : 0;
        }
    }
    /// Those of the file that it replaces, else those of any new file.
    void TakeRights()
    {
        struct stat before;
        if (stat(mTarget.c_str(), &before) == 0)
        {
            // Only the superuser may give files away. For others it is theirs, as far as it goes.
            if (fchown(mFile.Number(), before.st_uid, before.st_gid) != 0)
                errno = 0;
            fchmod(mFile.Number(), before.st_mode & 07777);
            return;
        }
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(mFile.Number(), 0666 & ~mask);
    }
    void TakePlace()
    {
        if (fsync(mFile.Number()) != 0 || !mFile.Close() ||
            rename(mPath.c_str(), mTarget.c_str()) != 0)
            FailToWrite();
        mDone = true;
    }

private:
    [[noreturn]] void FailToWrite() const
    {
        Fail(mTarget, "cannot be written, and is as it was: " + ReasonOf(errno));
    }

    const std::string mTarget;
    std::string mPath;
    Descriptor mFile;
    bool mDone = false;
};

std::string WithoutLinks(const std::string& inPath)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(inPath, error);
    return error ? inPath : path.string();
}

} // namespace

bool ReadWholeFile(const std::string& inPath, std::size_t inMaxBytes, std::string& outBytes)
{
    outBytes.clear();
    // Without waiting for the writer of a pipe.
    const Descriptor file(open(inPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.Number() < 0 && errno == ENOENT)
        return false;
    struct stat status;
    if (file.Number() < 0 || fstat(file.Number(), &status) != 0)
        Fail(inPath, ReasonOf(errno));
    if (!S_ISREG(status.st_mode))
        Fail(inPath, "is no file");
    char block[64 * 1024];
    while (outBytes.size() <= inMaxBytes)
    {
        const ssize_t got = read(file.Number(), block, sizeof block);
        if (got < 0 && errno != EINTR)
            Fail(inPath, ReasonOf(errno));
        if (got == 0)
            return true;
        outBytes.append(block, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    Fail(inPath, "is larger than " + std::to_string(inMaxBytes) + " bytes");
}

void ReplaceWholeFile(const std::string& inPath, std::string_view inBytes)
{
    Replacement file(WithoutLinks(inPath));
    file.TakeRights();
    file.Write(inBytes);
    file.TakePlace();
}

} // namespace RKHost
