#include <pixmill/multiscale/detail/multigrid/preconditioner.h>

#include <pixmill/multiscale/detail/multigrid/cycle.h>
#include <pixmill/multiscale/detail/multigrid/schur_rows.h>
#include <pixmill/multiscale/detail/multigrid/sums.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <cmath>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

constexpr float kDamping = 0.9f;

/// Below this share of the picture's diagonal, that of colour 0 alone would be lost in the rounding of a residual.
constexpr float kLeastDiagonal = 1e-6f;

/// What a neighbour adds to the diagonal of colour 0: the coupling, less what comes back. Beyond the picture both are
/// 0.
inline float kept(float coupling, float diagonal)
{
    const float rest = diagonal - coupling;
    const float share = coupling * (rest > 1.0f ? rest : 1.0f) / diagonal;
    return coupling > 0.0f ? share : 0.0f;
}

inline void gainRow(const Grid& g, int y, float* __restrict out)
{
    const int o = y & 1;
    const float *wl = g.wl.row(y), *wr = g.wr.row(y), *wu = g.wu.row(y), *wd = g.wd.row(y);
    const float *left = g.c1.row(y) - 1 + o, *right = g.c1.row(y) + o, *c0 = g.c0.row(y);
    const float *above = g.c1.row(y - 1), *below = g.c1.row(y + 1);
    for (int k = 0; k < g.count; ++k) {
        const float diagonal =
            1.0f + ((kept(wl[k], left[k]) + kept(wr[k], right[k])) + (kept(wu[k], above[k]) + kept(wd[k], below[k])));
        const float least = kLeastDiagonal * c0[k];
        out[k] = kDamping / (diagonal > least ? diagonal : least);
    }
}

inline void multiplyRow(const float* a, const float* b, float* __restrict out, int n)
{
    for (int k = 0; k < n; ++k)
        out[k] = a[k] * b[k];
}

/// The coarse right side: of residuals of even rows, which lie on even columns, and of odd rows, on odd ones.
inline void restrictRow(const Interpolation& p, int j, const float* above, const float* at, const float* below,
                        float* __restrict out, int n)
{
    const float *nw = p.nw.row(j), *ne = p.ne.row(j), *sw = p.sw.row(j - 1), *se = p.se.row(j - 1);
    for (int i = 0; i < n; ++i)
        out[i] =
            at[i] + ((nw[i] * below[i] + ne[i - 1] * below[i - 1]) + (sw[i] * above[i] + se[i - 1] * above[i - 1]));
}

} // namespace

Preconditioner::Preconditioner(const Grid& grid, const PictureCouplings& picture, Workspace& space)
    : m_grid(grid), m_hierarchy(picture, space), m_gain(space.plane<float>(grid.count, grid.height)),
      m_residual(space.plane<float>(grid.count, grid.height))
{
    forEachRow({grid.count, grid.height}, [&](int y) { gainRow(m_grid, y, m_gain.row(y)); });
}

/// Of the residual after the first step, on the fly.
void Preconditioner::restrictResidual()
{
    const int n = m_grid.count, h = m_grid.height;
    const std::size_t each = std::size_t(n) + 2;
    const Level& coarse = m_hierarchy.levels[0];
    const auto make = [&](int y, float* z) { multiplyRow(m_gain.row(y), m_residual.row(y), z, n); };
    TeamScratch<float> scratch(SchurRows<float>::roomFor(n) + 4 * each);
    forEachSpan(coarse.height, long(n) * h, [&](int first, int end) {
        SchurRows<float> schur(m_grid, scratch.mine());
        float* const ring = scratch.mine() + SchurRows<float>::roomFor(n) + 1;
        std::fill_n(ring - 1, 4 * each, 0.0f);
        const auto left = [&](int y) { return ring + (y & 3) * each; };
        const auto remain = [&](int y) {
            if (y < 0 || y >= h) {
                std::fill_n(left(y), n, 0.0f);
                return;
            }
            schur.row(y, make, left(y));
            const float* r = m_residual.row(y);
            float* out = left(y);
            for (int k = 0; k < n; ++k)
                out[k] = r[k] - out[k];
        };
        const int start = 2 * first - 1 < 0 ? 0 : 2 * first - 1;
        schur.begin(start, make);
        if (first > 0)
            remain(2 * first - 1);
        for (int j = first; j < end; ++j) {
            remain(2 * j);
            remain(2 * j + 1);
            restrictRow(m_hierarchy.picture, j, left(2 * j - 1), left(2 * j), left(2 * j + 1), coarse.b.row(j), n);
        }
    });
}

/// z += what the first level found.
void Preconditioner::correct(int y, float* __restrict z) const
{
    const Level& coarse = m_hierarchy.levels[0];
    const Interpolation& p = m_hierarchy.picture;
    const int j = y / 2;
    const float *at = coarse.x.row(j), *below = coarse.x.row(j + 1);
    const float *nw = p.nw.row(j), *ne = p.ne.row(j), *sw = p.sw.row(j), *se = p.se.row(j);
    if (y % 2 == 0) {
        for (int i = 0; i < m_grid.count; ++i)
            z[i] += at[i];
        return;
    }
    for (int i = 0; i < m_grid.count; ++i)
        z[i] += (nw[i] * at[i] + ne[i] * at[i + 1]) + (sw[i] * below[i] + se[i] * below[i + 1]);
}

void Preconditioner::apply(const Plane<float>& z, const Plane<double>& r, const Plane<double>& q, double* zr,
                           double* zq)
{
    restrictResidual();
    cycle(m_hierarchy.levels);
    const int n = m_grid.count;
    const auto make = [&](int y, float* out) {
        multiplyRow(m_gain.row(y), m_residual.row(y), out, n);
        correct(y, out);
    };
    TeamScratch<float> scratch(SchurRows<float>::roomFor(n));
    forEachSpan(m_grid.height, long(n) * m_grid.height, [&](int y, int end) {
        SchurRows<float> schur(m_grid, scratch.mine());
        schur.begin(y, make);
        for (; y < end; ++y) {
            float* __restrict out = z.row(y);
            schur.row(y, make, out);
            const float *before = schur.z(y), *gain = m_gain.row(y), *residual = m_residual.row(y);
            for (int k = 0; k < n; ++k)
                out[k] = before[k] + gain[k] * (residual[k] - out[k]);
            zr[y] = rowProduct(out, r.row(y), n);
            zq[y] = rowProduct(out, q.row(y), n);
        }
    });
}

} // namespace pixmill::multiscale
