#include "Distribute.h"

#include <algorithm>
#include <cstddef>

namespace memorybalancer
{
namespace
{

__extension__ using Wide = unsigned __int128; // 64 of the largest figures, times a weight, fit

constexpr MemoryPriority kPriorityLimit = 8;
// What is kept back: grants stay while capacity falls by less.
constexpr std::uint64_t kHeadroomDivisor = 32;
constexpr std::uint64_t kToleranceDivisor = 16;
constexpr std::uint64_t kLeastTolerance = 16u << 20;

std::uint64_t SumWithin(std::uint64_t inFirst, std::uint64_t inSecond)
{
    const std::uint64_t sum = inFirst + inSecond;
    return sum < inFirst ? ~std::uint64_t{0} : sum;
}

MemoryPriority Limited(MemoryPriority inPriority)
{
    return std::clamp(inPriority, -kPriorityLimit, kPriorityLimit);
}

std::uint64_t WeightOf(MemoryPriority inPriority)
{
    return std::uint64_t{1} << (Limited(inPriority) + kPriorityLimit);
}

// One demand on its way to a grant. A minimum above the maximum counts as that, and nothing above the
// capacity can be had anyway.
struct Claim
{
    std::uint64_t minimum;
    std::uint64_t maximum;
    MemoryPriority priority;
    std::uint64_t grant = 0;
};

std::vector<Claim> MakeClaims(const std::vector<Demand>& inDemands, std::uint64_t inCapacity)
{
    std::vector<Claim> claims;
    claims.reserve(inDemands.size());
    for (const Demand& demand : inDemands)
    {
        const std::uint64_t maximum = std::min(demand.maximum, inCapacity);
        claims.push_back({std::min(demand.minimum, maximum), maximum, Limited(demand.priority)});
    }
    return claims;
}

/// Gives the claims of one priority their minimums, or each the same part of it.
/// @return what is left of inRest: nothing if it was too little, since the few bytes that division leaves
///         over are not to make a lower priority the richer one.
std::uint64_t GrantMinimumsOf(MemoryPriority inPriority, std::vector<Claim>& ioClaims,
                              std::uint64_t inRest)
{
    Wide wanted = 0;
    for (const Claim& claim : ioClaims)
        wanted += claim.priority == inPriority ? claim.minimum : 0;
    std::uint64_t given = 0;
    for (Claim& claim : ioClaims)
    {
        if (claim.priority != inPriority)
            continue;
        claim.grant = wanted <= inRest
                          ? claim.minimum
                          : static_cast<std::uint64_t>(Wide{claim.minimum} * inRest / wanted);
        given += claim.grant;
    }
    return wanted <= inRest ? inRest - given : 0;
}

/// One round by weight. Who would get all that it needs or more gets that, and the others wait for the next
/// round, where the rest is larger for them; in the last round nobody is satisfied, and all get their share.
/// @return whether there is another round to go.
bool GrantRound(std::vector<Claim>& ioClaims, std::uint64_t& ioRest)
{
    Wide weights = 0;
    for (const Claim& claim : ioClaims)
        weights += claim.grant < claim.maximum ? WeightOf(claim.priority) : 0;
    if (weights == 0)
        return false;
    const auto share = [&](const Claim& inClaim)
    { return static_cast<std::uint64_t>(Wide{ioRest} * WeightOf(inClaim.priority) / weights); };
    const auto isSatisfied = [&](const Claim& inClaim)
    {
        return inClaim.grant < inClaim.maximum && share(inClaim) >= inClaim.maximum - inClaim.grant;
    };
    const bool last = std::none_of(ioClaims.begin(), ioClaims.end(), isSatisfied);
    std::vector<std::uint64_t> more(ioClaims.size(), 0);
    for (std::size_t i = 0; i < ioClaims.size(); ++i)
    {
        const Claim& claim = ioClaims[i];
        if (claim.grant < claim.maximum && (last || isSatisfied(claim)))
            more[i] = last ? share(claim) : claim.maximum - claim.grant;
    }
    for (std::size_t i = 0; i < ioClaims.size(); ++i)
    {
        ioClaims[i].grant += more[i];
        ioRest -= more[i];
    }
    return !last;
}

std::vector<std::uint64_t> DescendingTotals(const std::vector<ContainedDemand>& inDemands)
{
    std::vector<std::uint64_t> totals;
    totals.reserve(inDemands.size());
    for (const ContainedDemand& each : inDemands)
        totals.push_back(each.total);
    std::sort(totals.begin(), totals.end(), std::greater<>());
    totals.erase(std::unique(totals.begin(), totals.end()), totals.end());
    return totals;
}

/// What the processes in containers up to inTotal may use together.
std::uint64_t CapacityWithin(std::uint64_t inTotal, const std::vector<ContainedDemand>& inDemands)
{
    std::uint64_t free = ~std::uint64_t{0};
    std::uint64_t turn = 0;
    std::uint64_t used = 0;
    for (const ContainedDemand& each : inDemands)
    {
        if (each.total <= inTotal)
            used = SumWithin(used, std::min(each.used, each.total));
        if (each.total != inTotal || each.turn < turn)
            continue;
        free = each.turn > turn ? each.free : std::min(free, each.free);
        turn = each.turn;
    }
    return std::min(inTotal, SumWithin(free, used));
}

} // namespace

std::vector<std::uint64_t> Distribute(const std::vector<Demand>& inDemands,
                                      std::uint64_t inCapacity)
{
    std::vector<Claim> claims = MakeClaims(inDemands, inCapacity);
    std::uint64_t rest = inCapacity;
    for (MemoryPriority priority = kPriorityLimit; priority >= -kPriorityLimit; --priority)
        rest = GrantMinimumsOf(priority, claims, rest);
    while (GrantRound(claims, rest))
    {
    }
    std::vector<std::uint64_t> grants;
    grants.reserve(claims.size());
    for (const Claim& claim : claims)
        grants.push_back(claim.grant);
    return grants;
}

std::uint64_t CapacityOf(const std::vector<ContainedDemand>& inDemands)
{
    return inDemands.empty() ? 0 : CapacityWithin(DescendingTotals(inDemands).front(), inDemands);
}

std::vector<std::uint64_t> DistributeInContainers(const std::vector<ContainedDemand>& inDemands)
{
    std::vector<std::uint64_t> totals = DescendingTotals(inDemands);
    std::vector<std::uint64_t> grants(inDemands.size(), 0);
    std::vector<Demand> demands;
    demands.reserve(inDemands.size());
    for (const ContainedDemand& each : inDemands)
        demands.push_back(each.demand);
    // From the smallest on: what a container can give is the most that its processes can have outside.
    for (auto total = totals.rbegin(); total != totals.rend(); ++total)
    {
        std::vector<Demand> within;
        for (std::size_t i = 0; i < demands.size(); ++i)
        {
            if (inDemands[i].total <= *total)
                within.push_back(demands[i]);
        }
        const std::uint64_t capacity = CapacityWithin(*total, inDemands);
        const auto shares = Distribute(within, capacity - capacity / kHeadroomDivisor);
        auto share = shares.begin();
        for (std::size_t i = 0; i < demands.size(); ++i)
        {
            if (inDemands[i].total <= *total)
                grants[i] = demands[i].maximum = *share++;
        }
    }
    return grants;
}

bool MayStay(const std::vector<std::uint64_t>& inGrants,
             const std::vector<ContainedDemand>& inDemands)
{
    for (const std::uint64_t total : DescendingTotals(inDemands))
    {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < inDemands.size(); ++i)
            sum = SumWithin(sum, inDemands[i].total <= total ? inGrants[i] : 0);
        if (sum > CapacityWithin(total, inDemands))
            return false;
    }
    const std::vector<std::uint64_t> ideal = DistributeInContainers(inDemands);
    for (std::size_t i = 0; i < ideal.size(); ++i)
    {
        const std::uint64_t now = inGrants[i];
        const std::uint64_t tolerance =
            now == 0 ? 0 : std::max(now / kToleranceDivisor, kLeastTolerance);
        const std::uint64_t change = std::max(now, ideal[i]) - std::min(now, ideal[i]);
        if (change > tolerance || now > inDemands[i].demand.maximum)
            return false;
    }
    return true;
}

} // namespace memorybalancer
