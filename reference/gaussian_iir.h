#pragma once

#include <reference/planes.h>

#include <cstddef>

/// The recursive Gaussian: pairs of first-order sweeps, forward and back, whose cost does not depend on sigma.
///
///     lambda = sigma^2 / (2 steps)      nu = (1 + 2 lambda - sqrt(1 + 4 lambda)) / (2 lambda)
///     forward: a[0] /= 1 - nu, a[i] += nu a[i - 1]      back: the same from the last sample to the first
///     in the end: a *= (nu / lambda)^steps
///
/// L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", 1994.
namespace pixmill::reference {

/// The coefficients are formed in Real, but for sigma's square.
template <class Real>
struct GaussianIir {
    float nu, boundary, post;

    GaussianIir(float sigma, int steps, int axes = 1)
    {
        const Real lambda = Real(sigma * sigma) / (2 * steps);
        const Real dnu = (1 + 2 * lambda - std::sqrt(1 + 4 * lambda)) / (2 * lambda);
        nu = float(dnu);
        boundary = float(1 / (1 - dnu));
        Real power = 1, ratio = dnu / lambda;
        for (int n = steps * axes; n > 0; n /= 2, ratio *= ratio)
            if (n % 2)
                power *= ratio;
        post = float(power);
    }

    void forward(float* a, std::ptrdiff_t stride, long n) const
    {
        a[0] *= boundary;
        for (long i = 1; i < n; ++i)
            a[i * stride] += nu * a[(i - 1) * stride];
    }

    void back(float* a, std::ptrdiff_t stride, long n) const { forward(a + (n - 1) * stride, -stride, n); }

    /// A pair of sweeps.
    void line(float* a, std::ptrdiff_t stride, long n) const
    {
        forward(a, stride, n);
        back(a, stride, n);
    }
};

/// A whole line: `steps` pairs of sweeps and the gain.
template <class Real>
void gaussianLine(std::vector<float>& a, float sigma, int steps)
{
    const GaussianIir<Real> k(sigma, steps);
    for (int i = 0; i < steps; ++i)
        k.line(a.data(), 1, long(a.size()));
    for (float& v : a)
        v *= k.post;
}

/// A plane of floats in place: rows as lines, then columns, whose two sweeps run at once and feed each other.
inline void gaussianPlane(cv::Mat& m, float sigma, int steps)
{
    const GaussianIir<float> k(sigma, steps, 2);
    const int H = m.rows;
    for (int y = 0; y < H; ++y)
        for (int i = 0; i < steps; ++i)
            k.line(m.ptr<float>(y), 1, m.cols);
    for (int x = 0; x < m.cols; ++x)
        for (int s = 0; s < steps; ++s) {
            const auto c = [&](int y) -> float& { return m.at<float>(y, x); };
            float t = c(0) = k.boundary * c(0);
            float b = c(H - 1) = k.boundary * c(H - 1);
            for (int i = 1; i < H; ++i) {
                b = k.nu * b + c(H - 1 - i);
                c(H - 1 - i) = b;
                t = k.nu * t + c(i);
                c(i) = t;
            }
        }
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < m.cols; ++x)
            m.at<float>(y, x) *= k.post;
}

/// A block of w x h x d floats in place, two pairs of sweeps or more along each axis.
inline void gaussianBlock(std::vector<float>& a, int w, int h, int d, float sigma, int steps)
{
    const GaussianIir<double> k(sigma, steps, 3);
    const auto sweep = [&](int count, auto first, int stride, int n) {
        for (int i = 0; i < count; ++i)
            for (int step = 0; step < steps; ++step)
                k.line(&a[first(i)], stride, n);
    };
    sweep(
        h * d, [&](int i) { return i * w; }, 1, w);
    sweep(
        w * d, [&](int i) { return i / w * w * h + i % w; }, w, h);
    sweep(
        w * h, [&](int i) { return i; }, w * h, d);
    for (float& v : a)
        v *= k.post;
}

} // namespace pixmill::reference
