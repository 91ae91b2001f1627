#pragma once

#include <string>
#include <vector>

namespace RKHost
{

// An ease as it is drawn: the curve through (0, 0) and (1, 1) with its two handles, and what the library
// gives for evenly spaced parts of the segment.
struct DrawnEase
{
    std::string mTitle;
    double mX2 = 0;
    double mY2 = 0;
    double mX3 = 0;
    double mY3 = 0;
    std::vector<double> mFactors; ///< at least two, from part 0 to part 1
    std::vector<double> mSpeeds;  ///< as many; relative to the average velocity
    int mFrames = 0;              ///< dots to set on the curve; 0: none
};

/// A picture (SVG 1.1) of the way and of the speed over the time, side by side. Speeds beyond 4 times
/// the average, either way, run along the edge.
std::string DrawEase(const DrawnEase& inEase);

} // namespace RKHost
