#pragma once

#include <pixmill/filters/detail/window_pads.h>
#include <pixmill/rows/avx512.h>

/// The search for the ends of windows, for processors with AVX-512.
namespace pixmill::filters {

using namespace rows;

#if PIXMILL_X86

/// ends[i] is the first pixel of a line whose coordinate lies above limits[i], for the sixteen pixels x + i, where
/// `at` is the coordinate of x. Pixels side by side have ends about as far away: the search compares all sixteen with
/// the coordinate `guess` pixels on, and goes on from there both ways. Coordinates rise, with pads at both ends of the
/// line, and the guess is the distance of the end before, so that no pad is left.
/// @return whether it was found near enough to the guess.
PIXMILL_AVX512_KERNEL bool endsNear512(const float* at, int x, const float* limits, int guess, int* ends)
{
    constexpr int kStep = 4, kMost = 4; // by then a walk over the coordinates is as good
    constexpr __mmask16 kAll = 0xffff;
    const __m512 limit = _mm512_loadu_ps(limits);
    const __m512i one = _mm512_set1_epi32(1);
    const auto within = [&](int distance) PIXMILL_AVX512_CODE {
        return _mm512_cmp_ps_mask(_mm512_loadu_ps(at + distance), limit, _CMP_LE_OQ);
    };
    const int first = guess - 2, last = guess + 1;
    __mmask16 nearest = within(first), farthest = nearest;
    __m512i distance = _mm512_mask_set1_epi32(_mm512_set1_epi32(first), nearest, first + 1);
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
    const __m512i pixels = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    _mm512_storeu_si512(ends, _mm512_add_epi32(_mm512_add_epi32(distance, pixels), _mm512_set1_epi32(x)));
    return farthest == 0 && nearest == kAll;
}

#else

constexpr auto endsNear512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::filters
