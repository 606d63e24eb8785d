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

// Steps of a window's rows, after van Herk: the sums of a block's rows from j on are its tails, and the head grows by
// the rows of the next block. Each tells whether every mean is sure.

inline bool meansOfTails(const double* __restrict tail, ProductMeans mean, float* __restrict means, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x)
        means[x] = mean(tail[x], doubt);
    return doubt == 0;
}

/// The head's first row: kept = head = sums.
inline bool meansWithRow(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                         double* __restrict kept, ProductMeans mean, float* __restrict means, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x) {
        head[x] = kept[x] = sums[x];
        means[x] = mean(tail[x] + sums[x], doubt);
    }
    return doubt == 0;
}

/// A further row: head += sums, kept = sums.
inline bool meansWithHead(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                          double* __restrict kept, ProductMeans mean, float* __restrict means, int n)
{
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x) {
        const double h = head[x] + sums[x];
        head[x] = h;
        kept[x] = sums[x];
        means[x] = mean(tail[x] + h, doubt);
    }
    return doubt == 0;
}

inline void addRow(const double* a, const double* b, double* to, int n)
{
    zipRow(a, b, to, n, [](double p, double q) { return p + q; });
}

/// The means of windows over rows that arrive one by one, each in full as soon as its last row is there.
class MeansOfRows {
public:
    /// Values of scratch for a strip of `width` windows of a mask.
    static std::size_t scratchSize(int width, cv::Size mask)
    {
        return std::size_t(strideOf(width)) * (std::size_t(mask.height) + 1);
    }

    /// Values of scratch that push() needs, whatever the strip. Strips that take turns may share them.
    static std::size_t pieceScratch(cv::Size mask) { return 2 * kPiece + kApart + strideOf(mask.width); }

    /// Expects the rows from window row `first` on; rows of windows are counted from the region's first.
    void begin(double* scratch, int width, cv::Size mask, int first)
    {
        m_rows = scratch;
        m_width = width;
        m_mask = mask;
        m_from = m_slot = first % mask.height;
        m_begun = false;
    }

    /// Takes the next row of width + mask width - 1 samples, or null for the row before once more, whose sums still
    /// stand: beyond the picture rows repeat, by thousands where the radius is large. Returns whether it completed a
    /// row of means, and writes that to `means`. `pieces` is scratch.
    bool push(const float* samples, double* pieces, float* means)
    {
        if (m_mask.width == 1 && m_mask.height == 1) {
            std::memcpy(means, samples, sizeof(float) * std::size_t(m_width)); // no margin, so no row repeats
            return true;
        }
        const int high = m_mask.height, j = m_slot + 1;
        m_slot = j < high ? j : 0;
        const double* const before = row(j > 1 ? j - 2 : high - 1);
        if (j < high && m_begun)
            return headRow(j, samples, before, pieces, means);
        forEachSums(samples, before, pieces, [&](int x, int n, const double* sums) {
            std::memcpy(row(j - 1) + x, sums, sizeof(double) * std::size_t(n));
        });
        return j == high && lastRow(means);
    }

private:
    static constexpr int kPiece = 512; ///< Samples whose sums stay in the first cache.
    static constexpr int kApart = 16;  ///< Keeps equal places of sums and spans from being a multiple of a page apart.

    static std::ptrdiff_t strideOf(int width) { return (std::ptrdiff_t(width) + 7) / 8 * 8; }

    double* row(int j) const { return m_rows + j * strideOf(m_width); }
    double* head() const { return row(m_mask.height); }
    double count() const { return double(m_mask.width) * m_mask.height; }

    /// Calls `use(x, n, sums)` for the sums of pieces of a row: of its samples or, without, those of the row before.
    template <class Use>
    void forEachSums(const float* samples, const double* before, double* pieces, const Use& use)
    {
        for (int x = 0; x < m_width; x += kPiece) {
            const int n = std::min(kPiece, m_width - x);
            if (samples)
                windowSums(samples + x, m_mask.width, pieces + kPiece + kApart, pieces, n);
            use(x, n, samples ? pieces : before + x);
        }
    }

    /// The block's rows are complete: its sums become tails.
    bool lastRow(float* means)
    {
        if (m_begun)
            m_from = 0;
        m_begun = true;
        for (int j = m_mask.height - 2; j >= m_from; --j)
            addRow(row(j), row(j + 1), row(j), m_width);
        if (m_from > 0)
            return false;
        const double* const tail = row(0);
        if (!meansOfTails(tail, ProductMeans(count()), means, m_width))
            for (int x = 0; x < m_width; ++x)
                means[x] = float(tail[x] / count());
        return true;
    }

    bool headRow(int j, const float* samples, const double* before, double* pieces, float* means)
    {
        const bool skip = j < m_from; // above the first row that is asked for: the sums only begin the head
        const ProductMeans mean(count());
        forEachSums(samples, before, pieces, [&](int x, int n, const double* sums) {
            double *const grown = head() + x, *const tail = row(j) + x, *const kept = row(j - 1) + x;
            if (skip)
                return skipRow(j, sums, grown, kept, n);
            const bool sure = j == 1 ? meansWithRow(sums, grown, tail, kept, mean, means + x, n)
                                     : meansWithHead(sums, grown, tail, kept, mean, means + x, n);
            for (int i = 0; i < n && !sure; ++i)
                means[x + i] = float((tail[i] + grown[i]) / count());
        });
        return !skip;
    }

    static void skipRow(int j, const double* sums, double* head, double* kept, int n)
    {
        if (j == 1)
            std::memcpy(head, sums, sizeof(double) * std::size_t(n));
        else
            addRow(head, sums, head, n);
        std::memcpy(kept, sums, sizeof(double) * std::size_t(n));
    }

    double* m_rows = nullptr;
    int m_width = 0, m_from = 0, m_slot = 0;
    cv::Size m_mask = {1, 1};
    bool m_begun = false;
};

} // namespace pixmill::rows
