#pragma once

#include <pixmill/rows/exponential.h>
#include <reference/planes.h>

#include <cstring>

/// The recursive domain transform: three rounds of a first-order recursion along rows and columns, whose feedback falls
/// where the guide changes.
///
///     D = 1 + sigmaS / sigmaR * sum over channels |I(x + 1) - I(x)|      V = exp(-sqrt(2) / sigma_i)^D
///     J[x] += (J[x - 1] - J[x]) V[x], then J[x] += (J[x + 1] - J[x]) V[x + 1]
///
/// The gap between the last two columns is not looked at, and weights below 2^-126 are 0.
///
/// E. Gastal, M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing", 2011.
namespace pixmill::reference {

inline float channelOf(const cv::Mat& m, int y, int x, int c)
{
    return m.ptr<float>(y)[x * m.channels() + c];
}

inline bool gapSeen(int x, int width)
{
    return x < width - 2 || (width == 2 && x == 0);
}

/// Domain steps of guide planes; `lastRow` tells whether gradients of the last row count.
inline void domainSteps(const std::vector<cv::Mat>& guide, float sigmaS, float sigmaR, bool lastRow, cv::Mat& across,
                        cv::Mat& down)
{
    const int H = guide[0].rows, W = guide[0].cols;
    across.create(H, W, CV_32FC1);
    down.create(H, W, CV_32FC1);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            float sumX = 0.0f, sumY = 0.0f;
            for (const cv::Mat& plane : guide)
                for (int c = 0; c < plane.channels(); ++c) {
                    if (gapSeen(x, W) && (lastRow || y < H - 1))
                        sumX += std::fabs(channelOf(plane, y, x + 1, c) - channelOf(plane, y, x, c));
                    if (gapSeen(x, W) && y < H - 1)
                        sumY += std::fabs(channelOf(plane, y + 1, x, c) - channelOf(plane, y, x, c));
                }
            across.at<float>(y, x) = 1.0f + sigmaS / sigmaR * sumX;
            down.at<float>(y, x) = 1.0f + sigmaS / sigmaR * sumY;
        }
}

inline void domainPass(cv::Mat& img, const cv::Mat& D, float sigma)
{
    volatile float rounded = sigma; // g++ 12 may drop the rounding of paired double -> float -> double
    const double k = -std::sqrt(2.0) / rounded;
    cv::Mat V = D * k;
    for (auto v = V.begin<float>(); v != V.end<float>(); ++v)
        *v = *v < std::log(0x1p-126f) ? 0.0f : rows::exponential(*v);
    const int C = img.channels();
    for (int y = 0; y < img.rows; ++y) {
        float* p = img.ptr<float>(y);
        const float* v = V.ptr<float>(y);
        for (int x = 1; x < img.cols; ++x)
            for (int c = 0; c < C; ++c)
                p[x * C + c] += (p[(x - 1) * C + c] - p[x * C + c]) * v[x];
        for (int x = img.cols - 2; x >= 0; --x)
            for (int c = 0; c < C; ++c)
                p[x * C + c] += (p[(x + 1) * C + c] - p[x * C + c]) * v[x + 1];
    }
}

inline cv::Mat turned(const cv::Mat& m)
{
    cv::Mat to(m.cols, m.rows, m.type());
    for (int y = 0; y < m.rows; ++y)
        for (int x = 0; x < m.cols; ++x)
            std::memcpy(to.ptr(x, y), m.ptr(y, x), m.elemSize());
    return to;
}

inline cv::Mat domainFiltered(const cv::Mat& in, const cv::Mat& across, const cv::Mat& down, float sigmaS)
{
    cv::Mat out = in.clone();
    volatile float sigma = sigmaS;
    for (const double power : {4.0, 2.0, 1.0}) {
        sigma = float(power * (std::sqrt(3.0) / std::sqrt(63.0)) * sigma);
        domainPass(out, across, sigma);
        cv::Mat columns = turned(out);
        domainPass(columns, turned(down), sigma);
        out = turned(columns);
    }
    return out;
}

inline cv::Mat domainRecursive(const cv::Mat& in, float sigmaS, float sigmaR)
{
    cv::Mat across, down;
    domainSteps({in}, sigmaS, sigmaR, false, across, down);
    return domainFiltered(in, across, down, sigmaS);
}

} // namespace pixmill::reference
