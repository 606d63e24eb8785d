#pragma once

namespace pixmill::detail {

/// The larger and the smaller of two samples, in a form that vectorises.
template <class T>
inline T larger(T a, T b)
{
    return a > b ? a : b;
}

template <class T>
inline T smaller(T a, T b)
{
    return a < b ? a : b;
}

/// Maximum and minimum of the 3 x 3 window around each of `n` samples of the middle row.
///
/// The three rows are readable from index -1 to n. `columnMax` and `columnMin` are scratch of n + 2 samples each.
/// The outputs may be any of the three rows: all is read before the first is written.
template <class T>
inline void extremes3x3Row(const T* above, const T* middle, const T* below, T* __restrict columnMax,
                           T* __restrict columnMin, T* maximum, T* minimum, int n)
{
    for (int x = 0; x < n + 2; ++x) {
        const T a = above[x - 1], m = middle[x - 1], b = below[x - 1];
        columnMax[x] = larger(larger(a, m), b);
        columnMin[x] = smaller(smaller(a, m), b);
    }
    for (int x = 0; x < n; ++x)
        maximum[x] = larger(larger(columnMax[x], columnMax[x + 1]), columnMax[x + 2]);
    for (int x = 0; x < n; ++x)
        minimum[x] = smaller(smaller(columnMin[x], columnMin[x + 1]), columnMin[x + 2]);
}

} // namespace pixmill::detail
