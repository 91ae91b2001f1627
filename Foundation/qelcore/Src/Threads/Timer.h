#pragma once

#include <cstdint>
#include <memory>

namespace qelcore
{
namespace threads
{

// Who wants to be told that a time has come.
class TimerClient
{
public:
    virtual ~TimerClient();
    /// Called on the timer's thread with no lock held, perhaps early and perhaps more than once.
    virtual void OnTimer() = 0;
};

/// Makes sure of the timer's thread, of which the process has one; it is made on first use and never
/// ends. @return false if the system refuses it.
bool TimerIsThere() noexcept;

/// Has inClient called at that time on the edge's clock, if it lives then. After TimerIsThere() only.
void CallAt(std::uint64_t inDueNanoseconds, const std::weak_ptr<TimerClient>& inClient);

} // namespace threads
} // namespace qelcore
