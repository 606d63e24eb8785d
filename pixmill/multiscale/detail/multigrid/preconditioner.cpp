#include <pixmill/multiscale/detail/multigrid/preconditioner.h>

#include <pixmill/multiscale/detail/multigrid/cycle.h>
#include <pixmill/multiscale/detail/multigrid/smoothed_rows.h>
#include <pixmill/multiscale/detail/multigrid/sums.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <cmath>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

constexpr int kSteps = int(kStepWeights.size());

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
        out[k] = 1.0f / (diagonal > least ? diagonal : least);
    }
}

/// The first step, from 0.
inline void firstStep(const float* gain, const float* residual, float* __restrict z, int n)
{
    for (int k = 0; k < n; ++k)
        z[k] = kStepWeights[0] * gain[k] * residual[k];
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
      m_residual(space.plane<float>(grid.count, grid.height)), m_smoothed(space.plane<float>(grid.count, grid.height))
{
    forEachRow({grid.count, grid.height}, [&](int y) { gainRow(m_grid, y, m_gain.row(y)); });
}

/// Four rows of residuals, of which those outside the picture are 0.
class Preconditioner::ResidualRows {
public:
    static std::size_t roomFor(int count) { return 4 * (std::size_t(count) + 2) + SchurRows<float>::roomFor(count); }

    ResidualRows(const Preconditioner& owner, float* room)
        : m_owner(owner), m_each(std::size_t(owner.m_grid.count) + 2), m_schur(owner.m_grid, room + 4 * m_each),
          m_rows(room + 1)
    {
        std::fill_n(room, 4 * m_each, 0.0f);
    }

    void begin(int y) { m_schur.begin(y); }

    template <class Make>
    void make(int y, const Make& make)
    {
        float* __restrict out = row(y);
        const int n = m_owner.m_grid.count;
        if (y < 0 || y >= m_owner.m_grid.height) {
            std::fill_n(out, n, 0.0f);
            return;
        }
        m_schur.row(y, make, out);
        const float* r = m_owner.m_residual.row(y);
        for (int k = 0; k < n; ++k)
            out[k] = r[k] - out[k];
    }

    float* row(int y) const { return m_rows + (y & 3) * m_each; }

private:
    const Preconditioner& m_owner;
    std::size_t m_each;
    SchurRows<float> m_schur;
    float* m_rows;
};

/// The steps before the cycle, from 0, and the right side of the first level from the residual that they leave.
void Preconditioner::restrictResidual()
{
    using Steps = SmoothedRows<kSteps - 1>;
    const int n = m_grid.count, h = m_grid.height;
    const Level& coarse = m_hierarchy.levels[0];
    TeamScratch<float> scratch(Steps::roomFor(n) + ResidualRows::roomFor(n));
    forEachSpan(coarse.height, long(n) * h, [&](int first, int end) {
        Steps steps(m_grid, m_gain, m_residual, kStepWeights.data() + 1, scratch.mine());
        ResidualRows left(*this, scratch.mine() + Steps::roomFor(n));
        const auto begin = [&](int y, float* z) { firstStep(m_gain.row(y), m_residual.row(y), z, n); };
        const auto smoothed = [&](int y, float* z) {
            steps.row(y, begin, z);
            if (y >= 2 * first && y < 2 * end)
                std::copy_n(z, n, m_smoothed.row(y));
        };
        const int start = std::max(2 * first - 1, 0);
        steps.begin(std::max(start - 2, 0));
        left.begin(start);
        if (first > 0)
            left.make(2 * first - 1, smoothed);
        for (int j = first; j < end; ++j) {
            left.make(2 * j, smoothed);
            left.make(2 * j + 1, smoothed);
            restrictRow(m_hierarchy.picture, j, left.row(2 * j - 1), left.row(2 * j), left.row(2 * j + 1),
                        coarse.b.row(j), n);
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
    using Steps = SmoothedRows<kSteps>;
    std::array<float, kSteps> reversed;
    std::reverse_copy(kStepWeights.begin(), kStepWeights.end(), reversed.begin());
    const int n = m_grid.count;
    const auto corrected = [&](int y, float* out) {
        std::copy_n(m_smoothed.row(y), n, out);
        correct(y, out);
    };
    TeamScratch<float> scratch(Steps::roomFor(n));
    forEachSpan(m_grid.height, long(n) * m_grid.height, [&](int y, int end) {
        Steps steps(m_grid, m_gain, m_residual, reversed.data(), scratch.mine());
        steps.begin(y);
        for (; y < end; ++y) {
            steps.row(y, corrected, z.row(y));
            zr[y] = rowProduct(z.row(y), r.row(y), n);
            zq[y] = rowProduct(z.row(y), q.row(y), n);
        }
    });
}

} // namespace pixmill::multiscale
