#include "BalanceTable.h"

#include <cinttypes>
#include <cstdio>

#include "Text.h"

namespace RKHost
{

namespace
{

std::string Line(const BalanceRow& inRow)
{
    char line[160];
    std::snprintf(line, sizeof line, "%6d %8" PRId64 " %9d %11s %11s %11s %11s\n", inRow.mPlayer,
                  inRow.mProcess, inRow.mPriority, MemoryText(inRow.mMinimum).c_str(),
                  MemoryText(inRow.mMaximum).c_str(), MemoryText(inRow.mUsed).c_str(),
                  MemoryText(inRow.mGrant).c_str());
    return line;
}

} // namespace

std::vector<BalanceRow> OnlyGrants(std::vector<BalanceRow> inRows)
{
    for (BalanceRow& row : inRows)
        row.mUsed = 0;
    return inRows;
}

std::string BalanceTable(const BalanceFigures& inFigures)
{
    std::uint64_t granted = 0;
    std::string lines;
    for (const BalanceRow& row : inFigures.mRows)
    {
        granted += row.mGrant;
        lines += Line(row);
    }
    return "after " + NumberText(inFigures.mSeconds, 1) +
           " s: " + std::to_string(inFigures.mRows.size()) +
           (inFigures.mRows.size() == 1 ? " member, granted " : " members, granted ") +
           MemoryText(granted) + " of " + MemoryText(inFigures.mCapacity) +
           "\nplayer  process  priority     minimum     maximum        used       grant\n" + lines;
}

} // namespace RKHost
