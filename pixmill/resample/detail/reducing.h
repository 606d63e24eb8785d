#pragma once

#include <pixmill/rows/doubling.h>

/// Rows of a plane reduced by an integer factor, as `downSizeNX` computes them: destination pixel X stands at
/// u = factor * X + factor / 2 - 1 in the source, which is a pixel for an even factor and halfway between two for an
/// odd one. Positions outside the plane repeat its edge. The same pixels as the resize primitive with factor 1 / factor
/// and shift 0.5 / factor.
namespace pixmill::resample {

using namespace rows;

/// The source pixel at or before u for destination index 0.
inline int firstPixelOf(int factor)
{
    return factor % 2 == 0 ? factor / 2 - 1 : (factor - 3) / 2;
}

/// out[X] = at(i, limited) with i = first + factor * X, where `at` reads i..i + reach through `limited`, which keeps an
/// index inside the row of n. `stride` is the factor where it is known to the compiler, else 0.
template <int stride, class T, class At>
inline void reduceRow(int factor, int first, int reach, int n, T* out, int outCols, const At& at)
{
    const int step = stride ? stride : factor;
    const int begin = limit(first >= 0 ? 0 : (step - 1 - first) / step, 0, outCols);
    const int last = n - 1 - reach - first; // the last first index that needs no limits, less `first`
    const int end = last < 0 ? begin : limit(last / step + 1, begin, outCols);
    const auto limited = [n](int i) { return inside(i, n); };
    const auto free = [](int i) { return i; };
    for (int x = 0; x < begin; ++x)
        out[x] = at(first + step * x, limited);
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = begin; x < end; ++x)
        out[x] = at(first + step * x, free);
    for (int x = end; x < outCols; ++x)
        out[x] = at(first + step * x, limited);
}

/// Every factor-th pixel of a row from `first` on.
template <int stride, class T>
inline void pickRow(const T* in, int factor, int first, int n, T* out, int outCols)
{
    reduceRow<stride>(factor, first, 0, n, out, outCols, [in](int i, const auto& limited) { return in[limited(i)]; });
}

/// Halfway pixels of an 8-bit or 16-bit plane by linear interpolation, between two neighbouring rows and between the
/// columns first + factor * X and the next.
template <int stride, class T>
inline void halfwayRowLinear(const T* above, const T* below, int factor, int first, int n, T* out, int outCols)
{
    reduceRow<stride>(factor, first, 1, n, out, outCols, [=](int i, const auto& limited) {
        const int a = limited(i), b = limited(i + 1);
        T v;
        finish<2>((above[a] + above[b]) + (below[a] + below[b]), v);
        return v;
    });
}

/// The same by cubic interpolation, from four neighbouring rows. `scratch` holds n ints.
template <int stride, class T>
inline void halfwayRowCubic(const T* const rows[4], int factor, int first, int n, T* out, int outCols,
                            int* __restrict scratch)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3];
    for (int i = 0; i < n; ++i)
        scratch[i] = cubicHalfway(a[i], b[i], c[i], d[i]);
    reduceRow<stride>(factor, first - 1, 3, n, out, outCols, [scratch](int i, const auto& limited) {
        T v;
        finish<8>(cubicHalfway(scratch[limited(i)], scratch[limited(i + 1)], scratch[limited(i + 2)],
                               scratch[limited(i + 3)]),
                  v);
        return v;
    });
}

} // namespace pixmill::resample
