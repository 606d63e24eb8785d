#pragma once

#include <cmath>

namespace pixmill::filters {

/// How many gaps between neighbouring columns the domain transform looks at. The last one that exists is left out,
/// unless it is the only one.
inline int gapColumns(int columns)
{
    return columns < 2 ? 0 : columns == 2 ? 1 : columns - 2;
}

/// sum[x] += |to - from| of every channel of pixel x, one after the other.
template <int C>
inline void addGaps(const float* __restrict from, const float* __restrict to, int n, float* __restrict sum)
{
    for (int x = 0; x < n; ++x)
        for (int c = 0; c < C; ++c)
            sum[x] += std::fabs(to[x * C + c] - from[x * C + c]);
}

inline void addGaps(const float* from, const float* to, int n, int channels, float* __restrict sum)
{
    switch (channels) {
    case 1:
        return addGaps<1>(from, to, n, sum);
    case 2:
        return addGaps<2>(from, to, n, sum);
    case 3:
        return addGaps<3>(from, to, n, sum);
    default:
        for (int x = 0; x < n; ++x)
            for (int c = 0; c < channels; ++c)
                sum[x] += std::fabs(to[x * channels + c] - from[x * channels + c]);
    }
}

/// Domain steps in place of sums of gaps.
inline void sumsToSteps(float ratio, int n, float* __restrict sum)
{
    for (int x = 0; x < n; ++x)
        sum[x] = 1.0f + ratio * sum[x];
}

} // namespace pixmill::filters
