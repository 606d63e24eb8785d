#pragma once

#include <pixmill/develop/detail/core.h>

/// packPairs and limitRow for processors with AVX-512, sixteen pairs at a time.
namespace pixmill::develop {

#if PIXMILL_X86

/// Sixteen colours and their luma.
struct Colors512 {
    __m512 y, r, g, b;
};

/// Joined.
PIXMILL_AVX512_KERNEL Colors512 joined512(__m512i luma, __m512 red, __m512 blue)
{
    const __m512 y = _mm512_cvtepi32_ps(luma);
    const __m512 less = _mm512_add_ps(_mm512_mul_ps(_mm512_set1_ps(0.50936967f), red),
                                      _mm512_mul_ps(_mm512_set1_ps(0.19420783f), blue));
    return {y, _mm512_add_ps(y, red), _mm512_sub_ps(y, less), _mm512_add_ps(y, blue)};
}

/// SiteRows::twice.
PIXMILL_AVX512_KERNEL __m512i twice512(const ushort* row, const ushort* next)
{
    return _mm512_sub_epi32(_mm512_add_epi32(rows::widened512(row), rows::widened512(next)),
                            _mm512_set1_epi32(2 * kCentre));
}

/// narrowed.
PIXMILL_AVX512_KERNEL __m512i narrowed512(__m512 v)
{
    return _mm512_cvtps_epi32(_mm512_mul_ps(v, _mm512_set1_ps(1.0f / 257.0f)));
}

struct Bytes512 {
    __m512i r, g, b;

    /// Lanes of which a channel lies outside.
    PIXMILL_AVX512_CODE __mmask16 beyond() const
    {
        return _mm512_test_epi32_mask(_mm512_or_si512(_mm512_or_si512(r, g), b), _mm512_set1_epi32(~255));
    }

    /// joinBytes.
    template <bool swap>
    PIXMILL_AVX512_CODE __m512i words() const
    {
        const __m512i first = swap ? b : r, last = swap ? r : b;
        return _mm512_or_si512(_mm512_or_si512(first, _mm512_slli_epi32(g, 8)),
                               _mm512_or_si512(_mm512_slli_epi32(last, 16), _mm512_set1_epi32(int(0xff000000u))));
    }
};

PIXMILL_AVX512_KERNEL Bytes512 bytes512(const Colors512& c)
{
    return {narrowed512(c.r), narrowed512(c.g), narrowed512(c.b)};
}

PIXMILL_AVX512_KERNEL __m512i clamped8(__m512i v)
{
    return _mm512_min_epi32(_mm512_max_epi32(v, _mm512_setzero_si512()), _mm512_set1_epi32(255));
}

/// limitRow of the lanes that lie outside.
PIXMILL_AVX512_KERNEL Bytes512 limited512(const Colors512& c, const Bytes512& bytes)
{
    const __m512 full = _mm512_set1_ps(kFull), one = _mm512_set1_ps(1.0f);
    const __m512 most = _mm512_max_ps(c.r, _mm512_max_ps(c.g, c.b));
    const __m512 least = _mm512_min_ps(c.r, _mm512_min_ps(c.g, c.b));
    const __mmask16 high = _mm512_cmp_ps_mask(most, full, _CMP_GT_OQ);
    const __mmask16 low = _mm512_cmp_ps_mask(least, _mm512_setzero_ps(), _CMP_LT_OQ);
    const __m512 above = _mm512_mask_div_ps(one, high, _mm512_sub_ps(full, c.y), _mm512_sub_ps(most, c.y));
    const __m512 below = _mm512_mask_div_ps(one, low, c.y, _mm512_sub_ps(c.y, least));
    const __m512 k = _mm512_min_ps(above, below);
    const auto drawn = [&](__m512 v) PIXMILL_AVX512_CODE {
        return clamped8(narrowed512(_mm512_add_ps(c.y, _mm512_mul_ps(k, _mm512_sub_ps(v, c.y)))));
    };
    const __mmask16 moved = bytes.beyond();
    return {_mm512_mask_mov_epi32(bytes.r, moved, drawn(c.r)), _mm512_mask_mov_epi32(bytes.g, moved, drawn(c.g)),
            _mm512_mask_mov_epi32(bytes.b, moved, drawn(c.b))};
}

/// Words of pairs of pixels, colours outside brought back.
template <bool swap>
PIXMILL_AVX512_CODE int packPairs512(const ushort* luma, const ushort* dr, const ushort* drNext, const ushort* db,
                                     const ushort* dbNext, void* out, int pairs)
{
    const __m512i low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const __m512i high = _mm512_add_epi32(low, _mm512_set1_epi32(8));
    const __m512 half = _mm512_set1_ps(0.5f);
    int i = 0;
    for (; i + 16 <= pairs; i += 16) {
        const __m512i red = twice512(dr + i, drNext + i), redBeside = twice512(dr + i + 1, drNext + i + 1);
        const __m512i blue = twice512(db + i, dbNext + i), blueBeside = twice512(db + i + 1, dbNext + i + 1);
        const __m512i both = _mm512_loadu_si512(luma + 2 * i);
        const Colors512 a = joined512(_mm512_and_si512(both, _mm512_set1_epi32(0xffff)), _mm512_cvtepi32_ps(red),
                                      _mm512_cvtepi32_ps(blue));
        const Colors512 b = joined512(_mm512_srli_epi32(both, 16),
                                      _mm512_mul_ps(half, _mm512_cvtepi32_ps(_mm512_add_epi32(red, redBeside))),
                                      _mm512_mul_ps(half, _mm512_cvtepi32_ps(_mm512_add_epi32(blue, blueBeside))));
        Bytes512 even = bytes512(a), odd = bytes512(b);
        if (__builtin_expect((even.beyond() | odd.beyond()) != 0, 0)) {
            even = limited512(a, even);
            odd = limited512(b, odd);
        }
        const __m512i evens = even.words<swap>(), odds = odd.words<swap>();
        uchar* to = static_cast<uchar*>(out) + 8 * std::ptrdiff_t(i);
        _mm512_storeu_si512(to, _mm512_permutex2var_epi32(evens, low, odds));
        _mm512_storeu_si512(to + 64, _mm512_permutex2var_epi32(evens, high, odds));
    }
    return i;
}

#else

template <bool>
constexpr auto packPairs512 = rows::kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::develop
