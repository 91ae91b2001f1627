#include "CurveCommand.h"

#include <charconv>
#include <fstream>
#include <iostream>

#include <RiverKit/RKTemporalEase.h>

#include "CommandLine.h"
#include "CurveDrawing.h"
#include "Text.h"

namespace RKHost
{

namespace
{

constexpr const char* kCommand = "rkhost curve";
constexpr double kMostSpeed = 1e6;
constexpr int kMostFrames = 10000;
constexpr int kDrawnParts = 240; // points of a drawn curve

struct Asked
{
    double mOutInfluence = 1.0 / 3;
    double mOutSpeed = 0;
    double mInInfluence = 1.0 / 3;
    double mInSpeed = 0;
    int mFrames = 12;
    std::string mPicture; ///< empty: none
};

double Number(const Given& inGiven, double inLeast, double inMost)
{
    double value = 0;
    const char* end = inGiven.mValue.data() + inGiven.mValue.size();
    const auto [stop, error] = std::from_chars(inGiven.mValue.data(), end, value);
    if (error != std::errc() || stop != end || !(value >= inLeast && value <= inMost))
        Refuse(kCommand, inGiven.mName + " takes a number from " + NumberText(inLeast, 0) + " to " +
                             NumberText(inMost, 0) + ", not '" + inGiven.mValue + "'");
    return value;
}

// A segment of one second whose average velocity is 1, so that speeds are relative to it.
class Ease
{
public:
    explicit Ease(const Asked& inAsked)
    {
        mLeft.outInfluence = inAsked.mOutInfluence;
        mLeft.outSpeed = inAsked.mOutSpeed;
        mRight.inInfluence = inAsked.mInInfluence;
        mRight.inSpeed = inAsked.mInSpeed;
        mRight.position = qelmediatypes::TickTime(qelmediatypes::kTicksPerSecond);
    }
    void Handles(DrawnEase& outEase) const
    {
        RK::BezierUtils::Get2dTemporalEaseValues(mLeft, mRight, kAverage, outEase.mX2, outEase.mY2,
                                                 outEase.mX3, outEase.mY3);
    }
    /// At inParts + 1 evenly spaced places.
    std::vector<double> Factors(int inParts) const
    {
        std::vector<double> parts = Parts(inParts);
        RK::BezierUtils::Get2dTemporalEaseFactors(mLeft, mRight, parts.data(), parts.size(),
                                                  kAverage, parts.data());
        return parts;
    }
    std::vector<double> Speeds(int inParts) const
    {
        std::vector<double> parts = Parts(inParts);
        for (double& part : parts)
            part = RK::BezierUtils::Get2dTemporalEaseDeriv(mLeft, mRight, part, kAverage);
        return parts;
    }

private:
    static constexpr double kAverage = 1;

    static std::vector<double> Parts(int inParts)
    {
        std::vector<double> parts;
        for (int i = 0; i <= inParts; ++i)
            parts.push_back(static_cast<double>(i) / inParts);
        return parts;
    }

    RK::PointKeyframe mLeft;
    RK::PointKeyframe mRight;
};

std::string Side(const char* inName, double inInfluence, double inSpeed)
{
    return std::string(inName) + " " + NumberText(inInfluence * 100, 1) + " % at speed " +
           NumberText(inSpeed, 2);
}

std::string Table(const Ease& inEase, int inFrames)
{
    const std::vector<double> factors = inEase.Factors(inFrames);
    const std::vector<double> speeds = inEase.Speeds(inFrames);
    std::string text = "frame     way   speed\n";
    for (std::size_t i = 0; i < factors.size(); ++i)
    {
        char line[128];
        std::snprintf(line, sizeof line, "%5zu  %.4f  %6.4g\n", i, factors[i], speeds[i]);
        text += line;
    }
    return text;
}

void WritePicture(const Asked& inAsked, const Ease& inEase)
{
    DrawnEase drawn;
    drawn.mTitle = Side("out", inAsked.mOutInfluence, inAsked.mOutSpeed) + ", " +
                   Side("in", inAsked.mInInfluence, inAsked.mInSpeed);
    inEase.Handles(drawn);
    drawn.mFactors = inEase.Factors(kDrawnParts);
    drawn.mSpeeds = inEase.Speeds(kDrawnParts);
    drawn.mFrames = inAsked.mFrames;
    std::ofstream file(inAsked.mPicture, std::ios::binary);
    file << DrawEase(drawn);
    file.close();
    if (!file)
        throw HostError(kExit_Failure, inAsked.mPicture + " cannot be written");
}

const char* HelpOfCurve()
{
    return R"(rkhost curve [OPTION...]

Prints the ease between two keyframes: for each frame the part of the way that is done, and the speed.

  --out-influence I   the part of the segment, 0 to 1, that the speed of departure rules (1/3)
  --out-speed S       the speed of departure; 1 is the average velocity of the segment (0)
  --in-influence I    the same of the arrival (1/3)
  --in-speed S        (0)
  --frames N          frames from one keyframe to the other (12)
  --svg FILE          draws way and speed over the time, with the handles of the curve
)";
}

} // namespace

ExitCode RunCurve(const std::vector<std::string>& inArguments)
{
    if (AsksForHelp(inArguments))
    {
        std::cout << HelpOfCurve();
        return kExit_OK;
    }
    Asked asked;
    const auto influence = [](const Given& g) { return Number(g, 0, 1); };
    const auto speed = [](const Given& g) { return Number(g, -kMostSpeed, kMostSpeed); };
    const std::vector<OptionRow> options = {
        {"--out-influence", true, [&](const Given& g) { asked.mOutInfluence = influence(g); }},
        {"--out-speed", true, [&](const Given& g) { asked.mOutSpeed = speed(g); }},
        {"--in-influence", true, [&](const Given& g) { asked.mInInfluence = influence(g); }},
        {"--in-speed", true, [&](const Given& g) { asked.mInSpeed = speed(g); }},
        {"--frames", true,
         [&](const Given& g)
         {
             Number(g, 1, kMostFrames);
             asked.mFrames = g.Count(1);
         }},
        {"--svg", true, [&](const Given& g) { asked.mPicture = g.Text("the name of a file"); }}};
    if (const auto words = ParseArguments(kCommand, "curve", options, inArguments); !words.empty())
        Refuse(kCommand, "curve takes options only, not '" + words[0] + "'");
    const Ease ease(asked);
    if (!asked.mPicture.empty())
        WritePicture(asked, ease);
    std::cout << Table(ease, asked.mFrames);
    return kExit_OK;
}

} // namespace RKHost
