#pragma once

#include <pixmill/rows/lanes.h>

/// The domain transform's lanes: sixteen rows, or columns, side by side.
namespace pixmill::filters {

using namespace rows;

constexpr int kLanes = 16;

/// Samples first..end-1 of sixteen rows in lane form, sample `first` at `lanes`.
inline void toLanes(const float* const* rows, int first, int end, float* lanes)
{
    rowsToLanes<kLanes>([=](int l) { return rows[l] + first; }, kLanes, end - first, lanes);
}

/// Samples first..end-1 back into sixteen rows, sample `first` from `lanes`.
inline void fromLanes(const float* lanes, int first, int end, float* const* rows)
{
    lanesToRows<kLanes>(lanes, kLanes, end - first, [=](int l) { return rows[l] + first; });
}

} // namespace pixmill::filters
