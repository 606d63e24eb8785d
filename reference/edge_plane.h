#pragma once

#include <reference/gauss_mask.h>
#include <reference/pyramid.h>
#include <reference/resize.h>

/// The edge plane: what a half-size plane lacks of the full one, in bytes by a square-root curve; and a full plane from
/// both, its edges scaled where the half-size one changed.
///
///     edge = table((full - enlarged(half)) / 2 + 32768)
///     full = enlarged(half) + 1.5 / 64 strength gain (table'(edge) - 32768)
///     gain = 64 / 1.5 (G[a' b'] + e) / (G[b' b'] + e), b' and a' the differences before and after, G a 5 x 5 Gaussian
///
/// The residual of P. Burt, E. Adelson, "The Laplacian Pyramid as a Compact Image Code", 1983.
namespace pixmill::reference {

/// The table of bytes: 128 +- sqrt(|v| / 2), v centred.
inline std::vector<uchar> edgeTable()
{
    std::vector<uchar> table(65536);
    for (int i = 0; i < 32768; ++i) {
        table[32768 + i] = uchar(rounded(128 + 0.7071f * std::sqrt(float(i)), 255));
        table[i] = uchar(rounded(128 - 0.7071f * std::sqrt(float(32768 - i)), 255));
    }
    return table;
}

/// `up` is the half-size plane enlarged, `table` has 65536 entries.
inline cv::Mat edgePlane(const cv::Mat& full, const cv::Mat& up, const std::vector<uchar>& table)
{
    return planeOf<uchar>(full.size(), [&](int y, int x) {
        return table[rounded((full.at<ushort>(y, x) - up.at<ushort>(y, x)) / 2 + 32768, 65535)];
    });
}

/// The full plane again; within a hundredth of strength 1 in whole numbers. `table` has 256 entries.
inline cv::Mat fullFromEdge(const cv::Mat& edge, const cv::Mat& up, float strength, const std::vector<ushort>& table)
{
    return planeOf<ushort>(edge.size(), [&](int y, int x) {
        const int d = table[edge.at<uchar>(y, x)] - 32768, u = up.at<ushort>(y, x);
        return std::abs(strength - 1.0f) <= 0.01f ? rounded(u + d, 65535)
                                                  : rounded(float(u) + float(d) * strength, 65535);
    });
}

/// How much steeper a half-size plane became, 5 x 5 windows at a time; 42.67 is no change.
inline cv::Mat edgeGain(const cv::Mat& before, const cv::Mat& after, float epsilon)
{
    const cv::Size size = before.size();
    const auto difference = [&](const cv::Mat& m, int dy, int dx) {
        return planeOf<float>(size, [&](int y, int x) {
            const bool inside = y + dy < size.height && x + dx < size.width;
            return inside ? sampleOf(m, y + dy, x + dx) - sampleOf(m, y, x) : 0.0f;
        });
    };
    const auto smoothProduct = [&](const cv::Mat& a, const cv::Mat& b) {
        return gaussMeans<float>(
            planeOf<float>(size, [&](int y, int x) { return a.at<float>(y, x) * b.at<float>(y, x); }));
    };
    const cv::Mat bx = difference(before, 0, 1), by = difference(before, 1, 0);
    const cv::Mat ax = difference(after, 0, 1), ay = difference(after, 1, 0);
    const cv::Mat sxx = smoothProduct(bx, bx), syy = smoothProduct(by, by);
    const cv::Mat nx = smoothProduct(ax, bx), ny = smoothProduct(ay, by);
    const float floor = epsilon * 65535.0f;
    return gaussMeans<uchar>(planeOf<uchar>(size, [&](int y, int x) {
        float num = nx.at<float>(y, x) + ny.at<float>(y, x), den = sxx.at<float>(y, x) + syy.at<float>(y, x);
        num = num + floor;
        den = den + floor;
        const float scaled = num / den * 42.666666666666664f;
        return scaled < 2147483648.0f ? rounded(scaled, 255) : 0; // what no int holds is 0
    }));
}

/// The full plane, its edges scaled by the gain.
inline cv::Mat fullFromEdge(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, float epsilon,
                            float strength, const std::vector<ushort>& table)
{
    const cv::Mat gain = enlarged<uchar>(edgeGain(before, after, epsilon), edge.size(), 2, kLinear);
    const cv::Mat up = pyramidUp(after, edge.size());
    const float s = strength * 0.0234375f;
    return planeOf<ushort>(edge.size(), [&](int y, int x) {
        const float d = float(table[edge.at<uchar>(y, x)]) - 32768.0f;
        return pixel16(float(up.at<ushort>(y, x)) + d * s * float(gain.at<uchar>(y, x)));
    });
}

} // namespace pixmill::reference
