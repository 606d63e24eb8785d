#pragma once

#include <pixmill/filters/detail/window_ends.h>
#include <pixmill/rows/avx512.h>

/// Windows' ends and the means of three channels over them, for processors with AVX-512.
namespace pixmill::filters {

using namespace rows;

#if PIXMILL_X86

/// How far from each of sixteen pixels lies the first one whose coordinate is above the pixel's limit, where `at` is
/// the coordinate of the first. Pixels side by side have ends about as far away: the search compares all sixteen with
/// the coordinate `guess` pixels on, and goes on from there both ways. Coordinates rise, with pads at both ends of the
/// line, and the guess is the distance of the end before, so that no pad is left.
/// @return whether it was found near enough to the guess.
PIXMILL_AVX512_STEP bool endsNear512(const float* at, __m512 limit, int guess, __m512i& distance)
{
    constexpr int kStep = 4, kMost = 4; // by then a walk over the coordinates is as good
    constexpr __mmask16 kAll = 0xffff;
    const __m512i one = _mm512_set1_epi32(1);
    const auto within = [&](int d) PIXMILL_AVX512_CODE {
        return _mm512_cmp_ps_mask(_mm512_loadu_ps(at + d), limit, _CMP_LE_OQ);
    };
    const int first = guess - 2, last = guess + 1;
    __mmask16 nearest = within(first), farthest = nearest;
    distance = _mm512_mask_set1_epi32(_mm512_set1_epi32(first), nearest, first + 1);
    for (int d = first + 1; d <= last; ++d) {
        farthest = within(d);
        distance = _mm512_mask_add_epi32(distance, farthest, distance, one);
    }
    int tries = 0;
    for (int d = last; farthest != 0 && tries < kMost; ++tries)
        for (int j = 0; j < kStep; ++j) {
            farthest = within(++d);
            distance = _mm512_mask_add_epi32(distance, farthest, distance, one);
        }
    for (int d = first; nearest != kAll && tries < kMost; ++tries)
        for (int j = 0; j < kStep; ++j) {
            nearest = within(--d);
            distance = _mm512_mask_sub_epi32(distance, __mmask16(~nearest), distance, one);
        }
    return farthest == 0 && nearest == kAll;
}

PIXMILL_AVX512_STEP void storePlaces512(__m512i pixels, SumPlaces places, int* to)
{
    const __m512i kept = _mm512_and_si512(pixels, _mm512_set1_epi32(int(places.mask)));
    _mm512_store_si512(to, _mm512_mullo_epi32(kept, _mm512_set1_epi32(places.step)));
}

PIXMILL_AVX512_STEP int lastOf512(__m512i v)
{
    return _mm_extract_epi32(_mm512_extracti32x4_epi32(v, 3), 3);
}

/// The windows of the sixteen pixels from x on, where `at` is the coordinate of x. `low` and `high` are the ends of the
/// window before x, and become those of the last one. What comes out stays in registers: memory is slow to give back
/// what was just written.
/// @return whether they were found; if not, nothing changed.
PIXMILL_AVX512_KERNEL bool windowsNear512(const float* at, int x, float radius, SumPlaces places, int& low, int& high,
                                          WindowEnds& ends)
{
    const __m512 here = _mm512_loadu_ps(at), reach = _mm512_set1_ps(radius);
    __m512i lows, highs;
    if (!endsNear512(at, _mm512_sub_ps(here, reach), low - x + 1, lows) ||
        !endsNear512(at, _mm512_add_ps(here, reach), high - x + 1, highs))
        return false;
    const __m512i pixels =
        _mm512_add_epi32(_mm512_set1_epi32(x), _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    _mm512_store_ps(ends.sizes, _mm512_cvtepi32_ps(_mm512_sub_epi32(highs, lows)));
    lows = _mm512_add_epi32(lows, pixels);
    highs = _mm512_add_epi32(highs, pixels);
    storePlaces512(lows, places, ends.lows);
    storePlaces512(highs, places, ends.highs);
    low = lastOf512(lows);
    high = lastOf512(highs);
    return true;
}

/// Three values, and one to spare, from each of four places.
PIXMILL_AVX512_STEP __m512 fours512(const float* a, const float* b, const float* c, const float* d)
{
    const auto at = [](const float* from) PIXMILL_AVX512_CODE { return _mm_castps_si128(_mm_loadu_ps(from)); };
    return _mm512_castsi512_ps(fromQuarters512(at(a), at(b), at(c), at(d)));
}

/// Sixteen pixels of three values each, from four vectors of four pixels with values to spare.
PIXMILL_AVX512_STEP void storeThrees512(const __m512 (&fours)[4], float* to)
{
    const __m512i first = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20),
                  second = _mm512_setr_epi32(5, 6, 8, 9, 10, 12, 13, 14, 16, 17, 18, 20, 21, 22, 24, 25),
                  third = _mm512_setr_epi32(10, 12, 13, 14, 16, 17, 18, 20, 21, 22, 24, 25, 26, 28, 29, 30);
    _mm512_storeu_ps(to, _mm512_permutex2var_ps(fours[0], first, fours[1]));
    _mm512_storeu_ps(to + 16, _mm512_permutex2var_ps(fours[1], second, fours[2]));
    _mm512_storeu_ps(to + 32, _mm512_permutex2var_ps(fours[2], third, fours[3]));
}

/// Means of three channels over the windows of sixteen pixels of a line.
PIXMILL_AVX512_KERNEL void lineMeans512(const WindowEnds& ends, const float* sums, float* out)
{
    const __m512 sizes = _mm512_load_ps(ends.sizes);
    __m512i pixel = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    __m512 means[4];
    for (int i = 0; i < 4; ++i) {
        const int *low = ends.lows + 4 * i, *high = ends.highs + 4 * i;
        const __m512 lower = fours512(sums + low[0], sums + low[1], sums + low[2], sums + low[3]);
        const __m512 upper = fours512(sums + high[0], sums + high[1], sums + high[2], sums + high[3]);
        means[i] = _mm512_div_ps(_mm512_sub_ps(upper, lower), _mm512_permutexvar_ps(pixel, sizes));
        pixel = _mm512_add_epi32(pixel, _mm512_set1_epi32(4));
    }
    storeThrees512(means, out);
}

/// Means of three channels over window i of sixteen columns; the sums of column k stand from sums + 3 * k on.
PIXMILL_AVX512_KERNEL void columnMeans512(const WindowEnds* columns, int i, const float* sums, float* out)
{
    __m512 means[4];
    for (int k = 0; k < 4; ++k, columns += 4, sums += 12) {
        const WindowEnds &a = columns[0], &b = columns[1], &c = columns[2], &d = columns[3];
        const __m512 lower =
            fours512(sums + a.lows[i], sums + 3 + b.lows[i], sums + 6 + c.lows[i], sums + 9 + d.lows[i]);
        const __m512 upper =
            fours512(sums + a.highs[i], sums + 3 + b.highs[i], sums + 6 + c.highs[i], sums + 9 + d.highs[i]);
        __m512 sizes = _mm512_set1_ps(a.sizes[i]);
        sizes = _mm512_mask_broadcastss_ps(sizes, 0x00f0, _mm_load_ss(b.sizes + i));
        sizes = _mm512_mask_broadcastss_ps(sizes, 0x0f00, _mm_load_ss(c.sizes + i));
        sizes = _mm512_mask_broadcastss_ps(sizes, 0xf000, _mm_load_ss(d.sizes + i));
        means[k] = _mm512_div_ps(_mm512_sub_ps(upper, lower), sizes);
    }
    storeThrees512(means, out);
}

#else

constexpr auto windowsNear512 = kNoKernel, lineMeans512 = kNoKernel, columnMeans512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::filters
