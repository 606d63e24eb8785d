#pragma once

#include <pixmill/mask/detail/brush_cover.h>
#include <pixmill/rows/avx512.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

/// The soft dot's kernel for processors with AVX-512, whose masks need no room beyond a row's ends.
namespace pixmill::mask {

using namespace rows;

#if PIXMILL_X86

/// coverShares of up to 16 pixels, those of `lanes`; `mirrored`: the last pixel has the first share.
PIXMILL_AVX512_KERNEL void coverLanes512(const float* share, uchar* cover, __mmask16 lanes, __mmask16 shares,
                                         bool mirrored)
{
    const __m512i full = _mm512_set1_epi32(255);
    const __m512i reversed = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i open = _mm512_xor_si512(_mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(lanes, cover)), full);
    __m512 s = _mm512_maskz_loadu_ps(shares, share);
    if (mirrored)
        s = _mm512_permutexvar_ps(reversed, s);
    const __m512 covered = _mm512_sub_ps(_mm512_set1_ps(kFullToInteger), _mm512_mul_ps(_mm512_cvtepi32_ps(open), s));
    _mm512_mask_cvtepi32_storeu_epi8(cover, lanes, _mm512_castps_si512(covered));
}

/// Covers n pixels by as many shares: those from `cover` on or, mirrored, those before it, nearest first.
template <bool kMirrored>
PIXMILL_AVX512_KERNEL void coverOutward512(const float* share, uchar* cover, int n)
{
    for (int i = 0; i < n; i += kBrushBlock) {
        const int m = std::min(n - i, kBrushBlock);
        uchar* const block = kMirrored ? cover - i - m : cover + i;
        const __m512i before = _mm512_maskz_loadu_epi8(~0ull >> (kBrushBlock - m), block);
        if (_mm512_mask_cmpneq_epu8_mask(~0ull >> (kBrushBlock - m), before, _mm512_set1_epi8(-1)) == 0)
            continue; // full coverage stays full
        int j = 0;
        for (; j + 16 <= m; j += 16)
            coverLanes512(share + i + j, kMirrored ? block + m - 16 - j : block + j, 0xffff, 0xffff, kMirrored);
        if (j < m) {
            const __mmask16 first = __mmask16(0xffff >> (16 - (m - j))), last = __mmask16(0xffff << (16 - (m - j)));
            coverLanes512(share + i + j, kMirrored ? block + m - 16 - j : block + j, kMirrored ? last : first, first,
                          kMirrored);
        }
    }
}

#else

template <bool>
constexpr auto coverOutward512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::mask
