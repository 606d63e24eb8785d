#pragma once

#include <pixmill/multiscale/detail/multigrid/level.h>

/// Row kernels of a coarse level: Gauss-Seidel in four colours, the parities of row and column.
namespace pixmill::multiscale {

/// out = `from` and what the neighbours above and below add; `from` may be null for 0.
inline void addRowsAround(const Level& level, int y, const float* from, float* __restrict out)
{
    const float *s = level.s.row(y), *se = level.se.row(y), *sw = level.sw.row(y), *below = level.x.row(y + 1);
    const float *sUp = level.s.row(y - 1), *seUp = level.se.row(y - 1), *swUp = level.sw.row(y - 1);
    const float* above = level.x.row(y - 1);
    for (int x = 0; x < level.width; ++x) {
        const float up = sUp[x] * above[x] + (seUp[x - 1] * above[x - 1] + swUp[x + 1] * above[x + 1]);
        const float down = s[x] * below[x] + (se[x] * below[x + 1] + sw[x] * below[x - 1]);
        out[x] = from ? from[x] + (up + down) : up + down;
    }
}

/// The points of one column parity, `t` being all but the row's own neighbours. `next` is scratch.
inline void relaxColumns(const Level& level, int y, int parity, const float* __restrict t, float* __restrict next)
{
    const float* __restrict e = level.e.row(y), * __restrict inverse = level.inverse.row(y);
    float* __restrict v = level.x.row(y);
    for (int x = 0; x < level.width; ++x)
        next[x] = (t[x] + (e[x - 1] * v[x - 1] + e[x] * v[x + 1])) * inverse[x];
    for (int x = 0; x < level.width; ++x)
        v[x] = (x & 1) == parity ? next[x] : v[x];
}

/// A row, its columns of parity `first` before the others.
inline void relaxRow(const Level& level, int y, int first, const float* t, float* next)
{
    relaxColumns(level, y, first, t, next);
    relaxColumns(level, y, 1 - first, t, next);
}

/// The residual after a sweep that began with zeros and went even rows, odd rows, in each even columns before odd ones:
/// what came after a point's own turn, so that nothing cancels.
inline void residualRow(const Level& level, int y, float* __restrict out)
{
    const float *e = level.e.row(y), *v = level.x.row(y);
    if (y % 2 == 0)
        addRowsAround(level, y, nullptr, out);
    for (int x = 0; x < level.width; ++x) {
        const float before = y % 2 == 0 ? out[x] : 0.0f;
        out[x] = x % 2 == 0 ? before + (e[x - 1] * v[x - 1] + e[x] * v[x + 1]) : before;
    }
}

} // namespace pixmill::multiscale
