#pragma once

#include <reference/gaussian_iir.h>
#include <reference/pyramid.h>
#include <reference/table_look_up.h>

/// The fast local Laplacian filter: K remapped copies of the picture, each around one reference level, as Laplacian
/// pyramids; every coefficient is read between the two copies that bracket the Gaussian pyramid's pixel.
///
///     remapped(v) = v + 2 (table((v - k step) / 2 + 32768) - 32768)      table: a sawtooth of width sigma, smoothed
///
/// S. Paris, S. Hasinoff, J. Kautz, "Local Laplacian Filters", 2011; M. Aubry and others, "Fast Local Laplacian
/// Filters: Theory and Applications", 2014.
namespace pixmill::reference {

struct LaplacianForm {
    int K;
    float step, invStep;
};

/// The remapping of 65536 entries; sigma is the sawtooth's half width over 32768.
inline std::vector<int> remapTable(float sigma, float smooth)
{
    const int d = int(std::max(-1e9f, std::min(1e9f, 32768.0f * sigma))), D = std::abs(d), half = D / 2;
    const int peak = d >= 0 ? half : -half;
    std::vector<int> levels = {0, 32768 - D, 32768 - half, 32768, 32768 + half, 32768 + D, 65535};
    const std::vector<int> values = {32768, 32768, 32768 + peak, 32768, 32768 - peak, 32768, 32768};
    for (int& level : levels)
        level = inside(level, 65536);
    std::vector<int> table(65536);
    for (int v = 0; v < 65536; ++v)
        table[v] = linearMapped(v, values, levels);
    if (!(float(D) * smooth > 1))
        return table;
    std::vector<float> line(table.begin(), table.end());
    gaussianLine<double>(line, float(D) * smooth, 2);
    for (int v = 0; v < 65536; ++v)
        table[v] = rounded(line[v], 65535);
    return table;
}

/// Every pyramid as a whole, one copy after the other.
inline cv::Mat localLaplacian(const cv::Mat& in, const std::vector<int>& remap, const LaplacianForm& form, int levels)
{
    std::vector<cv::Mat> G{in};
    for (int l = 1; l < levels; ++l)
        G.push_back(pyramidDown(G[l - 1]));
    std::vector<std::vector<cv::Mat>> R(form.K);
    for (int k = 0; k < form.K; ++k) {
        R[k].push_back(planeOf<ushort>(in.size(), [&](int y, int x) {
            const int v = in.at<ushort>(y, x);
            const int idx = rounded((float(v) - float(k) * form.step) * 0.5f + 32768.0f, 65535);
            return rounded(v + 2 * remap[idx] - 65536, 65535);
        }));
        for (int l = 1; l < levels; ++l) {
            cv::Mat& fine = R[k][l - 1];
            const cv::Mat next = pyramidDown(fine);
            cv::addWeighted(fine, 1.0, pyramidUp(next, fine.size()), -1.0, 32767.0, fine, -1);
            R[k].push_back(next);
        }
    }
    cv::Mat T;
    for (int l = levels - 1; l >= 0; --l) {
        const cv::Mat cur = planeOf<ushort>(G[l].size(), [&](int y, int x) {
            const float p = float(G[l].at<ushort>(y, x)) * form.invStep;
            const int i = inside(int(p), form.K - 1);
            const float f = p - float(i);
            return int(float(R[i + 1][l].at<ushort>(y, x)) * f + float(R[i][l].at<ushort>(y, x)) * (1.0f - f));
        });
        if (T.empty())
            T = cur;
        else
            cv::addWeighted(cur, 1.0, pyramidUp(T, cur.size()), 1.0, -32767.0, T, -1);
    }
    return T;
}

} // namespace pixmill::reference
