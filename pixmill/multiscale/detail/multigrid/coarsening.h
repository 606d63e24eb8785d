#pragma once

#include <pixmill/multiscale/detail/multigrid/level.h>

namespace pixmill::multiscale {

/// The picture's own couplings, as the weighted-least-squares filter holds them: negative, without margins.
struct PictureCouplings {
    int width, height;
    const float* dx; ///< to the right; the last column 0
    const float* dy; ///< downward; the last row 0
};

/// Sets up the first coarse level below a picture whose points all have the excess 1, and how the picture takes its
/// values from it.
///
/// The interpolation follows the couplings, and the coarse operator is Galerkin's, of the couplings alone: the excess
/// is added up apart, so that it does not drown where couplings are strong. J. E. Dendy, "Black box multigrid", 1982.
void coarsen(const PictureCouplings& fine, const Interpolation& weights, Level& coarse);

/// The same for the next level.
void coarsen(const Level& fine, Level& coarse);

} // namespace pixmill::multiscale
