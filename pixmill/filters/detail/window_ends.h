#pragma once

/// Windows of a line of pixels whose running sums are kept.
namespace pixmill::filters {

constexpr int kWindows = 16; ///< Pixels whose windows are found together.

/// Where running sums stand: those of the pixels before pixel i at (i & mask) * step.
struct SumPlaces {
    unsigned mask;
    int step;
};

/// Sixteen windows: the places of the sums at their ends, and how many pixels they hold.
struct WindowEnds {
    alignas(64) int lows[kWindows], highs[kWindows];
    alignas(64) float sizes[kWindows];
};

} // namespace pixmill::filters
