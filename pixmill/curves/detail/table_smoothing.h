#pragma once

#include <pixmill/rows/flush.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

/// The recursive Gaussian over look-up tables: few long lines, so the chunks of a line run side by side as well, each
/// of which proves to have started from the right value.
namespace pixmill::curves {

using namespace rows;

inline void storePixel(uchar& out, float v)
{
    out = toPixel8(v);
}

inline void storePixel(ushort& out, float v)
{
    out = toPixel16(v);
}

inline bool sameBits(const float& a, const float& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// A sweep over each of L lines of n samples, the sweep's own end first, each line in K chunks at once.
///
/// A chunk does not know the value the sweep comes in with, so it starts some way ahead from a guess, whose error dies
/// away; a chunk that still came out otherwise than the true value demands is then done again from its start, as far as
/// the two differ. So the result is that of the one sweep to the bit, whatever the guess.
///
/// @param read    read(i, l) is the sample the sweep takes in; not from `out`.
/// @param out     Receives sample i of line l at out[i * L + l].
/// @param ahead   Samples that a chunk starts ahead, less than n / K.
template <int L, int K, bool forward, class Read>
inline void sweepChunks(float* out, int n, const float (&nu)[L], const float (&boundary)[L], const Read& read,
                        int ahead)
{
    const int length = n / K;
    const auto at = [=](int i) { return forward ? i : n - 1 - i; };
    float value[K][L], guess[K][L], feedback[L];
    for (int l = 0; l < L; ++l) {
        feedback[l] = nu[l];
        for (int k = 1; k < K; ++k)
            value[k][l] = read(at(k * length - ahead - 1), l) * boundary[l];
        out[at(0) * L + l] = value[0][l] = read(at(0), l) * boundary[l];
    }
    for (int i = -ahead; i < 0; ++i)
        for (int k = 1; k < K; ++k)
            for (int l = 0; l < L; ++l)
                value[k][l] = read(at(k * length + i), l) + feedback[l] * value[k][l];
    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            guess[k][l] = value[k][l];
            out[at(k * length) * L + l] = value[k][l] = read(at(k * length), l) + feedback[l] * value[k][l];
        }
    for (int i = 1; i < length; ++i)
        for (int k = 0; k < K; ++k)
            for (int l = 0; l < L; ++l)
                out[at(k * length + i) * L + l] = value[k][l] = read(at(k * length + i), l) + feedback[l] * value[k][l];

    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            float v = out[at(k * length - 1) * L + l];
            if (sameBits(v, guess[k][l]))
                continue;
            for (int i = k * length; i < (k + 1) * length; ++i) {
                v = read(at(i), l) + feedback[l] * v;
                float& o = out[at(i) * L + l];
                if (sameBits(v, o))
                    break;
                o = v;
            }
        }
}

/// The coefficients of L lines.
template <int L>
struct LineGains {
    float nu[L], boundary[L], post[L];
};

/// Both pairs of sweeps, each line as a whole: the first reads the tables and the last writes them.
template <int L, class T>
inline void smoothWhole(T* const (&tables)[L], int n, const LineGains<L>& gains)
{
    AlignedArray<float> lines(std::size_t(n) * L);
    float* data = lines.data();
    const auto fromTable = [=](long i, int l) { return float(tables[l][i]); };
    const auto toTable = [=](long i, int l, float v) { storePixel(tables[l][i], v * gains.post[l]); };
    const auto read = [data](long i, int l) { return data[i * L + l]; };
    const auto write = [data](long i, int l, float v) { data[i * L + l] = v; };
    sweepLines<L>(data, L, n, gains.nu, gains.boundary, fromTable, write);
    sweepLines<L>(data, L, n, gains.nu, gains.boundary, read, toTable);
}

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
        const int deep = int(std::min(-90 / std::log2(nu), 1e6f));
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
template <int L, bool forward, class Read>
inline void restoreTiny(float* out, int n, int l, float nu, float boundary, const Read& read, int first)
{
    using S = SmallUnits;
    const auto at = [=](int i) { return forward ? i : n - 1 - i; };
    const double feedback = nu;
    double sample = S::of(read(at(first), l));
    double v = first == 0 ? S::rounded(sample * boundary)
                          : S::rounded(sample + S::rounded(feedback * S::of(out[at(first - 1) * L + l])));
    bool steady = false; // the last step changed nothing; nor does the next one with the same sample
    for (int i = first;;) {
        float& o = out[at(i) * L + l];
        const float result = S::toFloat(v);
        if (result >= kTiny && sameBits(result, o))
            return;
        o = result;
        if (++i == n)
            return;
        const double next = S::of(read(at(i), l)), before = v;
        if (steady && next == sample)
            continue;
        v = S::rounded(next + S::rounded(feedback * v));
        steady = v == before && next == sample;
        sample = next;
    }
}

/// The same for both ends of a sweep where the table had zeros; the far end of the last sweep rounds to 0 anyway.
template <int L, bool forward, class Read>
inline void restoreEnds(float* out, int n, int l, float nu, float boundary, const Read& read, const ZeroEnds& zeros,
                        bool last)
{
    const auto at = [=](int i) { return forward ? i : n - 1 - i; };
    const int front = forward ? zeros.low : zeros.high, back = forward ? zeros.high : zeros.low;
    // In front the sweep rises from its start; unless it has nothing but zeros to start from, which are right as they
    // are.
    if (front > zeros.deep && out[at(0) * L + l] < kTiny && read(at(front - 1), l) != 0)
        restoreTiny<L, forward>(out, n, l, nu, boundary, read, 0);
    if (last)
        return;
    int first = n - back + zeros.deep;
    while (first < n && !(out[at(first) * L + l] < kTiny))
        ++first;
    if (first < n)
        restoreTiny<L, forward>(out, n, l, nu, boundary, read, first);
}

/// One sweep over L tables, as strict arithmetic has it.
template <int K, bool forward, int L, class Read>
__attribute__((noinline)) void sweepTables(float* out, int n, const LineGains<L>& gains, const ZeroEnds (&zeros)[L],
                                           const Read& read, int ahead, bool last = false)
{
    {
        const FlushSubnormals flush;
        sweepChunks<L, K, forward>(out, n, gains.nu, gains.boundary, read, ahead);
    }
    for (int l = 0; l < L; ++l)
        restoreEnds<L, forward>(out, n, l, gains.nu[l], gains.boundary[l], read, zeros[l], last);
}

/// Both pairs of sweeps, each line in K chunks.
template <int K, int L, class T>
inline void smoothChunks(T* const (&tables)[L], int n, const LineGains<L>& gains, int ahead)
{
    AlignedArray<float> lines(std::size_t(n) * L * 2); // one block: two would go back to the system every time
    float *a = lines.data(), *b = a + std::size_t(n) * L;
    ZeroEnds zeros[L];
    for (int l = 0; l < L; ++l)
        zeros[l] = ZeroEnds::of(tables[l], n, gains.nu[l]);
    const auto fromTable = [=](long i, int l) { return float(tables[l][i]); };
    const auto readA = [a](long i, int l) { return a[i * L + l]; };
    const auto readB = [b](long i, int l) { return b[i * L + l]; };
    sweepTables<K, true>(a, n, gains, zeros, fromTable, ahead);
    sweepTables<K, false>(b, n, gains, zeros, readA, ahead);
    sweepTables<K, true>(a, n, gains, zeros, readB, ahead);
    sweepTables<K, false>(b, n, gains, zeros, readA, ahead, true);
    for (int l = 0; l < L; ++l) {
        const auto store = [table = tables[l], gain = gains.post[l], line = b + l](int first, int end) {
            for (int i = first; i < end; ++i)
                storePixel(table[i], line[i * L] * gain);
        };
        runSpan(store, 0, n);
    }
}

/// Smooths L tables of n 8-bit or 16-bit entries, side by side, by two pairs of sweeps, each in float from end to end
/// and rounded to nearest even at last. Zeros lie at one end
/// of a table if it has any.
template <int L, class T>
void smoothTables(T* const (&tables)[L], int n, const float (&sigmas)[L])
{
    LineGains<L> gains;
    for (int l = 0; l < L; ++l) {
        const auto gauss = RecursiveGaussian::make<double>(sigmas[l], 2);
        gains.nu[l] = gauss.nu;
        gains.boundary[l] = gauss.boundary;
        gains.post[l] = gauss.post;
    }
    // After this many samples a guess is mostly forgotten: first its size, then the chance that last bits still differ.
    const float ahead = 12 / (1 - *std::max_element(gains.nu, gains.nu + L));
    constexpr int most = L > 2 ? 2 : 4; // chains at once, before the processor has no room for more
    if (n % 4 == 0 && ahead < 0.125f * float(n))
        smoothChunks<most>(tables, n, gains, int(ahead));
    else if (n % 2 == 0 && ahead < 0.25f * float(n))
        smoothChunks<2>(tables, n, gains, int(ahead));
    else
        smoothWhole(tables, n, gains);
}

} // namespace pixmill::curves
