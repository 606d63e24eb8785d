#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>

/// The look-up of bytes in 256 bytes for processors with AVX-512 that also permute bytes.
namespace pixmill::primitives {

using namespace rows;

#if PIXMILL_X86

/// Whether the processor permutes bytes, which row level 2 does not ask for.
inline bool takesBytePermutes()
{
    static const bool permutes = __builtin_cpu_supports("avx512vbmi");
    return takesAvx512() && permutes;
}

/// out[x] = table[in[x]] for n samples, with the entries in four registers: a plain loop is bound by its loads. `out`
/// may be `in`.
__attribute__((target(PIXMILL_AVX512 ",avx512vbmi"))) inline void lookUpBytes512(const uchar* in, uchar* out,
                                                                                 const uchar* table, int n)
{
    __m512i t[4];
    for (int k = 0; k < 4; ++k)
        t[k] = _mm512_loadu_si512(table + 64 * k);
    for (int x = 0; x < n; x += 64) {
        const __mmask64 there = x + 64 <= n ? ~0ull : (1ull << (n - x)) - 1;
        const __m512i i = _mm512_maskz_loadu_epi8(there, in + x);
        const __m512i low = _mm512_permutex2var_epi8(t[0], i, t[1]), high = _mm512_permutex2var_epi8(t[2], i, t[3]);
        __builtin_prefetch(in + x + 2048);
        __builtin_prefetch(out + x + 2048);
        _mm512_mask_storeu_epi8(out + x, there, _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(i), high));
    }
}

#else

constexpr bool takesBytePermutes()
{
    return false;
}

constexpr auto lookUpBytes512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::primitives
