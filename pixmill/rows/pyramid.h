#pragma once

#include <pixmill/rows/doubling.h>
#include <pixmill/rows/mirrored.h>

#include <opencv2/core/mat.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// Rows of the Gaussian pyramid's steps on 8-bit and 16-bit pixels of `cn` interleaved channels: the pixels of
/// cv::pyrDown and cv::pyrUp at border type 4, exact integer sums rounded once, halves up.
///
/// P. J. Burt, E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code", 1983.
///
/// For use inside row loops, so that what follows a step can be fused with it. `scratch` belongs to one thread. `out`
/// overlaps neither the source rows nor the scratch.
namespace pixmill::rows {

/// The source row or column that the enlarging step reads for index i: mirrored before the first, repeated past the
/// last.
inline int expanded(int i, int n)
{
    return i < 0 ? mirrored(i, n) : inside(i, n);
}

/// The three source rows that the enlarging step reads for destination row y, of `height` that `row(i)` gives.
template <class T, class Row>
inline std::array<const T*, 3> expandedRows(int y, int height, const Row& row)
{
    return {row(expanded(y / 2 - 1, height)), row(expanded(y / 2, height)), row(expanded(y / 2 + 1, height))};
}

template <class T>
inline std::array<const T*, 3> expandedRows(const cv::Mat& plane, int y)
{
    return expandedRows<T>(y, plane.rows, [&](int i) { return plane.ptr<T>(i); });
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

/// What holds the sums of a pixel type: 256 times a pixel at the most. No result needs a clamp.
template <class T>
struct PyramidSum;

template <>
struct PyramidSum<uchar> {
    using type = ushort;
};

template <>
struct PyramidSum<ushort> {
    using type = int;
};

/// Sums of scratch that the rows below need for n source pixels of cn channels.
inline std::size_t pyramidScratch(int n, int cn)
{
    return std::size_t(n + 6) * cn;
}

/// The reducing step's weights, 1 4 6 4 1.
inline int weighted(int a, int b, int c, int d, int e)
{
    return (a + e) + 4 * (b + d) + 6 * c;
}

/// One channel: sums of even and odd columns stand apart, so that neither pass needs shuffles. `put(x, sum)` takes
/// each pixel's sum, 256 times the pixel, and 128 to round it.
template <class T, class Put>
inline void pyrDownRowOfOne(const T* const rows[5], int n, int outCols,
                            typename PyramidSum<T>::type* __restrict scratch, const Put& put)
{
    using Sum = typename PyramidSum<T>::type;
    using Pair = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
    constexpr int bits = 8 * sizeof(T);
    const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    Sum *const even = scratch + 1, *const odd = even + n / 2 + 3;
    const auto pairAt = [](const T* row, int i) {
        Pair pair;
        std::memcpy(&pair, row + 2 * i, sizeof pair);
        return pair;
    };
    for (int i = 0; i < n / 2; ++i) {
        const Pair p = pairAt(a, i), q = pairAt(b, i), r = pairAt(c, i), s = pairAt(d, i), t = pairAt(e, i);
        even[i] = Sum(weighted(T(p), T(q), T(r), T(s), T(t)));
        odd[i] = Sum(weighted(p >> bits, q >> bits, r >> bits, s >> bits, t >> bits));
    }
    if (n % 2 != 0)
        even[n / 2] = Sum(weighted(a[n - 1], b[n - 1], c[n - 1], d[n - 1], e[n - 1]));
    const auto column = [=](int i) {
        Sum* const half = i % 2 == 0 ? even : odd;
        return half + (i >> 1);
    };
    for (const int i : {-2, -1, n, n + 1, n + 2})
        *column(i) = *column(mirrored(i, n));

    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < outCols; ++x)
        put(x, Sum(weighted(even[x - 1], odd[x - 1], even[x], odd[x], even[x + 1]) + 128));
}

/// Ends the reducing step: the row from the sums of its five source rows, weighed 1 4 6 4 1 one below the other. Two
/// samples of room before `sums` and three behind them take the mirrored ends.
template <int cn, class T>
inline void pyrDownSums(typename PyramidSum<T>::type* sums, int n, T* out, int outCols)
{
    using Sum = typename PyramidSum<T>::type;
    for (const int i : {-2, -1, n, n + 1, n + 2})
        for (int k = 0; k < cn; ++k)
            sums[i * cn + k] = sums[mirrored(i, n) * cn + k];
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < outCols; ++x)
        for (int k = 0; k < cn; ++k) {
            const Sum* s = sums + 2 * x * cn + k;
            const auto sum = Sum(weighted(s[-2 * cn], s[-cn], s[0], s[cn], s[2 * cn]) + 128);
            out[x * cn + k] = T(sum >> 8);
        }
}

/// Destination row y of the reducing step: `rows` are source rows 2y - 2 .. 2y + 2, mirrored into the plane. `outCols`
/// is a size that `canReduce` admits.
template <int cn, class T>
inline void pyrDownRow(const T* const rows[5], int n, T* out, int outCols,
                       typename PyramidSum<T>::type* __restrict scratch)
{
    using Sum = typename PyramidSum<T>::type;
    if constexpr (cn == 1) {
        pyrDownRowOfOne(rows, n, outCols, scratch, [=](int x, Sum sum) { out[x] = T(sum >> 8); });
    } else {
        const T *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
        Sum* const sums = scratch + 2 * cn;
        for (int i = 0; i < n * cn; ++i)
            sums[i] = Sum(weighted(a[i], b[i], c[i], d[i], e[i]));
        pyrDownSums<cn>(sums, n, out, outCols);
    }
}

/// Begins the enlarging step: for the n source pixels the sums of three rows one below the other, weighed 1 6 1, or 0 4
/// 4 for an odd row. One sample of room before `sums` and one behind them take the repeated ends. Every enlarged pixel
/// is then (s[-1] + s[1] + 6 s[0] + 32) / 64 above a source pixel, and (4 (s[0] + s[1]) + 32) / 64 between two.
template <int cn, class T>
inline void pyrUpSums(const T* const rows[3], bool odd, int n, typename PyramidSum<T>::type* __restrict sums)
{
    using Sum = typename PyramidSum<T>::type;
    const T *a = rows[0], *b = rows[1], *c = rows[2];
    if (odd)
        for (int i = 0; i < n * cn; ++i)
            sums[i] = Sum(4 * (b[i] + c[i]));
    else
        for (int i = 0; i < n * cn; ++i)
            sums[i] = Sum((a[i] + c[i]) + 6 * b[i]);
    for (const int i : {-1, n})
        for (int k = 0; k < cn; ++k)
            sums[i * cn + k] = sums[expanded(i, n) * cn + k];
}

/// Destination row y of the enlarging step: `rows` are source rows y / 2 - 1, y / 2 and y / 2 + 1, by `expanded`; `odd`
/// tells which half of the pair y is. `outCols` is a size that `canExpand` admits.
///
/// Row 2h of a result that has 2h + 1 rows is not of this form: it repeats row 2h - 2.
template <int cn, class T>
inline void pyrUpRow(const T* const rows[3], bool odd, int n, T* out, int outCols,
                     typename PyramidSum<T>::type* __restrict scratch)
{
    using Sum = typename PyramidSum<T>::type;
    Sum* const sums = scratch + cn;
    pyrUpSums<cn>(rows, odd, n, sums);

    const auto even = [](const Sum* s) { return T(Sum((s[-cn] + s[cn]) + 6 * s[0] + 32) >> 6); };
    const auto between = [](const Sum* s) { return T(Sum(4 * (s[0] + s[cn]) + 32) >> 6); };
    const int whole = limit(outCols / 2, 0, n);
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < whole; ++x)
        for (int k = 0; k < cn; ++k) {
            const Sum* s = sums + x * cn + k;
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

} // namespace pixmill::rows
