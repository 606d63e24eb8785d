#pragma once

#include <pixmill/multiscale/detail/multigrid/coarsening.h>

#include <vector>

namespace pixmill::multiscale {

/// The coarse levels below a picture, each half as large, down to one of at most 6 x 6 points.
struct Hierarchy {
    /// How the picture's pixels of odd row and column take their values from the first level; those between two points
    /// are held during the set-up only.
    Interpolation picture;
    std::vector<Level> levels; ///< at least one

    /// @throws std::bad_alloc  no memory.
    Hierarchy(const PictureCouplings& fine, Workspace& space);
};

} // namespace pixmill::multiscale
