#include <pixmill/core/detail/aligned.h>
#include <pixmill/core/detail/pixel.h>
#include <pixmill/primitives/detail/means.h>
#include <pixmill/primitives/detail/region.h>
#include <pixmill/primitives/filter.h>

#include <algorithm>

using namespace pixmill::detail;

namespace {

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

template <int kSide>
void gaussRegion(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize roi)
{
    const uchar* corner = rowAt(src, srcStep, -(kSide / 2)) - kSide / 2;
    const std::size_t stride = std::size_t(roi.width) + kSide - 1;
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        AlignedArray<ushort> columns(2 * stride);
        for (int y = first; y < end; ++y) {
            const uchar* rows[kSide];
            for (int j = 0; j < kSide; ++j)
                rows[j] = rowAt(corner, srcStep, y + j);
            if constexpr (kSide == 5)
                gauss5x5Row(rows, columns.data(), std::ptrdiff_t(stride), rowAt(dst, dstStep, y), roi.width);
            else
                gauss3x3Row(rows, columns.data(), rowAt(dst, dstStep, y), roi.width);
        }
    });
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

/// Strips whose widened rows, as many as the kernel has, stay in the first cache.
template <class Kernel>
void gaussRegion(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    constexpr int kSide = Kernel::kSide, kStrip = 760, kStride = kStrip + 8;
    const float* corner = rowAt(src, srcStep, -(kSide / 2)) - kSide / 2;
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        AlignedArray<double> ring(kSide * kStride);
        const auto slot = [&](int y) { return ring.data() + y % kSide * kStride; };
        for (int left = 0; left < roi.width; left += kStrip) {
            const int n = std::min(kStrip, roi.width - left);
            const auto widen = [&](int y) {
                mapRow(rowAt(corner, srcStep, y) + left, slot(y), n + kSide - 1, [](float v) { return double(v); });
            };
            for (int y = first; y < first + kSide - 1; ++y)
                widen(y);
            for (int y = first; y < end; ++y) {
                widen(y + kSide - 1);
                const double* rows[kSide];
                for (int j = 0; j < kSide; ++j)
                    rows[j] = slot(y + j);
                gaussRow<Kernel>(rows, rowAt(dst, dstStep, y) + left, n);
            }
        }
    });
}

void gauss3x3(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize roi)
{
    gaussRegion<3>(src, srcStep, dst, dstStep, roi);
}

void gauss5x5(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize roi)
{
    gaussRegion<5>(src, srcStep, dst, dstStep, roi);
}

void gauss3x3(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    gaussRegion<Gauss3x3>(src, srcStep, dst, dstStep, roi);
}

void gauss5x5(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    gaussRegion<Gauss5x5>(src, srcStep, dst, dstStep, roi);
}

template <class T>
IppStatus filterGauss(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, int mask)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    switch (mask) {
    case ippMskSize3x3:
        gauss3x3(src, srcStep, dst, dstStep, roi);
        return ippStsNoErr;
    case ippMskSize5x5:
        gauss5x5(src, srcStep, dst, dstStep, roi);
        return ippStsNoErr;
    default:
        return ippStsMaskSizeErr;
    }
}

} // namespace

IppStatus ippiFilterGauss_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                                 int mask)
{
    return filterGauss(src, srcStep, dst, dstStep, roi, mask);
}

IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi, int mask)
{
    return filterGauss(src, srcStep, dst, dstStep, roi, mask);
}
