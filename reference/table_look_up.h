#pragma once

#include <reference/planes.h>

/// Tables in one dimension: out = table[in], and the table of a line through points,
/// values[k] + (v - levels[k]) (values[k + 1] - values[k]) / (levels[k + 1] - levels[k]).
namespace pixmill::reference {

/// `Out` and `Entry` differ from `In` where a table narrows; a table of `entries` takes the index modulo their number.
template <class In, class Out, class Entry>
cv::Mat lookedUp(const cv::Mat& in, const Entry* table, int entries = 1 << (8 * sizeof(In)))
{
    return planeOf<Out>(in.size(), [&](int y, int x) { return table[in.at<In>(y, x) % entries]; });
}

/// What the value v becomes by the line through (levels[k], values[k]): the lowest interval that holds it counts, the
/// last level belongs to its interval, and values outside stay.
inline ushort linearMapped(int v, const std::vector<int>& values, const std::vector<int>& levels)
{
    for (std::size_t k = 0; k + 1 < levels.size(); ++k)
        if (levels[k] <= v && v < levels[k + 1])
            return pixel16(values[k] + (v - double(levels[k])) * (double(values[k + 1]) - values[k]) /
                                           (double(levels[k + 1]) - levels[k]));
    return v == levels.back() ? pixel16(values.back()) : ushort(v);
}

} // namespace pixmill::reference
