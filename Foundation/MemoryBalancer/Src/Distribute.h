#pragma once

#include <cstdint>
#include <vector>

#include "MemoryBalancer/MemoryBalancer.h"

namespace memorybalancer
{

/// What a process asks for. Sizes are bytes; any figures do.
struct Demand
{
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    MemoryPriority priority = 0;
};

/// A demand beside what is known of the container that its process is in, down to the machine itself.
struct ContainedDemand
{
    Demand demand;
    std::uint64_t total = 0; ///< memory of the container
    std::uint64_t free = 0;  ///< what of it can be had without swapping
    std::uint64_t used = 0;  ///< by the process
    std::uint64_t turn = 0;  ///< when it looked: the highest is the newest
};

/// Shares inCapacity among demands, by the rules that MemoryBalancer tells of. The sum of all grants is at
/// most inCapacity, and no grant is above its maximum. The answer does not depend on the order.
/// @return a grant for each demand, in their order.
std::vector<std::uint64_t> Distribute(const std::vector<Demand>& inDemands,
                                      std::uint64_t inCapacity);

/// What all of inDemands may use together: no more than the largest of their containers has, and no more
/// than what is free there, by the newest look, and what they use already. 0 if there are none. Older looks
/// at what is free do not count: a process that was stopped would hold the figure of that time for ever.
std::uint64_t CapacityOf(const std::vector<ContainedDemand>& inDemands);

// The same within containers. Nobody can tell which container a process of another namespace is in, so
// processes whose containers are of one size count as being in one, and the smaller container as being
// within the larger one. For containers that lie within each other, the machine as the outermost, that is
// exact; several of like size beside each other get less than they could.
std::vector<std::uint64_t> DistributeInContainers(const std::vector<ContainedDemand>& inDemands);

/// Whether grants that were given before may stay: each container still has room for them, and none is
/// far from what would be given now, so that budgets do not flutter with every page somebody takes.
bool MayStay(const std::vector<std::uint64_t>& inGrants,
             const std::vector<ContainedDemand>& inDemands);

} // namespace memorybalancer
