#pragma once

#include <reference/planes.h>

#include <cstddef>

/// The bilateral filter on a grid over position and edge value: pixels are summed up and counted in cells, both grids
/// are smoothed by a recursive Gaussian along z, x and y, and the sums over the counts are read back trilinearly.
///
///     cell     (x / s + 2, y / s + 2, (edge - least) / r + 2)
///     read at  (x / s + 1.5, y / s + 1.5, (edge - least) / r + 1.5)
///
/// J. Chen, S. Paris, F. Durand, "Real-time Edge-Aware Image Processing with the Bilateral Grid", 2007.
namespace pixmill::reference {

struct BilateralGrid {
    int gx, gy, gz, step, range, minVal;
    std::vector<float> weights, values;

    BilateralGrid(const cv::Mat& edge, int sampleS, int sampleR) : step(sampleS), range(sampleR)
    {
        double least, most;
        cv::minMaxIdx(edge, &least, &most);
        minVal = int(least);
        gx = (edge.cols + step - 1) / step + 4;
        gy = (edge.rows + step - 1) / step + 4;
        const int k = int((most - least) / range);
        gz = k + (most - least > double(range) * k) + 4;
        if (gz > 252) {
            gz = 252;
            range = int((most - least) / 248);
        }
        weights.assign(std::size_t(gx) * gy * gz, 1e-20f);
        values.assign(weights.size(), 0.0f);
    }

    std::size_t at(int x, int y, int z) const { return (std::size_t(y) * gx + x) * gz + z; }

    float position(double v, double pad) const
    {
        const double alpha = 1.0 / range;
        const float scaled = float(v) * float(alpha);
        return scaled + float(pad - minVal * alpha);
    }

    void blurLine(std::vector<float>& grid, std::size_t first, std::size_t stride, int n) const
    {
        const float nu = 0.13511288f, gain = 1.1562202f;
        const float q = 0.85f * 0.85f * 0.25f, scale = (nu / q) * (nu / q);
        const auto a = [&](int i) -> float& { return grid[first + i * stride]; };
        for (int round = 0; round < 2; ++round) {
            a(0) *= gain;
            for (int i = 1; i < n; ++i)
                a(i) = a(i) + nu * a(i - 1);
            a(n - 1) *= gain;
            for (int i = n - 2; i >= 0; --i)
                a(i) = a(i) + nu * a(i + 1);
        }
        for (int i = 0; i < n; ++i)
            a(i) *= scale;
    }

    cv::Mat filter(const cv::Mat& in, const cv::Mat& edge)
    {
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const int z = std::min(rounded(position(sampleOf(edge, y, x), 2.0), 255), gz - 2);
                values[at(x / step + 2, y / step + 2, z)] += float(sampleOf(in, y, x));
                weights[at(x / step + 2, y / step + 2, z)] += 1.0f;
            }
        for (auto* grid : {&weights, &values}) {
            for (int y = 0; y < gy; ++y)
                for (int x = 0; x < gx; ++x)
                    blurLine(*grid, at(x, y, 0), 1, gz);
            for (int y = 0; y < gy; ++y)
                for (int z = 0; z < gz; ++z)
                    blurLine(*grid, at(0, y, z), gz, gx);
            for (int x = 0; x < gx; ++x)
                for (int z = 0; z < gz; ++z)
                    blurLine(*grid, at(x, 0, z), std::size_t(gx) * gz, gy);
        }
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = values[i] / weights[i];

        cv::Mat out(in.size(), in.type());
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const float px = float(x) / step + 1 + 0.5f, py = float(y) / step + 1 + 0.5f;
                const float fx = px - int(px), fy = py - int(py);
                const float zf = position(sampleOf(edge, y, x), 1.5);
                const int zi = rounded(zf, 255), z = std::min(zi, gz - 2);
                const float f = zf - float(zi);
                const auto column = [&](int dx, int dy) {
                    const float* cell = &values[at(int(px) + dx, int(py) + dy, z)];
                    return cell[0] + (cell[1] - cell[0]) * f;
                };
                const float top = column(0, 0) + (column(1, 0) - column(0, 0)) * fx;
                const float bottom = column(0, 1) + (column(1, 1) - column(0, 1)) * fx;
                const float v = top + (bottom - top) * fy;
                if (in.depth() == CV_8U)
                    out.at<uchar>(y, x) = uchar(rounded(v, 255));
                else
                    out.at<ushort>(y, x) = pixel16(v);
            }
        return out;
    }
};

} // namespace pixmill::reference
