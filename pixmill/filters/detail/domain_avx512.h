#pragma once

#include <pixmill/rows/avx512.h>

/// The ends of the domain transform's windows for processors with AVX-512.
namespace pixmill::filters {

using namespace rows;

constexpr int kWindows = 16;       ///< Pixels whose windows are found together.
constexpr int kCoordinatesPad = 4; ///< Infinite coordinates behind a line's own.

/// countUpTo; the compiler does not come upon adding under a mask.
PIXMILL_AVX512_KERNEL void countUpTo512(const float* coordinate, const float* limits, int from, int* ends)
{
    const __m512 limit = _mm512_loadu_ps(limits);
    const __m512i one = _mm512_set1_epi32(1);
    __m512i count = _mm512_set1_epi32(from);
    for (const float* c = coordinate + from;; c += kCoordinatesPad) {
        for (int j = 0; j < kCoordinatesPad; ++j) {
            const __mmask16 more = _mm512_cmp_ps_mask(_mm512_set1_ps(c[j]), limit, _CMP_NGT_UQ);
            count = _mm512_mask_add_epi32(count, more, count, one);
        }
        if (c[kCoordinatesPad - 1] > limits[kWindows - 1])
            break;
    }
    _mm512_storeu_si512(ends, count);
}

} // namespace pixmill::filters
