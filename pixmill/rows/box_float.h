#pragma once

#include <pixmill/rows/means.h>
#include <pixmill/rows/samples.h>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <cstring>

/// Box means of floats, summed in double by additions alone: a running sum would carry a rounded, infinite or undefined
/// sample into windows that do not hold it.
///
/// Order of a window's sum, the same whatever the team. Along each row: sums of 1, 2, 4, ... samples by pairs, of which
/// the mask's width takes those of its binary digits, lowest first. Down the rows: the region's rows of windows fall
/// into blocks as high as the mask, counted from its first row, and a window is the tail of one block, added upwards,
/// plus the head of the next, added downwards (van Herk, "A fast algorithm for local minimum and maximum filters on
/// rectangular and octagonal kernels", 1992).
namespace pixmill::rows {

/// A negative zero becomes 0, as it does in a sum that begins at 0.
inline void widenRow(const float* __restrict from, double* __restrict to, int n)
{
    for (int x = 0; x < n; ++x)
        to[x] = double(from[x]) + 0.0;
}

/// Two binary digits of the width, whose places are `place` and 2 * place: where they are 1, adds so many samples to
/// `sums`, which already hold `taken`. spans[x] is the sum of `place` samples from x on.
template <bool kOne, bool kTwo>
inline void takeSpans(const double* __restrict spans, std::ptrdiff_t place, std::ptrdiff_t taken,
                      double* __restrict sums, int n)
{
    const double* one = spans + taken;
    const double* two = one + (kOne ? place : 0);
    if (taken == 0)
        for (int x = 0; x < n; ++x)
            sums[x] = kOne ? kTwo ? one[x] + (two[x] + two[x + place]) : one[x] : two[x] + two[x + place];
    else
        for (int x = 0; x < n; ++x) {
            double sum = sums[x];
            if (kOne)
                sum += one[x];
            if (kTwo)
                sum += two[x] + two[x + place];
            sums[x] = sum;
        }
}

/// spans[x] is the sum of `place` samples from x on, then of 4 * place. What is read was not written yet.
inline void quadrupleSpans(double* spans, std::ptrdiff_t place, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        spans[x] = (spans[x] + spans[x + place]) + (spans[x + 2 * place] + spans[x + 3 * place]);
}

/// sums[x] = samples[x] + ... + samples[x + width - 1]; `spans` is scratch of n + width - 1.
inline void windowSums(const float* samples, int width, double* spans, double* sums, int n)
{
    int taken = 0, held = n + width - 1;
    widenRow(samples, spans, held);
    for (int place = 1;; place *= 4) {
        const bool one = width & place, two = width / 2 & place;
        if (one && two)
            takeSpans<true, true>(spans, place, taken, sums, n);
        else if (one)
            takeSpans<true, false>(spans, place, taken, sums, n);
        else if (two)
            takeSpans<false, true>(spans, place, taken, sums, n);
        taken += width & 3 * place;
        if (taken == width)
            return;
        held -= 3 * place;
        quadrupleSpans(spans, place, held);
    }
}

/// head += sums; kept = sums; dst = mean of tail + head. Whether every mean is sure.
inline bool meansOfTailAndHead(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                               double* __restrict kept, ProductMeans mean, float* __restrict dst, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x) {
        const double h = head[x] + sums[x];
        head[x] = h;
        kept[x] = sums[x];
        dst[x] = mean(tail[x] + h, doubt);
    }
    return doubt == 0;
}

/// The same for the head's first row.
inline bool meansOfTailAndRow(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                              double* __restrict kept, ProductMeans mean, float* __restrict dst, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x) {
        head[x] = kept[x] = sums[x];
        dst[x] = mean(tail[x] + sums[x], doubt);
    }
    return doubt == 0;
}

inline bool meansOfTail(const double* __restrict tail, ProductMeans mean, float* __restrict dst, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x)
        dst[x] = mean(tail[x], doubt);
    return doubt == 0;
}

inline void addRow(const double* a, const double* b, double* to, int n)
{
    zipRow(a, b, to, n, [](double p, double q) { return p + q; });
}

/// The means of one strip of columns; its scratch holds `scratchSize` values, and may be used again.
class FloatBox {
public:
    FloatBox(const float* src, int srcStep, int width, cv::Size mask, double* scratch)
        : m_src(src), m_srcStep(srcStep), m_width(width), m_mask(mask), m_count(double(mask.width) * mask.height),
          m_stride((width + 7) / 8 * 8), m_rows(scratch), m_head(m_rows + m_stride * mask.height),
          m_sums(m_head + m_stride), m_spans(m_sums + kPiece + kApart)
    {
    }

    static std::size_t scratchSize(int width, cv::Size mask)
    {
        return std::size_t(width + 7) * (std::size_t(mask.height) + 1) + 2 * kPiece + kApart + mask.width;
    }

    void run(float* dst, int dstStep, int first, int end)
    {
        const int high = m_mask.height;
        int top = first - first % high, from = first - top;
        for (int j = from; j < high; ++j)
            sumRow(top + j, row(j));
        for (;; top += high, from = 0) {
            for (int j = high - 2; j >= from; --j)
                addRow(row(j), row(j + 1), row(j), m_width);
            if (from == 0)
                firstRow(rowAt(dst, dstStep, top));
            const int to = std::min(high, end - top);
            for (int j = 1; j < to; ++j)
                if (j >= from)
                    nextRow(top, j, rowAt(dst, dstStep, top + j));
                else
                    skipRow(top, j);
            if (top + high >= end)
                return;
            sumRow(top + 2 * high - 1, row(high - 1));
        }
    }

private:
    static constexpr int kPiece = 512; ///< Samples whose sums stay in the first cache.
    static constexpr int kApart = 16;  ///< Keeps equal places of sums and spans from being a multiple of a page apart.

    /// Before row j of a block: from j on the tails of the block, sums of its rows j..; before j sums of the next one's
    /// rows.
    double* row(int j) { return m_rows + j * m_stride; }

    template <class Body>
    void forEachPiece(const Body& body)
    {
        for (int x = 0; x < m_width; x += kPiece)
            body(x, std::min(kPiece, m_width - x));
    }

    void sumRow(int y, double* to)
    {
        const float* s = rowAt(m_src, m_srcStep, y);
        forEachPiece([&](int x, int n) { windowSums(s + x, m_mask.width, m_spans, to + x, n); });
    }

    void firstRow(float* dst)
    {
        forEachPiece([&](int x, int n) {
            if (!meansOfTail(row(0) + x, ProductMeans(m_count), dst + x, n))
                for (int i = x; i < x + n; ++i)
                    dst[i] = float(row(0)[i] / m_count);
        });
    }

    void nextRow(int top, int j, float* dst)
    {
        const float* s = rowAt(m_src, m_srcStep, top + m_mask.height + j - 1);
        double *tail = row(j), *kept = row(j - 1);
        forEachPiece([&](int x, int n) {
            windowSums(s + x, m_mask.width, m_spans, m_sums, n);
            const ProductMeans mean(m_count);
            const bool sure = j == 1 ? meansOfTailAndRow(m_sums, m_head + x, tail + x, kept + x, mean, dst + x, n)
                                     : meansOfTailAndHead(m_sums, m_head + x, tail + x, kept + x, mean, dst + x, n);
            if (!sure)
                for (int i = x; i < x + n; ++i)
                    dst[i] = float((tail[i] + m_head[i]) / m_count);
        });
    }

    /// A row above the first that is asked for, whose sums only begin the head.
    void skipRow(int top, int j)
    {
        sumRow(top + m_mask.height + j - 1, row(j - 1));
        if (j == 1)
            std::memcpy(m_head, row(0), sizeof(double) * std::size_t(m_width));
        else
            addRow(m_head, row(j - 1), m_head, m_width);
    }

    const float* m_src;
    int m_srcStep, m_width;
    cv::Size m_mask;
    double m_count;
    std::ptrdiff_t m_stride;
    double *m_rows, *m_head, *m_sums, *m_spans;
};

/// Columns of a strip whose sums stay in the cache.
inline int boxStrip(int width, cv::Size mask)
{
    return std::min(width, std::max({131072 / mask.height, mask.width, 512}));
}

/// Bytes of scratch for a thread's rows.
template <class T, std::enable_if_t<std::is_same_v<T, float>, int> = 0>
inline std::size_t boxScratch(int width, cv::Size mask)
{
    return sizeof(double) * FloatBox::scratchSize(boxStrip(width, mask), mask);
}

/// Rows first..end-1 of the means. `src` addresses the first window's corner.
inline void boxSpan(const float* src, int srcStep, float* dst, int dstStep, int width, cv::Size mask, int first,
                    int end, void* scratch)
{
    const int strip = boxStrip(width, mask);
    for (int left = 0; left < width; left += strip)
        FloatBox(src + left, srcStep, std::min(strip, width - left), mask, static_cast<double*>(scratch))
            .run(dst + left, dstStep, first, end);
}

} // namespace pixmill::rows
