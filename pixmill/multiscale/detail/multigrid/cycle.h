#pragma once

#include <pixmill/multiscale/detail/multigrid/level.h>

#include <vector>

namespace pixmill::multiscale {

/// One V-cycle: `levels[0].x` becomes an approximate solution for `levels[0].b`, starting from 0. The steps after the
/// correction mirror those before it, so that the map from b to x is symmetric.
void cycle(const std::vector<Level>& levels);

} // namespace pixmill::multiscale
