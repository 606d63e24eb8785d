#pragma once

#include <cmath>
#include <vector>

/// Cubic splines through points: s(t) = y[i] + b[i] u + c[i] u^2 + d[i] u^3 on piece i, u = t - x[i].
///
/// With h[i] = x[i + 1] - x[i], the second derivatives solve
///     h[i-1] c[i-1] + 2 (h[i-1] + h[i]) c[i] + h[i] c[i+1] = 3 ((y[i+1] - y[i]) / h[i] - (y[i] - y[i-1]) / h[i-1]),
/// with ends where the third derivative does not jump at the second and the last knot but one (not-a-knot), or where
/// slopes are given (clamped).
///
/// C. de Boor, "A Practical Guide to Splines", 1978, chapter IV.
namespace pixmill::reference {

struct Spline {
    std::vector<float> x, y, b, c, d, h;
    int n;

    Spline(std::vector<float> xs, std::vector<float> ys)
        : x(xs), y(ys), b(xs.size()), c(xs.size()), d(xs.size()), n(int(xs.size()))
    {
        for (int i = 0; i + 1 < n; ++i)
            h.push_back(x[i + 1] - x[i]);
    }

    Spline& notAKnot()
    {
        std::vector<float> dl, dd, du, v;
        for (int i = 0; i <= n - 4; ++i)
            dl.push_back(h[i + 1]), du.push_back(h[i + 1]);
        for (int i = 0; i <= n - 3; ++i)
            dd.push_back(2 * (h[i] + h[i + 1])), v.push_back(right(i + 1));
        const float r = 1.0f / h[1], p = r * h[0], q = h[0] * p;
        dd[0] = (dd[0] + h[0]) + q;
        du[0] = du[0] - q;
        const float e = h[n - 2], f = 1.0f / h[n - 3], g = (e * e) * f;
        dd[n - 3] = (dd[n - 3] + e) + g;
        dl[n - 4] = dl[n - 4] - g;
        solve(dl, dd, du, v, n - 2);
        for (int i = 0; i <= n - 3; ++i)
            c[i + 1] = v[i];
        const float far0 = (r * c[2]) * h[0], ef = e * f, farN = ef * c[n - 3];
        c[0] = float((1.0 + double(p)) * double(c[1]) - double(far0));
        c[n - 1] = float((1.0 + double(ef)) * double(c[n - 2]) - double(farN));
        finish();
        return *this;
    }

    Spline& clamped(float start, float end)
    {
        std::vector<float> dd(n);
        dd[0] = 2 * h[0];
        dd[n - 1] = 2 * h[n - 2];
        c[0] = float(3.0 * (double(y[1] - y[0]) / double(h[0]) - double(start)));
        c[n - 1] = float(3.0 * (double(end) - double(y[n - 1] - y[n - 2]) / double(h[n - 2])));
        for (int i = 1; i <= n - 2; ++i) {
            dd[i] = 2 * (h[i - 1] + h[i]);
            c[i] = right(i);
        }
        solve(h, dd, h, c, n);
        finish();
        return *this;
    }

    /// A knot belongs to the piece on its right; the end pieces go on.
    float value(float t) const
    {
        int i = 0;
        while (i < n - 2 && x[i + 1] <= t)
            ++i;
        const float u = t - x[i];
        float v = c[i] + u * d[i];
        v = b[i] + u * v;
        return y[i] + u * v;
    }

private:
    /// The tridiagonal system dl, dd, du by elimination; `v` becomes the solution.
    static void solve(std::vector<float> dl, std::vector<float> dd, std::vector<float> du, std::vector<float>& v, int m)
    {
        for (int i = 0; i <= m - 2; ++i) {
            du[i] /= dd[i];
            const float product = dl[i] * du[i];
            dd[i + 1] -= product;
        }
        v[0] /= dd[0];
        for (int i = 1; i <= m - 1; ++i) {
            const float product = dl[i - 1] * v[i - 1];
            v[i] = (v[i] - product) / dd[i];
        }
        for (int i = m - 2; i >= 0; --i) {
            const float product = v[i + 1] * du[i];
            v[i] -= product;
        }
    }

    float right(int i) const // the right side for the knot i
    {
        const double after = double(y[i + 1] - y[i]) / double(h[i]);
        const double before = double(y[i] - y[i - 1]) / double(h[i - 1]);
        return float(3.0 * (after - before));
    }

    void finish()
    {
        for (int i = 0; i <= n - 2; ++i) {
            const double hi = h[i];
            d[i] = float(double(c[i + 1] - c[i]) / (3.0 * hi));
            const float slope = (y[i + 1] - y[i]) / h[i];
            b[i] = float(double(slope) - (hi * 0.33333333333333333) * (double(c[i + 1]) + 2.0 * double(c[i])));
        }
    }
};

} // namespace pixmill::reference
