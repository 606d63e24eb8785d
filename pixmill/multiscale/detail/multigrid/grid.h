#pragma once

#include <pixmill/multiscale/detail/multigrid/coarsening.h>

namespace pixmill::multiscale {

/// The picture's system by the two colours of a checkerboard.
///
/// A pixel has colour (x + y) & 1, and its neighbours all have the other. Row y of colour 0 holds the pixels x = 2 k +
/// o, of colour 1 x = 2 k + 1 - o, with o = y & 1. A row's spare value, where there is one, has no coupling and the
/// diagonal 1.
struct Grid {
    int width = 0, height = 0;
    int count = 0;               ///< values in a row of one colour
    Plane<float> wl, wr, wu, wd; ///< couplings of colour 0 to the left, right, up and down; none is negative
    Plane<float> c0, c1;         ///< diagonals

    /// Splits the couplings, of which each must be finite and not above 0, and the diagonal, which must be above 0.
    ///
    /// @return whether they are, and all entries sum up to more than 0; if not, the system is not positive definite.
    bool split(const PictureCouplings& picture, const float* diagonal, Workspace& space);
};

/// Splits a picture's row y into its colours and back.
void splitRow(const float* in, int width, int y, float* colour0, float* colour1);
void joinRow(const float* colour0, const float* colour1, int width, int y, float* out);

/// What the neighbours of row y's pixels of colour 0 add: out = the sum of coupling times value. `above`, `at` and
/// `below` are rows of colour 1.
template <class T>
inline void sumForColour0(const Grid& g, int y, const T* above, const T* at, const T* below, T* __restrict out)
{
    const float *wl = g.wl.row(y), *wr = g.wr.row(y), *wu = g.wu.row(y), *wd = g.wd.row(y);
    const T *left = at - 1 + (y & 1), *right = at + (y & 1);
    for (int k = 0; k < g.count; ++k)
        out[k] = (wl[k] * left[k] + wr[k] * right[k]) + (wu[k] * above[k] + wd[k] * below[k]);
}

/// The same for colour 1.
template <class T>
inline void sumForColour1(const Grid& g, int y, const T* above, const T* at, const T* below, T* __restrict out)
{
    const int o = y & 1;
    const float *wr = g.wr.row(y) - o, *wl = g.wl.row(y) + 1 - o, *wd = g.wd.row(y - 1), *wu = g.wu.row(y + 1);
    const T *left = at - o, *right = at + 1 - o;
    for (int k = 0; k < g.count; ++k)
        out[k] = (wr[k] * left[k] + wl[k] * right[k]) + (wd[k] * above[k] + wu[k] * below[k]);
}

} // namespace pixmill::multiscale
