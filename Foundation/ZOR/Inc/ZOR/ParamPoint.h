#pragma once

namespace ZOR
{

// A point as a parameter of an effect holds it: two coordinates of one kind of number.
// Threads  A value type.
template <class T>
struct ParamPoint
{
    T x = T();
    T y = T();

    friend constexpr bool operator==(const ParamPoint& a, const ParamPoint& b) noexcept
    {
        return a.x == b.x && a.y == b.y;
    }
    friend constexpr bool operator!=(const ParamPoint& a, const ParamPoint& b) noexcept
    {
        return !(a == b);
    }
    friend constexpr ParamPoint operator+(const ParamPoint& a, const ParamPoint& b)
    {
        return ParamPoint{a.x + b.x, a.y + b.y};
    }
};

} // namespace ZOR
