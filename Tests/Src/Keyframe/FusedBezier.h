#pragma once

// The library's own Bezier source, compiled once more for a processor that can fuse a multiplication
// and an addition: with the library's options, and with the fusing that they forbid.

#include <cstdint>

namespace RKTests
{

struct BezierFunctions
{
    double (*value)(double, double, double, double, double);
    double (*deriv)(double, double, double, double, double);
    double (*quadraticRoot)(double, double, double);
    double (*tValue)(double, double, double, double, double);
};

BezierFunctions WithTheLibrarysOptions();
BezierFunctions WithFusing();

/// @return false if this processor has no fused operations: then neither of the two may be called.
inline bool ProcessorCanFuse()
{
    return __builtin_cpu_supports("fma") != 0;
}

} // namespace RKTests
