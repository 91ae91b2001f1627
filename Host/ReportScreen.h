#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Progress.h"

namespace RKHost
{

/// The lines of a text as they fit on a terminal, none as wide as it is and fewer than it has rows: side by
/// side in columns where there are too many, and cut, with a last line that says so, where even that
/// does not help.
std::vector<std::string> FitLines(const std::string& inText, TerminalSize inSize);

// Shows one report after the other: on a terminal each in the place of the one before, elsewhere one
// below the other, separated by a line.
class ReportScreen
{
public:
    using Write = std::function<void(const std::string&)>;
    using Size = std::function<TerminalSize()>;

    /// @param inSize  asked for each report, since terminals change; zeros stand for none.
    ReportScreen(const Write& inWrite, const Size& inSize);

    void Show(const std::string& inReport);
    /// Leaves what stands where it is, and room for other lines below it.
    void Leave() { mRowsStanding = 0; }

private:
    Write mWrite;
    Size mSize;
    bool mFirst = true;
    int mRowsStanding = 0; ///< on a terminal, of the report that the next one takes the place of
};

} // namespace RKHost
