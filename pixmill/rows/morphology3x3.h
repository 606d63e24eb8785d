#pragma once

/// Maxima and minima of 3 x 3 windows, a row at a time.
namespace pixmill::rows {

struct Largest {
    template <class T>
    T operator()(T a, T b) const
    {
        return a > b ? a : b;
    }
};

struct Smallest {
    template <class T>
    T operator()(T a, T b) const
    {
        return a < b ? a : b;
    }
};

/// Largest or smallest sample of the 3 x 3 window around each of `n` samples of the middle row.
///
/// The three rows are readable from index -1 to n. `column` is scratch of n + 2 samples. The output may be any of the
/// three rows: all is read before the first is written.
template <class Pick, class T>
inline void pick3x3Row(const T* above, const T* middle, const T* below, T* __restrict column, T* out, int n)
{
    const Pick pick;
    for (int x = 0; x < n + 2; ++x)
        column[x] = pick(pick(above[x - 1], middle[x - 1]), below[x - 1]);
    for (int x = 0; x < n; ++x)
        out[x] = pick(pick(column[x], column[x + 1]), column[x + 2]);
}

/// Both at once: reads the rows once. `columnMax` and `columnMin` are scratch of n + 2 samples each.
template <class T>
inline void extremes3x3Row(const T* above, const T* middle, const T* below, T* __restrict columnMax,
                           T* __restrict columnMin, T* maximum, T* minimum, int n)
{
    const Largest larger;
    const Smallest smaller;
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

} // namespace pixmill::rows
