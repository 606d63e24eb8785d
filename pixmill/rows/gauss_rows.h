#pragma once

#include <pixmill/rows/means.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cstddef>

/// Rows of the Gaussians of 3 x 3 and 5 x 5 samples, for use inside row loops.
namespace pixmill::rows {

// Bytes: exact sums over the kernel's, rounded to nearest even. Samples of equal weight are added first. The quotient
// is taken in float: one by 571 stays 1 / 1142 away from a tie, and the reciprocal moves it by less than 2^-14; one by
// 16 is exact. `rows` are the kernel's rows at its first column, `columns` scratch of two rows.

/// Not separable: no product of a column and a row of integers gives these weights.
inline void gauss5x5Row(const uchar* const* rows, ushort* __restrict columns, std::ptrdiff_t stride,
                        uchar* __restrict dst, int n)
{
    const uchar *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    ushort *outer = columns, *inner = columns + stride;
    for (int x = 0; x < n + 4; ++x) {
        outer[x] = ushort(a[x] + e[x]);
        inner[x] = ushort(b[x] + d[x]);
    }
    for (int x = 0; x < n; ++x) {
        const ushort by2 = ushort(outer[x] + outer[x + 4]);
        const ushort by7 = ushort(outer[x + 1] + outer[x + 3] + inner[x] + inner[x + 4]);
        const ushort by12 = ushort(outer[x + 2] + c[x] + c[x + 4]);
        const ushort by31 = ushort(inner[x + 1] + inner[x + 3]);
        const ushort by52 = ushort(inner[x + 2] + c[x + 1] + c[x + 3]);
        // The parts of the sum fit in 16 bits.
        const ushort most = ushort(by2 * 2 + by7 * 7 + by12 * 12 + c[x + 2] * 127);
        const int sum = most + ushort(by31 * 31) + ushort(by52 * 52);
        dst[x] = uchar(roundToInt(float(sum) * (1.0f / 571.0f)));
    }
}

inline void gauss3x3Row(const uchar* const* rows, ushort* __restrict columns, uchar* __restrict dst, int n)
{
    const uchar *a = rows[0], *b = rows[1], *c = rows[2];
    for (int x = 0; x < n + 2; ++x)
        columns[x] = ushort(a[x] + 2 * b[x] + c[x]);
    for (int x = 0; x < n; ++x)
        dst[x] = uchar(roundToInt(float(columns[x] + 2 * columns[x + 1] + columns[x + 2]) * (1.0f / 16.0f)));
}

// Floats: all products in double, which holds them exactly, added row by row from left to right.

struct Gauss3x3 {
    static constexpr int kSide = 3;
    static constexpr double kSum = 16;
    static constexpr double kWeights[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};
};

struct Gauss5x5 {
    static constexpr int kSide = 5;
    static constexpr double kSum = 571;
    static constexpr double kWeights[5][5] = {
        {2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
};

template <class Kernel>
inline double weightedSum(const double* const* rows, int x)
{
    double sum = 0.0;
    for (int j = 0; j < Kernel::kSide; ++j)
        for (int i = 0; i < Kernel::kSide; ++i)
            sum += Kernel::kWeights[j][i] * rows[j][x + i];
    return sum;
}

template <class Kernel>
inline void gaussRow(const double* const* rowsOfKernel, float* __restrict dst, int n)
{
    const double* rows[Kernel::kSide];
    std::copy(rowsOfKernel, rowsOfKernel + Kernel::kSide, rows);
    const ProductMeans mean(Kernel::kSum);
    unsigned doubt = 0;
    for (int x = 0; x < n; ++x)
        dst[x] = mean(weightedSum<Kernel>(rows, x), doubt);
    if (doubt)
        for (int x = 0; x < n; ++x)
            dst[x] = float(weightedSum<Kernel>(rows, x) / Kernel::kSum);
}

} // namespace pixmill::rows
