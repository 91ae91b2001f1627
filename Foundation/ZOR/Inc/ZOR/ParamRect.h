#pragma once

namespace ZOR
{

/// A size. Nothing is checked: a size may be empty or negative.
template <class T>
struct ParamDimension
{
    T width = T();
    T height = T();

    friend constexpr bool operator==(const ParamDimension& a, const ParamDimension& b) noexcept
    {
        return a.width == b.width && a.height == b.height;
    }
    friend constexpr bool operator!=(const ParamDimension& a, const ParamDimension& b) noexcept
    {
        return !(a == b);
    }
};

/// A rectangle by its edges, right and bottom lying outside. Nothing is checked: it may be empty or
/// turned over.
template <class T>
struct ParamRect
{
    T left = T();
    T top = T();
    T right = T();
    T bottom = T();

    friend constexpr bool operator==(const ParamRect& a, const ParamRect& b) noexcept
    {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
    friend constexpr bool operator!=(const ParamRect& a, const ParamRect& b) noexcept
    {
        return !(a == b);
    }
};

} // namespace ZOR
