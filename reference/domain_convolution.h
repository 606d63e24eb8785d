#pragma once

#include <reference/planes.h>

/// The normalized convolution of the domain transform: box means over the pixels whose transformed coordinates lie
/// within a radius, along rows and columns, in three rounds.
///
///     t[x] = sum of 1 + sigmaS / sigmaR * |differences|      out[x] = mean of the pixels with |t - t[x]| <= r
///     r = sqrt(3) sigma_i,  sigma_i = 2^(2 - i) sqrt(3) / sqrt(63) sigmaS
///
/// E. Gastal, M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing", 2011.
namespace pixmill::reference {

/// One pass, pixel by pixel; each search goes on where the one before it ended.
inline void windowAverages(cv::Mat& img, const cv::Mat& ct, float radius)
{
    const int W = img.cols, C = img.channels();
    for (int y = 0; y < img.rows; ++y) {
        const float* t = ct.ptr<float>(y);
        float* row = img.ptr<float>(y);
        std::vector<float> sat(std::size_t(W + 1) * C, 0.0f);
        for (int i = 0; i < W * C; ++i)
            sat[i + C] = sat[i] + row[i];
        std::vector<float> result(std::size_t(W) * C);
        int l = 0, u = 0;
        for (int x = 0; x < W; ++x) {
            while (l < W && !(t[l] > t[x] - radius))
                ++l;
            if (x == 0 && l == W)
                l = 0;
            while (u < W && !(t[u] > t[x] + radius))
                ++u;
            for (int c = 0; c < C; ++c)
                result[x * C + c] = (sat[u * C + c] - sat[l * C + c]) / float(u - l);
        }
        std::copy(result.begin(), result.end(), row);
    }
}

inline cv::Mat domainCoordinates(const cv::Mat& in, float ratio, bool down)
{
    cv::Mat ct(in.size(), CV_32FC1, cv::Scalar(1));
    const int C = in.channels(), limit = in.cols < 2 ? 0 : in.cols == 2 ? 1 : in.cols - 2;
    for (int y = 0; y + 1 < in.rows; ++y)
        for (int x = 0; x < limit; ++x) {
            const float *a = in.ptr<float>(y) + x * C, *b = down ? in.ptr<float>(y + 1) + x * C : a + C;
            float sum = 0;
            for (int c = 0; c < C; ++c)
                sum += std::fabs(b[c] - a[c]);
            ct.at<float>(y, x) = 1 + ratio * sum;
        }
    if (down)
        ct = ct.t();
    for (int y = 0; y < ct.rows; ++y)
        for (int x = 1; x < ct.cols; ++x)
            ct.at<float>(y, x) = ct.at<float>(y, x - 1) + ct.at<float>(y, x);
    return ct;
}

inline cv::Mat normalizedConvolution(const cv::Mat& in, float sigmaS, float sigmaR)
{
    const cv::Mat across = domainCoordinates(in, sigmaS / sigmaR, false);
    const cv::Mat down = domainCoordinates(in, sigmaS / sigmaR, true);
    cv::Mat out = in.clone();
    const double base = (std::sqrt(3.0) / std::sqrt(63.0)) * sigmaS;
    for (int e = 2; e >= 0; --e) {
        const float sigma = float(std::pow(2.0, e) * base), radius = float(double(sigma) * std::sqrt(3.0));
        windowAverages(out, across, radius);
        cv::Mat T = out.t();
        windowAverages(T, down, radius);
        out = T.t();
    }
    return out;
}

} // namespace pixmill::reference
