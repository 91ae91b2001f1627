#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace RKHost
{

/// A member of a suite. Sizes are bytes.
struct BalanceRow
{
    int mPlayer = 0; ///< from 1
    std::int64_t mProcess = 0;
    int mPriority = 0;
    std::uint64_t mMinimum = 0;
    std::uint64_t mMaximum = 0;
    std::uint64_t mUsed = 0;
    std::uint64_t mGrant = 0;

    auto Tied() const
    {
        return std::tie(mPlayer, mProcess, mPriority, mMinimum, mMaximum, mUsed, mGrant);
    }
    friend bool operator==(const BalanceRow& a, const BalanceRow& b)
    {
        return a.Tied() == b.Tied();
    }
    friend bool operator<(const BalanceRow& a, const BalanceRow& b) { return a.Tied() < b.Tied(); }
};

struct BalanceFigures
{
    double mSeconds = 0; ///< since the players were started
    std::uint64_t mCapacity = 0;
    std::vector<BalanceRow> mRows;
};

/// The rows without what moves all the time: what each member uses.
std::vector<BalanceRow> OnlyGrants(std::vector<BalanceRow> inRows);

/// One line on the suite, and one on each member.
std::string BalanceTable(const BalanceFigures& inFigures);

} // namespace RKHost
