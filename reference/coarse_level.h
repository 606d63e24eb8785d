#pragma once

#include <cmath>
#include <vector>

/// A coarse level of black-box multigrid, by whole matrices in double precision.
///
/// J. E. Dendy, "Black box multigrid", Journal of Computational Physics 48, 1982.
namespace pixmill::reference {

/// An operator on width x height points: the couplings of every two of them, and what each row sums up to.
struct NineRows {
    int width, height;
    std::vector<double> couplings, excess;

    NineRows(int w, int h) : width(w), height(h), couplings(std::size_t(w * h) * (w * h), 0.0), excess(w * h, 0.0) {}

    int count() const { return width * height; }
    int at(int x, int y) const { return y * width + x; }
    bool has(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }

    double& of(int p, int q) { return couplings[std::size_t(p) * count() + q]; }
    double of(int p, int q) const { return couplings[std::size_t(p) * count() + q]; }
    double between(int x, int y, int u, int v) const { return has(x, y) && has(u, v) ? of(at(x, y), at(u, v)) : 0.0; }

    void couple(int x, int y, int u, int v, double coupling)
    {
        if (has(u, v))
            of(at(x, y), at(u, v)) = of(at(u, v), at(x, y)) = coupling;
    }
};

/// Fine values by coarse ones, a row for each fine point. Coarse points lie on even ones. A point between two takes of
/// each the couplings on its side; one between four takes of each its own coupling and its share of the points between.
inline std::vector<std::vector<double>> interpolation(const NineRows& f)
{
    const int w = (f.width + 1) / 2, h = (f.height + 1) / 2;
    std::vector<std::vector<double>> p(f.count(), std::vector<double>(w * h, 0.0));
    const auto side = [&](int x, int y, int dx, int dy) { // the couplings to the three points on one side
        double sum = 0;
        for (int k = -1; k <= 1; ++k)
            sum += f.between(x, y, x + dx + (dx == 0 ? k : 0), y + dy + (dy == 0 ? k : 0));
        return sum;
    };
    const auto share = [&](int x, int y, int dx, int dy) {
        const double one = side(x, y, dx, dy), both = one + side(x, y, -dx, -dy);
        if (one > 0)
            p[f.at(x, y)][(y + dy) / 2 * w + (x + dx) / 2] = one / both;
    };
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x)
            if (x % 2 == 0 && y % 2 == 0)
                p[f.at(x, y)][y / 2 * w + x / 2] = 1;
            else if (y % 2 == 0)
                share(x, y, -1, 0), share(x, y, 1, 0);
            else if (x % 2 == 0)
                share(x, y, 0, -1), share(x, y, 0, 1);
    for (int y = 1; y < f.height; y += 2)
        for (int x = 1; x < f.width; x += 2) {
            double all = 0;
            for (int q = 0; q < f.count(); ++q)
                all += f.of(f.at(x, y), q);
            for (int q = 0; q < f.count() && all > 0; ++q)
                for (int c = 0; c < w * h; ++c)
                    p[f.at(x, y)][c] += q == f.at(x, y) ? 0.0 : f.of(f.at(x, y), q) / all * p[q][c];
        }
    return p;
}

/// Galerkin's operator of the couplings, negative ones left out, and the excess by the shares of the interpolation.
inline NineRows coarseLevel(const NineRows& f)
{
    const auto p = interpolation(f);
    NineRows coarse((f.width + 1) / 2, (f.height + 1) / 2);
    for (int i = 0; i < f.count(); ++i)
        for (int a = 0; a < coarse.count(); ++a)
            coarse.excess[a] += p[i][a] * f.excess[i];
    for (int a = 0; a < coarse.count(); ++a)
        for (int b = 0; b < coarse.count(); ++b) {
            double sum = 0;
            for (int i = 0; a != b && i < f.count(); ++i)
                for (int j = i + 1; j < f.count(); ++j)
                    sum -= f.of(i, j) * (p[i][a] - p[j][a]) * (p[i][b] - p[j][b]);
            coarse.of(a, b) = std::fmax(sum, 0.0);
        }
    return coarse;
}

} // namespace pixmill::reference
