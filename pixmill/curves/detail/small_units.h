#pragma once

#include <pixmill/curves/detail/chunked_sweep.h>
#include <pixmill/rows/logarithm.h>

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <cstring>
#include <iterator>

/// Numbers below 2^-126, which the processor is slow with: a sweep takes them as 0, and what that made wrong is then
/// put right in arithmetic of another kind.
namespace pixmill::curves {

/// No sum at or above this depends on whether numbers below 2^-126 were taken as 0.
constexpr float kTiny = 0x1p-100f;

/// The zeros a table begins and ends with, where they are so many that a sweep dies away to tiny numbers there. Such
/// numbers cost a hundred times the others, and a sweep never gets out of them: times nu, the last ones round to
/// themselves.
struct ZeroEnds {
    int low, high;
    int deep; ///< A sweep takes at least so many samples from 1 to kTiny.

    template <class T>
    static ZeroEnds of(const T* table, int n, float nu)
    {
        // From 1 to 2^-90: kTiny comes later, however this rounds.
        const float samples = -62.4f / rows::logarithm(nu); // of what never dies away infinite, negative or none
        const int deep = samples >= 0 && samples < 1e6f ? int(samples) : 1'000'000;
        const auto zeros = [n](auto end) {
            return *end != 0 ? 0 : int(std::partition_point(end, end + n, [](T v) { return v == 0; }) - end);
        };
        return {zeros(table), zeros(std::reverse_iterator<const T*>(table + n)), deep};
    }
};

/// Single precision in units of 2^-149, its smallest number, held as doubles: for numbers around 2^-126, where the
/// processor's own single precision takes a hundred times as long.
struct SmallUnits {
    static double of(float v)
    {
        std::int32_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        return bits < 1 << 23 ? double(bits) : double(v) * 0x1p149;
    }

    static float toFloat(double units)
    {
        if (!(units < 0x1p23))
            return float(units * 0x1p-149);
        const std::int32_t bits = std::int32_t(units);
        float v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }

    /// The exact result rounded as single precision has it: to 24 bits, or to whole units.
    static double rounded(double exact)
    {
        constexpr double wholes = 0x1.8p52;
        return exact < 0x1p23 ? (exact + wholes) - wholes : double(float(exact * 0x1p-149)) * 0x1p149;
    }
};

/// Puts right what a sweep of sweepChunks over line `l` with FlushSubnormals did with tiny numbers: from sample `first`
/// on, counted in the sweep's direction, until a result comes out the same and not tiny.
template <int L, bool forward, class In>
inline void restoreTiny(const In* in, float* out, int n, int l, float nu, float boundary, int first)
{
    using S = SmallUnits;
    const auto at = [=](int i) { return (forward ? i : n - 1 - i) * L + l; };
    const double feedback = nu;
    float sample = in[at(first)];
    double v = first == 0 ? S::rounded(S::of(sample) * boundary)
                          : S::rounded(S::of(sample) + S::rounded(feedback * S::of(out[at(first - 1)])));
    bool steady = false; // the last step changed nothing; nor does the next one with the same sample
    for (int i = first;;) {
        const float result = S::toFloat(v);
        do {
            float& o = out[at(i)];
            if (result >= kTiny && sameBits(result, o))
                return;
            o = result;
            if (++i == n)
                return;
        } while (steady && in[at(i)] == sample);
        const double before = v, fed = S::rounded(feedback * v);
        const float next = in[at(i)];
        v = next == 0 ? fed : S::rounded(S::of(next) + fed);
        steady = v == before && next == sample;
        sample = next;
    }
}

/// The same for both ends of a sweep where the table had zeros; the far end of the last sweep rounds to 0 anyway.
template <int L, bool forward, class In>
inline void restoreEnds(const In* in, float* out, int n, int l, float nu, float boundary, const ZeroEnds& zeros,
                        bool last)
{
    const auto at = [=](int i) { return (forward ? i : n - 1 - i) * L + l; };
    const int front = forward ? zeros.low : zeros.high, back = forward ? zeros.high : zeros.low;
    // In front the sweep rises from its start; unless it has nothing but zeros to start from, which are right as they
    // are.
    if (front > zeros.deep && out[at(0)] < kTiny && in[at(front - 1)] != 0)
        restoreTiny<L, forward>(in, out, n, l, nu, boundary, 0);
    if (last)
        return;
    // Dying away over zeros, a sweep is right as long as it is not below 2^-126 itself.
    const auto isRight = [=](float sample, float v) { return v >= (sample == 0 ? FLT_MIN : kTiny); };
    int first = n - back + zeros.deep;
    while (first < n && isRight(in[at(first)], out[at(first)]))
        ++first;
    if (first < n)
        restoreTiny<L, forward>(in, out, n, l, nu, boundary, first);
}

} // namespace pixmill::curves
