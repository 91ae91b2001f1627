// Where a rising curve has a value, and eases, as a renderer asks for them: 1024 values of each of eight curves.
// One item is one value; "per_value" is its time. "error" is the worst distance between the value asked for
// and the curve's value at the t that came out, computed with 64 bits of mantissa.
//
// common: inner values of usual eases. nearly_straight: inner values a third apart but for 3e-6, the hard
// case of a closed form, since its cubic coefficient is small but not zero (1e-5).
//
// Peers: Boost.Math's cubic roots, polished by a step of Halley's method, of which the one nearest to [0, 1] is
// taken; and the solver that browsers use for the timing of animations: a first guess from a table of
// eleven samples, four steps of Newton's method where the curve is steep enough, else bisection. Its table
// is made once for each curve, outside of the measured time.

#include <array>
#include <cmath>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/math/tools/cubic_roots.hpp>

#include "RKBezier.h"
#include "RKTemporalEase.h"

namespace
{

struct Curve
{
    double x2, x3;
};

constexpr int kValues = 1024;
constexpr std::array<std::array<Curve, 8>, 2> kSets = {{
    {{{0.25, 0.25},
      {0.42, 1},
      {0, 0.58},
      {0.42, 0.58},
      {0.68, 0.27},
      {0.16, 0.3},
      {0.9, 0.1},
      {0.333, 0.75}}},
    {{{0, 0.33333},
      {0.1, 0.43333},
      {0.2, 0.53333},
      {0.3, 0.63333},
      {0.4, 0.73333},
      {0.5, 0.83333},
      {0.6, 0.93333},
      {0.66, 0.99333}}},
}};

double ClampToUnit(double inT)
{
    return inT < 0 ? 0 : inT > 1 ? 1 : inT;
}

struct Ours
{
    explicit Ours(const Curve& inCurve)
        : mCurve(inCurve)
    {
    }
    void Solve(const double* inValues, double* outTs) const
    {
        for (int i = 0; i < kValues; ++i)
            outTs[i] = RK::BezierCore::GetBezierTValue(inValues[i], 0, mCurve.x2, mCurve.x3, 1);
    }
    const Curve mCurve;
};

struct OursInBatches
{
    explicit OursInBatches(const Curve& inCurve)
        : mCurve(inCurve)
    {
    }
    void Solve(const double* inValues, double* outTs) const
    {
        RK::BezierCore::GetBezierTValues(inValues, kValues, 0, mCurve.x2, mCurve.x3, 1, outTs);
    }
    const Curve mCurve;
};

class BoostRoots
{
public:
    explicit BoostRoots(const Curve& inCurve)
        : mA(3 * (inCurve.x2 - inCurve.x3) + 1)
        , mB(3 * (inCurve.x3 - 2 * inCurve.x2))
        , mC(3 * inCurve.x2)
    {
    }
    void Solve(const double* inValues, double* outTs) const
    {
        for (int i = 0; i < kValues; ++i)
            outTs[i] = NearestToUnit(boost::math::tools::cubic_roots(mA, mB, mC, -inValues[i]));
    }

private:
    static double NearestToUnit(const std::array<double, 3>& inRoots)
    {
        double best = 0;
        double distance = HUGE_VAL;
        for (const double root : inRoots) // NaN where there is none
        {
            const double away = std::fabs(root - ClampToUnit(root));
            if (away < distance)
            {
                best = root;
                distance = away;
            }
        }
        return best;
    }
    const double mA;
    const double mB;
    const double mC;
};

class SampledNewton
{
public:
    explicit SampledNewton(const Curve& inCurve)
        : mC(3 * inCurve.x2)
        , mB(3 * (inCurve.x3 - inCurve.x2) - mC)
        , mA(1 - mC - mB)
    {
        for (int i = 0; i < kSamples; ++i)
            mSamples[i] = ValueAt(i * kStep);
    }
    void Solve(const double* inValues, double* outTs) const
    {
        for (int i = 0; i < kValues; ++i)
            outTs[i] = TOf(inValues[i]);
    }

private:
    static constexpr int kSamples = 11;
    static constexpr double kStep = 1.0 / (kSamples - 1);

    double ValueAt(double inT) const { return ((mA * inT + mB) * inT + mC) * inT; }
    double SlopeAt(double inT) const { return (3 * mA * inT + 2 * mB) * inT + mC; }

    double TOf(double inValue) const
    {
        int i = 0;
        while (i < kSamples - 2 && mSamples[i + 1] <= inValue)
            ++i;
        const double begin = i * kStep;
        const double t = begin + (inValue - mSamples[i]) / (mSamples[i + 1] - mSamples[i]) * kStep;
        const double slope = SlopeAt(t);
        if (slope >= 0.02)
            return Newton(inValue, t);
        return slope == 0 ? t : Bisect(inValue, begin, begin + kStep);
    }
    double Newton(double inValue, double inT) const
    {
        for (int i = 0; i < 4; ++i)
        {
            const double slope = SlopeAt(inT);
            if (slope == 0)
                break;
            inT -= (ValueAt(inT) - inValue) / slope;
        }
        return inT;
    }
    double Bisect(double inValue, double inLow, double inHigh) const
    {
        double t = inLow;
        for (int i = 0; i < 20; ++i)
        {
            t = (inLow + inHigh) / 2;
            const double beyond = ValueAt(t) - inValue;
            if (std::fabs(beyond) <= 1e-7)
                break;
            (beyond > 0 ? inHigh : inLow) = t;
        }
        return t;
    }

    const double mC;
    const double mB;
    const double mA;
    double mSamples[kSamples];
};

// Evenly spread, the ends left out.
const std::vector<double>& Values()
{
    static const std::vector<double> sValues = []
    {
        std::vector<double> values;
        for (int i = 0; i < kValues; ++i)
            values.push_back((i + 0.5) / kValues);
        return values;
    }();
    return sValues;
}

double ErrorOf(const Curve& inCurve, double inValue, double inT)
{
    const long double t = ClampToUnit(inT);
    const long double s = 1 - t;
    const long double value = 3 * inCurve.x2 * s * s * t + 3 * inCurve.x3 * s * t * t + t * t * t;
    return static_cast<double>(std::fabs(value - inValue));
}

void ReportPerValue(benchmark::State& ioState, std::size_t inCurves)
{
    using benchmark::Counter;
    ioState.counters["per_value"] = Counter(static_cast<double>(inCurves) * kValues,
                                            Counter::kIsIterationInvariantRate | Counter::kInvert);
}

template <class Solver>
void TValue(benchmark::State& ioState)
{
    const auto& curves = kSets[static_cast<std::size_t>(ioState.range(0))];
    ioState.SetLabel(ioState.range(0) == 0 ? "common" : "nearly_straight");
    std::vector<Solver> solvers(curves.begin(), curves.end());
    std::vector<double> ts(kValues);
    double error = 0;
    for (std::size_t i = 0; i < curves.size(); ++i)
    {
        solvers[i].Solve(Values().data(), ts.data());
        for (int k = 0; k < kValues; ++k)
            error = std::fmax(error, ErrorOf(curves[i], Values()[k], ts[k]));
    }
    for (auto _ : ioState)
        for (const Solver& solver : solvers)
        {
            solver.Solve(Values().data(), ts.data());
            benchmark::DoNotOptimize(ts.data());
            benchmark::ClobberMemory();
        }
    ioState.counters["error"] = error;
    ReportPerValue(ioState, curves.size());
}
BENCHMARK_TEMPLATE(TValue, Ours)->DenseRange(0, 1);
BENCHMARK_TEMPLATE(TValue, OursInBatches)->DenseRange(0, 1);
BENCHMARK_TEMPLATE(TValue, BoostRoots)->DenseRange(0, 1);
BENCHMARK_TEMPLATE(TValue, SampledNewton)->DenseRange(0, 1);

struct Segment
{
    explicit Segment(const Curve& inCurve)
    {
        lhs.outInfluence = inCurve.x2;
        rhs.inInfluence = 1 - inCurve.x3;
        rhs.position = qelmediatypes::TickTime(1);
    }
    RK::PointKeyframe lhs;
    RK::PointKeyframe rhs;
};

// An ease with both speeds 0, value by value.
void EaseSingly(benchmark::State& ioState)
{
    std::vector<Segment> segments(kSets[0].begin(), kSets[0].end());
    std::vector<double> factors(kValues);
    for (auto _ : ioState)
        for (const Segment& segment : segments)
        {
            for (int i = 0; i < kValues; ++i)
                factors[i] = RK::BezierUtils::Get2dTemporalEaseFactor(segment.lhs, segment.rhs,
                                                                      Values()[i], 1);
            benchmark::DoNotOptimize(factors.data());
            benchmark::ClobberMemory();
        }
    ReportPerValue(ioState, segments.size());
}
BENCHMARK(EaseSingly);

void EaseInBatches(benchmark::State& ioState)
{
    std::vector<Segment> segments(kSets[0].begin(), kSets[0].end());
    std::vector<double> factors(kValues);
    for (auto _ : ioState)
        for (const Segment& segment : segments)
        {
            RK::BezierUtils::Get2dTemporalEaseFactors(segment.lhs, segment.rhs, Values().data(),
                                                      kValues, 1, factors.data());
            benchmark::DoNotOptimize(factors.data());
            benchmark::ClobberMemory();
        }
    ReportPerValue(ioState, segments.size());
}
BENCHMARK(EaseInBatches);

// The same ease by the browsers' solver, the height of a curve with flat ends behind it.
void EaseOfSampledNewton(benchmark::State& ioState)
{
    std::vector<SampledNewton> solvers(kSets[0].begin(), kSets[0].end());
    std::vector<double> factors(kValues);
    for (auto _ : ioState)
        for (const SampledNewton& solver : solvers)
        {
            solver.Solve(Values().data(), factors.data());
            for (double& t : factors)
                t = (3 - 2 * t) * t * t;
            benchmark::DoNotOptimize(factors.data());
            benchmark::ClobberMemory();
        }
    ReportPerValue(ioState, solvers.size());
}
BENCHMARK(EaseOfSampledNewton);

using SingleForm = double (*)(double, double, double, double, double);
using BatchForm = void (*)(const double*, std::size_t, double, double, double, double, double*);

// Evaluation at 1024 places of one curve.
void Singly(benchmark::State& ioState, SingleForm inForm)
{
    std::vector<double> results(kValues);
    for (auto _ : ioState)
    {
        for (int i = 0; i < kValues; ++i)
            results[i] = inForm(Values()[i], 0.1, 0.9, -0.4, 1.2);
        benchmark::DoNotOptimize(results.data());
        benchmark::ClobberMemory();
    }
    ReportPerValue(ioState, 1);
}
void InBatches(benchmark::State& ioState, BatchForm inForm)
{
    std::vector<double> results(kValues);
    for (auto _ : ioState)
    {
        inForm(Values().data(), kValues, 0.1, 0.9, -0.4, 1.2, results.data());
        benchmark::DoNotOptimize(results.data());
        benchmark::ClobberMemory();
    }
    ReportPerValue(ioState, 1);
}
BENCHMARK_CAPTURE(Singly, Value, RK::BezierCore::GetBezierValue);
BENCHMARK_CAPTURE(InBatches, Value, RK::BezierCore::GetBezierValues);
BENCHMARK_CAPTURE(Singly, Deriv, RK::BezierCore::GetBezierDeriv);
BENCHMARK_CAPTURE(InBatches, Deriv, RK::BezierCore::GetBezierDerivs);

} // namespace
