#pragma once

#include <pixmill/rows/box_float.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>

/// Box means of many planes at once, row by row: what the box filter gives for each plane, without the planes.
namespace pixmill::rows {

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

/// The means of square windows over rows that arrive one by one, each in full as soon as its last row is there. A
/// picture-size plane of neither the samples nor the means exists. Sums are added in the box filter's order.
class MeansOfRows {
public:
    /// Values of scratch for a strip of `width` windows of `side` x `side`.
    static std::size_t scratchSize(int width, int side)
    {
        return std::size_t(strideOf(width)) * (std::size_t(side) + 1);
    }

    /// Expects the rows from window row `first` on; rows of windows are counted from the region's first.
    void begin(double* scratch, int width, int side, int first)
    {
        m_rows = scratch;
        m_width = width;
        m_side = side;
        m_from = m_slot = first % side;
        m_begun = false;
    }

    /// Takes the next row of width + side - 1 samples, or null for the row before once more, whose sums still stand:
    /// beyond the picture rows repeat, by thousands where the radius is large. Returns whether it completed a row of
    /// means, and writes that to `means`. `sums` and `spans` are scratch of the row's length.
    bool push(const float* samples, double* sums, double* spans, float* means)
    {
        const double count = double(m_side) * m_side;
        if (m_side == 1) {
            std::memcpy(means, samples, sizeof(float) * std::size_t(m_width)); // no margin, so no row repeats
            return true;
        }
        if (count < 0x1p23)
            return push(samples, sums, spans, QuotientByProduct{count, 1.0 / count}, means);
        return push(samples, sums, spans, Quotient{count}, means);
    }

private:
    static std::ptrdiff_t strideOf(int width) { return (width + 7) / 8 * 8; }

    double* row(int j) const { return m_rows + j * strideOf(m_width); }
    double* head() const { return row(m_side); }

    template <class Mean>
    bool push(const float* samples, double* sums, double* spans, Mean mean, float* means)
    {
        const int j = m_slot + 1;
        m_slot = j < m_side ? j : 0;
        const double* const before = row(j > 1 ? j - 2 : m_side - 1);
        if (j == m_side || !m_begun) {
            if (samples)
                windowSums(samples, m_side, spans, row(j - 1), m_width);
            else
                std::memcpy(row(j - 1), before, sizeof(double) * std::size_t(m_width));
            return j == m_side && lastRow(mean, means);
        }
        if (samples)
            windowSums(samples, m_side, spans, sums, m_width);
        return headRow(j, samples ? sums : before, mean, means);
    }

    /// The block's rows are complete: its sums become tails.
    template <class Mean>
    bool lastRow(Mean mean, float* means)
    {
        if (m_begun)
            m_from = 0;
        m_begun = true;
        for (int j = m_side - 2; j >= m_from; --j)
            addRow(row(j), row(j + 1), row(j), m_width);
        if (m_from > 0)
            return false;
        meansOfTails(row(0), mean, means, m_width);
        return true;
    }

    template <class Mean>
    bool headRow(int j, const double* sums, Mean mean, float* means)
    {
        const bool skip = j < m_from; // above the first row that is asked for: the sums only begin the head
        if (skip && j == 1)
            std::memcpy(head(), sums, sizeof(double) * std::size_t(m_width));
        else if (skip)
            addRow(head(), sums, head(), m_width);
        if (skip)
            std::memcpy(row(j - 1), sums, sizeof(double) * std::size_t(m_width));
        else if (j == 1)
            meansWithRow(sums, head(), row(1), row(0), mean, means, m_width);
        else
            meansWithHead(sums, head(), row(j), row(j - 1), mean, means, m_width);
        return !skip;
    }

    double* m_rows = nullptr;
    int m_width = 0, m_side = 1, m_from = 0, m_slot = 0;
    bool m_begun = false;
};

/// The moments of planes whose means are wanted: plane `i` times plane `k`, or plane `i` itself.
struct Moment {
    static constexpr int kNone = -1;
    int i, k;
};

/// Rows of planes with a margin on every side that repeats the edge samples. Padded row and column numbers.
class PaddedRows {
public:
    PaddedRows(const cv::Mat* planes, int margin) : m_planes(planes), m_margin(margin) {}

    /// n samples from column `left` on, in `buffer` unless they stand side by side already.
    const float* operator()(int plane, int row, int left, int n, float* buffer) const
    {
        const cv::Mat& m = m_planes[plane];
        const float* s = m.ptr<float>(limit(row - m_margin, 0, m.rows - 1));
        const int first = left - m_margin;
        if (first >= 0 && first + n <= m.cols)
            return s + first;
        const int begin = limit(-first, 0, n), end = limit(m.cols - first, begin, n);
        std::fill(buffer, buffer + begin, s[0]);
        std::copy(s + first + begin, s + first + end, buffer + begin);
        std::fill(buffer + end, buffer + n, s[m.cols - 1]);
        return buffer;
    }

    /// Whether a row is the one before it again.
    bool repeats(int row) const
    {
        const int y = row - m_margin;
        return y <= 0 || y >= m_planes[0].rows;
    }

private:
    const cv::Mat* m_planes;
    int m_margin;
};

/// The means of all moments of `kPlanes` planes, over a strip of windows.
template <int kPlanes, int kMoments>
class WindowMoments {
public:
    WindowMoments(const Moment (&moments)[kMoments], int r, int mostWidth)
        : m_moments(moments), m_r(r), m_stride((mostWidth + 2 * r + 15) / 16 * 16),
          m_floats(std::size_t(m_stride) * (kPlanes + 1 + kMoments)),
          m_sums(std::size_t(m_stride) * 2 + kMoments * MeansOfRows::scratchSize(mostWidth, side()))
    {
    }

    /// Windows left..left+width-1, their rows from `first` on.
    void begin(int left, int width, int first)
    {
        m_left = left;
        m_width = width;
        m_first = true;
        double* scratch = &m_sums[std::size_t(m_stride) * 2];
        for (MeansOfRows& means : m_means) {
            means.begin(scratch, width, side(), first);
            scratch += MeansOfRows::scratchSize(width, side());
        }
    }

    /// Takes the next row of samples. Returns whether it completed a row of means.
    template <class Rows>
    bool push(const Rows& rows, int row)
    {
        const int n = m_width + 2 * m_r;
        const bool again = !m_first && m_r > 0 && rows.repeats(row);
        m_first = false;
        const float* planes[kPlanes] = {};
        for (int p = 0; p < kPlanes && !again; ++p)
            planes[p] = rows(p, row, m_left, n, floats(p));
        bool complete = false;
        for (int m = 0; m < kMoments; ++m) {
            const Moment moment = m_moments[m];
            const float* samples = planes[moment.i];
            if (moment.k != Moment::kNone && !again)
                samples = product(samples, planes[moment.k], n);
            complete = m_means[m].push(samples, m_sums.data(), &m_sums[m_stride], floats(kPlanes + 1 + m));
        }
        return complete;
    }

    /// The completed row of means of every moment.
    struct Means {
        const float* row[kMoments];
        const float* operator[](int moment) const { return row[moment]; }
    };

    Means means()
    {
        Means all;
        for (int m = 0; m < kMoments; ++m)
            all.row[m] = floats(kPlanes + 1 + m);
        return all;
    }

private:
    int side() const { return 2 * m_r + 1; }
    float* floats(int i) { return &m_floats[std::size_t(m_stride) * i]; }

    const float* product(const float* a, const float* b, int n)
    {
        float* __restrict to = floats(kPlanes);
        for (int x = 0; x < n; ++x)
            to[x] = a[x] * b[x];
        return to;
    }

    const Moment (&m_moments)[kMoments];
    int m_r, m_stride, m_left = 0, m_width = 0;
    bool m_first = true; ///< No row since begin().
    AlignedArray<float> m_floats;
    AlignedArray<double> m_sums;
    MeansOfRows m_means[kMoments];
};

} // namespace pixmill::rows
