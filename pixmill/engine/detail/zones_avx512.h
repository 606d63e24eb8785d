#pragma once

#include <pixmill/engine/detail/zones.h>
#include <pixmill/rows/avx512.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

/// The kernels a moved slider waits for, for processors with AVX-512.
///
/// Each takes as many whole vectors of 32 samples as there are and tells how many samples that was.
namespace pixmill::engine {

using namespace rows;

#if PIXMILL_X86

/// Sixteen-bit lanes turned from 0..65535 to -32768..32767, or back.
PIXMILL_AVX512_KERNEL __m512i centred512(__m512i v)
{
    return _mm512_xor_si512(v, _mm512_set1_epi16(-32768));
}

/// zoneRamp.
PIXMILL_AVX512_KERNEL __m512i zoneRamp512(__m512i k)
{
    const __m512i last = _mm512_srli_epi16(_mm512_add_epi16(k, _mm512_set1_epi16(50)), 7);
    return _mm512_add_epi16(_mm512_add_epi16(k, _mm512_add_epi16(k, k)), last);
}

/// Divided by 256 toward zero, for |v| < 2^24: the top byte of a negative one is 255.
PIXMILL_AVX512_KERNEL __m512i dividedBy256(__m512i v)
{
    return _mm512_srai_epi32(_mm512_add_epi32(v, _mm512_srli_epi32(v, 24)), 8);
}

/// pairs[index[0..3]], the indices taken two at a time.
PIXMILL_AVX512_STEP __m128i fourPairs(const std::uint32_t* pairs, const std::uint32_t* index)
{
    std::uint64_t two[2];
    std::memcpy(two, index, sizeof two);
    const __m128i first = _mm_cvtsi32_si128(int(pairs[std::uint32_t(two[0])]));
    const __m128i low = _mm_insert_epi32(first, int(pairs[two[0] >> 32]), 1);
    return _mm_insert_epi32(_mm_insert_epi32(low, int(pairs[std::uint32_t(two[1])]), 2), int(pairs[two[1] >> 32]), 3);
}

/// pairs[index[0..15]]: loads put together take two thirds of a gather's time.
PIXMILL_AVX512_STEP __m512i sixteenPairs(const std::uint32_t* pairs, const std::uint32_t* index)
{
    return fromQuarters512(fourPairs(pairs, index), fourPairs(pairs, index + 4), fourPairs(pairs, index + 8),
                           fourPairs(pairs, index + 12));
}

/// Mixes 32 samples' pairs. Products and sums of pairs are one instruction, on samples side by side with weights side
/// by side; quarters of the vectors are put in the order in which that pairing, done within quarters, finds its
/// samples.
PIXMILL_AVX512_STEP __m512i mixedPairs512(__m512i luma, __m512i picked0, __m512i picked1)
{
    const __m512i toPairs = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), back = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    const __m512i ramp = _mm512_set1_epi16(85), i = _mm512_srli_epi16(_mm512_permutexvar_epi64(toPairs, luma), 8);
    const __m512i inward = _mm512_min_epu16(i, _mm512_sub_epi16(_mm512_set1_epi16(255), i));
    const __m512i outward = _mm512_or_si512(_mm512_subs_epu16(ramp, i), _mm512_subs_epu16(i, _mm512_set1_epi16(170)));
    const __m512i midtone = zoneRamp512(_mm512_min_epu16(inward, ramp)), beside = zoneRamp512(outward);
    const __m512i sum0 = _mm512_madd_epi16(centred512(picked0), _mm512_unpacklo_epi16(midtone, beside));
    const __m512i sum1 = _mm512_madd_epi16(centred512(picked1), _mm512_unpackhi_epi16(midtone, beside));
    const __m512i mixed = _mm512_packs_epi32(dividedBy256(sum0), dividedBy256(sum1));
    return centred512(_mm512_permutexvar_epi64(back, mixed));
}

/// toneRow, in pieces: where its pairs lie goes through memory, from where it reaches addresses soonest.
PIXMILL_AVX512_KERNEL int toneRow512(const std::uint32_t* pairs, const ushort* Y, const ushort* in, ushort* out, int n)
{
    constexpr int kPiece = 256;
    std::uint32_t index[kPiece];
    int x = 0;
    while (x + 32 <= n) {
        const int piece = std::min(kPiece, (n - x) / 32 * 32);
        indexRow(Y + x, in + x, index, piece);
        for (int i = 0; i < piece; i += 32, x += 32)
            _mm512_storeu_si512(out + x, mixedPairs512(_mm512_loadu_si512(Y + x), sixteenPairs(pairs, index + i),
                                                       sixteenPairs(pairs, index + i + 16)));
    }
    return x;
}

/// addEdgesRow. Packing to 16 bits limits the centred sum as clamp16 does the sum.
PIXMILL_AVX512_KERNEL int addEdgesRow512(const ushort* Y, const ushort* d0, const ushort* d1, const ushort* d2,
                                         ushort* out, int n)
{
    const __m512i twice = _mm512_set1_epi16(2), twiceAndOnce = _mm512_set1_epi32(0x10002);
    int x = 0;
    for (; x + 32 <= n; x += 32) {
        const __m512i a = centred512(_mm512_loadu_si512(d0 + x)), b = centred512(_mm512_loadu_si512(d1 + x));
        const __m512i c = centred512(_mm512_loadu_si512(d2 + x)), y = centred512(_mm512_loadu_si512(Y + x));
        const __m512i low = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(a, b), twice),
                                             _mm512_madd_epi16(_mm512_unpacklo_epi16(c, y), twiceAndOnce));
        const __m512i high = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(a, b), twice),
                                              _mm512_madd_epi16(_mm512_unpackhi_epi16(c, y), twiceAndOnce));
        _mm512_storeu_si512(out + x, centred512(_mm512_packs_epi32(low, high)));
    }
    return x;
}

#else

constexpr auto toneRow512 = kNoKernel, addEdgesRow512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::engine
