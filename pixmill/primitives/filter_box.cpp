#include <pixmill/core/detail/aligned.h>
#include <pixmill/primitives/detail/region.h>
#include <pixmill/primitives/filter.h>

#include <cstring>

using namespace pixmill::detail;

namespace {

IppStatus checkMask(IppiSize mask, IppiPoint anchor)
{
    if (mask.width <= 0 || mask.height <= 0)
        return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
        return ippStsAnchorErr;
    return ippStsNoErr;
}

/// sum / count to nearest, ties to even.
inline long long meanOf(long long sum, long long count)
{
    const long long quotient = sum / count, twice = (sum - quotient * count) * 2;
    return quotient + (twice > count || (twice == count && quotient % 2 != 0));
}

inline double meanOf(double sum, double count)
{
    return sum / count;
}

template <class T, class Sum>
void boxRegion(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    const Sum count = Sum(mask.width) * Sum(mask.height);
    const int columns = roi.width + mask.width - 1;
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        AlignedArray<Sum> sums{std::size_t(columns)};
        for (int y = first; y < end; ++y) {
            for (int x = 0; x < columns; ++x) {
                Sum sum = 0;
                for (int j = 0; j < mask.height; ++j)
                    sum += rowAt(src, srcStep, y - anchor.y + j)[x - anchor.x];
                sums[x] = sum;
            }
            T* d = rowAt(dst, dstStep, y);
            for (int x = 0; x < roi.width; ++x) {
                Sum sum = 0;
                for (int i = 0; i < mask.width; ++i)
                    sum += sums[x + i];
                d[x] = T(meanOf(sum, count));
            }
        }
    });
}

template <class T, class Sum>
IppStatus filterBox(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    if (const IppStatus fault = checkMask(mask, anchor))
        return fault;
    boxRegion<T, Sum>(src, srcStep, dst, dstStep, roi, mask, anchor);
    return ippStsNoErr;
}

template <class T, class Sum>
IppStatus filterBoxInPlace(T* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    if (const IppStatus fault = checkMask(mask, anchor))
        return fault;
    const int columns = roi.width + mask.width - 1, rows = roi.height + mask.height - 1;
    AlignedArray<T> copy(std::size_t(columns) * rows);
    for (int y = 0; y < rows; ++y)
        std::memcpy(&copy[std::size_t(y) * columns], rowAt(srcDst, step, y - anchor.y) - anchor.x, sizeof(T) * columns);
    boxRegion<T, Sum>(&copy[std::size_t(anchor.y) * columns + anchor.x], int(sizeof(T)) * columns, srcDst, step, roi,
                      mask, anchor);
    return ippStsNoErr;
}

} // namespace

IppStatus ippiFilterBox_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                               IppiSize mask, IppiPoint anchor)
{
    return filterBox<unsigned char, long long>(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                                IppiSize mask, IppiPoint anchor)
{
    return filterBox<unsigned short, long long>(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi, IppiSize mask,
                                IppiPoint anchor)
{
    return filterBox<float, double>(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_8u_C1IR(unsigned char* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace<unsigned char, long long>(srcDst, step, roi, mask, anchor);
}

IppStatus ippiFilterBox_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace<unsigned short, long long>(srcDst, step, roi, mask, anchor);
}

IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace<float, double>(srcDst, step, roi, mask, anchor);
}
