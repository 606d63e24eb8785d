#pragma once

#include <pixmill/filters/detail/guided_windows.h>
#include <pixmill/rows/invert3x3.h>
#include <pixmill/rows/samples.h>

#include <algorithm>
#include <vector>

/// The guided filter's models, row by row from the moments of guides and source.
namespace pixmill::filters {

using namespace rows;

/// One guide: planes guide, source.
struct OneGuide {
    static constexpr int kPlanes = 2, kMoments = 4, kCoefficients = 2;
    static constexpr Moment kTable[kMoments] = {{0, Moment::kNone}, {1, Moment::kNone}, {0, 1}, {0, 0}};
    static constexpr Moment kAverages[kCoefficients] = {{0, Moment::kNone}, {1, Moment::kNone}};
    using Moments = WindowMoments<kPlanes, kTable>;
    struct Kept {}; ///< Rows have nothing to hand from strip to strip.

    static OneGuideModels models(float eps, Kept&, int, float* const (&to)[kCoefficients])
    {
        return {eps, to[0], to[1], 0};
    }
};

/// Three guides: planes guide 0, 1, 2, source.
struct ThreeGuides {
    static constexpr int kPlanes = 4, kMoments = 13, kCoefficients = 4;
    static constexpr Moment kTable[kMoments] = {{0, Moment::kNone},
                                                {1, Moment::kNone},
                                                {2, Moment::kNone},
                                                {3, Moment::kNone},
                                                {0, 3},
                                                {1, 3},
                                                {2, 3},
                                                {0, 0},
                                                {0, 1},
                                                {0, 2},
                                                {1, 1},
                                                {1, 2},
                                                {2, 2}};
    static constexpr Moment kAverages[kCoefficients] = {
        {0, Moment::kNone}, {1, Moment::kNone}, {2, Moment::kNone}, {3, Moment::kNone}};
    using Moments = WindowMoments<kPlanes, kTable>;
    using Means = Moments::Means;

    struct Inverse {
        float m[9];
    };
    using Kept = Inverse;

    /// The covariance of two planes.
    static float covariance(const Means& m, int moment, int i, int k, int x)
    {
        return m[moment][x] - m[i][x] * m[k][x];
    }

    /// Whether the guides' covariances, with eps on the diagonal, have an inverse; without one `inverse` stays.
    static bool invert(const Means& m, float eps, int x, Inverse& inverse)
    {
        const float s01 = covariance(m, 8, 0, 1, x), s02 = covariance(m, 9, 0, 2, x), s12 = covariance(m, 11, 1, 2, x);
        const float s00 = covariance(m, 7, 0, 0, x) + eps, s11 = covariance(m, 10, 1, 1, x) + eps,
                    s22 = covariance(m, 12, 2, 2, x) + eps;
        const float matrix[9] = {s00, s01, s02, s01, s11, s12, s02, s12, s22};
        return invert3x3(matrix, inverse.m);
    }

    struct Model {
        float a0, a1, a2, b;
    };

    static Model solve(const Means& m, const Inverse& inverse, int x)
    {
        const float* M = inverse.m;
        const float c0 = covariance(m, 4, 0, 3, x), c1 = covariance(m, 5, 1, 3, x), c2 = covariance(m, 6, 2, 3, x);
        const float a0 = M[0] * c0 + M[3] * c1 + M[6] * c2;
        const float a1 = M[1] * c0 + M[4] * c1 + M[7] * c2;
        const float a2 = M[2] * c0 + M[5] * c1 + M[8] * c2;
        return {a0, a1, a2, ((m[3][x] - m[0][x] * a0) - m[1][x] * a1) - m[2][x] * a2};
    }

    /// A row of slopes and offsets. A singular matrix takes the last inverse to its left: `kept` is the one left of
    /// this row and becomes the one at column `keepAt`.
    struct Models {
        static constexpr bool kTakesRegisters = false; ///< They take whole rows.

        float eps;
        Inverse* kept;
        int keepAt;
        float* const* to;

        void operator()(const Means& m, int n) const { modelRow(m, eps, *kept, keepAt, to[0], to[1], to[2], to[3], n); }
    };

    static Models models(float eps, Inverse& kept, int keepAt, float* const (&to)[kCoefficients])
    {
        return {eps, &kept, keepAt, to};
    }

private:
    static void modelRow(Means m, float eps, Inverse& kept, int keepAt, float* __restrict a0, float* __restrict a1,
                         float* __restrict a2, float* __restrict b, int n)
    {
        const auto store = [=](Model model, int x) {
            a0[x] = model.a0;
            a1[x] = model.a1;
            a2[x] = model.a2;
            b[x] = model.b;
        };
        int singular = 0;
        PIXMILL_SAME_SAMPLE_ALIASING
        for (int x = 0; x < n; ++x) {
            Inverse inverse = {};
            singular |= !invert(m, eps, x, inverse);
            store(solve(m, inverse, x), x);
        }
        if (!singular) {
            if (keepAt >= 0)
                invert(m, eps, keepAt, kept);
            return;
        }
        Inverse inverse = kept;
        for (int x = 0; x < n; ++x) {
            invert(m, eps, x, inverse);
            store(solve(m, inverse, x), x);
            if (x == keepAt)
                kept = inverse;
        }
    }
};

/// Columns worked on at a time. Rows in long pieces come from memory faster; only where a column keeps many `bytes`, of
/// models too, it pays to have them in the second-level cache, and fewer sums to form in the box filter's order.
inline int stripWidth(long bytes, int r, int width)
{
    constexpr long kFewBytes = 600, kMost = 8192;
    const long fitting = bytes <= kFewBytes ? kMost : limit(400000 / bytes, 1024L, kMost);
    const long most = std::max<long>(fitting, 4L * r); // wide windows: margins cost columns twice
    const long strips = std::max((width + most - 1) / most, 1L);
    return int(std::min<long>((width / strips + 16) / 16 * 16, width));
}

/// Bytes a column of the rows in a window's reach, of planes of floats, and of the column sums.
inline long stripBytes(int planes, int moments, int r)
{
    return sizeof(float) * planes * (2L * r + 2) + sizeof(double) * moments;
}

/// How far it is from a row of results to one that will be written a little later; 0 where there is none.
inline std::ptrdiff_t fetchedAhead(const cv::Mat& results, int y)
{
    constexpr int kAhead = 3;
    return y + kAhead < results.rows ? std::ptrdiff_t(results.step1() * kAhead) : 0;
}

/// Reckons the models of one guide for the rows first..end-1 of `cols` columns: of the windows around every pixel. What
/// becomes of a row's from column `left` on is told by finish(y, left).
template <class Finish>
void forEachModelRow(const cv::Mat* planes, int r, int first, int end, int cols, const Finish& finish)
{
    const PaddedRows rows(planes, r);
    const int strip = stripWidth(0, r, cols);
    OneGuide::Moments moments(r, strip);
    for (int left = 0; left < cols; left += strip) {
        moments.begin(left, std::min(strip, cols - left), first);
        for (int y = first; y < end;)
            y += moments.push(rows, [&] { return finish(y, left); });
    }
}

/// The last rows of a strip of models, in a ring. Windows over them find rows of planes with a margin that repeats the
/// grid's edges.
template <int kCoefficients>
class ModelRows {
public:
    ModelRows(cv::Size grid, int r, int margin, int mostWidth)
        : m_grid(grid), m_margin(margin), m_slots(std::min(2 * r + 2, grid.height)),
          m_stride((std::min(mostWidth + 2 * r, grid.width) + 15) / 16 * 16),
          m_floats(std::size_t(m_stride) * kCoefficients * m_slots)
    {
    }

    /// The strip's columns, counted with margins.
    void begin(int first, int end)
    {
        m_first = std::max(first - m_margin, 0);
        m_end = std::min(end - m_margin, m_grid.width);
    }

    int firstColumn() const { return m_first; }
    int columns() const { return m_end - m_first; }

    /// The strip's column left of the first that the strip after it has, whose windows begin at `end`; negative where
    /// there is none.
    int lastBefore(int end) const { return std::max(end - m_margin, 0) - 1 - m_first; }

    /// The grid's row that a row with margins stands for.
    int gridRow(int row) const { return limit(row - m_margin, 0, m_grid.height - 1); }

    /// Where a row of the grid has its coefficients, from firstColumn() on.
    float* at(int coefficient, int y)
    {
        return &m_floats[(std::size_t(y % m_slots) * kCoefficients + coefficient) * m_stride];
    }

    // As PaddedRows.
    EdgedRow operator()(int coefficient, int row, int left) const
    {
        return {ahead(coefficient, row, 0), columns(), left - m_margin - m_first};
    }
    const float* ahead(int coefficient, int row, int) const
    {
        return const_cast<ModelRows*>(this)->at(coefficient, gridRow(row));
    }
    bool repeats(int row) const { return row <= m_margin || row - m_margin >= m_grid.height; }

private:
    cv::Size m_grid;
    int m_margin, m_slots, m_stride, m_first = 0, m_end = 0;
    AlignedArray<float> m_floats;
};

/// Models averaged a second time, row by row. Planes and grid of models have a margin that repeats their edges: of r,
/// and windows stand around every pixel, or of 0, and they lie within.
template <class Guides>
class AveragedModels {
public:
    AveragedModels(const cv::Mat* planes, int r, int margin, float eps)
        : m_r(r), m_eps(eps), m_rows(planes, margin), m_grid(windowsOf(planes[0].size(), margin)),
          m_size(windowsOf(m_grid, margin)),
          m_strip(stripWidth(stripBytes(Guides::kPlanes + kCoefficients, Guides::kMoments + kCoefficients, r), r,
                             m_size.width)),
          m_models(m_grid, r, margin, m_strip), m_moments(r, std::min(m_strip + 2 * r, m_grid.width)),
          m_averages(r, m_strip)
    {
    }

    /// Asks `sink(y, left, n)` for what takes the averages of the rows first..end-1 of windows, in strips of columns.
    template <class Sink>
    void forEachRow(int first, int end, const Sink& sink)
    {
        const int top = m_models.gridRow(first), bottom = m_models.gridRow(end - 1 + 2 * m_r);
        std::vector<typename Guides::Kept> kept(std::size_t(bottom - top + 1));
        for (int left = 0; left < m_size.width; left += m_strip) {
            const int n = std::min(m_strip, m_size.width - left);
            m_models.begin(left, left + n + 2 * m_r);
            m_moments.begin(m_models.firstColumn(), m_models.columns(), top);
            m_averages.begin(left, n, first);
            for (int y = top; y <= bottom; ++y) {
                modelRow(y, kept[std::size_t(y - top)], m_models.lastBefore(left + n));
                while (m_averages.row() < end + 2 * m_r && m_models.gridRow(m_averages.row()) == y)
                    m_averages.push(m_models, [&] { return sink(m_averages.row() - 1 - 2 * m_r, left, n); });
            }
        }
    }

private:
    static constexpr int kCoefficients = Guides::kCoefficients;

    cv::Size windowsOf(cv::Size size, int margin) const
    {
        return {size.width + 2 * (margin - m_r), size.height + 2 * (margin - m_r)};
    }

    /// Row y of the models, and the rows of samples it still wants.
    void modelRow(int y, typename Guides::Kept& kept, int keepAt)
    {
        float* to[kCoefficients];
        for (int c = 0; c < kCoefficients; ++c)
            to[c] = m_models.at(c, y);
        while (!m_moments.push(m_rows, [&] { return Guides::models(m_eps, kept, keepAt, to); }))
            ;
    }

    int m_r;
    float m_eps;
    PaddedRows m_rows;
    cv::Size m_grid, m_size;
    int m_strip;
    ModelRows<kCoefficients> m_models;
    typename Guides::Moments m_moments;
    WindowMoments<kCoefficients, Guides::kAverages> m_averages;
};

} // namespace pixmill::filters
