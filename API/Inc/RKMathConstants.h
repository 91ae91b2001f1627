#pragma once

#include "qelcore/Export.h"

namespace RK
{

// Mathematical constants, as float and, with the suffix 64, as double: the correctly rounded values of
// what their names say, but for kLn10ofE and kEpsilon. Read-only data: usable before any set-up.
extern RK_API const float kPi;
extern RK_API const double kPi64;
extern RK_API const float k2Pi;
extern RK_API const double k2Pi64;
extern RK_API const float kHalfPi;
extern RK_API const double kHalfPi64;
extern RK_API const float kQtrPi;
extern RK_API const double kQtrPi64;
extern RK_API const float kE;
extern RK_API const double kE64;
extern RK_API const float kSqrt2;
extern RK_API const double kSqrt264;
extern RK_API const float kSqrt3;
extern RK_API const double kSqrt364;
extern RK_API const float kSqrt2Over2;
extern RK_API const double kSqrt2Over264;
extern RK_API const float kLn2;
extern RK_API const double kLn264;
/// 1 / ln 2
extern RK_API const float kLn2ofE;
extern RK_API const double kLn2ofE64;

/// The decimal logarithm of e, slightly off: 0.43429446 for 0.43429448. Results of long standing depend
/// on these very bits, 0x3EDE5BD8 and 0x3FDBCB7B06FDA442.
extern RK_API const float kLn10ofE;
extern RK_API const double kLn10ofE64;

extern RK_API const float kRadPerDegree;
extern RK_API const double kRadPerDegree64;
extern RK_API const float kDegreePerRad;
extern RK_API const double kDegreePerRad64;
extern RK_API const float kOneThird;
extern RK_API const double kOneThird64;
extern RK_API const float kOneSixth;
extern RK_API const double kOneSixth64;
/// 2 to the power -23, and 2 to the power -52: the distance from 1 to the next number.
extern RK_API const float kEpsilon;
extern RK_API const double kEpsilon64;

} // namespace RK
