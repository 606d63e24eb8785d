#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>

/// The edge plane's look-up for processors with AVX-512.
namespace pixmill::planar {

using namespace rows;

#if PIXMILL_X86

/// out[x] = table[in[x]] with the 256 entries in registers, four times 64, which the upper two bits choose from: a
/// plain loop is bound by its loads. Returns how many pixels it wrote.
PIXMILL_AVX512_KERNEL int lookUpRow512(const uchar* in, ushort* out, const ushort* table, int n)
{
    __m512i t[8];
    for (int k = 0; k < 8; ++k)
        t[k] = _mm512_loadu_si512(table + 32 * k);
    const __m512i bit6 = _mm512_set1_epi16(64), bit7 = _mm512_set1_epi16(128);
    int x = 0;
    for (; x + 32 <= n; x += 32) {
        const __m512i i = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + x)));
        const __mmask32 odd = _mm512_test_epi16_mask(i, bit6), upper = _mm512_test_epi16_mask(i, bit7);
        const __m512i low = _mm512_mask_blend_epi16(odd, _mm512_permutex2var_epi16(t[0], i, t[1]),
                                                    _mm512_permutex2var_epi16(t[2], i, t[3]));
        const __m512i high = _mm512_mask_blend_epi16(odd, _mm512_permutex2var_epi16(t[4], i, t[5]),
                                                     _mm512_permutex2var_epi16(t[6], i, t[7]));
        _mm512_storeu_si512(out + x, _mm512_mask_blend_epi16(upper, low, high));
    }
    return x;
}

#else

constexpr auto lookUpRow512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::planar
