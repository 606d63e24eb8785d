#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/box_avx512.h>
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

/// The columns of a row of windows, by their place in the rows that are read; those of the margins have places too.
template <class Sum>
class BoxColumns {
public:
    BoxColumns(void* scratch, int held, int margin, cv::Size mask)
        : m_mask(mask), m_sums(static_cast<Sum*>(scratch)), m_columns(m_sums + kBoxPiece + margin)
    {
        std::fill_n(m_columns - margin, held + 2 * margin + 1, Sum(0));
    }

    Sum& at(int place) { return m_columns[place]; }

    template <class T>
    void add(const T* in, int n)
    {
        zipRow(m_columns, in, m_columns, n, [](Sum sum, T v) { return sum + v; });
    }

    template <class T>
    void slide(const T* in, const T* out, int first, int n)
    {
        slideColumns(m_columns + first, in + first, out + first, n);
    }

    /// Means of n windows, of which the first begins at `place` and has `sum`; returns the sum of the one behind.
    template <class T>
    Sum means(int place, Sum sum, T* out, int n)
    {
        if (m_mask.width == 3)
            sumsOf3(m_columns + place, m_sums, n);
        else
            sum = slideSums(m_columns + place, m_mask.width, sum, m_sums, n);
        meansRow(m_sums, (long long)m_mask.width * m_mask.height, out, n);
        return sum;
    }

private:
    cv::Size m_mask;
    Sum *m_sums, *m_columns;
};

/// Rows first..end-1 of the means. `row(y)` is the row of row y's first window, or beside it of other rows' windows; of
/// its columns `margin` at either end are missing, and their sums mirror those inside, the first and last not repeated.
template <class Columns, class Row, class T>
inline void boxRows(const Row& row, int margin, T* dst, int dstStep, int width, cv::Size mask, int first, int end,
                    void* scratch)
{
    const int held = width + mask.width - 1 - 2 * margin;
    Columns columns(scratch, held, margin, mask);
    for (int j = 0; j < mask.height; ++j)
        columns.add(row(first + j), held);

    for (int y = first; y < end; ++y) {
        const T *in = row(y + mask.height - 1), *out = row(y - 1);
        T* d = rowAt(dst, dstStep, y);
        int slid = y == first ? held : 0;
        const auto slideTo = [&](int place) {
            constexpr int kWhole = 64; // places, so that kernels take whole vectors
            place = std::min((place + kWhole - 1) / kWhole * kWhole, held);
            if (slid < place)
                columns.slide(in, out, slid, place - slid);
            slid = std::max(slid, place);
            if (slid == held)
                for (int i = 0; i < margin; ++i)
                    columns.at(held + i) = columns.at(mirrored(held + i, held));
        };
        slideTo(mask.width - margin);
        for (int i = 1; i <= margin; ++i)
            columns.at(-i) = columns.at(mirrored(-i, held));
        std::decay_t<decltype(columns.means(0, 0, d, 0))> sum = 0;
        for (int i = 0; i < mask.width; ++i)
            sum += columns.at(i - margin);
        for (int x = 0; x < width; x += kBoxPiece) {
            const int n = std::min(kBoxPiece, width - x);
            slideTo(x + n + mask.width - margin);
            sum = columns.means(x - margin, sum, d + x, n);
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
#if PIXMILL_X86
    if (takesBox512<T>(mask))
        return boxRows<BoxColumns512<T>>(row, margin, dst, dstStep, width, mask, first, end, scratch);
#endif
    if (sumsAreLong<T>(mask))
        boxRows<BoxColumns<long long>>(row, margin, dst, dstStep, width, mask, first, end, scratch);
    else
        boxRows<BoxColumns<unsigned>>(row, margin, dst, dstStep, width, mask, first, end, scratch);
}

/// The same where every sample exists; `src` addresses the first window's corner.
template <class T>
inline void boxSpan(const T* src, int srcStep, T* dst, int dstStep, int width, cv::Size mask, int first, int end,
                    void* scratch)
{
    boxSpan([=](int y) { return rowAt(src, srcStep, y); }, 0, dst, dstStep, width, mask, first, end, scratch);
}

} // namespace pixmill::rows
