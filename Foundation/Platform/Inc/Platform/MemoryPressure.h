#pragma once

#include <memory>

namespace Platform
{

// Word from the system that work stands still for want of memory: this process's, its container's or the
// machine's.
class IMemoryPressureListener
{
public:
    virtual ~IMemoryPressureListener();
    /// Readable from an event until Take(), for any number of loops that look at it. Borrowed.
    virtual int Descriptor() const = 0;
    /// Takes what has come. @return whether something had.
    virtual bool Take() = 0;
};

class IMemoryPressure
{
public:
    virtual ~IMemoryPressure();
    /// Begins to listen, for the life of the listener. An event comes when, within kWindowSeconds, somebody
    /// stood still for 150 ms in all; at most one a window, but another listener's may come as well.
    /// @param outListener  null after a failure.
    /// @return 0 or a number of errno: ENOENT or EOPNOTSUPP where the system has no such word.
    virtual int Listen(std::unique_ptr<IMemoryPressureListener>& outListener) = 0;

    static constexpr int kWindowSeconds = 2;
};

/// The source in force.
IMemoryPressure& MemoryPressure();

/// Puts a source in the place of the real one for its life. One at a time.
class ScopedMemoryPressure
{
public:
    explicit ScopedMemoryPressure(IMemoryPressure& inSource);
    ~ScopedMemoryPressure();
    ScopedMemoryPressure(const ScopedMemoryPressure&) = delete;
    ScopedMemoryPressure& operator=(const ScopedMemoryPressure&) = delete;

private:
    IMemoryPressure* mBefore;
};

} // namespace Platform
