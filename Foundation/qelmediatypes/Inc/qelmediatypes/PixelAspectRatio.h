#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace qelmediatypes
{

// The width of a pixel divided by its height, kept as the two numbers that were given, not reduced.
// Threads  A value type.
class RK_API PixelAspectRatio
{
public:
    /// 1:1.
    constexpr PixelAspectRatio() noexcept = default;
    constexpr PixelAspectRatio(std::int32_t inNumerator, std::int32_t inDenominator) noexcept
        : mNumerator(inNumerator)
        , mDenominator(inDenominator)
    {
    }

    /// Contract: inDenominator is above 0.
    void SetValue(std::int32_t inNumerator, std::int32_t inDenominator);
    constexpr std::int32_t GetNumerator() const noexcept { return mNumerator; }
    constexpr std::int32_t GetDenominator() const noexcept { return mDenominator; }

    /// Equal as numbers: 2:2 is 1:1.
    friend constexpr bool operator==(const PixelAspectRatio& a, const PixelAspectRatio& b) noexcept
    {
        return static_cast<std::int64_t>(a.mNumerator) * b.mDenominator ==
               static_cast<std::int64_t>(b.mNumerator) * a.mDenominator;
    }
    friend constexpr bool operator!=(const PixelAspectRatio& a, const PixelAspectRatio& b) noexcept
    {
        return !(a == b);
    }

private:
    std::int32_t mNumerator = 1;
    std::int32_t mDenominator = 1;
};

// The first two are no ratios: not known, and whichever there is.
constexpr PixelAspectRatio kPixelAspectRatio_Unknown{0, 1};
constexpr PixelAspectRatio kPixelAspectRatio_Any{-1, 1};
constexpr PixelAspectRatio kPixelAspectRatio_Square{1, 1};

// Ratios of older documents, derived from the full 720 columns of a line where the picture has fewer.
constexpr PixelAspectRatio kPixelAspectRatio_DVNTSC_Incorrect{9, 10};
constexpr PixelAspectRatio kPixelAspectRatio_DVNTSCWide_Incorrect{6, 5};
constexpr PixelAspectRatio kPixelAspectRatio_DVPAL_Incorrect{16, 15};
constexpr PixelAspectRatio kPixelAspectRatio_DVPAL_TooPrecise{128, 117}; // 702 columns, not 704
constexpr PixelAspectRatio kPixelAspectRatio_DVPALWide_Incorrect{64, 45};

constexpr PixelAspectRatio kPixelAspectRatio_DVNTSC{10, 11};
constexpr PixelAspectRatio kPixelAspectRatio_DVNTSCWide{40, 33};
constexpr PixelAspectRatio kPixelAspectRatio_DVPAL{12, 11};
constexpr PixelAspectRatio kPixelAspectRatio_DVPALWide{16, 11};
constexpr PixelAspectRatio kPixelAspectRatio_Anamorphic{2, 1};
constexpr PixelAspectRatio kPixelAspectRatio_HDAnamorphic1080{4, 3};
constexpr PixelAspectRatio kPixelAspectRatio_DVCProHD{3, 2};

} // namespace qelmediatypes
