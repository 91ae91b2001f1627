#include "KeptFile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Platform
{
namespace
{

// More than any of these files holds; what a damaged tree offers beyond it is not read.
constexpr std::size_t kMaxBytes = 16 << 20;

} // namespace

KeptFile::~KeptFile()
{
    Close();
}

void KeptFile::Close()
{
    if (mFile >= 0)
        close(mFile);
    mFile = -1;
}

bool KeptFile::Read(std::string& outText)
{
    if (mFile < 0)
        mFile = open(mPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (mFile >= 0 && ReadOpen(outText))
        return true;
    Close(); // the control group that it described may be gone, and another be in its place
    return false;
}

bool KeptFile::ReadOpen(std::string& outText)
{
    outText.resize(4096);
    std::size_t size = 0;
    for (;;)
    {
        const ssize_t got =
            pread(mFile, outText.data() + size, outText.size() - size, static_cast<off_t>(size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        size += static_cast<std::size_t>(got);
        if (got == 0 || size >= kMaxBytes)
            break;
        if (size == outText.size())
            outText.resize(size * 2);
    }
    outText.resize(size);
    return true;
}

} // namespace Platform
