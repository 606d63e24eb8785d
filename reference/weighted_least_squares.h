#pragma once

#include <reference/sparse_system.h>

/// The weighted least squares filter's system: x close to the picture, and smooth where the guide is.
///
///     minimise sum (x - in)^2 + lambda sum |neighbours of x|^2 / (|neighbours of the guide|^alpha + eps)
///
/// Z. Farbman, R. Fattal, D. Lischinski, R. Szeliski, "Edge-Preserving Decompositions for Multi-Scale Tone and Detail
/// Manipulation", 2008.
namespace pixmill::reference {

struct LeastSquares {
    std::vector<float> dx, dy, a; ///< negated weights to the right and downward; the entries in single precision
    SparseSystem system;

    LeastSquares(const std::vector<float>& in, int width, int height, float lambda, float alpha,
                 const std::vector<float>& guide, float eps = 0.0001f)
        : dx(in.size(), 0.0f), dy(in.size(), 0.0f)
    {
        const int n = width * height;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const int p = y * width + x;
                if (y + 1 < height)
                    dy[p] = -lambda /
                            (float(std::pow(double(std::fabs(guide[p + width] - guide[p])), double(alpha))) + eps);
                if (x + 1 < width)
                    dx[p] =
                        -lambda / (float(std::pow(double(std::fabs(guide[p + 1] - guide[p])), double(alpha))) + eps);
            }
        std::vector<float> diagonal(n, 1.0f);
        for (int p = 0; p < n; ++p)
            diagonal[p] -= dx[p];
        for (int p = 0; p < n; ++p)
            diagonal[p] -= dy[p];
        for (int p = 0; p + 1 < n; ++p)
            diagonal[p + 1] -= dx[p];
        for (int p = 0; p + width < n; ++p)
            diagonal[p + width] -= dy[p];
        for (int i = 1; i <= n; ++i) {
            system.add(i, diagonal[i - 1]);
            if (i < n)
                system.add(i + 1, dx[i - 1]); // 0 at the end of a row
            if (i + width <= n)
                system.add(i + width, dy[i - 1]);
            system.endRow(in[i - 1]);
        }
        a.assign(system.a.begin(), system.a.end());
    }
};

} // namespace pixmill::reference
