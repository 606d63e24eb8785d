#pragma once

#include <reference/planes.h>

/// Detail by zones of luma: three versions of a detail level mixed by weights of shadows, midtones and highlights, the
/// levels' sum over luma, and luma changed by colour.
///
///     weight(k) = k / 85 of 256, k the distance into the zone (at most 85): 3 k + (k + 50) / 128
///     mix = sum of (zone - 32768) weight / 256 + 32768      luma + 2 sum (level - 32768)
///     luma + 2.5 (r (R - Y) + g (G - Y) + b (B - Y)) as k0 + kR Dr + kB Db
///
/// Tone zones: A. Adams, "The Negative", 1981. The differences are those of ydrdb.h.
namespace pixmill::reference {

inline int zoneWeight(int distance)
{
    const int k = std::min(std::max(distance, 0), 85);
    return 3 * k + (k + 50) / 128;
}

/// Of shadows, midtones and highlights at the luma y, 256 or 255 in all.
inline cv::Vec3i zoneWeights(int y)
{
    const int i = y >> 8;
    return {zoneWeight(85 - i), zoneWeight(std::min(i, 255 - i)), zoneWeight(i - 170)};
}

inline cv::Mat zonesMixed(const cv::Mat& Y, const cv::Mat& shadows, const cv::Mat& midtones, const cv::Mat& highlights)
{
    return planeOf<ushort>(Y.size(), [&](int y, int x) {
        const cv::Vec3i w = zoneWeights(Y.at<ushort>(y, x));
        const int sum = (shadows.at<ushort>(y, x) - 32768) * w[0] + (midtones.at<ushort>(y, x) - 32768) * w[1] +
                        (highlights.at<ushort>(y, x) - 32768) * w[2];
        return rounded(sum / 256 + 32768, 65535);
    });
}

inline cv::Mat detailAdded(const cv::Mat& Y, const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2)
{
    return planeOf<ushort>(Y.size(), [&](int y, int x) {
        const int sum = d0.at<ushort>(y, x) + d1.at<ushort>(y, x) + d2.at<ushort>(y, x) - 3 * 32768;
        return rounded(Y.at<ushort>(y, x) + 2 * sum, 65535);
    });
}

/// Differences of 16 or of 8 bits.
inline cv::Mat lumaWeighted(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, float r, float g, float b)
{
    const float R = 2.5f * r, G = 2.5f * g, B = 2.5f * b;
    float k0 = ((-R - B) * 128 + 256 * G) * 256, kR = 256 * (R - G), kB = 256 * (B - G);
    if (Dr.depth() == CV_16U) {
        kR = R - G;
        kB = B - G;
        k0 = (G - kR - B) * 32768;
    }
    return planeOf<ushort>(Y.size(), [&](int y, int x) {
        float v = float(Y.at<ushort>(y, x)) + k0;
        v = v + kR * sampleOf(Dr, y, x);
        v = v + kB * sampleOf(Db, y, x);
        return rounded(v, 65535);
    });
}

} // namespace pixmill::reference
