#pragma once

#include <support/resize_reference.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

/// Slow plain forms of the picture's steps: one loop, one thread, nothing shared with the library.
namespace pixmill::test {

inline int clamped(double v, int top)
{
    const long n = std::lrint(v);
    return n >= 0 && n <= top ? int(n) : n < 1 ? 0 : top;
}

inline int lumaReference(int r, int g, int b, float gain = 1.0f)
{
    float sum = 0.299f * float(r);
    sum = sum + 0.587f * float(g);
    sum = sum + 0.114f * float(b);
    return clamped(double(gain * sum), 65535);
}

inline int greenReference(int y, int r, int b)
{
    float share = float(y) - 0.299f * float(r);
    share = share - 0.114f * float(b);
    return clamped(double(share) * 1.7036, 65535);
}

/// The columns past the `exact` ones repeat the last of them, where there is one.
inline cv::Mat withSurplusFilled(cv::Mat out, int exact)
{
    if (exact > 0)
        for (int x = exact; x < out.cols; ++x)
            out.col(exact - 1).copyTo(out.col(x));
    return out;
}

/// A plane reduced by a whole factor with the cubic flag.
template <class T>
cv::Mat reducedReference(const cv::Mat& in, cv::Size size, int factor)
{
    return withSurplusFilled(referenceResize<T>(in, size, {1, factor}, {1, 2 * factor}, 4), in.cols / factor);
}

inline cv::Mat halvedReference(const cv::Mat& in)
{
    return reducedReference<ushort>(in, cv::Size((in.cols + 1) / 2, (in.rows + 1) / 2), 2);
}

/// A half-size plane enlarged by two with the linear flag.
inline cv::Mat enlargedReference(const cv::Mat& half, cv::Size size)
{
    return withSurplusFilled(referenceResize<ushort>(half, size, {2, 1}, {-1, 2}, 2), 2 * half.cols);
}

} // namespace pixmill::test
