#pragma once

#include <pixmill/core/detail/intrinsics.h>
#include <pixmill/core/detail/rows.h>

#include <cstddef>

/// The bilateral grid's read-back for processors with AVX-512. No compiler finds it in the plain loop.
namespace pixmill::detail {

#define PIXMILL_KERNEL __attribute__((target(PIXMILL_AVX512))) inline

/// Four floats each from four places, side by side.
PIXMILL_KERNEL __m512 fourOfEach512(const float* p0, const float* p1, const float* p2, const float* p3)
{
    __m512 v = _mm512_castps128_ps512(_mm_loadu_ps(p0));
    v = _mm512_insertf32x4(v, _mm_loadu_ps(p1), 1);
    v = _mm512_insertf32x4(v, _mm_loadu_ps(p2), 2);
    return _mm512_insertf32x4(v, _mm_loadu_ps(p3), 3);
}

PIXMILL_KERNEL __m512 between512(__m512 a, __m512 b, __m512 f)
{
    return _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), f));
}

/// Sixteen pixels of one column of cells: the values at y and at y + 1, each between two neighbours in z.
PIXMILL_KERNEL void columns512(const float* pairs, const int* offset, __m512 f, __m512& top, __m512& bottom)
{
    __m512 v[4]; // v[i] has pixels i, i + 4, i + 8, i + 12: that leaves all of them in order below
    for (int i = 0; i < 4; ++i)
        v[i] = fourOfEach512(pairs + 2 * std::ptrdiff_t(offset[i]), pairs + 2 * std::ptrdiff_t(offset[i + 4]),
                             pairs + 2 * std::ptrdiff_t(offset[i + 8]), pairs + 2 * std::ptrdiff_t(offset[i + 12]));
    const __m512d low0 = _mm512_castps_pd(_mm512_unpacklo_ps(v[0], v[1]));
    const __m512d low1 = _mm512_castps_pd(_mm512_unpacklo_ps(v[2], v[3]));
    const __m512d high0 = _mm512_castps_pd(_mm512_unpackhi_ps(v[0], v[1]));
    const __m512d high1 = _mm512_castps_pd(_mm512_unpackhi_ps(v[2], v[3]));
    top = between512(_mm512_castpd_ps(_mm512_unpacklo_pd(low0, low1)),
                     _mm512_castpd_ps(_mm512_unpacklo_pd(high0, high1)), f);
    bottom = between512(_mm512_castpd_ps(_mm512_unpackhi_pd(low0, low1)),
                        _mm512_castpd_ps(_mm512_unpackhi_pd(high0, high1)), f);
}

/// interpolateRow, for as many whole vectors of 16 pixels as there are; tells how many pixels that was.
PIXMILL_KERNEL int interpolateRow512(const float* pairs, int gridZ, const int* offset, const float* zFraction,
                                     const float* xFraction, float yFraction, float* out, int n)
{
    const float* const next = pairs + 2 * std::ptrdiff_t(gridZ);
    const __m512 yf = _mm512_set1_ps(yFraction);
    int x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m512 zf = _mm512_loadu_ps(zFraction + x), xf = _mm512_loadu_ps(xFraction + x);
        __m512 top0, bottom0, top1, bottom1;
        columns512(pairs, offset + x, zf, top0, bottom0);
        columns512(next, offset + x, zf, top1, bottom1);
        const __m512 top = between512(top0, top1, xf), bottom = between512(bottom0, bottom1, xf);
        _mm512_storeu_ps(out + x, between512(top, bottom, yf));
    }
    return x;
}

#undef PIXMILL_KERNEL

} // namespace pixmill::detail
