#pragma once

#include <pixmill/filters/detail/bilateral_grid.h>
#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <cstddef>

/// The bilateral grid's read-back for processors with AVX-512. No compiler finds it in the plain loop.
namespace pixmill::filters {

using namespace rows;

#if PIXMILL_X86

/// Four floats each from four places, side by side.
PIXMILL_AVX512_KERNEL __m512 fourOfEach512(const float* p0, const float* p1, const float* p2, const float* p3)
{
    __m512 v = _mm512_castps128_ps512(_mm_loadu_ps(p0));
    v = _mm512_insertf32x4(v, _mm_loadu_ps(p1), 1);
    v = _mm512_insertf32x4(v, _mm_loadu_ps(p2), 2);
    return _mm512_insertf32x4(v, _mm_loadu_ps(p3), 3);
}

PIXMILL_AVX512_KERNEL __m512 between512(__m512 a, __m512 b, __m512 f)
{
    return _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), f));
}

/// Sixteen pixels of one column of cells: the values at y and at y + 1, each between two neighbours in z.
PIXMILL_AVX512_KERNEL void columns512(const float* pairs, const int* offset, __m512 f, __m512& top, __m512& bottom)
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

PIXMILL_AVX512_KERNEL __m512 sixteen512(const uchar* v)
{
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(v))));
}

PIXMILL_AVX512_KERNEL __m512 sixteen512(const ushort* v)
{
    return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(v))));
}

PIXMILL_AVX512_KERNEL __m512 sixteen512(const float* v)
{
    return _mm512_loadu_ps(v);
}

/// Rounded as by toPixel8 and toPixel16, as a sum with kToInteger.
PIXMILL_AVX512_KERNEL __m512 rounded512(__m512 v, float top)
{
    const __m512 limited = _mm512_min_ps(_mm512_max_ps(v, _mm512_setzero_ps()), _mm512_set1_ps(top));
    return _mm512_add_ps(limited, _mm512_set1_ps(kToInteger));
}

PIXMILL_AVX512_KERNEL void storePixels512(__m512 v, uchar* out)
{
    const __m512i bits = _mm512_castps_si512(rounded512(v, 255.0f));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm512_cvtepi32_epi8(bits));
}

PIXMILL_AVX512_KERNEL void storePixels512(__m512 v, ushort* out)
{
    const __m512i bits = _mm512_castps_si512(rounded512(v, 65535.0f));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm512_cvtepi32_epi16(bits));
}

/// cellRow for as many whole vectors of 16 pixels as there are; tells how many pixels that was.
template <class Edge>
PIXMILL_AVX512_KERNEL int cellRow512(const Edge* edge, GridAxis axis, int top, uchar* cells, int n)
{
    const __m512 alpha = _mm512_set1_ps(axis.alpha), beta = _mm512_set1_ps(axis.beta);
    const int whole = n / 16 * 16;
    for (int x = 0; x < whole; x += 16) {
        const __m512 z = _mm512_add_ps(_mm512_mul_ps(sixteen512(edge + x), alpha), beta);
        const __m128i cell = _mm512_cvtepi32_epi8(_mm512_castps_si512(rounded512(z, 255.0f)));
        const __m128i limited = _mm_min_epu8(cell, _mm_set1_epi8(char(top)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(cells + x), limited);
    }
    return whole;
}

/// Where 16 pixels are read: the offsets of their cells and the fractions to the next along z.
template <class Edge>
PIXMILL_AVX512_KERNEL void place512(const Edge* edge, GridAxis axis, int top, const int* xOffset, int* offset,
                                    float* fraction)
{
    const __m512 z =
        _mm512_add_ps(_mm512_mul_ps(sixteen512(edge), _mm512_set1_ps(axis.alpha)), _mm512_set1_ps(axis.beta));
    const __m512 cell = rounded512(z, 255.0f);
    _mm512_storeu_ps(fraction, _mm512_sub_ps(z, _mm512_sub_ps(cell, _mm512_set1_ps(kToInteger))));
    const __m512i low = _mm512_and_si512(_mm512_castps_si512(cell), _mm512_set1_epi32(255));
    const __m512i limited = _mm512_min_epi32(low, _mm512_set1_epi32(top));
    _mm512_storeu_si512(offset, _mm512_add_epi32(limited, _mm512_loadu_si512(xOffset)));
}

/// readBackPixels for as many whole vectors of 16 pixels as there are; tells how many pixels that was.
template <class Edge, class Pixel>
PIXMILL_AVX512_KERNEL int readBackRow512(const GridRead& grid, const Edge* edge, float yFraction, Pixel* out, int n)
{
    constexpr int kPiece = 256;
    const float* const next = grid.pairs + 2 * std::ptrdiff_t(grid.gridZ);
    const __m512 yf = _mm512_set1_ps(yFraction);
    int offset[kPiece];
    float fraction[kPiece];
    const int whole = n / 16 * 16;
    for (int x0 = 0; x0 < whole; x0 += kPiece) {
        const int end = whole - x0 < kPiece ? whole : x0 + kPiece;
        for (int x = x0; x < end; x += 16)
            place512(edge + x, grid.axis, grid.gridZ - 2, grid.xOffset + x, offset + (x - x0), fraction + (x - x0));
        for (int x = x0; x < end; x += 16) {
            const __m512 zf = _mm512_loadu_ps(fraction + (x - x0)), xf = _mm512_loadu_ps(grid.xFraction + x);
            __m512 top0, bottom0, top1, bottom1;
            columns512(grid.pairs, offset + (x - x0), zf, top0, bottom0);
            columns512(next, offset + (x - x0), zf, top1, bottom1);
            storePixels512(between512(between512(top0, top1, xf), between512(bottom0, bottom1, xf), yf), out + x);
        }
    }
    return whole;
}

#else

constexpr auto cellRow512 = kNoKernel, readBackRow512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::filters
