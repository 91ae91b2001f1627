#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <boost/function.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace memorybalancer
{

/// How much a process matters when memory is distributed: higher gets more. Each step doubles the share
/// that a process takes of what is left after the minimums. Below -8 and above 8 nothing more changes.
using MemoryPriority = std::int32_t;

class IMembership;

// This process's seat among the processes of one suite of applications, which share the machine's memory.
//
// Making one costs nothing: the process joins its suite with the first SetApplicationState(), and then a
// thread of the balancer's own ("RK::MemoryBalancer") calls back with each new grant, the first time soon
// after the join. Processes of the same suite name (SetSuiteName), the same user and one machine share
// the memory; a process that ends, in whatever way, gives its share back within seconds.
//
// Grants    All grants of a suite together never pass what the machine can give to it: the lesser of
//           all its memory, and of what is free together with what the suite uses; a thirty-second of
//           it is kept back, so that grants stay while that figure moves a little. Members within a
//           smaller container (control group) share no more than that container can give.
//           First come the minimums: if there is not enough for all, those of higher priority first, and
//           among equals in proportion. What is left is shared by priority. Nobody is granted more than
//           its maximum, and what one does not need goes to the others.
//           A grant is a figure to keep to, not memory set aside.
// Alone     Where no memory can be shared among processes (no room, no right, somebody else's object
//           under our name) the grant is what the process would get as the only member; the trace
//           category "MemoryBalancer" says so once. While all 64 seats of a suite are taken, a further
//           process is granted nothing, hence not called back, until one comes free.
// Threads   SetApplicationState from any thread; it never waits for the callback or another process.
//           The callback runs on the balancer's thread, one call at a time, with no lock held.
// Fork      A child is no member and must make a balancer of its own; one that it inherits does nothing
//           there. A child that neither comes from fork() nor starts another program holds its parent's
//           seat until it ends.
// Errors    Nothing raises but memory that cannot be had. What the callback raises is traced.
class RK_API MemoryBalancer
{
public:
    using GrantCallback = boost::function<void(const unsigned long long&)>;

    /// @param inClientName  shown to people (GetBalance()); the first 47 units are kept.
    /// @param inCallback    told each new grant in bytes: the most that this process may use.
    MemoryBalancer(const qelcore::UTF16String& inClientName, const GrantCallback& inCallback);

    /// Leaves the suite. When it returns no callback runs, and none will. So it must not be called with a
    /// lock held that the callback takes. It waits for a callback that runs, and at most a quarter of a
    /// second for other processes. Within the callback it does not wait: that call is the last one, and
    /// the thread leaves the suite after it.
    ~MemoryBalancer();
    MemoryBalancer(const MemoryBalancer&) = delete;
    MemoryBalancer& operator=(const MemoryBalancer&) = delete;

    /// Joins the suite, or tells of changes. All figures are bytes, and any figures do.
    /// @param inMinimum   what the process cannot do without. Above inMaximum it counts as that.
    /// @param inMaximum   the most that it can make use of.
    /// @param inUsed      what it uses now. Until the next call the balancer takes what the process
    ///                    occupies instead, if that is more.
    void SetApplicationState(const std::uint64_t& inMinimum, const std::uint64_t& inMaximum,
                             const std::uint64_t& inUsed, const MemoryPriority& inPriority);

private:
    std::unique_ptr<IMembership> mMembership;
};

/// Names the suite that this process belongs to. Set it before the first RK::Initializer: a process that
/// has joined stays where it is. An empty name restores the default, the name of the client
/// (qelcore::config::GetClientName). Any thread.
RK_API void SetSuiteName(const qelcore::UTF16String& inName);
RK_API qelcore::UTF16String GetSuiteName();

/// What one member has said of itself, and what it is granted. Sizes are bytes.
struct Member
{
    std::int64_t processID =
        0; ///< as the member knows it; in another container it may be another's
    qelcore::UTF16String clientName;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    std::uint64_t used = 0;
    MemoryPriority priority = 0;
    std::uint64_t grant = 0;
};

struct Balance
{
    std::uint64_t capacity = 0; ///< bytes that the suite may use together; 0 without members
    std::vector<Member> members;
};

/// A look at this process's suite, whether it has joined or not, for displays: true at some moment during
/// the call. Without members where there are none, and where the suite's memory cannot be read or was in
/// use for a quarter of a second. Members that ended without leaving are left out. Any thread.
RK_API Balance GetBalance();

} // namespace memorybalancer
