#include <pixmill/primitives/filter.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/gauss_rows.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

template <int kSide>
void gaussRegion(const uchar* src, int srcStep, uchar* dst, int dstStep, IppiSize roi)
{
    const uchar* corner = rowAt(src, srcStep, -(kSide / 2)) - kSide / 2;
    const std::size_t stride = std::size_t(roi.width) + kSide - 1;
    TeamScratch<ushort> columns(2 * stride);
    forEachRow(sizeOf(roi), [&](int y) {
        const uchar* rows[kSide];
        for (int j = 0; j < kSide; ++j)
            rows[j] = rowAt(corner, srcStep, y + j);
        if constexpr (kSide == 5)
            gauss5x5Row(rows, columns.mine(), std::ptrdiff_t(stride), rowAt(dst, dstStep, y), roi.width);
        else
            gauss3x3Row(rows, columns.mine(), rowAt(dst, dstStep, y), roi.width);
    });
}

/// Strips whose widened rows, as many as the kernel has, stay in the first cache.
template <class Kernel>
void gaussRegion(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    constexpr int kSide = Kernel::kSide, kStrip = 760, kStride = kStrip + 8;
    const float* corner = rowAt(src, srcStep, -(kSide / 2)) - kSide / 2;
    TeamScratch<double> rings(kSide * kStride);
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        double* const ring = rings.mine();
        const auto slot = [=](int y) { return ring + y % kSide * kStride; };
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
