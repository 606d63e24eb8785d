#include <pixmill/curves/TSpline.h>

#include <pixmill/rows/check.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <vector>

using namespace pixmill::rows;

namespace {

/// 3 * (slope of the gap after knot i + 1 - slope of the gap before it).
float bend(const float* y, const float* h, int i)
{
    return float(3.0 * (double(y[i + 2] - y[i + 1]) / double(h[i + 1]) - double(y[i + 1] - y[i]) / double(h[i])));
}

/// b and d of every piece from c.
void finishPieces(int n, const float* y, const float* h, float* b, const float* c, float* d)
{
    for (int i = 0; i < n - 1; ++i) {
        const double hi = h[i];
        d[i] = float(double(c[i + 1] - c[i]) / (3.0 * hi));
        b[i] = float(double((y[i + 1] - y[i]) / h[i]) - (hi * (1.0 / 3.0)) * (double(c[i + 1]) + 2.0 * double(c[i])));
    }
}

std::vector<float> gaps(int n, const float* x)
{
    std::vector<float> h(n - 1);
    for (int i = 0; i < n - 1; ++i)
        h[i] = x[i + 1] - x[i];
    return h;
}

void checkCount(int n, int least, const char* call)
{
    PIXMILL_CHECK(n >= least, call, "n", n, std::to_string(least) + " or more");
}

struct Argument {
    const char* name;
    const float* array;
};

void checkArrays(std::initializer_list<Argument> arguments, const char* call)
{
    for (const Argument& argument : arguments)
        checkPointer(argument.array, call, argument.name);
}

constexpr int kMostPoints = 1 << 24;

} // namespace

TSpline::TSpline(int n) : m_n(std::max(n, 0))
{
    PIXMILL_CHECK(n <= kMostPoints, "TSpline::TSpline", "n", n, "2^24 at the most");
    std::unique_ptr<float[]> arrays[5];
    for (auto& array : arrays)
        array = std::make_unique<float[]>(m_n);
    int i = 0;
    for (float** p : {&m_x_p, &m_y_p, &m_b_p, &m_c_p, &m_d_p})
        *p = arrays[i++].release();
    for (i = 0; i < m_n; ++i)
        m_x_p[i] = m_y_p[i] = float(i) / (float(n) - 1);
}

TSpline::~TSpline()
{
    for (float* p : {m_x_p, m_y_p, m_b_p, m_c_p, m_d_p})
        delete[] p;
}

void TSpline::update()
{
    cubic_nak(m_n, m_x_p, m_y_p, m_b_p, m_c_p, m_d_p);
}

float TSpline::value(float t)
{
    return spline_eval(m_n, m_x_p, m_y_p, m_b_p, m_c_p, m_d_p, t);
}

float TSpline::spline_eval(int n, float* x, float* y, float* b, float* c, float* d, float t)
{
    checkCount(n, 1, "TSpline::spline_eval");
    checkArrays({{"x", x}, {"y", y}, {"b", b}, {"c", c}, {"d", d}}, "TSpline::spline_eval");
    int k = 1;
    while (k < n - 1 && !(x[k] > t))
        ++k;
    const int i = k - 1;
    const float u = t - x[i];
    return y[i] + u * (b[i] + u * (c[i] + u * d[i]));
}

void TSpline::cubic_nak(int n, float* x, float* y, float* b, float* c, float* d)
{
    if (n <= 1)
        return;
    checkCount(n, 4, "TSpline::cubic_nak"); // below, the folded end conditions have no row to stand in
    checkArrays({{"x", x}, {"y", y}, {"b", b}, {"c", c}, {"d", d}}, "TSpline::cubic_nak");

    const std::vector<float> h = gaps(n, x);
    std::vector<float> dl(h.begin() + 1, h.end() - 1), dd(n - 2), du(dl);
    for (int i = 0; i < n - 2; ++i) {
        dd[i] = 2 * (h[i] + h[i + 1]);
        c[i] = bend(y, h.data(), i);
    }

    // The not-a-knot conditions, folded into the first and the last row.
    const float r = 1 / h[1], p = r * h[0], q = h[0] * p;
    dd[0] = dd[0] + h[0] + q;
    du[0] = du[0] - q;
    const float e = h[n - 2], f = 1 / h[n - 3], g = e * e * f;
    dd[n - 3] = dd[n - 3] + e + g;
    dl[n - 4] = dl[n - 4] - g;

    tridiagonal(n - 2, dl.data(), dd.data(), du.data(), c);
    std::copy_backward(c, c + n - 2, c + n - 1);
    c[0] = float((1.0 + double(p)) * double(c[1]) - double((r * c[2]) * h[0]));
    c[n - 1] = float((1.0 + double(e * f)) * double(c[n - 2]) - double((e * f) * c[n - 3]));
    finishPieces(n, y, h.data(), b, c, d);
}

void TSpline::cubic_clamped(int n, float* x, float* y, float* b, float* c, float* d, float slopeStart, float slopeEnd)
{
    if (n <= 1)
        return;
    checkArrays({{"x", x}, {"y", y}, {"b", b}, {"c", c}, {"d", d}}, "TSpline::cubic_clamped");

    const std::vector<float> h = gaps(n, x);
    std::vector<float> dl(h), dd(n), du(h);
    dd[0] = 2 * h[0];
    dd[n - 1] = 2 * h[n - 2];
    c[0] = float(3.0 * (double(y[1] - y[0]) / double(h[0]) - double(slopeStart)));
    c[n - 1] = float(3.0 * (double(slopeEnd) - double(y[n - 1] - y[n - 2]) / double(h[n - 2])));
    for (int i = 1; i < n - 1; ++i) {
        dd[i] = 2 * (h[i - 1] + h[i]);
        c[i] = bend(y, h.data(), i - 1);
    }

    tridiagonal(n, dl.data(), dd.data(), du.data(), c);
    finishPieces(n, y, h.data(), b, c, d);
}

void TSpline::tridiagonal(int n, float* lower, float* diag, float* upper, float* rhs)
{
    if (n < 1)
        return;
    checkArrays({{"diag", diag}, {"rhs", rhs}}, "TSpline::tridiagonal");
    if (n > 1)
        checkArrays({{"lower", lower}, {"upper", upper}}, "TSpline::tridiagonal");
    for (int i = 0; i < n - 1; ++i) {
        upper[i] = upper[i] / diag[i];
        diag[i + 1] = diag[i + 1] - lower[i] * upper[i];
    }
    rhs[0] = rhs[0] / diag[0];
    for (int i = 1; i < n; ++i)
        rhs[i] = (rhs[i] - lower[i - 1] * rhs[i - 1]) / diag[i];
    for (int i = n - 2; i >= 0; --i)
        rhs[i] = rhs[i] - rhs[i + 1] * upper[i];
}

float TSpline::neville(int n, float* x, float* y, float t)
{
    checkCount(n, 1, "TSpline::neville");
    checkArrays({{"x", n > 1 ? x : y}, {"y", y}}, "TSpline::neville");
    std::vector<float> q(y, y + n);
    for (int j = 1; j < n; ++j)
        for (int i = n - 1; i >= j; --i)
            q[i] = ((t - x[i - j]) * q[i] - (t - x[i]) * q[i - 1]) / (x[i] - x[i - j]);
    return q[n - 1];
}

float* TSpline::divdiff(int n, float* x, float* y)
{
    if (n > 0)
        checkArrays({{"x", n > 1 ? x : y}, {"y", y}}, "TSpline::divdiff");
    float* a = new float[std::max(n, 0)];
    std::copy_n(y, std::max(n, 0), a);
    for (int j = 1; j < n; ++j)
        for (int i = n - 1; i >= j; --i)
            a[i] = (a[i] - a[i - 1]) / (x[i] - x[i - j]);
    return a;
}

float TSpline::nf_eval(int n, float* x, float* coef, float t)
{
    checkCount(n, 1, "TSpline::nf_eval");
    checkArrays({{"x", n > 1 ? x : coef}, {"coef", coef}}, "TSpline::nf_eval");
    float r = coef[n - 1];
    for (int i = n - 2; i >= 0; --i)
        r = r * (t - x[i]) + coef[i];
    return r;
}
