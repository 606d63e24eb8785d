#pragma once

#include <opencv2/core.hpp>

#include <cmath>
#include <vector>

/// Sparse symmetric systems A x = b, and two ways to solve them: elimination on the dense matrix, for small ones, and
/// conjugate gradients, x += length d, d the residual made conjugate to the steps before.
///
/// M. Hestenes, E. Stiefel, "Methods of Conjugate Gradients for Solving Linear Systems", 1952.
namespace pixmill::reference {

/// The upper triangle by rows, with 1-based indices; `a` and `b` in double and rounded to single precision.
struct SparseSystem {
    int n = 0;
    std::vector<int> ia{1}, ja;
    std::vector<double> a, b;

    void add(int column, double value)
    {
        ja.push_back(column);
        a.push_back(float(value)); // so that both precisions solve the same system
    }
    void endRow(float right)
    {
        ia.push_back(int(ja.size()) + 1);
        b.push_back(right);
        ++n;
    }
};

/// y = A x.
inline std::vector<double> product(const SparseSystem& s, const std::vector<double>& x)
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
inline std::vector<double> denseSolution(const SparseSystem& s)
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
inline std::vector<double> iteratedSolution(const SparseSystem& s)
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

} // namespace pixmill::reference
