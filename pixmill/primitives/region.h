#pragma once

#include <pixmill/primitives/types.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/samples.h>

#include <initializer_list>

/// What every primitive on a region begins with: its arguments' first fault, and the element-wise loops over all rows.
namespace pixmill::primitives {

using namespace rows;

/// The first fault in the family's order: null pointers, then the region, then the steps.
inline IppStatus checkRegion(std::initializer_list<const void*> pointers, IppiSize roi,
                             std::initializer_list<int> steps)
{
    for (const void* p : pointers)
        if (!p)
            return ippStsNullPtrErr;
    if (roi.width <= 0 || roi.height <= 0)
        return ippStsSizeErr;
    for (const int step : steps)
        if (step <= 0)
            return ippStsStepErr;
    return ippStsNoErr;
}

inline cv::Size sizeOf(IppiSize roi)
{
    return {roi.width, roi.height};
}

/// dst = f(src) for every sample; `dst` may be `src`.
template <class S, class D, class F>
void mapRegion(const S* src, int srcStep, D* dst, int dstStep, IppiSize roi, const F& f)
{
    forEachRow(sizeOf(roi), [&](int y) { mapRow(rowAt(src, srcStep, y), rowAt(dst, dstStep, y), roi.width, f); });
}

/// dst = f(a, b) for every sample; `dst` may be `a` or `b`.
template <class A, class B, class D, class F>
void zipRegion(const A* a, int aStep, const B* b, int bStep, D* dst, int dstStep, IppiSize roi, const F& f)
{
    forEachRow(sizeOf(roi),
               [&](int y) { zipRow(rowAt(a, aStep, y), rowAt(b, bStep, y), rowAt(dst, dstStep, y), roi.width, f); });
}

} // namespace pixmill::primitives
