#pragma once

#include <pixmill/multiscale/detail/multigrid/coarsening.h>

class TProgress;

namespace pixmill::multiscale {

enum class GridOutcome {
    solved,
    cancelled,
    unsuitable, ///< not positive definite, a coupling that is positive, a value that is not finite, or too many steps
};

/// Solves a picture's five-point system for `inOut`, which holds the right side and, unless solved, is left as it was.
///
/// Conjugate gradients in double precision on one colour of the checkerboard, preconditioned by a cycle of black-box
/// multigrid in single precision. The same bits for any number of threads and at every level of the processor.
///
/// J. E. Dendy, "Black box multigrid", Journal of Computational Physics 48, 1982.
///
/// @param diagonal  one value a pixel; work space once it is read.
/// @param progress  reported to before the set-up, after it and after each step; null for none.
/// @throws std::bad_alloc  no memory.
GridOutcome solveGrid(const PictureCouplings& picture, float* diagonal, float* inOut, Workspace& space,
                      TProgress* progress);

} // namespace pixmill::multiscale
