#pragma once

#include <reference/planes.h>

#include <type_traits>

/// The weighted mean by a fixed mask of 3 x 3 (1 2 1, sum 16) or 5 x 5 (2 7 12 31 52 127, sum 571) samples: a Gaussian
/// of a standard deviation near 0.85 and 1.
///
///     out(y, x) = sum of weight(j, i) in(y + j, x + i) / sum of weights
///
/// R. Haralick, L. Shapiro, "Computer and Robot Vision", volume I, 1992, chapter 7.
namespace pixmill::reference {

/// The mean around (y, x), unrounded; `sample(y, x)` reads the plane.
template <class Sample>
double gaussMean(int side, int y, int x, const Sample& sample)
{
    const double five[25] = {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2};
    const double three[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    double sum = 0;
    for (int j = 0; j < side; ++j)
        for (int i = 0; i < side; ++i)
            sum += (side == 5 ? five : three)[j * side + i] * double(sample(y - side / 2 + j, x - side / 2 + i));
    return sum / (side == 5 ? 571.0 : 16.0);
}

/// The 5 x 5 means of a plane that repeats its edges; whole samples are rounded.
template <class T>
cv::Mat gaussMeans(const cv::Mat& in)
{
    return planeOf<T>(in.size(), [&](int y, int x) {
        const double mean = gaussMean(5, y, x, [&](int j, int i) { return repeated<T>(in, j, i); });
        return std::is_integral_v<T> ? std::nearbyint(mean) : mean;
    });
}

} // namespace pixmill::reference
