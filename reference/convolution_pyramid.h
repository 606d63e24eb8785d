#pragma once

#include <reference/planes.h>

#include <iterator>

/// The convolution pyramid: a wide filter from three small ones, in double precision.
///
///     down: smooth by h1, every second pixel      last: by g
///     up: zeros in between, by h2, plus the level itself by g
///
/// Z. Farbman, R. Fattal, D. Lischinski, "Convolution Pyramids", 2011.
namespace pixmill::reference {

struct PyramidKernels {
    cv::Mat h1, h2, g; ///< floats, each used along rows and columns
};

/// The plane correlated with the kernel along rows and columns in double precision, 0 outside.
inline cv::Mat correlated(const cv::Mat& in, const cv::Mat& kernel)
{
    const int taps = int(kernel.total()), reach = taps / 2;
    cv::Mat out = cv::Mat::zeros(in.size(), CV_64FC1);
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x)
            for (int j = 0; j < taps; ++j)
                for (int i = 0; i < taps; ++i) {
                    const int v = y + j - reach, u = x + i - reach;
                    if (v >= 0 && v < in.rows && u >= 0 && u < in.cols)
                        out.at<double>(y, x) += double(kernel.at<float>(j)) * kernel.at<float>(i) * in.at<double>(v, u);
                }
    return out;
}

/// The same in single precision, in a told order: along rows, then along columns, each sum from the first weight to the
/// last. Where weights are the same from both ends, sums go by pairs from the middle outward; along rows only for
/// floats and up to five weights.
inline cv::Mat correlatedInFloats(const cv::Mat& in, const cv::Mat& kernel)
{
    const float* k = kernel.ptr<float>();
    const int taps = int(kernel.total()), anchor = taps / 2;
    const bool even = taps % 2 != 0 && std::equal(k, k + taps, std::reverse_iterator<const float*>(k + taps));
    const auto sum = [=](bool pairs, const auto& sample) {
        float s = pairs ? k[anchor] * sample(0) : k[0] * sample(-anchor);
        for (int i = 1; i <= (pairs ? anchor : taps - 1); ++i)
            s += pairs ? k[anchor + i] * (sample(i) + sample(-i)) : k[i] * sample(i - anchor);
        return s;
    };
    const cv::Mat along = planeOf<float>(in.size(), [&](int y, int x) {
        return sum(even && taps <= 5 && in.depth() == CV_32F,
                   [&](int i) { return x + i < 0 || x + i >= in.cols ? 0.0f : sampleOf(in, y, x + i); });
    });
    return planeOf<float>(in.size(), [&](int y, int x) {
        return sum(even, [&](int j) { return y + j < 0 || y + j >= in.rows ? 0.0f : along.at<float>(y + j, x); });
    });
}

/// log2 of the longer side, whole.
inline int pyramidSteps(cv::Size size)
{
    return int(std::log2(std::max(size.width, size.height)));
}

inline cv::Mat convolutionPyramid(const cv::Mat& in, const PyramidKernels& k, int steps)
{
    if (steps == 0)
        return correlated(in, k.g);
    const cv::Mat smooth = correlated(in, k.h1);
    const cv::Mat coarse =
        planeOf<double>(halfOf(in.size()), [&](int y, int x) { return smooth.at<double>(2 * y, 2 * x); });
    const cv::Mat below = convolutionPyramid(coarse, k, steps - 1);
    cv::Mat spread = cv::Mat::zeros(in.size(), CV_64FC1);
    for (int y = 0; y < coarse.rows; ++y)
        for (int x = 0; x < coarse.cols; ++x)
            spread.at<double>(2 * y, 2 * x) = below.at<double>(y, x);
    return correlated(in, k.g) + correlated(spread, k.h2);
}

} // namespace pixmill::reference
