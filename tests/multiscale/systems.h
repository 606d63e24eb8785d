#pragma once

#include <reference/sparse_system.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

/// Sparse symmetric systems for tests.
namespace pixmill::test {

using reference::SparseSystem;

/// The right-hand side of row n, in single precision.
inline float rightSide(int n)
{
    return float(std::sin(3.7 * n) + 0.5);
}

/// A picture's system: each pixel linked to its right and lower neighbour by random weights up to `strength`. At the
/// end of a picture row stands a zero in place of the link to the right, or a link that wraps round to the next row.
inline SparseSystem pictureSystem(int width, int height, double strength = 40, bool wrap = false, unsigned seed = 1)
{
    cv::RNG rng(seed);
    const int n = width * height;
    std::vector<double> right(n, 0.0), below(n, 0.0), diagonal(n, 1.0);
    for (int p = 0; p < n; ++p) {
        if (p + 1 < n && (wrap || (p + 1) % width != 0))
            right[p] = float(rng.uniform(0.01, strength));
        if (p + width < n)
            below[p] = float(rng.uniform(0.01, strength));
        diagonal[p] += right[p] + below[p];
        if (p + 1 < n)
            diagonal[p + 1] += right[p];
        if (p + width < n)
            diagonal[p + width] += below[p];
    }
    SparseSystem s;
    for (int p = 0; p < n; ++p) {
        s.add(p + 1, diagonal[p]);
        if (p + 1 < n)
            s.add(p + 2, -right[p]);
        if (p + width < n)
            s.add(p + width + 1, -below[p]);
        s.endRow(rightSide(s.n));
    }
    return s;
}

/// Unknowns linked at random, with no pattern.
inline SparseSystem scatteredSystem(int n, int links, unsigned seed = 1)
{
    cv::RNG rng(seed);
    std::map<std::pair<int, int>, double> entries;
    std::vector<double> diagonal(n, 1.0);
    for (int k = 0; k < links; ++k) {
        const int i = rng.uniform(0, n), j = rng.uniform(0, n);
        if (i == j)
            continue;
        const double w = float(rng.uniform(0.1, 3.0));
        entries[{std::min(i, j), std::max(i, j)}] -= w;
        diagonal[i] += w;
        diagonal[j] += w;
    }
    SparseSystem s;
    for (int i = 0; i < n; ++i) {
        s.add(i + 1, diagonal[i]);
        for (auto e = entries.lower_bound({i, 0}); e != entries.end() && e->first.first == i; ++e)
            s.add(e->first.second + 1, e->second);
        s.endRow(rightSide(s.n));
    }
    return s;
}

/// Largest difference, in units of the expected values' range.
template <class T>
double relativeError(const std::vector<double>& expected, const T* actual)
{
    double low = expected[0], high = expected[0], most = 0, size = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        low = std::min(low, expected[i]);
        high = std::max(high, expected[i]);
        size = std::max(size, std::abs(expected[i]));
        const double error = std::abs(expected[i] - double(actual[i]));
        if (!(error <= most)) // a NaN stays
            most = error;
    }
    return most / std::max(high - low, 0.1 * size); // a rounding of a nearly flat result is not an error
}

} // namespace pixmill::test
