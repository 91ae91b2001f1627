#include "CurveDrawing.h"

#include <algorithm>
#include <cmath>

#include "Text.h"

namespace RKHost
{

namespace
{

constexpr double kSide = 280;     // of a graph, in pixels
constexpr double kMargin = 56;    // around the graphs
constexpr double kTop = 84;       // above them, with the title
constexpr double kMostSpeed = 4;  // that is drawn
constexpr double kMostBeyond = 1; // of a handle above or below the unit square

constexpr const char* kInk = "#3a3f47";
constexpr const char* kGrid = "#e3e6ea";
constexpr const char* kCurve = "#1f6feb";
constexpr const char* kHandle = "#d9622b";
constexpr const char* kSpeed = "#2e8b57";

struct Point
{
    double x, y;
};

std::string Pair(const Point& inPoint)
{
    return NumberText(inPoint.x, 2) + "," + NumberText(inPoint.y, 2);
}

// One graph: 0 to 1 across, and a range of heights.
class Graph
{
public:
    Graph(double inLeft, double inLeast, double inMost)
        : mLeft(inLeft)
        , mLeast(inLeast)
        , mMost(inMost)
    {
    }

    Point At(double inX, double inY) const
    {
        const double y = std::clamp(inY, mLeast, mMost);
        return {mLeft + inX * kSide, kTop + (mMost - y) / (mMost - mLeast) * kSide};
    }
    std::string Line(const Point& inFrom, const Point& inTo, const char* inColour,
                     double inWidth) const
    {
        const Point from = At(inFrom.x, inFrom.y);
        const Point to = At(inTo.x, inTo.y);
        return "<path d=\"M" + Pair(from) + " L" + Pair(to) + "\" stroke=\"" + inColour +
               "\" stroke-width=\"" + NumberText(inWidth, 1) + "\"/>\n";
    }
    std::string Dot(const Point& inPoint, double inRadius, const char* inColour) const
    {
        const Point at = At(inPoint.x, inPoint.y);
        return "<circle cx=\"" + NumberText(at.x, 2) + "\" cy=\"" + NumberText(at.y, 2) +
               "\" r=\"" + NumberText(inRadius, 1) + "\" fill=\"" + inColour +
               "\" stroke=\"none\"/>\n";
    }
    std::string Curve(const std::vector<double>& inHeights, const char* inColour) const
    {
        std::string text = "<polyline points=\"";
        for (std::size_t i = 0; i < inHeights.size(); ++i)
            text += (i == 0 ? "" : " ") + Pair(At(PartOf(i, inHeights), inHeights[i]));
        return text + "\" stroke=\"" + inColour +
               "\" stroke-width=\"2.5\" stroke-linejoin=\"round\"/>\n";
    }
    /// A line across at each whole height, the axis of heights and that of times, and a label below.
    std::string Axes(const std::string& inLabel) const
    {
        std::string text;
        for (double y = std::ceil(mLeast); y <= mMost; ++y)
            text += Line({0, y}, {1, y}, kGrid, 1) + Label({0, y}, -10, 4, "end", NumberText(y, 0));
        for (const double x : {0.25, 0.5, 0.75, 1.0})
            text += Line({x, mLeast}, {x, mMost}, kGrid, 1);
        text += Line({0, mLeast}, {0, mMost}, kInk, 1.2) + Line({0, 0}, {1, 0}, kInk, 1.2);
        return text + Label({0.5, mLeast}, 0, 34, "middle", inLabel) +
               Label({1, mLeast}, 0, 16, "middle", "1") + Label({0, mLeast}, 0, 16, "middle", "0");
    }

    static double PartOf(std::size_t inIndex, const std::vector<double>& inHeights)
    {
        return static_cast<double>(inIndex) / static_cast<double>(inHeights.size() - 1);
    }

private:
    std::string Label(const Point& inPoint, double inRight, double inDown, const char* inAnchor,
                      const std::string& inText) const
    {
        const Point at = At(inPoint.x, inPoint.y);
        return "<text x=\"" + NumberText(at.x + inRight, 1) + "\" y=\"" +
               NumberText(at.y + inDown, 1) + "\" text-anchor=\"" + inAnchor + "\" fill=\"" + kInk +
               "\">" + inText + "</text>\n";
    }

    double mLeft;
    double mLeast;
    double mMost;
};

std::string DrawWay(const DrawnEase& inEase)
{
    const double least = std::clamp(std::floor(inEase.mY2), -kMostBeyond, 0.0);
    const double most = std::clamp(std::ceil(inEase.mY3), 1.0, 1 + kMostBeyond);
    const Graph graph(kMargin, least, most);
    std::string text = graph.Axes("way over time");
    text += graph.Line({0, 0}, {1, 1}, kGrid, 1.5);
    text += graph.Line({0, 0}, {inEase.mX2, inEase.mY2}, kHandle, 1.5);
    text += graph.Line({1, 1}, {inEase.mX3, inEase.mY3}, kHandle, 1.5);
    text += graph.Curve(inEase.mFactors, kCurve);
    for (const Point& handle : {Point{inEase.mX2, inEase.mY2}, Point{inEase.mX3, inEase.mY3}})
        text += graph.Dot(handle, 5, kHandle);
    for (const Point& keyframe : {Point{0, 0}, Point{1, 1}})
        text += graph.Dot(keyframe, 4, kInk);
    const std::size_t last = inEase.mFactors.size() - 1;
    for (int frame = 1; frame < inEase.mFrames; ++frame)
    {
        const std::size_t i =
            last * static_cast<std::size_t>(frame) / static_cast<std::size_t>(inEase.mFrames);
        text += graph.Dot({Graph::PartOf(i, inEase.mFactors), inEase.mFactors[i]}, 2.6, kCurve);
    }
    return text;
}

std::string DrawSpeed(const DrawnEase& inEase)
{
    const auto [least, most] = std::minmax_element(inEase.mSpeeds.begin(), inEase.mSpeeds.end());
    const Graph graph(2 * kMargin + kSide, std::clamp(std::floor(*least), -kMostSpeed, 0.0),
                      std::clamp(std::ceil(*most), 2.0, kMostSpeed));
    return graph.Axes("speed over time, 1 is the average") +
           graph.Line({0, 1}, {1, 1}, kGrid, 1.5) + graph.Curve(inEase.mSpeeds, kSpeed);
}

} // namespace

std::string DrawEase(const DrawnEase& inEase)
{
    const std::string width = NumberText(3 * kMargin + 2 * kSide, 0);
    const std::string height = NumberText(kTop + kSide + kMargin, 0);
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
           width + "\" height=\"" + height + "\" viewBox=\"0 0 " + width + " " + height +
           "\" font-family=\"sans-serif\" font-size=\"13\">\n"
           "<rect width=\"100%\" height=\"100%\" rx=\"8\" fill=\"#ffffff\"/>\n"
           "<text x=\"" +
           NumberText(kMargin, 0) + "\" y=\"42\" font-size=\"17\" fill=\"" + kInk +
           "\" font-weight=\"bold\">" + inEase.mTitle + "</text>\n<g fill=\"none\">\n" +
           DrawWay(inEase) + DrawSpeed(inEase) + "</g>\n</svg>\n";
}

} // namespace RKHost
