#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace RKHost
{

/// How far a pass has come.
struct ProgressFigures
{
    std::string mPass; ///< "cold" or "warm"
    int mFrames = 0;   ///< played, failed ones included
    int mFrameCount = 0;
    int mHits = 0;
    std::uint64_t mBytesHeld = 0;
    double mSeconds = 0; ///< since the pass began
};

/// A line as wide as the terminal at the most:
/// "cold [#####.....]  50 %  120/240  92.3 frames/s  0 hits  178.21 MB held"
std::string ProgressBar(const ProgressFigures& inFigures, int inColumns);
/// The same for a log, without the bar.
std::string ProgressLine(const ProgressFigures& inFigures);

// Shows the progress of one pass after the other: on a terminal one line that is drawn again, ten
// times a second at the most; elsewhere whole lines, one for each quarter of the pass and one for each
// five seconds without any.
class Progress
{
public:
    using Write = std::function<void(const std::string&)>;

    /// @param inColumns  of the terminal; 0: there is none.
    Progress(const Write& inWrite, int inColumns);

    void Begin();
    /// Whether Update would show anything now, so that a caller may save the work of the figures.
    bool WantsUpdate(int inFrames, int inFrameCount, double inSeconds) const;
    void Update(const ProgressFigures& inFigures);
    /// Takes the bar away, to make room for other lines; the next Update draws it again.
    void Hide();
    /// Leaves the last figures standing.
    void End(const ProgressFigures& inFigures);

private:
    void Show(const ProgressFigures& inFigures);

    Write mWrite;
    int mColumns;
    int mQuarters = 0;
    double mShownAt = 0;
    bool mBarStands = false;
};

/// Columns of the terminal that standard output is; 0 if it is none.
int TerminalColumns();

} // namespace RKHost
