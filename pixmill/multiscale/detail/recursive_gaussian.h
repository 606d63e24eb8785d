#pragma once

#include <pixmill/core/detail/aligned.h>
#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <xmmintrin.h>

/// The recursive Gaussian: pairs of first-order sweeps, forward and back, whose cost does not depend on sigma.
///
/// Method: L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", 1994.
/// Each sweep is a chain of single-precision sums, so its order is its result. Speed comes from running chains side by
/// side: independent lines, and chunks of a line that prove to have started from the right value.
namespace pixmill::detail {

/// base to a power that is a whole number, by squaring.
template <class Real>
Real wholePower(Real base, int exponent)
{
    unsigned n = exponent < 0 ? 0u - unsigned(exponent) : unsigned(exponent);
    Real result = n % 2 ? base : Real(1);
    while (n >>= 1) {
        base *= base;
        if (n % 2)
            result *= base;
    }
    return exponent < 0 ? Real(1) / result : result;
}

struct RecursiveGaussian {
    float nu;       ///< Feedback of a sweep.
    float boundary; ///< Gain of the sample a sweep starts from: the line goes on with that value beyond its end.
    float post;     ///< Gain of every sample once all sweeps of all axes are done.

    /// For a Gaussian of `sigma` made of `steps` pairs of sweeps along each of `axes` axes.
    ///
    /// The square of sigma is formed in float, all that follows in Real, narrowed at the end.
    template <class Real>
    static RecursiveGaussian make(float sigma, int steps, int axes = 1)
    {
        const Real lambda = Real(sigma * sigma) / Real(2 * steps);
        const Real dnu = (1 + 2 * lambda - std::sqrt(1 + 4 * lambda)) / (2 * lambda);
        return {float(dnu), float(1 / (1 - dnu)), float(wholePower<Real>(dnu / lambda, steps * axes))};
    }
};

/// One forward and one backward sweep over each of L lines of n samples. Each line has its own coefficients.
///
/// @param data   Holds sample i of line l at data[i * stride + l] between the sweeps.
/// @param read   read(i, l) is the sample the forward sweep takes in, as a float.
/// @param write  write(i, l, v) takes the result of the backward sweep, from the last sample to the first.
template <int L, class Read, class Write>
inline void sweepLines(float* data, std::ptrdiff_t stride, long n, const float (&nu)[L], const float (&boundary)[L],
                       const Read& read, const Write& write)
{
    if (n < 1)
        return;
    float last[L], feedback[L]; // of the function's own, so that no store to the lines can change them
    for (int l = 0; l < L; ++l) {
        feedback[l] = nu[l];
        data[l] = last[l] = read(0, l) * boundary[l];
    }
    float* p = data;
    for (long i = 1; i < n; ++i) {
        p += stride;
        for (int l = 0; l < L; ++l)
            p[l] = last[l] = read(i, l) + feedback[l] * last[l];
    }
    for (int l = 0; l < L; ++l)
        write(n - 1, l, last[l] = last[l] * boundary[l]);
    for (long i = n - 2; i >= 0; --i) {
        p -= stride;
        for (int l = 0; l < L; ++l)
            write(i, l, last[l] = p[l] + feedback[l] * last[l]);
    }
}

/// The same in place.
template <int L>
inline void sweepLines(float* data, std::ptrdiff_t stride, long n, const float (&nu)[L], const float (&boundary)[L])
{
    const auto read = [=](long i, int l) { return data[i * stride + l]; };
    const auto write = [=](long i, int l, float v) { data[i * stride + l] = v; };
    sweepLines<L>(data, stride, n, nu, boundary, read, write);
}

/// The same in place for one line.
inline void sweepLine(float* data, std::ptrdiff_t stride, long n, float nu, float boundary)
{
    sweepLines<1>(data, stride, n, {nu}, {boundary});
}

/// Lets the processor take results below 1e-37 as 0 on this thread, as long as it lives.
///
/// The tail of a sweep over zeros runs into such numbers, which cost a hundred times the others. For filters that end
/// in whole numbers alone: they round away many orders of magnitude more.
class FlushTiny {
public:
    FlushTiny() : m_before(_mm_getcsr()) { _mm_setcsr(m_before | 0x8040); }
    ~FlushTiny() { _mm_setcsr(m_before); }
    FlushTiny(const FlushTiny&) = delete;
    FlushTiny& operator=(const FlushTiny&) = delete;

private:
    unsigned m_before;
};

inline void storePixel(uchar& out, float v)
{
    out = toPixel8(v);
}

inline void storePixel(ushort& out, float v)
{
    out = toPixel16(v);
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

    const auto differ = [](const float& a, const float& b) { return std::memcmp(&a, &b, sizeof a) != 0; };
    for (int k = 1; k < K; ++k)
        for (int l = 0; l < L; ++l) {
            float v = out[at(k * length - 1) * L + l];
            if (!differ(v, guess[k][l]))
                continue;
            for (int i = k * length; i < (k + 1) * length; ++i) {
                v = read(at(i), l) + feedback[l] * v;
                float& o = out[at(i) * L + l];
                if (!differ(v, o))
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

/// Both pairs of sweeps, each line in K chunks.
template <int K, int L, class T>
inline void smoothChunks(T* const (&tables)[L], int n, const LineGains<L>& gains, int ahead)
{
    AlignedArray<float> lines(std::size_t(n) * L * 2); // one block: two would go back to the system every time
    float *a = lines.data(), *b = a + std::size_t(n) * L;
    const auto fromTable = [=](long i, int l) { return float(tables[l][i]); };
    const auto readA = [a](long i, int l) { return a[i * L + l]; };
    const auto readB = [b](long i, int l) { return b[i * L + l]; };
    sweepChunks<L, K, true>(a, n, gains.nu, gains.boundary, fromTable, ahead);
    sweepChunks<L, K, false>(b, n, gains.nu, gains.boundary, readA, ahead);
    sweepChunks<L, K, true>(a, n, gains.nu, gains.boundary, readB, ahead);
    sweepChunks<L, K, false>(b, n, gains.nu, gains.boundary, readA, ahead);
    for (int l = 0; l < L; ++l) {
        const auto store = [table = tables[l], gain = gains.post[l], line = b + l](int first, int end) {
            for (int i = first; i < end; ++i)
                storePixel(table[i], line[i * L] * gain);
        };
        runSpan(store, 0, n);
    }
}

/// Smooths L tables of n 8-bit or 16-bit entries, side by side, by two pairs of sweeps, each in float from end to end
/// and rounded to nearest even at last.
template <int L, class T>
void smoothTables(T* const (&tables)[L], int n, const float (&sigmas)[L])
{
    const FlushTiny flush;
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

} // namespace pixmill::detail
