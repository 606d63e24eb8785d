#pragma once

#include <reference/planes.h>

#include <type_traits>

/// Blending by a mask of bytes, scaling, and sharpening to the extremes.
///
///     out = in1 a + in0 (1 - a), a = alpha opacity / 255, toward zero      scaled = in factor, to nearest
///     sharpened = the nearer of the 3 x 3 window's least and greatest sample
///
/// T. Porter, T. Duff, "Compositing Digital Images", 1984; H. Kramer, J. Bruckner, "Iterations of a Non-linear
/// Transformation for Enhancement of Digital Images", 1975.
namespace pixmill::reference {

template <class T>
cv::Mat blended(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, float opacity)
{
    const float k = opacity * 0.003921569f, top = sizeof(T) == 1 ? 255.0f : 65535.0f;
    return planeOf<T>(in0.size(), [&](int y, int x) {
        const float a = float(alpha.ptr(y)[x]) * k;
        const float v = in1.at<T>(y, x) * a + in0.at<T>(y, x) * (1.0f - a);
        return std::is_same_v<T, float> ? v : std::min(std::max(std::trunc(v), 0.0f), top);
    });
}

inline cv::Mat scaled(const cv::Mat& in, float factor)
{
    return planeOf<uchar>(in.size(), [&](int y, int x) { return rounded(float(in.at<uchar>(y, x)) * factor, 255); });
}

/// The outermost pixels stay; a tie goes down.
inline cv::Mat sharpened(const cv::Mat& in)
{
    return planeOf<ushort>(in.size(), [&](int y, int x) {
        const int v = in.at<ushort>(y, x);
        if (y == 0 || x == 0 || y == in.rows - 1 || x == in.cols - 1)
            return v;
        int low = 65535, high = 0;
        for (int j = -1; j <= 1; ++j)
            for (int i = -1; i <= 1; ++i) {
                low = std::min<int>(low, in.at<ushort>(y + j, x + i));
                high = std::max<int>(high, in.at<ushort>(y + j, x + i));
            }
        return high - v < v - low ? high : low;
    });
}

} // namespace pixmill::reference
