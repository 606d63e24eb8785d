#pragma once

#include <opencv2/core.hpp>

#include <cmath>
#include <map>
#include <utility>
#include <vector>

/// Sparse symmetric systems for tests, and solvers that share nothing with the library's.
namespace pixmill::test {

/// The upper triangle by rows, with 1-based indices; `a` and `b` in double and rounded to single precision.
struct System {
    int n = 0;
    std::vector<int> ia{1}, ja;
    std::vector<double> a, b;

    void add(int column, double value)
    {
        ja.push_back(column);
        a.push_back(float(value)); // so that both precisions solve the same system
    }
    void endRow()
    {
        ia.push_back(int(ja.size()) + 1);
        b.push_back(float(std::sin(3.7 * n) + 0.5));
        ++n;
    }
};

/// A picture's system: each pixel linked to its right and lower neighbour by random weights up to `strength`. At the
/// end of a picture row stands a zero in place of the link to the right, or a link that wraps round to the next row.
inline System pictureSystem(int width, int height, double strength = 40, bool wrap = false, unsigned seed = 1)
{
    cv::RNG rng(seed);
    const int n = width * height;
    std::vector<double> right(n, 0.0), below(n, 0.0), diagonal(n, 1.0);
    for (int p = 0; p < n; ++p) {
        if (p + 1 < n && (wrap || (p + 1) % width != 0))
            right[p] = float(rng.uniform(0.01, strength));
        if (p + width < n)
            below[p] = float(rng.uniform(0.01, strength));
        diagonal[p] += right[p] + below[p];
        if (p + 1 < n)
            diagonal[p + 1] += right[p];
        if (p + width < n)
            diagonal[p + width] += below[p];
    }
    System s;
    for (int p = 0; p < n; ++p) {
        s.add(p + 1, diagonal[p]);
        if (p + 1 < n)
            s.add(p + 2, -right[p]);
        if (p + width < n)
            s.add(p + width + 1, -below[p]);
        s.endRow();
    }
    return s;
}

/// Unknowns linked at random, with no pattern.
inline System scatteredSystem(int n, int links, unsigned seed = 1)
{
    cv::RNG rng(seed);
    std::map<std::pair<int, int>, double> entries;
    std::vector<double> diagonal(n, 1.0);
    for (int k = 0; k < links; ++k) {
        const int i = rng.uniform(0, n), j = rng.uniform(0, n);
        if (i == j)
            continue;
        const double w = float(rng.uniform(0.1, 3.0));
        entries[{std::min(i, j), std::max(i, j)}] -= w;
        diagonal[i] += w;
        diagonal[j] += w;
    }
    System s;
    for (int i = 0; i < n; ++i) {
        s.add(i + 1, diagonal[i]);
        for (auto e = entries.lower_bound({i, 0}); e != entries.end() && e->first.first == i; ++e)
            s.add(e->first.second + 1, e->second);
        s.endRow();
    }
    return s;
}

/// y = A x.
inline std::vector<double> product(const System& s, const std::vector<double>& x)
{
    std::vector<double> y(s.n, 0.0);
    for (int i = 0; i < s.n; ++i)
        for (int k = s.ia[i] - 1; k < s.ia[i + 1] - 1; ++k) {
            const int j = s.ja[k] - 1;
            y[i] += s.a[k] * x[j];
            if (j != i)
                y[j] += s.a[k] * x[i];
        }
    return y;
}

/// The dense solution, for small systems.
inline std::vector<double> denseSolution(const System& s)
{
    cv::Mat a = cv::Mat::zeros(s.n, s.n, CV_64FC1), x;
    for (int i = 0; i < s.n; ++i)
        for (int k = s.ia[i] - 1; k < s.ia[i + 1] - 1; ++k) {
            const int j = s.ja[k] - 1;
            a.at<double>(i, j) += s.a[k];
            if (j != i)
                a.at<double>(j, i) += s.a[k];
        }
    cv::solve(a, cv::Mat(s.b, true), x, cv::DECOMP_LU);
    return {x.ptr<double>(), x.ptr<double>() + s.n};
}

/// The solution of a positive definite system by conjugate gradients in double precision, preconditioned by the
/// diagonal, until the residual is 1e-14 of the right-hand side.
inline std::vector<double> iteratedSolution(const System& s)
{
    const auto dot = [](const std::vector<double>& p, const std::vector<double>& q) {
        double sum = 0;
        for (std::size_t i = 0; i < p.size(); ++i)
            sum += p[i] * q[i];
        return sum;
    };
    std::vector<double> diagonal(s.n, 0.0), x(s.n, 0.0), r = s.b, z(s.n), d(s.n, 0.0);
    for (int i = 0; i < s.n; ++i)
        for (int k = s.ia[i] - 1; k < s.ia[i + 1] - 1; ++k)
            if (s.ja[k] == i + 1)
                diagonal[i] += s.a[k];
    const double enough = 1e-14 * std::sqrt(dot(s.b, s.b));
    double before = 0;
    for (int step = 0; step < 20000 && std::sqrt(dot(r, r)) > enough; ++step) {
        for (int i = 0; i < s.n; ++i)
            z[i] = r[i] / diagonal[i];
        const double now = dot(r, z);
        for (int i = 0; i < s.n; ++i)
            d[i] = z[i] + (step > 0 ? now / before : 0.0) * d[i];
        before = now;
        const std::vector<double> ad = product(s, d);
        const double length = now / dot(d, ad);
        for (int i = 0; i < s.n; ++i) {
            x[i] += length * d[i];
            r[i] -= length * ad[i];
        }
    }
    return x;
}

/// Largest difference, in units of the expected values' range.
template <class T>
double relativeError(const std::vector<double>& expected, const T* actual)
{
    double low = expected[0], high = expected[0], most = 0, size = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        low = std::min(low, expected[i]);
        high = std::max(high, expected[i]);
        size = std::max(size, std::abs(expected[i]));
        const double error = std::abs(expected[i] - double(actual[i]));
        if (!(error <= most)) // a NaN stays
            most = error;
    }
    return most / std::max(high - low, 0.1 * size); // a rounding of a nearly flat result is not an error
}

} // namespace pixmill::test
