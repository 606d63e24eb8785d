#pragma once

#include <vector>

namespace pixmill::multiscale {

/// Elimination order of a grid whose cells are joined to their four neighbours, by nested dissection.
///
/// @return width * height positions, 1-based: cell y * width + x is eliminated as number `position[y * width + x]`.
///
/// Each rectangle is cut by a line of cells across its longer side; the halves are numbered first and the line last, so
/// that eliminating one half never touches the other. Fill grows as n log n, and the order takes linear time.
/// Alan George, "Nested dissection of a regular finite element mesh", SIAM Journal on Numerical Analysis 10, 1973.
std::vector<int> gridEliminationOrder(int width, int height);

} // namespace pixmill::multiscale
