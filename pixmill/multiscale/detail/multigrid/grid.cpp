#include <pixmill/multiscale/detail/multigrid/grid.h>

#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <numeric>
#include <vector>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

/// The row's even and odd columns, whose colours change places from row to row.
inline void evenAndOdd(const float* __restrict in, int width, float* __restrict even, float* __restrict odd)
{
    for (int k = 0; k < width / 2; ++k) {
        even[k] = in[2 * k];
        odd[k] = in[2 * k + 1];
    }
    if (width & 1)
        even[width / 2] = in[width - 1];
}

/// Whether all lie in 0..FLT_MAX; a NaN does not.
inline bool allCouplings(const float* values, int n)
{
    bool good = true;
    for (int k = 0; k < n; ++k)
        good &= values[k] >= 0.0f && values[k] <= std::numeric_limits<float>::max();
    return good;
}

class Splitter {
public:
    Splitter(const Grid& grid, const PictureCouplings& picture, const float* diagonal)
        : m_grid(grid), m_picture(picture), m_diagonal(diagonal)
    {
    }

    /// `row` is scratch for a row with a margin.
    bool run(int y, float* row) const
    {
        const int w = m_grid.width;
        const float *dx = m_picture.dx + at(y), *dy = m_picture.dy + at(y);
        float *const wl = m_grid.wl.row(y), *const wr = m_grid.wr.row(y);
        row[0] = 0.0f;
        bool good = negated(dx, w, row + 1);
        splitFor0(row, y, wl);
        splitFor0(row + 1, y, wr);
        good &= negated(dy, w, row);
        splitFor0(row, y, m_grid.wd.row(y));
        if (y > 0) {
            good &= negated(dy - w, w, row);
            splitFor0(row, y, m_grid.wu.row(y));
        }
        return good & splitDiagonal(y);
    }

    /// What the entries of a row of pixels sum up to, their couplings downward counted twice and none upward.
    double excess(int y) const
    {
        const float *dx = m_picture.dx + at(y), *dy = m_picture.dy + at(y), *diagonal = m_diagonal + at(y);
        double sum = 0;
        for (int x = 0; x < m_grid.width; ++x)
            sum += double(diagonal[x]) + 2.0 * (double(dx[x]) + dy[x]);
        return sum;
    }

private:
    std::ptrdiff_t at(int y) const { return std::ptrdiff_t(y) * m_grid.width; }

    bool negated(const float* __restrict in, int n, float* __restrict out) const
    {
        for (int x = 0; x < n; ++x)
            out[x] = 0.0f - in[x];
        return allCouplings(out, n);
    }

    void splitFor0(const float* row, int y, float* out) const
    {
        for (int k = 0, x = y & 1; x < m_grid.width; ++k, x += 2)
            out[k] = row[x];
    }

    bool splitDiagonal(int y) const
    {
        float *const c0 = m_grid.c0.row(y), *const c1 = m_grid.c1.row(y);
        c0[m_grid.count - 1] = c1[m_grid.count - 1] = 1.0f; // one of them may be spare
        splitRow(m_diagonal + at(y), m_grid.width, y, c0, c1);
        const auto positive = [n = m_grid.count](const float* c) {
            return allCouplings(c, n) && std::count(c, c + n, 0.0f) == 0;
        };
        return positive(c0) && positive(c1);
    }

    const Grid& m_grid;
    const PictureCouplings& m_picture;
    const float* m_diagonal;
};

} // namespace

void splitRow(const float* in, int width, int y, float* colour0, float* colour1)
{
    evenAndOdd(in, width, y & 1 ? colour1 : colour0, y & 1 ? colour0 : colour1);
}

void joinRow(const float* colour0, const float* colour1, int width, int y, float* out)
{
    const float *even = y & 1 ? colour1 : colour0, *odd = y & 1 ? colour0 : colour1;
    for (int k = 0; k < width / 2; ++k) {
        out[2 * k] = even[k];
        out[2 * k + 1] = odd[k];
    }
    if (width & 1)
        out[width - 1] = even[width / 2];
}

bool Grid::split(const PictureCouplings& picture, const float* diagonal, Workspace& space)
{
    width = picture.width;
    height = picture.height;
    count = (width + 1) / 2;
    for (Plane<float>* const plane : {&wl, &wr, &wu, &wd, &c0, &c1})
        *plane = space.plane<float>(count, height);
    const Splitter splitter(*this, picture, diagonal);
    TeamScratch<float> scratch(std::size_t(width) + 2);
    std::atomic<bool> good{true};
    std::vector<double> excess(height);
    forEachRow({width, height}, [&](int y) {
        if (!splitter.run(y, scratch.mine()))
            good = false;
        excess[y] = splitter.excess(y);
    });
    return good && std::accumulate(excess.begin(), excess.end(), 0.0) > 0;
}

} // namespace pixmill::multiscale
