#pragma once

#include <pixmill/multiscale/detail/multigrid/convergence.h>
#include <pixmill/multiscale/detail/multigrid/preconditioner.h>

#include <vector>

namespace pixmill::multiscale {

enum class Step { taken, solved, failed };

/// Conjugate gradients in double precision for colour 0, the other colour eliminated exactly. The flexible form bears a
/// preconditioner whose rounding makes it a little unsymmetric.
///
/// Y. Notay, "Flexible conjugate gradients", 2000.
class ConjugateGradients {
public:
    /// Starts from 0.
    ///
    /// @param in  the right side, a picture without padding.
    /// @throws std::bad_alloc  no memory.
    ConjugateGradients(const Grid& grid, const PictureCouplings& picture, const float* in, Workspace& space);

    /// One step. It fails where the system is not positive definite, or a value is not finite.
    Step step();

    const Convergence& convergence() const { return m_convergence; }

    /// The solution in place of the right side.
    void finish(float* inOut) const;

private:
    void start(const float* in);
    double direct(double beta); ///< the new direction and its product with S; their product
    void advance(double length);
    double sum(const std::vector<double>& rows) const;

    const Grid& m_grid;
    Preconditioner m_preconditioner;
    Plane<double> m_x, m_r, m_q;
    Plane<double> m_p, m_next; ///< the direction, and room for the next
    Plane<float> m_z;
    std::vector<double> m_first, m_second; ///< results of rows
    double m_largest;                      ///< value of the right side, then of the direction
    double m_scale;                        ///< of the residual in single precision
    Convergence m_convergence;
    double m_pq = 0, m_enough = 0;
};

} // namespace pixmill::multiscale
