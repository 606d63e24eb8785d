#pragma once

#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/running_means.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>

/// Box means of many planes at once, row by row: what the box filter gives for each plane, without the planes.
namespace pixmill::rows {

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
          m_sums(MeansOfRows::pieceScratch(mask()) + kMoments * MeansOfRows::scratchSize(mostWidth, mask()))
    {
    }

    /// Windows left..left+width-1, their rows from `first` on.
    void begin(int left, int width, int first)
    {
        m_left = left;
        m_width = width;
        m_first = true;
        double* scratch = &m_sums[MeansOfRows::pieceScratch(mask())];
        for (MeansOfRows& means : m_means) {
            means.begin(scratch, width, mask(), first);
            scratch += MeansOfRows::scratchSize(width, mask());
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
            complete = m_means[m].push(samples, m_sums.data(), floats(kPlanes + 1 + m));
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
    cv::Size mask() const { return {2 * m_r + 1, 2 * m_r + 1}; }
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
