#pragma once

#include <reference/planes.h>

/// The mean of every window of w x h samples, of which the anchor is the one the result stands for.
///
///     out(y, x) = sum over j < h, i < w of in(y - anchor.y + j, x - anchor.x + i) / (w h)
///
/// Floats are added in double, in the order of the running extreme by M. van Herk, "A Fast Algorithm for Local Minimum
/// and Maximum Filters on Rectangular and Octagonal Kernels", 1992, taken to sums: rows in blocks of h; a window adds
/// its block's tail upwards and the next block's head downwards. A row's own sum adds runs of a power of two by pairs.
namespace pixmill::reference {

struct Window {
    cv::Size size;
    cv::Point anchor;
};

/// Whole samples: the exact sum, and one rounding. Window (0, 0) stands for the sample `first` of a padded plane.
template <class T>
cv::Mat boxMeans(const cv::Mat& padded, cv::Point first, cv::Size size, const Window& window)
{
    const double count = double(window.size.width) * window.size.height;
    return planeOf<T>(size, [&](int y, int x) {
        double sum = 0; // exact below 2^53
        for (int j = 0; j < window.size.height; ++j)
            for (int i = 0; i < window.size.width; ++i)
                sum += padded.at<T>(first.y + y - window.anchor.y + j, first.x + x - window.anchor.x + i);
        return std::nearbyint(sum / count);
    });
}

/// `length` samples, a power of two, added by pairs.
inline double pairSum(const float* p, int length)
{
    return length == 1 ? double(p[0]) : pairSum(p, length / 2) + pairSum(p + length / 2, length / 2);
}

inline double runSum(const float* p, int length)
{
    double sum = 0;
    for (int digit = 1; digit <= length; digit *= 2)
        if (length & digit) {
            sum += pairSum(p, digit);
            p += digit;
        }
    return sum;
}

template <>
inline cv::Mat boxMeans<float>(const cv::Mat& padded, cv::Point first, cv::Size size, const Window& window)
{
    const int h = window.size.height;
    return planeOf<float>(size, [&](int y, int x) {
        const auto rowSum = [&](int row) {
            return runSum(padded.ptr<float>(first.y - window.anchor.y + row) + first.x - window.anchor.x + x,
                          window.size.width);
        };
        const int seam = (y / h + 1) * h; // first row of the next block
        double tail = rowSum(seam - 1), head = 0;
        for (int row = seam - 2; row >= y; --row)
            tail = rowSum(row) + tail;
        for (int row = seam; row < y + h; ++row)
            head += rowSum(row);
        return float((tail + head) / (double(window.size.width) * h));
    });
}

/// Means of the windows of radius r around every sample of a plane, with `border` rows and columns of cv::BORDER_...
/// around it.
template <class T>
cv::Mat boxMeansAround(const cv::Mat& in, int r, int border)
{
    const cv::Mat padded = planeOf<T>(in.size() + cv::Size(2 * r, 2 * r), [&](int y, int x) {
        return in.at<T>(cv::borderInterpolate(y - r, in.rows, border), cv::borderInterpolate(x - r, in.cols, border));
    });
    return boxMeans<T>(padded, {r, r}, in.size(), {{2 * r + 1, 2 * r + 1}, {r, r}});
}

} // namespace pixmill::reference
