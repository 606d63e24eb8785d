#pragma once

#include <reference/planes.h>

#include <type_traits>

/// Resampling of a plane to another size.
///
/// Pixel i covers i..i + 1, and destination = factor * source + shift; so destination pixel X reads the source at
/// u = (X + 1/2 - shift) / factor - 1/2, where whole numbers are pixel centres. Nearest takes the pixel at
/// floor(u + 1/2); linear blends floor(u) and the next; cubic is the third-degree polynomial through the four samples
/// from floor(u) - 1 on. Edges repeat; whole pixels round to nearest, halves up.
///
/// Lagrange's interpolation formula: M. Abramowitz, I. Stegun, "Handbook of Mathematical Functions", 25.2, 1964.
namespace pixmill::reference {

/// Positions are exact fractions, so that no rounding of a shift decides which pixel is read.
struct Fraction {
    long num, den;

    explicit operator double() const { return double(num) / double(den); }
};

enum { kNearest = 1, kLinear = 2, kCubic = 4 };

/// One axis, with the first and the last sample that may be read.
struct Axis {
    Fraction factor, shift;
    int code;
    int low, high;

    struct Tap {
        int index;
        double weight;
    };

    std::vector<Tap> taps(long destination) const
    {
        // u over one denominator.
        const long den = 2 * shift.den * factor.num;
        const long num =
            (2 * destination * shift.den + shift.den - 2 * shift.num) * factor.den - shift.den * factor.num;
        const long i = floorDiv(num, den), rest = num - i * den;
        if (code == kNearest)
            return {tap(2 * rest >= den ? i + 1 : i, 1)};
        if (rest == 0)
            return {tap(i, 1)};
        const double t = double(rest) / double(den);
        if (code == kLinear)
            return {tap(i, 1 - t), tap(i + 1, t)};
        // The polynomial that is 1 at its own sample and 0 at the other three.
        std::vector<Tap> four;
        for (int k = -1; k <= 2; ++k) {
            double above = 1, below = 1;
            for (int other = -1; other <= 2; ++other)
                if (other != k) {
                    above *= t - other;
                    below *= k - other;
                }
            four.push_back(tap(i + k, above / below));
        }
        return four;
    }

private:
    static long floorDiv(long a, long b) { return a / b - (a % b < 0); }

    Tap tap(long i, double weight) const { return {int(std::min<long>(std::max<long>(i, low), high)), weight}; }
};

template <class T>
T resizedPixel(const cv::Mat& in, const std::vector<Axis::Tap>& xs, const std::vector<Axis::Tap>& ys)
{
    double sum = 0;
    for (const auto& y : ys) {
        double row = 0;
        for (const auto& x : xs)
            row += in.at<T>(y.index, x.index) * x.weight;
        sum += row * y.weight;
    }
    if (std::is_same_v<T, float>)
        return T(sum);
    const double top = std::is_same_v<T, uchar> ? 255 : 65535;
    return T(std::min(std::max(std::floor(sum + 0.5 + 1e-9), 0.0), top)); // a half is one in spite of rounded weights
}

template <class T>
cv::Mat resized(const cv::Mat& in, cv::Size size, Fraction factor, Fraction shift, int code)
{
    const Axis x = {factor, shift, code, 0, in.cols - 1}, y = {factor, shift, code, 0, in.rows - 1};
    std::vector<std::vector<Axis::Tap>> xs;
    for (int col = 0; col < size.width; ++col)
        xs.push_back(x.taps(col));
    cv::Mat out(size, in.type());
    for (int row = 0; row < size.height; ++row) {
        const std::vector<Axis::Tap> ys = y.taps(row);
        for (int col = 0; col < size.width; ++col)
            out.at<T>(row, col) = resizedPixel<T>(in, xs[col], ys);
    }
    return out;
}

/// Columns from `first` on repeat the one before them, where there is one.
inline void fillColumnsFrom(cv::Mat& m, int first)
{
    for (int x = first; first > 0 && x < m.cols; ++x)
        m.col(first - 1).copyTo(m.col(x));
}

/// A plane enlarged by a whole factor: its pixels stay, on pixels `factor` apart.
template <class T>
cv::Mat enlarged(const cv::Mat& in, cv::Size size, int factor, int code)
{
    cv::Mat out = resized<T>(in, size, {factor, 1}, {-1, factor}, code);
    fillColumnsFrom(out, factor * in.cols);
    return out;
}

/// A plane reduced by a whole factor.
template <class T>
cv::Mat reduced(const cv::Mat& in, cv::Size size, int factor, int code)
{
    cv::Mat out = resized<T>(in, size, {1, factor}, {1, 2 * factor}, code);
    fillColumnsFrom(out, in.cols / factor);
    return out;
}

/// Every second pixel of every second row, and the last one where the size is odd.
inline cv::Mat halved(const cv::Mat& in)
{
    return reduced<ushort>(in, halfOf(in.size()), 2, kCubic);
}

} // namespace pixmill::reference
