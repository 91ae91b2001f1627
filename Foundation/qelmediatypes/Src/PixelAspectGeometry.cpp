#include "qelmediatypes/PixelAspectGeometry.h"

#include <algorithm>
#include <limits>

namespace qelmediatypes
{

namespace
{

constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();

bool IsRatio(const PixelAspectRatio& inRatio)
{
    return inRatio.GetNumerator() > 0 && inRatio.GetDenominator() > 0;
}

/// inLength * inNumerator / inDenominator, both above 0. No step overflows: the product stays below
/// 2^62 whatever comes in.
std::int32_t Scaled(std::int32_t inLength, std::int64_t inNumerator, std::int64_t inDenominator)
{
    const std::int64_t product = inLength * inNumerator;
    std::int64_t quotient = product / inDenominator;
    const std::int64_t rest = product % inDenominator; // of the product's sign
    if (2 * rest >= inDenominator)
        ++quotient;
    else if (-2 * rest >= inDenominator)
        --quotient;
    if (quotient > kLongest)
        return std::numeric_limits<std::int32_t>::max();
    if (quotient < -kLongest - 1)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(quotient);
}

__extension__ using Wide = unsigned __int128;

struct Fraction
{
    Wide mNumerator;
    Wide mDenominator;
};

Wide GreatestCommonDivisor(Wide a, Wide b)
{
    while (b != 0)
    {
        const Wide rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

bool Fits(const Fraction& inFraction)
{
    return inFraction.mNumerator <= static_cast<Wide>(kLongest) &&
           inFraction.mDenominator <= static_cast<Wide>(kLongest);
}

/// Whether a is nearer to inGoal than b is. Where a rounding decides, either is as good.
bool IsNearer(const Fraction& a, const Fraction& b, const Fraction& inGoal)
{
    const auto distance = [&](const Fraction& inFraction)
    {
        const long double value = static_cast<long double>(inFraction.mNumerator) /
                                  static_cast<long double>(inFraction.mDenominator);
        const long double goal = static_cast<long double>(inGoal.mNumerator) /
                                 static_cast<long double>(inGoal.mDenominator);
        return value < goal ? goal - value : value - goal;
    };
    return distance(a) < distance(b);
}

/// The best fraction whose two numbers fit into 31 bits, by the continued fraction of inGoal: the last
/// convergent that fits, or the longest semiconvergent behind it where that is nearer.
Fraction NearestThatFits(const Fraction& inGoal)
{
    Fraction previous{0, 1};
    Fraction current{1, 0};
    Fraction rest = inGoal;
    while (rest.mDenominator != 0)
    {
        const Wide term = rest.mNumerator / rest.mDenominator;
        const Fraction next{term * current.mNumerator + previous.mNumerator,
                            term * current.mDenominator + previous.mDenominator};
        if (!Fits(next))
            break;
        previous = current;
        current = next;
        rest = {rest.mDenominator, rest.mNumerator % rest.mDenominator};
    }
    Wide steps = static_cast<Wide>(kLongest);
    if (current.mNumerator != 0)
        steps = std::min(steps,
                         (static_cast<Wide>(kLongest) - previous.mNumerator) / current.mNumerator);
    if (current.mDenominator != 0)
        steps = std::min(steps, (static_cast<Wide>(kLongest) - previous.mDenominator) /
                                    current.mDenominator);
    const Fraction between{steps * current.mNumerator + previous.mNumerator,
                           steps * current.mDenominator + previous.mDenominator};
    if (current.mDenominator == 0)
        return between;
    if (current.mNumerator == 0 || IsNearer(between, current, inGoal))
        return between;
    return current;
}

struct Correction
{
    PixelAspectRatio mLegacy;
    PixelAspectRatio mCorrect;
};

constexpr Correction kCorrections[] = {
    {kPixelAspectRatio_DVNTSC_Incorrect, kPixelAspectRatio_DVNTSC},
    {kPixelAspectRatio_DVNTSCWide_Incorrect, kPixelAspectRatio_DVNTSCWide},
    {kPixelAspectRatio_DVPAL_Incorrect, kPixelAspectRatio_DVPAL},
    {kPixelAspectRatio_DVPAL_TooPrecise, kPixelAspectRatio_DVPAL},
    {kPixelAspectRatio_DVPALWide_Incorrect, kPixelAspectRatio_DVPALWide},
};

/// @return null if the ratio is none of the five. 0:0 equals every ratio as a number, and is none.
const Correction* FindCorrection(const PixelAspectRatio& inRatio)
{
    if (!IsRatio(inRatio))
        return nullptr;
    for (const Correction& correction : kCorrections)
    {
        if (correction.mLegacy == inRatio)
            return &correction;
    }
    return nullptr;
}

} // namespace

void AdjustPixelAspectRectToSquarePixelRect(std::int32_t& ioLeft, std::int32_t&,
                                            std::int32_t& ioWidth, std::int32_t& ioHeight,
                                            const PixelAspectRatio& inRatio) noexcept
{
    if (IsRatio(inRatio))
        ioLeft = Scaled(ioLeft, inRatio.GetNumerator(), inRatio.GetDenominator());
    AdjustPixelAspectDimensionToSquarePixelDimension(ioWidth, ioHeight, inRatio);
}

void AdjustSquarePixelRectToPixelAspectRect(std::int32_t& ioLeft, std::int32_t&,
                                            std::int32_t& ioWidth, std::int32_t& ioHeight,
                                            const PixelAspectRatio& inRatio) noexcept
{
    if (IsRatio(inRatio))
        ioLeft = Scaled(ioLeft, inRatio.GetDenominator(), inRatio.GetNumerator());
    AdjustSquarePixelDimensionToPixelAspectDimension(ioWidth, ioHeight, inRatio);
}

void AdjustPixelAspectDimensionToSquarePixelDimension(std::int32_t& ioWidth, std::int32_t&,
                                                      const PixelAspectRatio& inRatio) noexcept
{
    if (IsRatio(inRatio))
        ioWidth = Scaled(ioWidth, inRatio.GetNumerator(), inRatio.GetDenominator());
}

void AdjustSquarePixelDimensionToPixelAspectDimension(std::int32_t& ioWidth, std::int32_t&,
                                                      const PixelAspectRatio& inRatio) noexcept
{
    if (IsRatio(inRatio))
        ioWidth = Scaled(ioWidth, inRatio.GetDenominator(), inRatio.GetNumerator());
}

PixelAspectRatio AdjustPixelAspectRatioForNonUniformDownsample(const PixelAspectRatio& inRatio,
                                                               std::int32_t inFromWidth,
                                                               std::int32_t inFromHeight,
                                                               std::int32_t inToWidth,
                                                               std::int32_t inToHeight) noexcept
{
    if (!IsRatio(inRatio) || inFromWidth <= 0 || inFromHeight <= 0 || inToWidth <= 0 ||
        inToHeight <= 0)
        return inRatio;
    const auto product = [](std::int32_t a, std::int32_t b, std::int32_t c)
    { return static_cast<Wide>(a) * static_cast<Wide>(b) * static_cast<Wide>(c); };
    Fraction fraction{product(inRatio.GetNumerator(), inFromWidth, inToHeight),
                      product(inRatio.GetDenominator(), inFromHeight, inToWidth)};
    const Wide divisor = GreatestCommonDivisor(fraction.mNumerator, fraction.mDenominator);
    fraction = {fraction.mNumerator / divisor, fraction.mDenominator / divisor};
    if (!Fits(fraction))
        fraction = NearestThatFits(fraction);
    return PixelAspectRatio(static_cast<std::int32_t>(fraction.mNumerator),
                            static_cast<std::int32_t>(fraction.mDenominator));
}

bool IsLegacyPixelAspectRatio(const PixelAspectRatio& inRatio) noexcept
{
    return FindCorrection(inRatio) != nullptr;
}

void CorrectLegacyPixelAspectRatio(PixelAspectRatio& ioRatio) noexcept
{
    if (const Correction* const correction = FindCorrection(ioRatio))
        ioRatio = correction->mCorrect;
}

} // namespace qelmediatypes
