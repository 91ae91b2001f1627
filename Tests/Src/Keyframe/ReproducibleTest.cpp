// The same bits with every compiler, level of optimisation and processor: what that can be said of, which
// is all but acos, cos and pow of the C library.
#include <random>

#include <gtest/gtest.h>

#include "Exact.h"
#include "FusedBezier.h"
#include "RKBezier.h"

namespace RKTests
{
namespace
{

using namespace RK::BezierCore;

const BezierFunctions kLibrary = {GetBezierValue, GetBezierDeriv, GetSingleBezierQuadraticRoot,
                                  GetBezierTValue};

// Any reader of the bits will do, as long as each bit counts: FNV-1a.
class BitHash
{
public:
    void Add(double inNumber)
    {
        mHash = (mHash ^ BitsOf(inNumber)) * 1099511628211u;
        mHash ^= mHash >> 29;
    }
    std::uint64_t Hash() const { return mHash; }

private:
    std::uint64_t mHash = 14695981039346656037u;
};

/// In [0, 1), by integers alone: the standard's distributions may differ from library to library.
class Numbers
{
public:
    double operator()() { return static_cast<double>(mGenerator() >> 11) * 0x1p-53; }

private:
    std::mt19937_64 mGenerator{20};
};

BitHash HashOfValues(const BezierFunctions& inFunctions)
{
    Numbers next;
    BitHash hash;
    for (int i = 0; i < 10000; ++i)
    {
        const double t = next(), p1 = next(), p2 = next(), p3 = next(), p4 = next();
        hash.Add(inFunctions.value(t, p1, p2, p3, p4));
        hash.Add(inFunctions.deriv(t, p1, p2, p3, p4));
        hash.Add(inFunctions.quadraticRoot(p1, p2 - 1, p3 / 8));
    }
    return hash;
}

BitHash HashOfTValues(const BezierFunctions& inFunctions)
{
    Numbers next;
    BitHash hash;
    for (int i = 0; i < 10000; ++i)
    {
        const double value = next(), x2 = next(), x3 = next();
        hash.Add(inFunctions.tValue(value, 0, x2, x3, 1));
    }
    return hash;
}

TEST(ReproducibleBezier, HasTheSameBitsInEveryBuild)
{
    EXPECT_EQ(11474069055529182786u, HashOfValues(kLibrary).Hash());
}

TEST(ReproducibleBezier, IsNotFusedWhereTheProcessorCould)
{
    if (!ProcessorCanFuse())
        GTEST_SKIP() << "this processor has no fused operations";
    EXPECT_EQ(HashOfValues(kLibrary).Hash(), HashOfValues(WithTheLibrarysOptions()).Hash());
    EXPECT_EQ(HashOfTValues(kLibrary).Hash(), HashOfTValues(WithTheLibrarysOptions()).Hash());
}

// So that the test above can fail: without the options the same source does differ.
TEST(ReproducibleBezier, WouldHaveOtherBitsIfItWereFused)
{
    if (!ProcessorCanFuse())
        GTEST_SKIP() << "this processor has no fused operations";
    EXPECT_NE(HashOfValues(kLibrary).Hash(), HashOfValues(WithFusing()).Hash());
    EXPECT_NE(HashOfTValues(kLibrary).Hash(), HashOfTValues(WithFusing()).Hash());
}

} // namespace
} // namespace RKTests
