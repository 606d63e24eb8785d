#pragma once

#include <pixmill/multiscale/detail/multigrid/workspace.h>

namespace pixmill::multiscale {

/// How a finer level takes its values from the coarser one, whose point (i, j) lies on its (2i, 2j). Each plane has the
/// coarser level's size. The weights of a point sum to 1.
struct Interpolation {
    Plane<float> l, r;           ///< of (2i + 1, 2j): from coarse (i, j) and (i + 1, j)
    Plane<float> u, d;           ///< of (2i, 2j + 1): from coarse (i, j) and (i, j + 1)
    Plane<float> nw, ne, sw, se; ///< of (2i + 1, 2j + 1): from the four around

    Interpolation() = default;
    Interpolation(int width, int height, Workspace& sides, Workspace& space)
        : l(sides.plane<float>(width, height)), r(sides.plane<float>(width, height)),
          u(sides.plane<float>(width, height)), d(sides.plane<float>(width, height)),
          nw(space.plane<float>(width, height)), ne(space.plane<float>(width, height)),
          sw(space.plane<float>(width, height)), se(space.plane<float>(width, height))
    {
    }
};

/// One coarse level: a symmetric operator of nine points, and the vectors of a cycle.
///
/// A point's row of the operator is its diagonal and minus its couplings, none of which is negative. The diagonal is
/// the excess, what a row sums up to, and the sum of the eight couplings.
struct Level {
    int width = 0, height = 0;
    Plane<float> e, s, se, sw; ///< couplings of (x, y) to (x + 1, y), (x, y + 1), (x + 1, y + 1), (x - 1, y + 1)
    Plane<float> excess;
    Plane<float> inverse;  ///< of the diagonal
    Plane<float> x, b, r;  ///< solution, right side, scratch
    Interpolation coarser; ///< from the next level, unless this is the last

    Level(int w, int h, Workspace& space)
        : width(w), height(h), e(space.plane<float>(w, h)), s(space.plane<float>(w, h)), se(space.plane<float>(w, h)),
          sw(space.plane<float>(w, h)), excess(space.plane<float>(w, h)), inverse(space.plane<float>(w, h)),
          x(space.plane<float>(w, h)), b(space.plane<float>(w, h)), r(space.plane<float>(w, h))
    {
    }
};

} // namespace pixmill::multiscale
