#pragma once

#include <pixmill/rows/pixel.h>
#include <pixmill/rows/samples.h>

#include <cstdint>
#include <cstring>

/// Rows of a plane enlarged to twice its size, as `upSize2X` computes them: source pixel i stands at 2i, and 2i + 1
/// lies halfway to the next, which at the end is the last pixel again. Surplus columns repeat column 2n - 1.
///
/// For use inside row loops, so that a doubled plane need not exist. 8-bit and 16-bit sums are exact 32-bit integers
/// rounded once, halves up: the same pixels as the resize primitive with factor 2 and shift -0.5.
///
/// Destination row y comes from source rows near y / 2: it is row y / 2 itself for an even y, and lies between rows y /
/// 2 and y / 2 + 1 for an odd one; rows outside the plane repeat its edge.
namespace pixmill::rows {

/// Limits a row or column index to 0..n-1.
inline int inside(int i, int n)
{
    return limit(i, 0, n - 1);
}

/// Sum / 2^bits, halves up, in the pixel's range.
template <int bits>
inline void finish(int sum, uchar& out)
{
    out = clamp8((sum + (1 << bits >> 1)) >> bits);
}

template <int bits>
inline void finish(int sum, ushort& out)
{
    out = clamp16((sum + (1 << bits >> 1)) >> bits);
}

template <int bits>
inline void finish(double sum, float& out)
{
    out = float(sum * (1.0 / (1 << bits)));
}

/// Two neighbouring pixels as one word: packed so, doubling needs no shuffles.
inline void storePair(uchar* out, uchar even, uchar odd)
{
    const auto pair = std::uint16_t(even | odd << 8);
    std::memcpy(out, &pair, sizeof pair);
}

inline void storePair(ushort* out, ushort even, ushort odd)
{
    const auto pair = std::uint32_t(even) | std::uint32_t(odd) << 16;
    std::memcpy(out, &pair, sizeof pair);
}

inline void storePair(float* out, float even, float odd)
{
    out[0] = even;
    out[1] = odd;
}

/// Writes even(i) at 2i and odd(i - 1, i, i + 1, i + 2) at 2i + 1 for the n source pixels: the four indices that an
/// interpolation may read, limited to the row.
template <class T, class Even, class Odd>
inline void interleaveRow(int n, T* out, int outCols, const Even& even, const Odd& odd)
{
    const auto edge = [&](int i) {
        const T o = odd(inside(i - 1, n), i, inside(i + 1, n), inside(i + 2, n));
        out[2 * i] = even(i);
        if (2 * i + 1 < outCols)
            out[2 * i + 1] = o;
    };
    const int held = limit(outCols / 2 + outCols % 2, 0, n); // source pixels whose even pixel is wanted
    const int innerEnd = limit(outCols / 2, 0, n - 2);
    if (held > 0)
        edge(0);
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int i = 1; i < innerEnd; ++i)
        storePair(out + 2 * i, even(i), odd(i - 1, i, i + 1, i + 2));
    for (int i = limit(innerEnd, 1, n); i < held; ++i)
        edge(i);
    for (int x = 2 * n; x < outCols; ++x)
        out[x] = out[2 * n - 1];
}

/// The exact sum type of a pixel type.
template <class T>
struct SumOf {
    using type = int;
};

template <>
struct SumOf<float> {
    using type = double;
};

/// One row of a plane doubled by linear interpolation: `above` itself, or, when `between`, the row halfway from `above`
/// to `below`. `n` source pixels; `outCols` may be less than 2n, or more. `out` overlaps neither.
template <class T>
inline void doubleRowLinear(const T* above, const T* below, bool between, int n, T* out, int outCols)
{
    using Sum = typename SumOf<T>::type;
    if (between)
        interleaveRow(
            n, out, outCols,
            [=](int i) {
                T v;
                finish<1>(Sum(above[i]) + below[i], v);
                return v;
            },
            [=](int, int i, int j, int) {
                T v;
                finish<2>((Sum(above[i]) + above[j]) + (Sum(below[i]) + below[j]), v);
                return v;
            });
    else
        interleaveRow(
            n, out, outCols, [=](int i) { return above[i]; },
            [=](int, int i, int j, int) {
                T v;
                finish<1>(Sum(above[i]) + above[j], v);
                return v;
            });
}

/// 16 times the value halfway from b to c on the third-degree polynomial through four equally spaced samples.
inline int cubicHalfway(int a, int b, int c, int d)
{
    return 9 * (b + c) - (a + d);
}

/// The same in the resize primitive's order of sums, as doubles are not always exact.
inline double cubicHalfway(double a, double b, double c, double d)
{
    return ((9 * b - a) + 9 * c) - d;
}

/// One row of an 8-bit or 16-bit plane doubled by cubic interpolation: `rows[1]` itself, or, when `between`, the row
/// halfway from `rows[1]` to `rows[2]`. `rows` are four neighbouring source rows; only `rows[1]` is read otherwise.
/// `scratch` holds n ints. `out` overlaps none of them.
template <class T>
inline void doubleRowCubic(const T* const rows[4], bool between, int n, T* out, int outCols, int* __restrict scratch)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3];
    if (between) {
        for (int i = 0; i < n; ++i)
            scratch[i] = cubicHalfway(a[i], b[i], c[i], d[i]);
        interleaveRow(
            n, out, outCols,
            [=](int i) {
                T v;
                finish<4>(scratch[i], v);
                return v;
            },
            [=](int h, int i, int j, int k) {
                T v;
                finish<8>(cubicHalfway(scratch[h], scratch[i], scratch[j], scratch[k]), v);
                return v;
            });
    } else
        interleaveRow(
            n, out, outCols, [=](int i) { return b[i]; },
            [=](int h, int i, int j, int k) {
                T v;
                finish<4>(cubicHalfway(b[h], b[i], b[j], b[k]), v);
                return v;
            });
}

/// For rows of floats: 16 times the halfway values right of each of the row's n pixels.
inline void halfwaySums(const float* in, int n, double* __restrict out)
{
    const auto at = [in, n](int i) {
        return cubicHalfway(double(in[inside(i - 1, n)]), double(in[i]), double(in[inside(i + 1, n)]),
                            double(in[inside(i + 2, n)]));
    };
    for (int i = 1; i < n - 2; ++i)
        out[i] = cubicHalfway(double(in[i - 1]), double(in[i]), double(in[i + 1]), double(in[i + 2]));
    out[0] = at(0);
    for (int i = limit(n - 2, 0, n); i < n; ++i)
        out[i] = at(i);
}

/// doubleRowCubic for floats: `sums` are the `halfwaySums` of the four rows, as sums along x come first.
inline void doubleRowCubic(const float* const rows[4], const double* const sums[4], bool between, int n, float* out,
                           int outCols)
{
    const float *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3];
    const double *p = sums[0], *q = sums[1], *r = sums[2], *s = sums[3];
    if (between)
        interleaveRow(
            n, out, outCols,
            [=](int i) { return float(cubicHalfway(double(a[i]), double(b[i]), double(c[i]), double(d[i])) / 16); },
            [=](int, int i, int, int) { return float(cubicHalfway(p[i], q[i], r[i], s[i]) / 256); });
    else
        interleaveRow(
            n, out, outCols, [=](int i) { return b[i]; }, [=](int, int i, int, int) { return float(q[i] / 16); });
}

} // namespace pixmill::rows
