#pragma once

#include <pixmill/resample/detail/doubling.h>

/// Rows of the Gaussian pyramid's steps on 8-bit and 16-bit pixels of `cn` interleaved channels: the pixels of
/// cv::pyrDown and cv::pyrUp at border type 4, exact integer sums rounded once, halves up.
///
/// P. J. Burt, E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code", 1983.
///
/// For use inside row loops, so that what follows a step can be fused with it. `scratch` belongs to one thread. `out`
/// overlaps neither the source rows nor the scratch.
namespace pixmill::detail {

/// An index of 0..n-1 for any other: mirrored at the first and last pixel, which stand once.
inline int mirrored(int i, int n)
{
    if (n == 1)
        return 0;
    while (i < 0 || i >= n)
        i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

/// The source row or column that the enlarging step reads for index i: mirrored before the first, repeated past the
/// last.
inline int expanded(int i, int n)
{
    return i < 0 ? mirrored(i, n) : inside(i, n);
}

/// Whether the steps take a picture of `from` pixels on one axis to one of `to`.
inline bool canReduce(int from, int to)
{
    return from > 0 && to > 0 && 2LL * to - from <= 2 && from - 2LL * to <= 2;
}

inline bool canExpand(int from, int to)
{
    const long long more = to - 2LL * from;
    return from > 0 && to > 0 && (to % 2 == 0 ? more == 0 : more == 1 || more == -1);
}

/// Ints of scratch that the rows below need for n source pixels of cn channels.
inline int pyramidScratch(int n, int cn)
{
    return (n + 5) * cn;
}

/// Ends the reducing step: the row from the sums of its five source rows, weighed 1 4 6 4 1 one below the other. Two
/// samples of room before `sums` and three behind them take the mirrored ends.
template <int cn, class T>
inline void pyrDownSums(int* sums, int n, T* out, int outCols)
{
    for (const int i : {-2, -1, n, n + 1, n + 2})
        for (int k = 0; k < cn; ++k)
            sums[i * cn + k] = sums[mirrored(i, n) * cn + k];
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < outCols; ++x)
        for (int k = 0; k < cn; ++k) {
            const int* s = sums + 2 * x * cn + k;
            finish<8>((s[-2 * cn] + s[2 * cn]) + 4 * (s[-cn] + s[cn]) + 6 * s[0], out[x * cn + k]);
        }
}

/// Destination row y of the reducing step: `rows` are source rows 2y - 2 .. 2y + 2, mirrored into the plane. `outCols`
/// is a size that `canReduce` admits.
template <int cn, class T>
inline void pyrDownRow(const T* const rows[5], int n, T* out, int outCols, int* __restrict scratch)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    int* const sums = scratch + 2 * cn;
    for (int i = 0; i < n * cn; ++i)
        sums[i] = (a[i] + e[i]) + 4 * (b[i] + d[i]) + 6 * c[i];
    pyrDownSums<cn>(sums, n, out, outCols);
}

/// Begins the enlarging step: for the n source pixels the sums of three rows one below the other, weighed 1 6 1, or 0 4
/// 4 for an odd row. One sample of room before `sums` and one behind them take the repeated ends. Every enlarged pixel
/// is then (s[-1] + s[1] + 6 s[0] + 32) / 64 above a source pixel, and (4 (s[0] + s[1]) + 32) / 64 between two.
template <int cn, class T>
inline void pyrUpSums(const T* const rows[3], bool odd, int n, int* __restrict sums)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2];
    if (odd)
        for (int i = 0; i < n * cn; ++i)
            sums[i] = 4 * (b[i] + c[i]);
    else
        for (int i = 0; i < n * cn; ++i)
            sums[i] = (a[i] + c[i]) + 6 * b[i];
    for (const int i : {-1, n})
        for (int k = 0; k < cn; ++k)
            sums[i * cn + k] = sums[expanded(i, n) * cn + k];
}

/// Destination row y of the enlarging step: `rows` are source rows y / 2 - 1, y / 2 and y / 2 + 1, by `expanded`; `odd`
/// tells which half of the pair y is. `outCols` is a size that `canExpand` admits.
///
/// Row 2h of a result that has 2h + 1 rows is not of this form: it repeats row 2h - 2.
template <int cn, class T>
inline void pyrUpRow(const T* const rows[3], bool odd, int n, T* out, int outCols, int* __restrict scratch)
{
    int* const sums = scratch + cn;
    pyrUpSums<cn>(rows, odd, n, sums);

    const auto even = [](const int* s) {
        T v;
        finish<6>((s[-cn] + s[cn]) + 6 * s[0], v);
        return v;
    };
    const auto between = [](const int* s) {
        T v;
        finish<6>(4 * (s[0] + s[cn]), v);
        return v;
    };
    const int whole = limit(outCols / 2, 0, n);
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < whole; ++x)
        for (int k = 0; k < cn; ++k) {
            const int* s = sums + x * cn + k;
            if (cn == 1) {
                storePair(out + 2 * x, even(s), between(s));
            } else {
                out[2 * x * cn + k] = even(s);
                out[(2 * x + 1) * cn + k] = between(s);
            }
        }
    for (int k = 0; k < cn && outCols % 2 != 0; ++k)
        out[(outCols - 1) * cn + k] = outCols < 2 * n ? even(sums + (n - 1) * cn + k) : out[(outCols - 2) * cn + k];
}

} // namespace pixmill::detail
