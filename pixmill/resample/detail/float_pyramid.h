#pragma once

#include <pixmill/rows/mirrored.h>
#include <pixmill/rows/pyramid.h>

#include <algorithm>
#include <type_traits>

/// Rows of the Gaussian pyramid's steps on floats and doubles of any number of interleaved channels, along a row first
/// and then down the columns. Sums of floats are rounded, so their order is part of the step: it is the one that
/// cv::pyrDown and cv::pyrUp have on x86-64, here on every processor.
namespace pixmill::resample {

using namespace rows;

/// The weights 1 4 6 4 1 on samples from `stride` to `stride`, from the middle outward and the ends one by one.
template <class T>
inline T weighedOneByOne(T a, T b, T c, T d, T e)
{
    return c * 6 + (b + d) * 4 + a + e;
}

/// The same with the ends added up first.
template <class T>
inline T weighedInPairs(T a, T b, T c, T d, T e)
{
    return c * 6 + ((b + d) * 4 + (a + e));
}

/// How many pixels of the reducing step, from the second of the `inner` ones on, are weighed in pairs.
template <class T>
inline int pixelsInPairs(int inner, int channels)
{
    if (std::is_same_v<T, double>)
        return channels == 1 ? inner & ~1 : 0;
    const int all[] = {inner & ~3, inner & ~3, std::max(inner - 1, 0), inner};
    return channels <= 4 ? all[channels - 1] : 0;
}

/// Reduces n pixels along a row to `outCols`, unscaled. `Channels` is a number, or one that the compiler knows.
template <class T, class Channels>
inline void pyrDownAlong(const T* __restrict in, int n, Channels channels, T* __restrict out, int outCols)
{
    const auto byOne = [=](int from, int to) {
        for (int x = from; x < to; ++x)
            for (int k = 0; k < channels; ++k) {
                const auto at = [=](int i) { return in[mirrored(2 * x + i, n) * channels + k]; };
                out[x * channels + k] = weighedOneByOne(at(-2), at(-1), at(0), at(1), at(2));
            }
    };
    const int inner = std::min(n < 3 ? 1 : (n - 3) / 2 + 1, outCols) - 1;
    const int end = 1 + pixelsInPairs<T>(inner, channels);
    byOne(0, 1);
    for (int x = 1; x < end; ++x)
        for (int k = 0; k < channels; ++k) {
            const T* s = in + 2 * x * channels + k;
            out[x * channels + k] = weighedInPairs(s[-2 * channels], s[-channels], s[0], s[channels], s[2 * channels]);
        }
    byOne(end, outCols);
}

/// The reducing step's row from five that went through the above, of n samples each.
template <class T>
inline void pyrDownAcross(const T* const rows[5], T* out, int n)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    const int fours = std::is_same_v<T, double> ? 0 : n & ~3;
    for (int x = 0; x < fours; ++x)
        out[x] = (((b[x] + d[x]) + c[x]) * 4 + ((a[x] + e[x]) + (c[x] + c[x]))) * T(1.0 / 256);
    for (int x = fours; x < n; ++x)
        out[x] = weighedOneByOne(a[x], b[x], c[x], d[x], e[x]) * T(1.0 / 256);
}

/// Enlarges n pixels along a row to 2n + 1, unscaled: the last one stands where the result has an odd column more.
template <class T, class Channels>
inline void pyrUpAlong(const T* __restrict in, int n, Channels channels, T* __restrict out)
{
    const int step = channels, last = (n - 1) * step;
    for (int k = 0; k < step; ++k) {
        out[k] = n == 1 ? in[k] * 8 : in[k] * 6 + in[step + k] * 2;
        out[2 * last + k] = n == 1 ? out[k] : in[last - step + k] + in[last + k] * 7;
        out[2 * last + step + k] = out[2 * last + 2 * step + k] = in[last + k] * 8;
    }
    for (int x = 1; x < n; ++x)
        for (int k = 0; k < channels; ++k) {
            const T* s = in + x * channels + k;
            out[(2 * x - 1) * channels + k] = (s[-channels] + s[0]) * 4;
            if (x < n - 1)
                out[2 * x * channels + k] = s[-channels] + s[0] * 6 + s[channels];
        }
}

/// The enlarging step's row from three that went through the above, of n samples each; `odd` tells which of a pair.
template <class T>
inline void pyrUpAcross(const T* const rows[3], bool odd, T* out, int n)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2];
    if (odd)
        for (int x = 0; x < n; ++x)
            out[x] = (b[x] + c[x]) * 4 * T(1.0 / 64);
    else
        for (int x = 0; x < n; ++x)
            out[x] = (b[x] * 6 + a[x] + c[x]) * T(1.0 / 64);
}

} // namespace pixmill::resample
