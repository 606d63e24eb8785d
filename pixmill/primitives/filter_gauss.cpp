#include <pixmill/core/detail/pixel.h>
#include <pixmill/primitives/detail/region.h>
#include <pixmill/primitives/filter.h>

using namespace pixmill::detail;

namespace {

struct Gauss3x3 {
    static constexpr int kSide = 3, kSum = 16;
    static constexpr int kWeights[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};
};

/// Not separable: no outer product of two rows of integers gives it.
struct Gauss5x5 {
    static constexpr int kSide = 5, kSum = 571;
    static constexpr int kWeights[5][5] = {
        {2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
};

/// The weighted sum around column x, row by row and left to right; `rows` are the kernel's rows at column 0.
template <class Kernel, class Sum, class T>
inline Sum weightedSum(const T* const* rows, int x)
{
    Sum sum = 0;
    for (int j = 0; j < Kernel::kSide; ++j)
        for (int i = 0; i < Kernel::kSide; ++i)
            sum += Sum(Kernel::kWeights[j][i]) * Sum(rows[j][x + i - Kernel::kSide / 2]);
    return sum;
}

template <class Kernel>
inline void gaussRow(const unsigned char* const* rows, unsigned char* dst, int n)
{
    // The quotient is at least 1/571 away from a half, or exact: its double lies on the right side.
    for (int x = 0; x < n; ++x)
        dst[x] = (unsigned char)roundToInt(weightedSum<Kernel, int>(rows, x) / double(Kernel::kSum));
}

template <class Kernel>
inline void gaussRow(const float* const* rows, float* dst, int n)
{
    for (int x = 0; x < n; ++x)
        dst[x] = float(weightedSum<Kernel, double>(rows, x) / double(Kernel::kSum));
}

template <class Kernel, class T>
void gaussRegion(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi)
{
    forEachRow(sizeOf(roi), [&](int y) {
        const T* rows[Kernel::kSide];
        for (int j = 0; j < Kernel::kSide; ++j)
            rows[j] = rowAt(src, srcStep, y + j - Kernel::kSide / 2);
        gaussRow<Kernel>(rows, rowAt(dst, dstStep, y), roi.width);
    });
}

template <class T>
IppStatus filterGauss(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, int mask)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    if (mask == ippMskSize3x3)
        gaussRegion<Gauss3x3>(src, srcStep, dst, dstStep, roi);
    else if (mask == ippMskSize5x5)
        gaussRegion<Gauss5x5>(src, srcStep, dst, dstStep, roi);
    else
        return ippStsMaskSizeErr;
    return ippStsNoErr;
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
