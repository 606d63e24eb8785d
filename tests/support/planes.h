#pragma once

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <cstring>
#include <vector>

/// Pictures for tests, and their exact comparison.
namespace pixmill::test {

/// A reproducible random plane with values in low..high-1: a view with padded rows, so that a step taken for the row's
/// length shows. Any depth and number of channels.
inline cv::Mat randomPlane(cv::Size size, int type, double low, double high, unsigned seed = 1)
{
    cv::Mat padded(size.height + 2, size.width + 5, type);
    cv::RNG rng(seed * 7919u + 17u);
    rng.fill(padded, cv::RNG::UNIFORM, low, high);
    return padded(cv::Rect(3, 1, size.width, size.height));
}

/// A smooth plane with a few hard edges and mild noise: closer to a photograph than noise is.
inline cv::Mat scenePlane(cv::Size size, int type, double low, double high, unsigned seed = 1)
{
    cv::Mat noise = randomPlane(size, CV_64FC1, -0.02, 0.02, seed);
    cv::Mat plane(size, CV_64FC1);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const double wave = 0.5 + 0.25 * std::sin(x * 0.11 + seed) + 0.15 * std::cos(y * 0.07 + x * 0.013);
            const bool block = (x / 23 + y / 31) % 2 != 0;
            const double v = std::min(1.0, std::max(0.0, wave * (block ? 1.0 : 0.55) + noise.at<double>(y, x)));
            plane.at<double>(y, x) = low + v * (high - 1 - low);
        }
    cv::Mat out = randomPlane(size, type, low, high, seed);
    plane.convertTo(out, type);
    return out;
}

/// Whether two one-channel planes hold the same bits; names the first pixel that differs.
template <class T>
testing::AssertionResult samePixels(const cv::Mat& expected, const cv::Mat& actual)
{
    if (expected.size() != actual.size() || expected.type() != actual.type())
        return testing::AssertionFailure() << "expected " << expected.size() << " type " << expected.type() << ", got "
                                           << actual.size() << " type " << actual.type();
    const int n = expected.cols * expected.channels();
    for (int y = 0; y < expected.rows; ++y) {
        const T* e = expected.ptr<T>(y);
        const T* a = actual.ptr<T>(y);
        for (int x = 0; x < n; ++x)
            if (std::memcmp(&e[x], &a[x], sizeof(T)) != 0)
                return testing::AssertionFailure()
                       << "at x " << x / expected.channels() << " channel " << x % expected.channels() << " y " << y
                       << ": expected " << +e[x] << ", got " << +a[x];
    }
    return testing::AssertionSuccess();
}

/// Not a plane, though not empty: it has -1 rows and columns.
inline cv::Mat solid(int type)
{
    const int sides[] = {6, 7, 3};
    return {3, sides, type, cv::Scalar::all(1)};
}

/// The same for planes of bytes, of 16 bits or of floats, by the depth of `expected`.
inline testing::AssertionResult samePixels(const cv::Mat& expected, const cv::Mat& actual)
{
    switch (expected.depth()) {
    case CV_8U:
        return samePixels<unsigned char>(expected, actual);
    case CV_16U:
        return samePixels<unsigned short>(expected, actual);
    default:
        return samePixels<float>(expected, actual);
    }
}

/// One past the greatest value that a random plane of pixels of this type shall hold.
inline double topOf(int type)
{
    return CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536;
}

/// The same pixels in a view with padded rows.
inline cv::Mat paddedCopy(const cv::Mat& m)
{
    cv::Mat copy = randomPlane(m.size(), m.type(), 0, 1, 77);
    m.copyTo(copy);
    return copy;
}

/// Sizes that catch what 64 x 64 does not: single pixels, rows, columns, odd sides, and vector tails.
inline std::vector<cv::Size> oddSizes()
{
    return {{1, 1}, {1, 9}, {33, 1}, {2, 2}, {5, 3}, {16, 7}, {203, 157}};
}

} // namespace pixmill::test
