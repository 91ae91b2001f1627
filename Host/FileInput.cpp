#include "FileInput.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "HostError.h"

namespace RKHost
{

namespace
{

class Reader
{
public:
    Reader(const std::string& inName, int inDescriptor, std::size_t inMostBytes)
        : mName(inName)
        , mDescriptor(inDescriptor)
        , mMostBytes(inMostBytes)
    {
    }

    std::vector<std::uint8_t> ReadAll(EventLoop& ioLoop)
    {
        ioLoop.Watch(mDescriptor, POLLIN, [this](short) { ReadSome(); });
        try
        {
            while (!mEnded && !ioLoop.IsInterrupted())
                ioLoop.WaitAndRun();
        }
        catch (...)
        {
            ioLoop.Unwatch(mDescriptor);
            throw;
        }
        ioLoop.Unwatch(mDescriptor);
        if (!mEnded)
            throw Interrupted();
        mBytes.resize(mSize);
        return std::move(mBytes);
    }

private:
    static constexpr std::size_t kPiece = 1 << 20;

    void ReadSome()
    {
        if (mBytes.size() - mSize < kPiece)
            mBytes.resize(mBytes.size() * 2 + kPiece);
        const ssize_t got = read(mDescriptor, mBytes.data() + mSize, kPiece);
        if (got < 0 && errno != EINTR && errno != EAGAIN)
            throw HostError(kExit_Failure,
                            mName + " cannot be read: " + std::generic_category().message(errno));
        mEnded = got == 0;
        mSize += got > 0 ? static_cast<std::size_t>(got) : 0;
        if (mSize > mMostBytes)
            throw HostError(kExit_Failure,
                            mName + " has more than " + std::to_string(mMostBytes) + " bytes");
    }

    const std::string mName;
    const int mDescriptor;
    const std::size_t mMostBytes;
    std::vector<std::uint8_t> mBytes;
    std::size_t mSize = 0; ///< of what was read
    bool mEnded = false;
};

} // namespace

std::vector<std::uint8_t> ReadStandardInput(std::size_t inMostBytes, EventLoop& ioLoop)
{
    return Reader("standard input", STDIN_FILENO, inMostBytes).ReadAll(ioLoop);
}

std::vector<std::uint8_t> ReadInput(const std::string& inPath, std::size_t inMostBytes,
                                    EventLoop& ioLoop)
{
    // Does not wait for whoever writes to a pipe: the loop does.
    const int descriptor = open(inPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        throw HostError(kExit_Failure,
                        inPath + " cannot be read: " + std::generic_category().message(errno));
    struct Closer
    {
        int mDescriptor;
        ~Closer() { close(mDescriptor); }
    } const closer{descriptor};
    return Reader(inPath, descriptor, inMostBytes).ReadAll(ioLoop);
}

} // namespace RKHost
