#pragma once

namespace qelmediatypes
{

/// A colour without transparency. 0 is none of a component and 1 all of it; a colour brighter than white
/// goes beyond.
struct RGBColor
{
    float red = 0;
    float green = 0;
    float blue = 0;

    friend constexpr bool operator==(const RGBColor& a, const RGBColor& b) noexcept
    {
        return a.red == b.red && a.green == b.green && a.blue == b.blue;
    }
    friend constexpr bool operator!=(const RGBColor& a, const RGBColor& b) noexcept
    {
        return !(a == b);
    }
};

constexpr RGBColor kRGBColor_Black{0, 0, 0};
constexpr RGBColor kRGBColor_White{1, 1, 1};

} // namespace qelmediatypes
