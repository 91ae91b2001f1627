#include "FileReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace RKHost
{

namespace
{

constexpr std::size_t kPiece = 4 << 20;
constexpr std::int64_t kLargestFile = INT64_C(1) << 31; // beyond it no importer takes the block

[[noreturn]] void ThrowSystemError()
{
    throw std::runtime_error(std::strerror(errno));
}

class OpenFile
{
public:
    explicit OpenFile(const std::string& inPath)
        // Without O_NONBLOCK a pipe that lies among the frames would hold the reader up for ever.
        : mDescriptor(open(inPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        if (mDescriptor < 0)
            ThrowSystemError();
    }
    ~OpenFile() { close(mDescriptor); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::size_t Size() const
    {
        struct stat status = {};
        if (fstat(mDescriptor, &status) != 0)
            ThrowSystemError();
        if (!S_ISREG(status.st_mode))
            throw std::runtime_error("is not a regular file");
        if (status.st_size > kLargestFile)
            throw std::runtime_error("is larger than 2 GB");
        return static_cast<std::size_t>(status.st_size);
    }

    /// @return 0 at the end.
    std::size_t Read(void* outBytes, std::size_t inSize) const
    {
        for (;;)
        {
            const ssize_t got = read(mDescriptor, outBytes, inSize);
            if (got >= 0)
                return static_cast<std::size_t>(got);
            if (errno != EINTR)
                ThrowSystemError();
        }
    }

private:
    int mDescriptor;
};

} // namespace

qelcore::utility::RecycledMemoryPtr ReadWholeFile(const std::string& inPath,
                                                  const std::function<bool()>& inIsCancelled)
{
    const OpenFile file(inPath);
    const std::size_t size = file.Size();
    if (size == 0)
        throw std::runtime_error("the file is empty");
    qelcore::utility::RecycledMemoryPtr block = qelcore::utility::RecycledMemory::Create(size);
    auto* bytes = static_cast<std::uint8_t*>(block->Data());
    std::size_t done = 0;
    while (done < size)
    {
        if (inIsCancelled())
            return nullptr;
        const std::size_t got = file.Read(bytes + done, std::min(kPiece, size - done));
        if (got == 0)
            throw std::runtime_error("became shorter while it was read");
        done += got;
    }
    return block;
}

} // namespace RKHost
