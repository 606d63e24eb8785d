#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/doubling_avx512.h>

#include <algorithm>

/// Full-size rows of R, G and B from half-size differences for processors with AVX-512: differences are enlarged and
/// become colours in registers.
namespace pixmill::planar {

using namespace rows;

/// Where a row's luma is read and its colours go.
struct ColourRow512 {
    const ushort* luma;
    ushort *r, *g, *b;
};

#if PIXMILL_X86

/// What of luma counts for the colours.
PIXMILL_AVX512_KERNEL __m512i luma512(__m512i y, To16)
{
    return y;
}

PIXMILL_AVX512_KERNEL __m512i luma512(__m512i y, To15U)
{
    return _mm512_srli_epi16(y, 1);
}

/// Red from Dr, or blue from Db, in 16 bits: saturating sums of samples less 32768 clamp as the one sum of ints does.
PIXMILL_AVX512_KERNEL __m512i colour512(__m512i y, __m512i d, To16)
{
    const __m512i top = _mm512_set1_epi16(short(0x8000)), centred = _mm512_xor_si512(d, top);
    const __m512i once = _mm512_adds_epi16(_mm512_xor_si512(y, top), centred);
    return _mm512_xor_si512(_mm512_adds_epi16(once, centred), top);
}

/// The same from half the luma: what a difference has above 32768 is added and passes no 16 bits, what it lacks is
/// taken away.
PIXMILL_AVX512_KERNEL __m512i colour512(__m512i y, __m512i d, To15U)
{
    const __m512i none = _mm512_set1_epi16(short(0x8000));
    return _mm512_subs_epu16(_mm512_add_epi16(y, _mm512_subs_epu16(d, none)), _mm512_subs_epu16(none, d));
}

/// Eight shares of green times the gain, rounded: whole numbers in the doubles' low halves, as by roundToInt.
PIXMILL_AVX512_KERNEL __m512i gained512(__m256 share)
{
    const __m512d gained = _mm512_mul_pd(_mm512_cvtps_pd(share), _mm512_set1_pd(kGreenGain));
    return _mm512_castpd_si512(_mm512_add_pd(gained, _mm512_set1_pd(6755399441055744.0))); // 1.5 * 2^52
}

/// Green of half the lanes, unclamped.
PIXMILL_AVX512_KERNEL __m512i green512(__m512i y, __m512i r, __m512i b)
{
    const __m512 red = _mm512_mul_ps(_mm512_set1_ps(kRedShare), _mm512_cvtepi32_ps(r));
    const __m512 blue = _mm512_mul_ps(_mm512_set1_ps(kBlueShare), _mm512_cvtepi32_ps(b));
    const __m512 share = _mm512_sub_ps(_mm512_sub_ps(_mm512_cvtepi32_ps(y), red), blue);
    const __m512i low = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    return _mm512_permutex2var_epi32(gained512(_mm512_castps512_ps256(share)), low,
                                     gained512(_mm512_extractf32x8_ps(share, 1)));
}

/// Those of 32 pixels from column x on that the mask holds, from luma and full-size differences.
template <class To>
PIXMILL_AVX512_KERNEL void colours512(To to, const ColourRow512& row, int x, __m512i dr, __m512i db, __mmask32 held)
{
    const __m512i y = luma512(_mm512_maskz_loadu_epi16(held, row.luma + x), to), zero = _mm512_setzero_si512();
    const __m512i red = colour512(y, dr, to), blue = colour512(y, db, to);
    const __m512i low =
        green512(_mm512_unpacklo_epi16(y, zero), _mm512_unpacklo_epi16(red, zero), _mm512_unpacklo_epi16(blue, zero));
    const __m512i high =
        green512(_mm512_unpackhi_epi16(y, zero), _mm512_unpackhi_epi16(red, zero), _mm512_unpackhi_epi16(blue, zero));
    _mm512_mask_storeu_epi16(row.r + x, held, red);
    _mm512_mask_storeu_epi16(row.g + x, held, _mm512_packus_epi32(low, high));
    _mm512_mask_storeu_epi16(row.b + x, held, blue);
}

template <class Row, class To>
PIXMILL_AVX512_KERNEL int fullColours512(To to, Row drRow, Row dbRow, const ColourRow512& row, int n, int cols)
{
    Doubled512<Row> red(drRow, n), blue(dbRow, n);
    __m512i dr[2], db[2];
    int i = 0;
    for (; i + 48 <= n; i += 32) {
        red.template next<true>(i, dr);
        blue.template next<true>(i, db);
        colours512(to, row, 2 * i, dr[0], db[0], ~__mmask32(0));
        colours512(to, row, 2 * i + 32, dr[1], db[1], ~__mmask32(0));
    }
    for (; i < n; i += 32) {
        red.template next<false>(i, dr);
        blue.template next<false>(i, db);
        const __mmask64 held = ~__mmask64(0) >> std::max(64 - (cols - 2 * i), 0);
        colours512(to, row, 2 * i, dr[0], db[0], __mmask32(held));
        colours512(to, row, 2 * i + 32, dr[1], db[1], __mmask32(held >> 32));
    }
    return cols;
}

/// A row of `cols` pixels that takesDoubled512 admits. `dr` and `db` are the four rows that doubleRowCubic takes.
template <class To>
PIXMILL_AVX512_KERNEL int fullRow512(To to, const ushort* const dr[4], const ushort* const db[4], bool between,
                                     const ColourRow512& row, int n, int cols)
{
    return between ? fullColours512(to, HalfwayRow512{dr}, HalfwayRow512{db}, row, n, cols)
                   : fullColours512(to, OwnRow512{dr}, OwnRow512{db}, row, n, cols);
}

#else

constexpr auto fullRow512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::planar
