#pragma once

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Platform
{

/// A descriptor that is closed at the end of this object, unless somebody else takes charge of it.
class OwnedDescriptor
{
public:
    explicit OwnedDescriptor(int inDescriptor) noexcept
        : mDescriptor(inDescriptor)
    {
    }
    ~OwnedDescriptor()
    {
        if (mDescriptor >= 0)
            close(mDescriptor);
    }
    OwnedDescriptor(OwnedDescriptor&& ioOther) noexcept
        : mDescriptor(ioOther.Take())
    {
    }
    /// Closes what was here.
    OwnedDescriptor& operator=(OwnedDescriptor&& ioOther) noexcept
    {
        const OwnedDescriptor before(mDescriptor);
        mDescriptor = ioOther.Take();
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    bool IsOpen() const noexcept { return mDescriptor >= 0; }
    /// @throws std::system_error by errno if the call that was to give the descriptor failed.
    void OrThrow(const char* inWho) const
    {
        if (!IsOpen())
            throw std::system_error(errno, std::generic_category(), inWho);
    }
    int Get() const noexcept { return mDescriptor; }
    int Take() noexcept
    {
        const int descriptor = mDescriptor;
        mDescriptor = -1;
        return descriptor;
    }

private:
    int mDescriptor;
};

} // namespace Platform
