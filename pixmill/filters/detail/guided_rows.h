#pragma once

#include <pixmill/rows/invert3x3.h>
#include <pixmill/rows/window_means.h>

#include <algorithm>
#include <vector>

/// The guided filter's models, row by row from the moments of guides and source.
namespace pixmill::filters {

using namespace rows;

/// One guide: planes guide, source.
struct OneGuide {
    static constexpr int kPlanes = 2, kMoments = 4, kCoefficients = 2;
    static constexpr Moment kTable[kMoments] = {{0, Moment::kNone}, {1, Moment::kNone}, {0, 1}, {0, 0}};
    using Moments = WindowMoments<kPlanes, kMoments>;
    using Means = Moments::Means;

    /// a = cov / (var + eps), b = mean of the source - a * mean of the guide.
    static void model(const Means& m, float eps, float* __restrict a, float* __restrict b, int n)
    {
        const float *g = m[0], *s = m[1], *product = m[2], *square = m[3];
        for (int x = 0; x < n; ++x) {
            const float cov = product[x] - g[x] * s[x];
            const float var = square[x] - g[x] * g[x];
            const float slope = cov / (var + eps);
            a[x] = slope;
            b[x] = s[x] - g[x] * slope;
        }
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
    using Moments = WindowMoments<kPlanes, kMoments>;
    using Means = Moments::Means;

    struct Inverse {
        float m[9];
    };

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
    static void model(Means m, float eps, Inverse& kept, int keepAt, float* __restrict a0, float* __restrict a1,
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

/// Columns worked on at a time: the sums of so many, `bytes` a column, stay in the second-level cache.
inline int stripWidth(long bytes, int r, int width)
{
    const long fitting = limit(800000 / bytes, 256L, 512L);
    return int(std::min<long>(std::max<long>(fitting, 4L * r), width)); // wide windows: margins cost columns twice
}

/// Calls `sink(y, left, n, a, b)` with the model of one guide, for the windows of rows first..end-1, in strips of
/// columns.
template <class Rows, class Sink>
void forEachModelRow(const Rows& rows, int width, int r, float eps, int first, int end, const Sink& sink)
{
    const int side = 2 * r + 1, strip = stripWidth(8L * OneGuide::kMoments * (side + 1), r, width);
    OneGuide::Moments moments(OneGuide::kTable, r, strip);
    AlignedArray<float> a{std::size_t(strip)}, b{std::size_t(strip)};
    for (int left = 0; left < width; left += strip) {
        const int n = std::min(strip, width - left);
        moments.begin(left, n, first);
        for (int row = first; row < end + 2 * r; ++row)
            if (moments.push(rows, row)) {
                OneGuide::model(moments.means(), eps, a.data(), b.data(), n);
                sink(row - 2 * r, left, n, a.data(), b.data());
            }
    }
}

/// Models whose coefficients are averaged a second time, in windows over the grid of models with a margin that repeats
/// its edges.
template <int kCoefficients>
class AveragedModels {
public:
    AveragedModels(cv::Size grid, int r, int margin, int mostWidth)
        : m_grid(grid), m_r(r), m_margin(margin), m_stride((mostWidth + 2 * r + 15) / 16 * 16),
          m_floats(std::size_t(m_stride) * 2 * kCoefficients),
          m_sums(MeansOfRows::pieceScratch(mask()) + kCoefficients * MeansOfRows::scratchSize(mostWidth, mask()))
    {
    }

    /// Windows left..left+width-1, their rows first..end-1.
    void begin(int left, int width, int first, int end)
    {
        m_left = left;
        m_width = width;
        m_row = first;
        m_end = end;
        double* scratch = &m_sums[MeansOfRows::pieceScratch(mask())];
        for (MeansOfRows& means : m_means) {
            means.begin(scratch, width, mask(), first);
            scratch += MeansOfRows::scratchSize(width, mask());
        }
    }

    /// The models that the strip's windows read: columns and rows of the grid.
    int firstColumn() const { return std::max(m_left - m_margin, 0); }
    int endColumn() const { return std::min(m_left + m_width + 2 * m_r - m_margin, m_grid.width); }
    int firstRow() const { return gridRow(m_row); }
    int endRow() const { return gridRow(m_end + 2 * m_r - 1) + 1; }

    /// Where the coefficients of a row from firstColumn() on are to be written before push().
    float* models(int coefficient) { return floats(coefficient) + firstColumn() - (m_left - m_margin); }

    /// Takes the row `gridY` of models; calls `sink(y, means)` for each row of windows that it completes.
    template <class Sink>
    void push(int gridY, const Sink& sink)
    {
        for (int c = 0; c < kCoefficients; ++c)
            extend(c);
        bool again = false;
        for (; m_row < m_end + 2 * m_r && gridRow(m_row) == gridY; ++m_row) {
            const float* means[kCoefficients];
            bool complete = false;
            for (int c = 0; c < kCoefficients; ++c) {
                float* to = floats(kCoefficients + c);
                complete = m_means[c].push(again ? nullptr : floats(c), m_sums.data(), to);
                means[c] = to;
            }
            if (complete)
                sink(m_row - 2 * m_r, means);
            again = m_r > 0;
        }
    }

private:
    cv::Size mask() const { return {2 * m_r + 1, 2 * m_r + 1}; }
    int gridRow(int row) const { return limit(row - m_margin, 0, m_grid.height - 1); }
    float* floats(int i) { return &m_floats[std::size_t(m_stride) * i]; }

    /// Repeats the first and the last column into the margins.
    void extend(int c)
    {
        float *all = floats(c), *begin = models(c), *end = begin + (endColumn() - firstColumn());
        std::fill(all, begin, *begin);
        std::fill(end, all + m_width + 2 * m_r, end[-1]);
    }

    cv::Size m_grid;
    int m_r, m_margin, m_stride, m_left = 0, m_width = 0, m_row = 0, m_end = 0;
    AlignedArray<float> m_floats;
    AlignedArray<double> m_sums;
    MeansOfRows m_means[kCoefficients];
};

} // namespace pixmill::filters
