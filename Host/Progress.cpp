#include "Progress.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

#include "Text.h"

namespace RKHost
{

namespace
{

constexpr double kBarSeconds = 0.1;
constexpr double kLineSeconds = 5;
constexpr const char* kEraseLine = "\r\033[K";

int Quarters(int inFrames, int inFrameCount)
{
    return inFrameCount > 0 ? static_cast<int>(std::int64_t{inFrames} * 4 / inFrameCount) : 4;
}

std::string Tail(const ProgressFigures& inFigures)
{
    const double rate = inFigures.mSeconds > 0 ? inFigures.mFrames / inFigures.mSeconds : 0;
    return std::to_string(inFigures.mFrames) + "/" + std::to_string(inFigures.mFrameCount) + "  " +
           NumberText(rate, 1) + " frames/s  " + std::to_string(inFigures.mHits) + " hits  " +
           MemoryText(inFigures.mBytesHeld) + " held";
}

} // namespace

std::string ProgressBar(const ProgressFigures& inFigures, int inColumns)
{
    constexpr int kWidestBar = 40;
    constexpr int kNarrowestBar = 8;
    const int count = std::max(inFigures.mFrameCount, 1);
    const auto percent = std::to_string(std::int64_t{inFigures.mFrames} * 100 / count);
    const std::string tail = std::string(percent.size() < 3 ? 3 - percent.size() : 0, ' ') +
                             percent + " %  " + Tail(inFigures);
    // One column is left free: a full line would make some terminals scroll.
    const int room = inColumns - 1 - static_cast<int>(inFigures.mPass.size() + tail.size() + 4);
    std::string bar;
    if (room >= kNarrowestBar)
    {
        const int width = std::min(room, kWidestBar);
        const auto full = static_cast<std::size_t>(std::int64_t{inFigures.mFrames} * width / count);
        bar = "[" + std::string(full, '#') +
              std::string(static_cast<std::size_t>(width) - full, '.') + "] ";
    }
    const std::string line = inFigures.mPass + " " + bar + tail;
    return line.substr(0, static_cast<std::size_t>(std::max(inColumns - 1, 0)));
}

std::string ProgressLine(const ProgressFigures& inFigures)
{
    return inFigures.mPass + "  " + Tail(inFigures);
}

Progress::Progress(const Write& inWrite, int inColumns)
    : mWrite(inWrite)
    , mColumns(inColumns)
{
}

void Progress::Begin()
{
    mQuarters = 0;
    mShownAt = 0;
}

bool Progress::WantsUpdate(int inFrames, int inFrameCount, double inSeconds) const
{
    if (mColumns > 0)
        return inSeconds - mShownAt >= kBarSeconds;
    // The last quarter is left to End.
    const int quarters = Quarters(inFrames, inFrameCount);
    return (quarters > mQuarters && quarters < 4) || inSeconds - mShownAt >= kLineSeconds;
}

void Progress::Update(const ProgressFigures& inFigures)
{
    if (WantsUpdate(inFigures.mFrames, inFigures.mFrameCount, inFigures.mSeconds))
        Show(inFigures);
}

void Progress::Hide()
{
    if (mBarStands)
        mWrite(kEraseLine);
    mBarStands = false;
}

void Progress::End(const ProgressFigures& inFigures)
{
    Show(inFigures);
    if (mBarStands)
        mWrite("\n");
    mBarStands = false;
}

void Progress::Show(const ProgressFigures& inFigures)
{
    mShownAt = inFigures.mSeconds;
    mQuarters = Quarters(inFigures.mFrames, inFigures.mFrameCount);
    if (mColumns > 0)
        mWrite(kEraseLine + ProgressBar(inFigures, mColumns));
    else
        mWrite(ProgressLine(inFigures) + "\n");
    mBarStands = mColumns > 0;
}

TerminalSize SizeOfTerminal()
{
    constexpr TerminalSize kUsual = {80, 24};
    if (isatty(STDOUT_FILENO) == 0)
        return {};
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return kUsual;
    return {size.ws_col, size.ws_row};
}

} // namespace RKHost
