#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

/// What the plain forms share: how a value becomes a pixel, and planes written from a formula.
namespace pixmill::reference {

using uchar = unsigned char;
using ushort = unsigned short;

/// The nearest whole number, ties to even, within 0..top; what is no number is 0.
inline int rounded(double v, int top)
{
    return !(v > 0) ? 0 : v >= top ? top : int(std::lrint(v));
}

inline ushort pixel16(double v)
{
    return ushort(rounded(v, 65535));
}

inline int inside(int i, int n)
{
    return std::min(std::max(i, 0), n - 1);
}

/// A sample of a plane that repeats its edges.
template <class T>
T repeated(const cv::Mat& plane, int y, int x)
{
    return plane.at<T>(inside(y, plane.rows), inside(x, plane.cols));
}

/// A sample of a one-channel plane of 8 bits, 16 bits or floats.
inline float sampleOf(const cv::Mat& m, int y, int x)
{
    return m.depth() == CV_8U ? m.at<uchar>(y, x) : m.depth() == CV_16U ? m.at<ushort>(y, x) : m.at<float>(y, x);
}

/// A new plane, out(y, x) = f(y, x).
template <class T, class F>
cv::Mat planeOf(cv::Size size, const F& f)
{
    cv::Mat out(size, cv::traits::Type<T>::value);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            out.at<T>(y, x) = T(f(y, x));
    return out;
}

inline cv::Size halfOf(cv::Size size)
{
    return {(size.width + 1) / 2, (size.height + 1) / 2};
}

} // namespace pixmill::reference
