#pragma once

#include <algorithm>
#include <limits>

/// The ends of a line of domain coordinates, so that a search may look beyond them.
namespace pixmill::filters {

constexpr int kPadBefore = 32; ///< Coordinates of minus infinity before a line's own.
constexpr int kPadBehind = 24; ///< Infinite coordinates behind them, at the least.

/// Pads n coordinates that stand at `line`, with `behind` infinities.
inline void padLine(float* line, int n, int behind = kPadBehind)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    std::fill_n(line - kPadBefore, kPadBefore, -kInfinity);
    std::fill_n(line + n, behind, kInfinity);
}

} // namespace pixmill::filters
