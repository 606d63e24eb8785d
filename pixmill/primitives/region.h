#pragma once

#include <pixmill/rows/rows.h>
#include <pixmill/primitives/types.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>

/// What every primitive on a region begins with: its arguments' first fault, its rows, and the element-wise loops.
namespace pixmill::primitives {

using namespace rows;

// A destination that is exactly the source carries nothing from one sample to the next.
#if defined(__clang__)
#define PIXMILL_SAME_SAMPLE_ALIASING _Pragma("clang loop vectorize(assume_safety)")
#else
#define PIXMILL_SAME_SAMPLE_ALIASING _Pragma("GCC ivdep")
#endif

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

/// The row `y` of an image whose step is in bytes; `y` may be negative.
template <class T>
inline T* rowAt(T* p, int step, int y)
{
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + std::ptrdiff_t(step) * y);
}

inline cv::Size sizeOf(IppiSize roi)
{
    return {roi.width, roi.height};
}

// The row loops take everything by value: behind a reference, a store of bytes could change it.

template <class S, class D, class F>
inline void mapRow(const S* s, D* d, int n, F f)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        d[x] = f(s[x]);
}

template <class A, class B, class D, class F>
inline void zipRow(const A* a, const B* b, D* d, int n, F f)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        d[x] = f(a[x], b[x]);
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
