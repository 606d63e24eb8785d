#pragma once

/// Row kernels of the set-up of a coarse level.
///
/// A coarse cell has the coarse points a, b above and c, d below at its corners, and of the fine level N, W, E, S
/// halfway along its sides and M in the middle. Fine rows come as their even and their odd columns, so that all
/// that belongs to one cell has one index.
namespace pixmill::multiscale {

/// The even (0) and odd (1) columns of one fine row; each may be read one value beyond both ends.
struct FineRow {
    const float *e0, *e1, *s0, *s1, *se0, *se1, *sw0, *sw1, *x0, *x1; ///< x: the excess
};

constexpr float kNoCoupling = 1e-20f; ///< added to sums that are divided by: a point may have no coupling

/// Of the points N on fine row `at`, `above` being the row before it.
inline void sideWeights(const FineRow& above, const FineRow& at, float* __restrict left, float* __restrict right, int n)
{
    for (int i = 0; i < n; ++i) {
        const float l = (at.e0[i] + above.se0[i]) + at.sw1[i], r = (at.e1[i] + at.se1[i]) + above.sw0[i + 1];
        const float share = 1.0f / ((l + r) + kNoCoupling);
        left[i] = l * share;
        right[i] = r * share;
    }
}

/// Of the points W between fine rows `top` and the one after `at`.
inline void uprightWeights(const FineRow& top, const FineRow& at, float* __restrict up, float* __restrict down, int n)
{
    for (int i = 0; i < n; ++i) {
        const float u = (top.s0[i] + top.se1[i - 1]) + top.sw1[i], d = (at.s0[i] + at.se0[i]) + at.sw0[i];
        const float share = 1.0f / ((u + d) + kNoCoupling);
        up[i] = u * share;
        down[i] = d * share;
    }
}

/// The weights of a row of cells.
struct CellWeights {
    const float *nl, *nr; ///< N from a, b
    const float *sl, *sr; ///< S from c, d
    const float *wu, *wd; ///< W from a, c; E, from b, d, has those of the next cell
    float *ma, *mb, *mc, *md;
};

/// Of the points M on fine row `at`, `top` being the one before it.
inline void middleWeights(const FineRow& top, const FineRow& at, const CellWeights& p, int n)
{
    float* __restrict ma = p.ma, * __restrict mb = p.mb, * __restrict mc = p.mc, * __restrict md = p.md;
    for (int i = 0; i < n; ++i) {
        const float up = top.s1[i], down = at.s1[i], left = at.e0[i], right = at.e1[i];
        const float a = top.se0[i], b = top.sw0[i + 1], c = at.sw1[i], d = at.se1[i];
        const float share = 1.0f / ((((up + down) + (left + right)) + ((a + b) + (c + d))) + kNoCoupling);
        ma[i] = ((a + up * p.nl[i]) + left * p.wu[i]) * share;
        mb[i] = ((b + up * p.nr[i]) + right * p.wu[i + 1]) * share;
        mc[i] = ((c + down * p.sl[i]) + left * p.wd[i]) * share;
        md[i] = ((d + down * p.sr[i]) + right * p.wd[i + 1]) * share;
    }
}

/// The couplings of a cell's corners that its inner edges make.
struct Corners {
    float ab = 0, cd = 0, ac = 0, bd = 0, ad = 0, bc = 0;

    /// An edge of this coupling, over which the corners' shares differ by a, b, c, d.
    void add(float coupling, float a, float b, float c, float d)
    {
        const float ka = coupling * a, kb = coupling * b, kc = coupling * c;
        ab -= ka * b;
        ac -= ka * c;
        ad -= ka * d;
        bc -= kb * c;
        bd -= kb * d;
        cd -= kc * d;
    }
};

/// Where the couplings of a row of cells go.
struct CellRows {
    float *ab, *cd, *ac, *bd, *ad, *bc;
};

/// `Diagonal`: whether the fine level has diagonal couplings; the picture has none.
template <bool Diagonal>
inline void cellCouplings(const FineRow& top, const FineRow& at, const CellWeights& p, const CellRows& out, int n)
{
    float* __restrict ab = out.ab, * __restrict cd = out.cd, * __restrict ac = out.ac, * __restrict bd = out.bd, * __restrict ad = out.ad, * __restrict bc = out.bc;
    for (int i = 0; i < n; ++i) {
        const float a = p.ma[i], b = p.mb[i], c = p.mc[i], d = p.md[i];
        const float nl = p.nl[i], nr = p.nr[i], sl = p.sl[i], sr = p.sr[i];
        const float wu = p.wu[i], wd = p.wd[i], eu = p.wu[i + 1], ed = p.wd[i + 1];
        Corners k;
        k.add(top.s1[i], a - nl, b - nr, c, d);
        k.add(at.s1[i], a, b, c - sl, d - sr);
        k.add(at.e0[i], a - wu, b, c - wd, d);
        k.add(at.e1[i], a, b - eu, c, d - ed);
        if (Diagonal) {
            k.add(top.se0[i], a - 1.0f, b, c, d);
            k.add(top.sw0[i + 1], a, b - 1.0f, c, d);
            k.add(at.sw1[i], a, b, c - 1.0f, d);
            k.add(at.se1[i], a, b, c, d - 1.0f);
            k.add(top.sw1[i], nl - wu, nr, -wd, 0.0f);
            k.add(top.se1[i], nl, nr - eu, 0.0f, -ed);
            k.add(at.se0[i], -wu, 0.0f, sl - wd, sr);
            k.add(at.sw0[i + 1], 0.0f, -eu, sl, sr - ed);
        }
        ab[i] = k.ab;
        cd[i] = k.cd;
        ac[i] = k.ac;
        bd[i] = k.bd;
        ad[i] = k.ad;
        bc[i] = k.bc;
    }
}

} // namespace pixmill::multiscale
