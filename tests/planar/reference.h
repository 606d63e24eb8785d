#pragma once

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

/// A plane halved with the cubic flag: the resize picks even pixels and repeats the last ones, then the columns past
/// the exact half are replaced by the one before them.
inline cv::Mat halvedReference(const cv::Mat& in)
{
    cv::Mat out((in.rows + 1) / 2, (in.cols + 1) / 2, CV_16UC1);
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x)
            out.at<ushort>(y, x) = in.at<ushort>(std::min(2 * y, in.rows - 1), std::min(2 * x, in.cols - 1));
    const int right = out.cols - in.cols / 2;
    if (right > 0 && right < out.cols)
        for (int i = 0; i < right; ++i)
            out.col(out.cols - right - 1).copyTo(out.col(out.cols - right + i));
    return out;
}

/// A half-size plane at pixel (x, y) of its linear enlargement by two, exact halves going up.
inline int enlargedReference(const cv::Mat& half, int x, int y)
{
    const auto sample = [&](int i, int k) {
        return double(half.at<ushort>(std::clamp(k, 0, half.rows - 1), std::clamp(i, 0, half.cols - 1)));
    };
    const double u = x / 2.0, v = y / 2.0;
    const int i = int(std::floor(u)), k = int(std::floor(v));
    const double s = u - i, t = v - k;
    const double above = sample(i, k) * (1 - s) + sample(i + 1, k) * s;
    const double below = sample(i, k + 1) * (1 - s) + sample(i + 1, k + 1) * s;
    return int(std::floor(above * (1 - t) + below * t + 0.5));
}

} // namespace pixmill::test
