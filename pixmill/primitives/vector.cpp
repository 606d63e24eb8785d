#include <pixmill/primitives/vector.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/invert3x3.h>
#include <pixmill/rows/logarithm.h>

#include <cmath>
#include <cstring>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

/// Gauss-Jordan elimination with row exchanges, in double; false when a pivot is exactly 0. `m` is used up.
bool invertByElimination(std::vector<double>& m, std::vector<double>& inverse, int n)
{
    inverse.assign(std::size_t(n) * n, 0.0);
    for (int i = 0; i < n; ++i)
        inverse[std::size_t(i) * n + i] = 1.0;
    for (int column = 0; column < n; ++column) {
        int best = column;
        for (int row = column + 1; row < n; ++row)
            if (std::fabs(m[std::size_t(row) * n + column]) > std::fabs(m[std::size_t(best) * n + column]))
                best = row;
        double *pivotRow = &m[std::size_t(column) * n], *pivotInverse = &inverse[std::size_t(column) * n];
        if (best != column)
            for (int i = 0; i < n; ++i) {
                std::swap(pivotRow[i], m[std::size_t(best) * n + i]);
                std::swap(pivotInverse[i], inverse[std::size_t(best) * n + i]);
            }
        const double pivot = pivotRow[column];
        if (pivot == 0.0)
            return false;
        for (int i = 0; i < n; ++i) {
            pivotRow[i] /= pivot;
            pivotInverse[i] /= pivot;
        }
        for (int row = 0; row < n; ++row) {
            const double factor = m[std::size_t(row) * n + column];
            if (row == column || factor == 0.0)
                continue;
            for (int i = 0; i < n; ++i) {
                m[std::size_t(row) * n + i] -= factor * pivotRow[i];
                inverse[std::size_t(row) * n + i] -= factor * pivotInverse[i];
            }
        }
    }
    return true;
}

/// y = f(a) for every sample; `y` may be `a`.
template <class F>
void mapVector(const char* call, int n, const float* a, float* y, const F& f)
{
    PIXMILL_CHECK(a || n < 1, call, "a", describe(a), "samples");
    PIXMILL_CHECK(y || n < 1, call, "y", describe(y), "room for samples");
    forEachSpan(
        n, n, [&](int first, int end) { mapRow(a + first, y + first, end - first, f); }, kFinePieces);
}

/// y = f(a, b) for every sample; `y` may be `a` or `b`.
template <class F>
void zipVector(const char* call, int n, const float* a, const float* b, float* y, const F& f)
{
    PIXMILL_CHECK(a || n < 1, call, "a", describe(a), "samples");
    PIXMILL_CHECK(b || n < 1, call, "b", describe(b), "samples");
    PIXMILL_CHECK(y || n < 1, call, "y", describe(y), "room for samples");
    forEachSpan(
        n, n, [&](int first, int end) { zipRow(a + first, b + first, y + first, end - first, f); }, kFinePieces);
}

} // namespace

IppStatus ippmInvert_m_32f(const float* src, int srcStride1, int srcStride2, float* /*buffer*/, float* dst,
                           int dstStride1, int dstStride2, int widthHeight)
{
    const int n = widthHeight;
    if (const IppStatus fault = checkRegion({src, dst}, {n, n}, {srcStride1, srcStride2, dstStride1, dstStride2}))
        return fault;
    const auto from = [=](int row, int column) { return *rowAt(rowAt(src, srcStride1, row), srcStride2, column); };
    const auto to = [=](int row, int column) -> float& {
        return *rowAt(rowAt(dst, dstStride1, row), dstStride2, column);
    };

    if (n == 3) {
        float m[9];
        for (int i = 0; i < 9; ++i)
            m[i] = from(i / 3, i % 3);
        if (!invert3x3(m, m))
            return ippStsDivByZeroErr;
        for (int i = 0; i < 9; ++i)
            to(i / 3, i % 3) = m[i];
        return ippStsNoErr;
    }

    std::vector<double> m, inverse;
    for (int row = 0; row < n; ++row)
        for (int column = 0; column < n; ++column)
            m.push_back(from(row, column));
    if (!invertByElimination(m, inverse, n))
        return ippStsDivByZeroErr;
    for (int row = 0; row < n; ++row)
        for (int column = 0; column < n; ++column)
            to(row, column) = float(inverse[std::size_t(row) * n + column]);
    return ippStsNoErr;
}

void vsLn(int n, const float* a, float* y)
{
    mapVector("vsLn", n, a, y, logarithm);
}

void vsAbs(int n, const float* a, float* y)
{
    mapVector("vsAbs", n, a, y, [](float v) { return std::fabs(v); });
}

void vsSub(int n, const float* a, const float* b, float* y)
{
    zipVector("vsSub", n, a, b, y, [](float p, float q) { return p - q; });
}

void vsDiv(int n, const float* a, const float* b, float* y)
{
    zipVector("vsDiv", n, a, b, y, [](float p, float q) { return p / q; });
}

void vsPowx(int n, const float* a, float b, float* y)
{
    mapVector("vsPowx", n, a, y, Power(b));
}
