#pragma once

#include <pixmill/multiscale/detail/multigrid/grid.h>
#include <pixmill/multiscale/detail/multigrid/hierarchy.h>

#include <vector>

namespace pixmill::multiscale {

/// An approximate inverse of the system of colour 0, symmetric and positive definite but for its rounding: a damped
/// Jacobi step, the correction by one cycle on the coarse levels, and the same step again.
///
/// The step divides by the diagonal of the system of colour 0, not by that of the picture's: where few pixels are tied
/// strongly, the one is far smaller, and steps by the other hardly move them.
class Preconditioner {
public:
    /// @throws std::bad_alloc  no memory.
    Preconditioner(const Grid& grid, const PictureCouplings& picture, Workspace& space);

    /// The residual's place, colour 0 in single precision.
    const Plane<float>& residual() const { return m_residual; }

    /// z becomes the preconditioned residual, and the products of each of its rows with those of r and q are noted.
    void apply(const Plane<float>& z, const Plane<double>& r, const Plane<double>& q, double* zr, double* zq);

private:
    class ResidualRows;

    void restrictResidual();
    void correct(int y, float* z) const;

    const Grid& m_grid;
    Hierarchy m_hierarchy;
    Plane<float> m_gain; ///< 1 over that diagonal
    Plane<float> m_residual;
    Plane<float> m_smoothed; ///< after the steps before the cycle
};

} // namespace pixmill::multiscale
