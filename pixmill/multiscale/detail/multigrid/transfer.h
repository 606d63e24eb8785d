#pragma once

#include <pixmill/multiscale/detail/multigrid/level.h>

/// Row kernels between a level and the next coarser one.
namespace pixmill::multiscale {

/// Row j of the coarser level's right side, from the fine rows of `r` around 2j.
inline void restrictRow(const Interpolation& p, const Plane<float>& r, int j, float* __restrict out, int n)
{
    const float *above = r.row(2 * j - 1), *at = r.row(2 * j), *below = r.row(2 * j + 1);
    const float *l = p.l.row(j), *right = p.r.row(j), *u = p.u.row(j), *d = p.d.row(j - 1);
    const float *nw = p.nw.row(j), *ne = p.ne.row(j), *sw = p.sw.row(j - 1), *se = p.se.row(j - 1);
    for (int i = 0; i < n; ++i)
        out[i] =
            (at[2 * i] + (l[i] * at[2 * i + 1] + right[i - 1] * at[2 * i - 1])) +
            ((u[i] * below[2 * i] + d[i] * above[2 * i]) + ((nw[i] * below[2 * i + 1] + ne[i - 1] * below[2 * i - 1]) +
                                                            (sw[i] * above[2 * i + 1] + se[i - 1] * above[2 * i - 1])));
}

/// Adds the coarser level's solution to fine row y of `x`.
inline void prolongRow(const Interpolation& p, const Plane<float>& coarse, int y, const Plane<float>& fine)
{
    float* __restrict out = fine.row(y);
    const int j = y / 2, evens = (fine.width + 1) / 2, odds = fine.width / 2;
    const float *at = coarse.row(j), *below = coarse.row(j + 1);
    if (y % 2 == 0) {
        const float *l = p.l.row(j), *r = p.r.row(j);
        for (int i = 0; i < evens; ++i)
            out[2 * i] += at[i];
        for (int i = 0; i < odds; ++i)
            out[2 * i + 1] += l[i] * at[i] + r[i] * at[i + 1];
        return;
    }
    const float *u = p.u.row(j), *d = p.d.row(j);
    const float *nw = p.nw.row(j), *ne = p.ne.row(j), *sw = p.sw.row(j), *se = p.se.row(j);
    for (int i = 0; i < evens; ++i)
        out[2 * i] += u[i] * at[i] + d[i] * below[i];
    for (int i = 0; i < odds; ++i)
        out[2 * i + 1] += (nw[i] * at[i] + ne[i] * at[i + 1]) + (sw[i] * below[i] + se[i] * below[i + 1]);
}

} // namespace pixmill::multiscale
