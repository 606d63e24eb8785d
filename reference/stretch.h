#pragma once

#include <reference/planes.h>

/// A plane stretched to another size, linearly between the centres of pixels.
///
///     u = (X + 0.5) * from / to - 0.5, x = floor(u), f = u - x      out(X) = (1 - f) in(x) + f in(x + 1)
///
/// Along rows first. Samples of 16 bits are weighed in single precision; bytes in 2048ths, of which the second step
/// drops what is below a 16th and, of each product, below a quarter. Half the size exactly is the mean of four.
namespace pixmill::reference {

struct Place {
    int at;
    float share;
};

inline Place placeOf(int i, int from, int to)
{
    const float u = float((i + 0.5) * (1.0 / (double(to) / from)) - 0.5), below = std::floor(u);
    return {int(below), u - below};
}

/// A sample between two of one row; beyond the row's ends its first or last.
inline float between(const cv::Mat& in, int y, const Place& x, float unit)
{
    const bool outside = x.at < 0 || x.at >= in.cols - 1;
    const float f = outside ? 0.0f : x.share;
    const float near = sampleOf(in, y, inside(x.at, in.cols)), far = sampleOf(in, y, inside(x.at + 1, in.cols));
    return unit == 1 ? near * (1 - f) + far * f
                     : float(near * float(rounded((1 - f) * unit, 2048)) + far * float(rounded(f * unit, 2048)));
}

inline cv::Mat stretched(const cv::Mat& in, cv::Size size)
{
    const auto make = [&](auto sample, float unit) {
        using T = decltype(sample);
        return planeOf<T>(size, [&](int Y, int X) {
            if (in.size() == size * 2)
                return (in.at<T>(2 * Y, 2 * X) + in.at<T>(2 * Y, 2 * X + 1) + in.at<T>(2 * Y + 1, 2 * X) +
                        in.at<T>(2 * Y + 1, 2 * X + 1) + 2) /
                       4;
            const Place x = placeOf(X, in.cols, size.width), y = placeOf(Y, in.rows, size.height);
            const float a = between(in, inside(y.at, in.rows), x, unit),
                        b = between(in, inside(y.at + 1, in.rows), x, unit);
            if (unit == 1)
                return rounded(a * (1 - y.share) + b * y.share, 65535);
            const auto part = [](float v, int weight) { return weight * (int(v) / 16) / 65536; };
            return (part(a, rounded((1 - y.share) * unit, 2048)) + part(b, rounded(y.share * unit, 2048)) + 2) / 4;
        });
    };
    return in.depth() == CV_8U ? make(uchar(), 2048.0f) : make(ushort(), 1.0f);
}

} // namespace pixmill::reference
