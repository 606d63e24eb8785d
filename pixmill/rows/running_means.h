#pragma once

#include <pixmill/rows/samples.h>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <cstdint>
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

/// sums[x] = spans[x] + ... + spans[x + width - 1] of the n + width - 1 values in `spans`, which it uses up.
inline void spanSums(double* spans, int width, double* sums, int n)
{
    int taken = 0, held = n + width - 1;
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

/// sums[x] = samples[x] + ... + samples[x + width - 1]; `spans` is scratch of n + width - 1.
inline void windowSums(const float* samples, int width, double* spans, double* sums, int n)
{
    widenRow(samples, spans, n + width - 1);
    spanSums(spans, width, sums, n);
}

/// double(sum / count) narrowed, without the division: a quotient of 30 bits, and what it leaves over taken into
/// account. The leftover is exact and the correction's error far below the quotient's distance from any tie of doubles,
/// so this is the division's own result, for counts below 2^23.
struct QuotientByProduct {
    double count, reciprocal;

    float operator()(double sum) const
    {
        const double q = sum * reciprocal;
        std::uint64_t bits;
        std::memcpy(&bits, &q, sizeof bits);
        bits &= ~std::uint64_t(0x7fffff);
        double head;
        std::memcpy(&head, &bits, sizeof head);
        const double rest = sum - head * count;
        const double corrected = head + rest * reciprocal;
        return float(rest == rest ? corrected : q); // an infinite sum leaves no number over
    }
};

struct Quotient {
    double count;

    float operator()(double sum) const { return float(sum / count); }
};

// Steps of a window's rows, after van Herk: the sums of a block's rows from j on are its tails, and the head grows by
// the rows of the next block.

template <class Mean>
inline void meansOfTails(const double* __restrict tail, Mean mean, float* __restrict means, int n)
{
    for (int x = 0; x < n; ++x)
        means[x] = mean(tail[x]);
}

/// The head's first row: kept = head = sums.
template <class Mean>
inline void meansWithRow(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                         double* __restrict kept, Mean mean, float* __restrict means, int n)
{
    for (int x = 0; x < n; ++x) {
        head[x] = kept[x] = sums[x];
        means[x] = mean(tail[x] + sums[x]);
    }
}

/// A further row: head += sums, kept = sums.
template <class Mean>
inline void meansWithHead(const double* __restrict sums, double* __restrict head, const double* __restrict tail,
                          double* __restrict kept, Mean mean, float* __restrict means, int n)
{
    for (int x = 0; x < n; ++x) {
        const double h = head[x] + sums[x];
        head[x] = h;
        kept[x] = sums[x];
        means[x] = mean(tail[x] + h);
    }
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
        const double count = double(m_mask.width) * m_mask.height;
        if (count == 1) {
            std::memcpy(means, samples, sizeof(float) * std::size_t(m_width)); // no margin, so no row repeats
            return true;
        }
        if (count < 0x1p23)
            return push(samples, pieces, QuotientByProduct{count, 1.0 / count}, means);
        return push(samples, pieces, Quotient{count}, means);
    }

private:
    static constexpr int kPiece = 512; ///< Samples whose sums stay in the first cache.
    static constexpr int kApart = 16;  ///< Keeps equal places of sums and spans from being a multiple of a page apart.

    static std::ptrdiff_t strideOf(int width) { return (std::ptrdiff_t(width) + 7) / 8 * 8; }

    double* row(int j) const { return m_rows + j * strideOf(m_width); }
    double* head() const { return row(m_mask.height); }

    void sumPiece(const float* samples, double* pieces, double* sums, int n) const
    {
        windowSums(samples, m_mask.width, pieces + kPiece + kApart, sums, n);
    }

    /// Calls `use(x, n)` for pieces of a row.
    template <class Use>
    void forEachPiece(const Use& use) const
    {
        for (int x = 0; x < m_width; x += kPiece)
            use(x, std::min(kPiece, m_width - x));
    }

    template <class Mean>
    bool push(const float* samples, double* pieces, Mean mean, float* means)
    {
        const int high = m_mask.height, j = m_slot + 1;
        m_slot = j < high ? j : 0;
        const double* const before = row(j > 1 ? j - 2 : high - 1);
        if (j < high && m_begun)
            return headRow(j, samples, before, pieces, mean, means);
        if (samples)
            forEachPiece([&](int x, int n) { sumPiece(samples + x, pieces, row(j - 1) + x, n); });
        else
            std::memcpy(row(j - 1), before, sizeof(double) * std::size_t(m_width));
        return j == high && lastRow(mean, means);
    }

    /// The block's rows are complete: its sums become tails.
    template <class Mean>
    bool lastRow(Mean mean, float* means)
    {
        if (m_begun)
            m_from = 0;
        m_begun = true;
        for (int j = m_mask.height - 2; j >= m_from; --j)
            addRow(row(j), row(j + 1), row(j), m_width);
        if (m_from > 0)
            return false;
        meansOfTails(row(0), mean, means, m_width);
        return true;
    }

    template <class Mean>
    bool headRow(int j, const float* samples, const double* before, double* pieces, Mean mean, float* means)
    {
        const bool skip = j < m_from; // above the first row that is asked for: the sums only begin the head
        forEachPiece([&](int x, int n) {
            double *const grown = head() + x, *const tail = row(j) + x, *const kept = row(j - 1) + x;
            const double* const sums = samples ? pieces : before + x;
            if (samples)
                sumPiece(samples + x, pieces, pieces, n);
            if (skip)
                skipRow(j, sums, grown, kept, n);
            else if (j == 1)
                meansWithRow(sums, grown, tail, kept, mean, means + x, n);
            else
                meansWithHead(sums, grown, tail, kept, mean, means + x, n);
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
