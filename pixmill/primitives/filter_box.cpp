#include <pixmill/primitives/filter.h>

#include <pixmill/primitives/detail/inplace.h>
#include <pixmill/primitives/region.h>
#include <pixmill/rows/box_float.h>
#include <pixmill/rows/box_integer.h>
#include <pixmill/rows/scratch.h>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

IppStatus checkMask(IppiSize mask, IppiPoint anchor)
{
    if (mask.width <= 0 || mask.height <= 0)
        return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= mask.width || anchor.y < 0 || anchor.y >= mask.height)
        return ippStsAnchorErr;
    return ippStsNoErr;
}

bool isSample(IppiSize mask)
{
    return mask.width == 1 && mask.height == 1;
}

template <class T>
IppStatus filterBox(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    if (const IppStatus fault = checkMask(mask, anchor))
        return fault;
    if (isSample(mask)) {
        mapRegion(src, srcStep, dst, dstStep, roi, [](T v) { return v; });
        return ippStsNoErr;
    }
    const T* corner = rowAt(src, srcStep, -anchor.y) - anchor.x;
    TeamScratch<uchar> scratch(boxScratch<T>(roi.width, sizeOf(mask)));
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        boxSpan(corner, srcStep, dst, dstStep, roi.width, sizeOf(mask), first, end, scratch.mine());
    });
    return ippStsNoErr;
}

template <class T>
IppStatus filterBoxInPlace(T* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    if (const IppStatus fault = checkMask(mask, anchor))
        return fault;
    if (isSample(mask))
        return ippStsNoErr;
    TeamScratch<uchar> scratch(boxScratch<T>(roi.width, sizeOf(mask)));
    filterInPlace(srcDst, step, roi, mask, anchor, [&](const T* corner, int cornerStep, T* dst, int rows) {
        boxSpan(corner, cornerStep, dst, step, roi.width, sizeOf(mask), 0, rows, scratch.mine());
    });
    return ippStsNoErr;
}

} // namespace

IppStatus ippiFilterBox_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                               IppiSize mask, IppiPoint anchor)
{
    return filterBox(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                                IppiSize mask, IppiPoint anchor)
{
    return filterBox(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi, IppiSize mask,
                                IppiPoint anchor)
{
    return filterBox(src, srcStep, dst, dstStep, roi, mask, anchor);
}

IppStatus ippiFilterBox_8u_C1IR(unsigned char* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace(srcDst, step, roi, mask, anchor);
}

IppStatus ippiFilterBox_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace(srcDst, step, roi, mask, anchor);
}

IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor)
{
    return filterBoxInPlace(srcDst, step, roi, mask, anchor);
}
