#pragma once

#include <cmath>
#include <cstddef>

/// The recursive Gaussian: pairs of first-order sweeps, forward and back, whose cost does not depend on sigma.
///
/// Method: L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", 1994.
/// Each sweep is a chain of single-precision sums, so its order is its result. Speed comes from running independent
/// lines side by side.
namespace pixmill::rows {

/// base to a power that is a whole number, by squaring.
template <class Real>
Real wholePower(Real base, int exponent)
{
    unsigned n = exponent < 0 ? 0u - unsigned(exponent) : unsigned(exponent);
    Real result = n % 2 ? base : Real(1);
    while (n >>= 1) {
        base *= base;
        if (n % 2)
            result *= base;
    }
    return exponent < 0 ? Real(1) / result : result;
}

/// The most pairs of sweeps that are taken: beyond any use, and the end of what a wrong count costs.
constexpr int kMostSweeps = 65536;

struct RecursiveGaussian {
    float nu;       ///< Feedback of a sweep.
    float boundary; ///< Gain of the sample a sweep starts from: the line goes on with that value beyond its end.
    float post;     ///< Gain of every sample once all sweeps of all axes are done.

    /// For a Gaussian of `sigma` made of `steps` pairs of sweeps along each of `axes` axes.
    ///
    /// The square of sigma is formed in float, all that follows in Real, narrowed at the end.
    template <class Real>
    static RecursiveGaussian make(float sigma, int steps, int axes = 1)
    {
        const Real lambda = Real(sigma * sigma) / Real(2 * steps);
        const Real dnu = (1 + 2 * lambda - std::sqrt(1 + 4 * lambda)) / (2 * lambda);
        return {float(dnu), float(1 / (1 - dnu)), float(wholePower<Real>(dnu / lambda, steps * axes))};
    }
};

/// One forward and one backward sweep over each of L lines of n samples. Each line has its own coefficients.
///
/// @param data   Holds sample i of line l at data[i * stride + l] between the sweeps.
/// @param read   read(i, l) is the sample the forward sweep takes in, as a float.
/// @param write  write(i, l, v) takes the result of the backward sweep, from the last sample to the first.
template <int L, class Read, class Write>
inline void sweepLines(float* data, std::ptrdiff_t stride, long n, const float (&nu)[L], const float (&boundary)[L],
                       const Read& read, const Write& write)
{
    if (n < 1)
        return;
    float last[L], feedback[L]; // of the function's own, so that no store to the lines can change them
    for (int l = 0; l < L; ++l) {
        feedback[l] = nu[l];
        data[l] = last[l] = read(0, l) * boundary[l];
    }
    float* p = data;
    for (long i = 1; i < n; ++i) {
        p += stride;
        for (int l = 0; l < L; ++l)
            p[l] = last[l] = read(i, l) + feedback[l] * last[l];
    }
    for (int l = 0; l < L; ++l)
        write(n - 1, l, last[l] = last[l] * boundary[l]);
    for (long i = n - 2; i >= 0; --i) {
        p -= stride;
        for (int l = 0; l < L; ++l)
            write(i, l, last[l] = p[l] + feedback[l] * last[l]);
    }
}

/// The same in place.
template <int L>
inline void sweepLines(float* data, std::ptrdiff_t stride, long n, const float (&nu)[L], const float (&boundary)[L])
{
    const auto read = [=](long i, int l) { return data[i * stride + l]; };
    const auto write = [=](long i, int l, float v) { data[i * stride + l] = v; };
    sweepLines<L>(data, stride, n, nu, boundary, read, write);
}

/// The same in place for one line.
inline void sweepLine(float* data, std::ptrdiff_t stride, long n, float nu, float boundary)
{
    sweepLines<1>(data, stride, n, {nu}, {boundary});
}

} // namespace pixmill::rows
