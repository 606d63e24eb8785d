#pragma once

#include <pixmill/curves/detail/chunked_sweep.h>
#include <pixmill/curves/detail/small_units.h>
#include <pixmill/rows/flush.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstddef>

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

/// The coefficients of L lines. Those from `used` on only fill a vector; what comes out of them is not read.
template <int L>
struct LineGains {
    float nu[L], boundary[L], post[L];
    int used = L;
};

/// One sweep over L tables, as strict arithmetic has it.
template <int K, bool forward, int L, class In>
__attribute__((noinline)) void sweepTables(const In* in, float* out, int n, const LineGains<L>& gains,
                                           const ZeroEnds (&zeros)[L], int ahead, bool last = false)
{
    {
        const FlushSubnormals flush;
        sweepChunks<L, K, forward>(in, out, n, gains.nu, gains.boundary, ahead);
    }
    for (int l = 0; l < gains.used; ++l)
        restoreEnds<L, forward>(in, out, n, l, gains.nu[l], gains.boundary[l], zeros[l], last);
}

/// Both pairs of sweeps, each line in K chunks.
template <int K, int L, class T>
inline void smoothChunks(T* const (&tables)[L], int n, const LineGains<L>& gains, int ahead)
{
    AlignedArray<float> lines(std::size_t(n) * L * 2); // one block: two would go back to the system every time
    float *a = lines.data(), *b = a + std::size_t(n) * L;
    ZeroEnds zeros[L];
    for (int l = 0; l < gains.used; ++l)
        zeros[l] = ZeroEnds::of(tables[l], n, gains.nu[l]);
    if constexpr (L == 1) {
        sweepTables<K, true>(tables[0], b, n, gains, zeros, ahead);
    } else {
        const auto load = [&tables, a](int i, int end) {
            for (; i < end; ++i)
                for (int l = 0; l < L; ++l)
                    a[i * L + l] = float(tables[l][i]);
        };
        runSpan(load, 0, n);
        sweepTables<K, true>(a, b, n, gains, zeros, ahead);
    }
    sweepTables<K, false>(b, a, n, gains, zeros, ahead);
    sweepTables<K, true>(a, b, n, gains, zeros, ahead);
    sweepTables<K, false>(b, a, n, gains, zeros, ahead, true);
    for (int l = 0; l < gains.used; ++l) {
        const auto store = [table = tables[l], gain = gains.post[l], line = a + l](int first, int end) {
            for (int i = first; i < end; ++i)
                storePixel(table[i], line[i * L] * gain);
        };
        runSpan(store, 0, n);
    }
}

/// Smooths L tables of n 8-bit or 16-bit entries, side by side, by two pairs of sweeps, each in float from end to end
/// and rounded to nearest even at last. Zeros lie at one end of a table if it has any. Tables from `used` on only fill
/// a vector; they are read, not written.
template <int L, class T>
void smoothTables(T* const (&tables)[L], int n, const float (&sigmas)[L], int used = L)
{
    LineGains<L> gains;
    gains.used = used;
    for (int l = 0; l < L; ++l) {
        const auto gauss = RecursiveGaussian::make<double>(sigmas[l], 2);
        gains.nu[l] = gauss.nu;
        gains.boundary[l] = gauss.boundary;
        gains.post[l] = gauss.post;
    }
    // After this many samples a guess is mostly forgotten: first its size, then the chance that last bits still differ.
    const float ahead = 12 / (1 - *std::max_element(gains.nu, gains.nu + L));
    if (n % 4 == 0 && ahead < 0.125f * float(n))
        smoothChunks<4>(tables, n, gains, int(ahead));
    else if (n % 2 == 0 && ahead < 0.25f * float(n))
        smoothChunks<2>(tables, n, gains, int(ahead));
    else
        smoothChunks<1>(tables, n, gains, 0);
}

} // namespace pixmill::curves
