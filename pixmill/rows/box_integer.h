#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/mirrored.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/samples.h>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

/// Box means of whole samples: running column sums, then running sums along the row. All sums are exact, so where a
/// span of rows begins makes no difference.
namespace pixmill::rows {

/// Neighbouring sums side by side. Vector types of the compilers, since no compiler finds a prefix sum in a plain loop.
template <int N>
struct SumLanes {
    typedef unsigned Sums __attribute__((vector_size(4 * N)));
    using Indices = std::make_integer_sequence<int, N>;
};

/// to[i] = v[i - kBy], and 0 in front.
template <int N, int kBy, int... kLane>
inline void shiftLanes(const typename SumLanes<N>::Sums& v, typename SumLanes<N>::Sums& to,
                       std::integer_sequence<int, kLane...>)
{
    const typename SumLanes<N>::Sums zeros = {};
    to = __builtin_shufflevector(v, zeros, (kLane < kBy ? N + kLane : kLane - kBy)...);
}

template <int N, int... kLane>
inline void spreadLast(typename SumLanes<N>::Sums& v, std::integer_sequence<int, kLane...>)
{
    v = __builtin_shufflevector(v, v, (kLane * 0 + N - 1)...);
}

/// v[i] becomes v[0] + ... + v[i].
template <int N, int kBy = 1>
inline void prefixSums(typename SumLanes<N>::Sums& v)
{
    if constexpr (kBy < N) {
        typename SumLanes<N>::Sums shifted;
        shiftLanes<N, kBy>(v, shifted, typename SumLanes<N>::Indices());
        v += shifted;
        prefixSums<N, 2 * kBy>(v);
    }
}

/// sums[x] = columns[x] + ... + columns[x + width - 1], where `sum` is the first of them; returns the one after the
/// last. Exact though differences wrap.
template <int N>
inline unsigned slideSums(const unsigned* __restrict columns, int width, unsigned sum, unsigned* __restrict sums, int n)
{
    typename SumLanes<N>::Sums before = {}, step, leaving;
    before += sum;
    int x = 0;
    for (; x + N <= n; x += N) {
        std::memcpy(&step, columns + x + width, sizeof step);
        std::memcpy(&leaving, columns + x, sizeof leaving);
        step -= leaving;
        prefixSums<N>(step); // step[i] leads from sums[x] to sums[x + 1 + i]
        shiftLanes<N, 1>(step, leaving, typename SumLanes<N>::Indices());
        leaving += before;
        std::memcpy(sums + x, &leaving, sizeof leaving);
        spreadLast<N>(step, typename SumLanes<N>::Indices());
        before += step;
    }
    for (sum = before[0]; x < n; ++x) {
        sums[x] = sum;
        sum += columns[x + width] - columns[x];
    }
    return sum;
}

inline unsigned slideSums(const unsigned* columns, int width, unsigned sum, unsigned* sums, int n)
{
    return takesAvx512() ? slideSums<16>(columns, width, sum, sums, n) : slideSums<4>(columns, width, sum, sums, n);
}

/// The same for windows whose sums need more than 32 bits.
inline long long slideSums(const long long* __restrict columns, int width, long long sum, long long* __restrict sums,
                           int n)
{
    for (int x = 0; x < n; ++x) {
        sums[x] = sum;
        sum += columns[x + width] - columns[x];
    }
    return sum;
}

/// Sums over the count, rounded to nearest even.
///
/// A quotient that is no tie is at least 1 / (2 * count) away from one. So the double quotient lies on the right side;
/// for odd counts, where no tie exists, so does the product with the reciprocal, and for bytes and counts to 8191 even
/// that in float: three roundings move it by less than 256 * 3 * 2^-24.
template <class T, class Sum>
inline void meansRow(const Sum* __restrict sums, long long count, T* __restrict dst, int n)
{
    using Signed = std::make_signed_t<Sum>; // converts in fewer steps
    const double divisor = double(count), reciprocal = 1.0 / divisor;
    const float shortReciprocal = 1.0f / float(count);
    if (count % 2 == 0)
        for (int x = 0; x < n; ++x)
            dst[x] = T(roundToInt(double(Signed(sums[x])) / divisor));
    else if (sizeof(T) == 1 && count <= 8191)
        for (int x = 0; x < n; ++x)
            dst[x] = T(roundToInt(float(Signed(sums[x])) * shortReciprocal));
    else
        for (int x = 0; x < n; ++x)
            dst[x] = T(roundToInt(double(Signed(sums[x])) * reciprocal));
}

template <class Sum>
inline void sumsOf3(const Sum* __restrict columns, Sum* __restrict sums, int n)
{
    for (int x = 0; x < n; ++x)
        sums[x] = columns[x] + columns[x + 1] + columns[x + 2];
}

template <class Sum, class T>
inline void slideColumns(Sum* __restrict columns, const T* in, const T* out, int n)
{
    for (int x = 0; x < n; ++x)
        columns[x] += Sum(in[x]) - Sum(out[x]);
}

constexpr int kBoxPiece = 512; ///< Means made at a time, so that a row's reads, sums and writes overlap.

/// Rows first..end-1 of the means. `row(y)` is the row of row y's first window, or beside it of other rows' windows; of
/// its columns `margin` at either end are missing, and their sums mirror those inside, the first and last not repeated.
/// `sums` holds a piece of them, and behind it the columns, of which the window after the last reads one more.
template <class Sum, class Row, class T>
inline void boxRows(const Row& row, int margin, T* dst, int dstStep, int width, cv::Size mask, int first, int end,
                    Sum* sums)
{
    const int n = width + mask.width - 1, held = n - 2 * margin;
    Sum *c = sums + kBoxPiece, *inner = c + margin;
    std::fill(c, c + n + 1, Sum(0));
    for (int j = 0; j < mask.height; ++j)
        zipRow(inner, row(first + j), inner, held, [](Sum sum, T in) { return sum + in; });

    for (int y = first; y < end; ++y) {
        const T *in = row(y + mask.height - 1), *out = row(y - 1);
        T* d = rowAt(dst, dstStep, y);
        int slid = y == first ? held : 0;
        const auto slideTo = [&](int to) { // a place in c
            to = std::min(to - margin, held);
            if (slid < to)
                slideColumns(inner + slid, in + slid, out + slid, to - slid);
            slid = std::max(slid, to);
            if (slid == held)
                for (int i = 0; i < margin; ++i)
                    inner[held + i] = inner[mirrored(held + i, held)];
        };
        slideTo(mask.width);
        for (int i = 1; i <= margin; ++i)
            inner[-i] = inner[mirrored(-i, held)];
        Sum sum = 0;
        for (int i = 0; i < mask.width; ++i)
            sum += c[i];
        for (int x = 0; x < width; x += kBoxPiece) {
            const int m = std::min(kBoxPiece, width - x);
            slideTo(x + m + mask.width);
            if (mask.width == 3)
                sumsOf3(c + x, sums, m);
            else
                sum = slideSums(c + x, mask.width, sum, sums, m);
            meansRow(sums, (long long)mask.width * mask.height, d + x, m);
        }
    }
}

/// Whether the sums under a mask need more than 32 bits.
template <class T>
inline bool sumsAreLong(cv::Size mask)
{
    return (long long)mask.width * mask.height * T(-1) > std::numeric_limits<int>::max();
}

/// Bytes of scratch for a thread's rows.
template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
inline std::size_t boxScratch(int width, cv::Size mask)
{
    return (std::size_t(kBoxPiece) + width + mask.width) *
           (sumsAreLong<T>(mask) ? sizeof(long long) : sizeof(unsigned));
}

template <class Row, class T>
inline void boxSpan(const Row& row, int margin, T* dst, int dstStep, int width, cv::Size mask, int first, int end,
                    void* scratch)
{
    if (sumsAreLong<T>(mask))
        boxRows(row, margin, dst, dstStep, width, mask, first, end, static_cast<long long*>(scratch));
    else
        boxRows(row, margin, dst, dstStep, width, mask, first, end, static_cast<unsigned*>(scratch));
}

/// The same where every sample exists; `src` addresses the first window's corner.
template <class T>
inline void boxSpan(const T* src, int srcStep, T* dst, int dstStep, int width, cv::Size mask, int first, int end,
                    void* scratch)
{
    boxSpan([=](int y) { return rowAt(src, srcStep, y); }, 0, dst, dstStep, width, mask, first, end, scratch);
}

} // namespace pixmill::rows
