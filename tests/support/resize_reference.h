#pragma once

#include <opencv2/core.hpp>

#include <cmath>
#include <vector>

/// The resize again, slowly: positions as exact fractions, one pixel at a time.
namespace pixmill::test {

struct Fraction {
    long num, den;

    explicit operator double() const { return double(num) / double(den); }
};

/// One axis: destination = factor * source + shift, pixel centres at + 1/2.
struct ReferenceAxis {
    Fraction factor, shift;
    int code; ///< 1 nearest, 2 linear, 4 cubic
    int low, high;

    struct Tap {
        int index;
        double weight;
    };

    std::vector<Tap> taps(long destination) const
    {
        // u = (destination + 1/2 - shift) / factor - 1/2 over one denominator.
        const long den = 2 * shift.den * factor.num;
        const long num =
            (2 * destination * shift.den + shift.den - 2 * shift.num) * factor.den - shift.den * factor.num;
        const long i = floorDiv(num, den);
        const long rest = num - i * den;
        if (code == 1)
            return {tap(2 * rest >= den ? i + 1 : i, 1)};
        if (rest == 0)
            return {tap(i, 1)};
        const double t = double(rest) / double(den);
        if (code == 2)
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
T referencePixel(const cv::Mat& in, const std::vector<ReferenceAxis::Tap>& xs,
                 const std::vector<ReferenceAxis::Tap>& ys)
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
cv::Mat referenceResize(const cv::Mat& in, cv::Size size, Fraction factor, Fraction shift, int code)
{
    const ReferenceAxis x = {factor, shift, code, 0, in.cols - 1}, y = {factor, shift, code, 0, in.rows - 1};
    cv::Mat out(size, in.type());
    for (int row = 0; row < size.height; ++row)
        for (int col = 0; col < size.width; ++col)
            out.at<T>(row, col) = referencePixel<T>(in, x.taps(col), y.taps(row));
    return out;
}

} // namespace pixmill::test
