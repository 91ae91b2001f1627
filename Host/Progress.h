#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace RKHost
{

/// How far a pass has come.
struct ProgressFigures
{
    std::string mPass; ///< "cold", "warm", "pass 3"
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

// Where the progress of one pass after the other is shown.
class IPassDisplay
{
public:
    virtual ~IPassDisplay() = default;
    virtual void Begin() = 0;
    /// Whether Update would show anything now, so that a caller may save the work of the figures.
    virtual bool WantsUpdate(int inFrames, int inFrameCount, double inSeconds) const = 0;
    virtual void Update(const ProgressFigures& inFigures) = 0;
    /// Makes room for other lines.
    virtual void Hide() = 0;
    virtual void End(const ProgressFigures& inFigures) = 0;
};

// Shows the progress of one pass after the other: on a terminal one line that is drawn again, ten
// times a second at the most; elsewhere whole lines, one for each quarter of the pass and one for each
// five seconds without any.
class Progress : public IPassDisplay
{
public:
    using Write = std::function<void(const std::string&)>;

    /// @param inColumns  of the terminal; 0: there is none.
    Progress(const Write& inWrite, int inColumns);

    void Begin() override;
    bool WantsUpdate(int inFrames, int inFrameCount, double inSeconds) const override;
    void Update(const ProgressFigures& inFigures) override;
    /// Takes the bar away; the next Update draws it again.
    void Hide() override;
    /// Leaves the last figures standing.
    void End(const ProgressFigures& inFigures) override;

private:
    void Show(const ProgressFigures& inFigures);

    Write mWrite;
    int mColumns;
    int mQuarters = 0;
    double mShownAt = 0;
    bool mBarStands = false;
};

struct TerminalSize
{
    int mColumns = 0;
    int mRows = 0;
};
/// Of the terminal that standard output is; zeros if it is none.
TerminalSize SizeOfTerminal();

} // namespace RKHost
