#include <pixmill/multiscale/detail/multigrid/conjugate_gradients.h>

#include <pixmill/multiscale/detail/multigrid/schur_rows.h>
#include <pixmill/multiscale/detail/multigrid/sums.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

/// Of the largest value of the right side: photographs then end at half a unit in the last place.
constexpr double kTolerance = 0x1p-28;

/// The error's energy at which only rounding is left, as a share of the energy at the start.
constexpr double kRoundingShare = 0x1p-90;

double largestOf(const float* in, const Grid& grid)
{
    std::vector<double> rows(grid.height);
    forEachRow({grid.width, grid.height},
               [&](int y) { rows[y] = rowLargest(in + std::ptrdiff_t(y) * grid.width, grid.width); });
    return *std::max_element(rows.begin(), rows.end());
}

/// What brings the right side near 1, so that its size does not matter to single precision: a power of two.
double scaleFor(double largest)
{
    return largest > 0 && std::isfinite(largest) ? std::ldexp(1.0, -std::ilogb(largest)) : 1.0;
}

/// x += length p and r -= length q.
inline void advanceRow(const double* __restrict p, const double* __restrict q, double length, double scale,
                       double* __restrict x, double* __restrict r, float* __restrict narrow, int n)
{
    for (int k = 0; k < n; ++k) {
        x[k] += length * p[k];
        r[k] -= length * q[k];
        narrow[k] = float(r[k] * scale);
    }
}

} // namespace

ConjugateGradients::ConjugateGradients(const Grid& grid, const PictureCouplings& picture, const float* in,
                                       Workspace& space)
    : m_grid(grid), m_preconditioner(grid, picture, space), m_x(space.plane<double>(grid.count, grid.height)),
      m_r(space.plane<double>(grid.count, grid.height)), m_q(space.plane<double>(grid.count, grid.height)),
      m_p(space.plane<double>(grid.count, grid.height)), m_next(space.plane<double>(grid.count, grid.height)),
      m_z(space.plane<float>(grid.count, grid.height)), m_first(grid.height), m_second(grid.height),
      m_largest(largestOf(in, grid)), m_scale(scaleFor(m_largest)), m_convergence(kTolerance * m_largest)
{
    start(in);
}

double ConjugateGradients::sum(const std::vector<double>& rows) const
{
    double all = 0;
    for (const double v : rows)
        all += v;
    return all;
}

/// The right side of colour 0 alone. Colour 1 divided by its diagonal lies in the direction's plane for the while.
void ConjugateGradients::start(const float* in)
{
    const int n = m_grid.count, w = m_grid.width;
    TeamScratch<float> scratch(2 * std::size_t(n));
    const auto split = [&](int y) {
        float* const colours = scratch.mine();
        std::fill_n(colours, 2 * n, 0.0f);
        splitRow(in + std::ptrdiff_t(y) * w, w, y, colours, colours + n);
        return colours;
    };
    forEachRow({w, m_grid.height}, [&](int y) {
        const float *colour1 = split(y) + n, *c1 = m_grid.c1.row(y);
        double* t = m_p.row(y);
        for (int k = 0; k < n; ++k)
            t[k] = double(colour1[k]) / c1[k];
    });
    forEachRow({w, m_grid.height}, [&](int y) {
        const float* colour0 = split(y);
        double* r = m_r.row(y);
        float* narrow = m_preconditioner.residual().row(y);
        sumForColour0(m_grid, y, m_p.row(y - 1), m_p.row(y), m_p.row(y + 1), r);
        for (int k = 0; k < n; ++k) {
            r[k] += colour0[k];
            narrow[k] = float(r[k] * m_scale);
        }
    });
    forEachRow({w, m_grid.height}, [&](int y) { std::fill_n(m_p.row(y), n, 0.0); });
}

Step ConjugateGradients::step()
{
    m_preconditioner.apply(m_z, m_r, m_q, m_first.data(), m_second.data());
    const double zr = sum(m_first), zq = sum(m_second);
    if (m_convergence.steps() == 0)
        m_enough = kRoundingShare * zr;
    if (zr >= 0 && zr <= m_enough)
        return Step::solved;
    m_pq = direct(m_convergence.steps() == 0 ? 0.0 : -zq / m_pq);
    const double length = zr / m_pq;
    if (!(zr > 0) || !(m_pq > 0) || !std::isfinite(length) || !std::isfinite(m_largest))
        return Step::failed;
    advance(length);
    m_convergence.step(length * m_largest);
    return m_convergence.reached() ? Step::solved : Step::taken;
}

double ConjugateGradients::direct(double beta)
{
    const int n = m_grid.count;
    const auto make = [&](int y, double* __restrict out) {
        const float* z = m_z.row(y);
        const double* p = m_p.row(y);
        for (int k = 0; k < n; ++k)
            out[k] = z[k] + beta * p[k];
    };
    TeamScratch<double> scratch(SchurRows<double>::roomFor(n));
    forEachSpan(m_grid.height, long(n) * m_grid.height, [&](int y, int end) {
        SchurRows<double> schur(m_grid, scratch.mine());
        schur.begin(y);
        for (; y < end; ++y) {
            schur.row(y, make, m_q.row(y));
            std::copy_n(schur.z(y), n, m_next.row(y));
            m_first[y] = rowProduct(schur.z(y), m_q.row(y), n);
            m_second[y] = rowLargest(schur.z(y), n);
        }
    });
    std::swap(m_p, m_next);
    m_largest = *std::max_element(m_second.begin(), m_second.end());
    return sum(m_first);
}

void ConjugateGradients::advance(double length)
{
    forEachRow({m_grid.count, m_grid.height}, [&](int y) {
        advanceRow(m_p.row(y), m_q.row(y), length, m_scale, m_x.row(y), m_r.row(y), m_preconditioner.residual().row(y),
                   m_grid.count);
    });
}

void ConjugateGradients::finish(float* inOut) const
{
    const int n = m_grid.count, w = m_grid.width;
    TeamScratch<double> scratch(2 * std::size_t(n));
    forEachRow({w, m_grid.height}, [&](int y) {
        double* const sums = scratch.mine();
        float *const colour0 = reinterpret_cast<float*>(sums + n), *const colour1 = colour0 + n;
        float* const row = inOut + std::ptrdiff_t(y) * w;
        std::fill_n(colour1, n, 0.0f);
        splitRow(row, w, y, colour0, colour1);
        sumForColour1(m_grid, y, m_x.row(y - 1), m_x.row(y), m_x.row(y + 1), sums);
        const float* c1 = m_grid.c1.row(y);
        const double* x = m_x.row(y);
        for (int k = 0; k < n; ++k) {
            colour1[k] = float((colour1[k] + sums[k]) / c1[k]);
            colour0[k] = float(x[k]);
        }
        joinRow(colour0, colour1, w, y, row);
    });
}

} // namespace pixmill::multiscale
