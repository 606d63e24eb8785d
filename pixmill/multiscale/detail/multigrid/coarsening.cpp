#include <pixmill/multiscale/detail/multigrid/coarsening.h>

#include <pixmill/multiscale/detail/multigrid/cell.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

/// Room for one fine row's even and odd columns, zeros around them.
struct FineRowRoom {
    float* first;
    std::size_t each;

    static std::size_t valuesFor(int coarseWidth) { return 10 * (std::size_t(coarseWidth) + 2); }

    FineRowRoom(float* room, int coarseWidth) : first(room + 1), each(std::size_t(coarseWidth) + 2)
    {
        std::fill_n(room, valuesFor(coarseWidth), 0.0f);
    }

    float* part(int k) const { return first + k * each; }

    FineRow row() const
    {
        return {part(0), part(1), part(2), part(3), part(4), part(5), part(6), part(7), part(8), part(9)};
    }
};

inline void parted(const float* __restrict in, int width, float sign, float* __restrict even, float* __restrict odd)
{
    const int pairs = width / 2;
    for (int i = 0; i < pairs; ++i) {
        even[i] = sign * in[2 * i];
        odd[i] = sign * in[2 * i + 1];
    }
    if (width & 1) {
        even[pairs] = sign * in[width - 1];
        odd[pairs] = 0.0f;
    }
}

inline void load(const PictureCouplings& fine, int y, const FineRowRoom& room)
{
    const bool inside = y >= 0 && y < fine.height;
    const int evens = (fine.width + 1) / 2, odds = fine.width / 2;
    std::fill_n(room.part(8), evens, inside ? 1.0f : 0.0f);
    std::fill_n(room.part(9), odds, inside ? 1.0f : 0.0f);
    if (!inside) {
        for (int k = 0; k < 4; ++k)
            std::fill_n(room.part(k), evens, 0.0f);
        return;
    }
    const std::ptrdiff_t at = std::ptrdiff_t(y) * fine.width;
    parted(fine.dx + at, fine.width, -1.0f, room.part(0), room.part(1));
    parted(fine.dy + at, fine.width, -1.0f, room.part(2), room.part(3));
}

inline void load(const Level& fine, int y, const FineRowRoom& room)
{
    const Plane<float>* const planes[] = {&fine.e, &fine.s, &fine.se, &fine.sw, &fine.excess};
    for (int k = 0; k < 5; ++k)
        parted(planes[k]->row(y), fine.width, 1.0f, room.part(2 * k), room.part(2 * k + 1));
}

/// Runs `body(j, rows)` for every row j of the coarse level, `rows` being the fine rows 2j - 1, 2j and 2j + 1.
template <class Fine, class Body>
void forEachCoarseRow(const Fine& fine, const Level& coarse, const Body& body)
{
    const std::size_t each = FineRowRoom::valuesFor(coarse.width);
    TeamScratch<float> scratch(3 * each);
    forEachSpan(coarse.height, long(fine.width) * fine.height, [&](int j, int end) {
        const FineRowRoom rooms[] = {{scratch.mine(), coarse.width},
                                     {scratch.mine() + each, coarse.width},
                                     {scratch.mine() + 2 * each, coarse.width}};
        for (; j < end; ++j) {
            FineRow rows[3];
            for (int k = 0; k < 3; ++k) {
                load(fine, 2 * j - 1 + k, rooms[k]);
                rows[k] = rooms[k].row();
            }
            body(j, rows);
        }
    });
}

inline CellWeights weightsOfCells(const Interpolation& p, int j)
{
    return {p.l.row(j), p.r.row(j),  p.l.row(j + 1), p.r.row(j + 1), p.u.row(j),
            p.d.row(j), p.nw.row(j), p.ne.row(j),    p.sw.row(j),    p.se.row(j)};
}

/// The cells' couplings lie in planes of the level that are free till the first cycle.
inline CellRows rowsOfCells(const Level& level, int j)
{
    return {level.e.row(j), level.x.row(j), level.s.row(j), level.b.row(j), level.se.row(j), level.r.row(j)};
}

inline float notNegative(float v)
{
    return v > 0.0f ? v : 0.0f;
}

/// A coarse row's couplings from those of the cells on both sides and from the fine edges between two cells.
inline void joinCells(const FineRow& at, const FineRow& below, const Interpolation& p, const Level& level, int j)
{
    const float *l = p.l.row(j), *r = p.r.row(j), *u = p.u.row(j), *d = p.d.row(j);
    const float *cd = level.x.row(j - 1), *bd = level.b.row(j), *bc = level.r.row(j);
    float *__restrict e = level.e.row(j), *__restrict s = level.s.row(j), *__restrict se = level.se.row(j),
                     *__restrict sw = level.sw.row(j);
    for (int i = 0; i < level.width; ++i) {
        const float side = at.e0[i] * (r[i] * r[i]) + at.e1[i] * (l[i] * l[i]);
        const float upright = at.s0[i] * (d[i] * d[i]) + below.s0[i] * (u[i] * u[i]);
        e[i] = notNegative(side + (e[i] + cd[i]));
        s[i] = notNegative(upright + (s[i] + bd[i - 1]));
        se[i] = notNegative(se[i]);
        sw[i] = notNegative(bc[i - 1]);
    }
}

/// The excess of the fine points around, by the shares that they take.
inline void gatherExcess(const FineRow rows[3], const Interpolation& p, const Level& level, int j)
{
    const FineRow &above = rows[0], &at = rows[1], &below = rows[2];
    const float *l = p.l.row(j), *r = p.r.row(j), *u = p.u.row(j), *d = p.d.row(j - 1);
    const float *nw = p.nw.row(j), *ne = p.ne.row(j), *sw = p.sw.row(j - 1), *se = p.se.row(j - 1);
    float* __restrict out = level.excess.row(j);
    for (int i = 0; i < level.width; ++i)
        out[i] = (at.x0[i] + (l[i] * at.x1[i] + r[i - 1] * at.x1[i - 1])) +
                 ((u[i] * below.x0[i] + d[i] * above.x0[i]) + ((nw[i] * below.x1[i] + ne[i - 1] * below.x1[i - 1]) +
                                                               (sw[i] * above.x1[i] + se[i - 1] * above.x1[i - 1])));
}

inline void invertDiagonal(const Level& level, int y)
{
    const float *e = level.e.row(y), *s = level.s.row(y), *se = level.se.row(y), *sw = level.sw.row(y);
    const float *sUp = level.s.row(y - 1), *seUp = level.se.row(y - 1), *swUp = level.sw.row(y - 1);
    const float* excess = level.excess.row(y);
    float* __restrict out = level.inverse.row(y);
    for (int x = 0; x < level.width; ++x) {
        const float beside = e[x - 1] + e[x], below = (s[x] + se[x]) + sw[x];
        const float above = (sUp[x] + seUp[x - 1]) + swUp[x + 1];
        out[x] = 1.0f / (excess[x] + (beside + (above + below)));
    }
}

template <bool Diagonal, class Fine>
void coarsenBy(const Fine& fine, const Interpolation& p, Level& coarse)
{
    const int n = coarse.width;
    forEachCoarseRow(fine, coarse, [&](int j, const FineRow* rows) {
        sideWeights(rows[0], rows[1], p.l.row(j), p.r.row(j), n);
        uprightWeights(rows[1], rows[2], p.u.row(j), p.d.row(j), n);
    });
    forEachCoarseRow(fine, coarse, [&](int j, const FineRow* rows) {
        const CellWeights weights = weightsOfCells(p, j);
        middleWeights(rows[1], rows[2], weights, n);
        cellCouplings<Diagonal>(rows[1], rows[2], weights, rowsOfCells(coarse, j), n);
    });
    forEachCoarseRow(fine, coarse, [&](int j, const FineRow* rows) {
        joinCells(rows[1], rows[2], p, coarse, j);
        gatherExcess(rows, p, coarse, j);
    });
    forEachRow({coarse.width, coarse.height}, [&](int y) { invertDiagonal(coarse, y); });
}

} // namespace

void coarsen(const PictureCouplings& fine, const Interpolation& weights, Level& coarse)
{
    coarsenBy<false>(fine, weights, coarse);
}

void coarsen(const Level& fine, Level& coarse)
{
    coarsenBy<true>(fine, fine.coarser, coarse);
}

} // namespace pixmill::multiscale
