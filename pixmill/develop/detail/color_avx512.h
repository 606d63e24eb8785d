#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/tables.h>

/// The colour step for processors with AVX-512, 32 colours at a time.
namespace pixmill::develop {

constexpr int kColorChunk = 256;

/// Four entries for each of a chunk's colours, and their weights in pairs.
struct ColorPicks512 {
    alignas(64) ushort at[4][kColorChunk];
    alignas(64) std::uint32_t weights[2][kColorChunk], picked[4][kColorChunk];
};

PIXMILL_AVX512_KERNEL __m512i widened512(const ushort* p)
{
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}

/// Two vectors of 32-bit lanes as one of 16-bit lanes.
PIXMILL_AVX512_KERNEL __m512i narrowed512(__m512i low, __m512i high)
{
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi32_epi16(low)), _mm512_cvtepi32_epi16(high), 1);
}

/// ratioRow of sixteen.
PIXMILL_AVX512_KERNEL __m512 ratio512(__m512i oldY, __m512i newY)
{
    const __m512 offset = _mm512_set1_ps(655.3f);
    return _mm512_div_ps(_mm512_add_ps(_mm512_cvtepi32_ps(newY), offset),
                         _mm512_add_ps(_mm512_cvtepi32_ps(oldY), offset));
}

/// growRow of sixteen.
PIXMILL_AVX512_KERNEL __m512i grown512(const ushort* in, __m512 ratio)
{
    const __m512 from = _mm512_cvtepi32_ps(_mm512_sub_epi32(widened512(in), _mm512_set1_epi32(kCentre)));
    const __m512 v = _mm512_add_ps(_mm512_mul_ps(from, ratio), _mm512_set1_ps(float(kCentre)));
    return _mm512_cvtps_epi32(_mm512_min_ps(_mm512_max_ps(v, _mm512_setzero_ps()), _mm512_set1_ps(kFull)));
}

/// placeColors and findCorners.
PIXMILL_AVX512_KERNEL void corners512(__m512i y, __m512i dr, __m512i db, ColorPicks512& c, int i)
{
    const __m512i nodes = _mm512_set1_epi16(kColorNodes), within = _mm512_set1_epi16(2047);
    const __m512i step1 = _mm512_set1_epi16(kColorNodes * kColorNodes), step2 = nodes, step3 = _mm512_set1_epi16(1);
    const __m512i all = _mm512_set1_epi16(kColorNodes * kColorNodes + kColorNodes + 1);
    const __m512i row =
        _mm512_add_epi16(_mm512_mullo_epi16(_mm512_srli_epi16(y, 11), nodes), _mm512_srli_epi16(dr, 11));
    const __m512i cell = _mm512_add_epi16(_mm512_mullo_epi16(row, nodes), _mm512_srli_epi16(db, 11));
    const __m512i a = _mm512_and_si512(y, within), b = _mm512_and_si512(dr, within), d = _mm512_and_si512(db, within);

    const __m512i least = _mm512_min_epu16(_mm512_min_epu16(a, b), d), beyond = _mm512_max_epu16(b, d);
    const __m512i most = _mm512_max_epu16(a, beyond);
    const __m512i between =
        _mm512_sub_epi16(_mm512_add_epi16(_mm512_add_epi16(a, b), d), _mm512_add_epi16(most, least));
    __m512i longest = _mm512_mask_mov_epi16(step3, _mm512_cmpge_epu16_mask(b, d), step2);
    longest = _mm512_mask_mov_epi16(longest, _mm512_cmpge_epu16_mask(a, beyond), step1);
    __m512i shortest = _mm512_mask_mov_epi16(step1, _mm512_cmple_epu16_mask(b, a), step2);
    shortest = _mm512_mask_mov_epi16(shortest, _mm512_cmpeq_epu16_mask(d, least), step3);

    const __m512i last = _mm512_add_epi16(cell, all);
    _mm512_store_si512(c.at[0] + i, cell);
    _mm512_store_si512(c.at[1] + i, _mm512_add_epi16(cell, longest));
    _mm512_store_si512(c.at[2] + i, _mm512_sub_epi16(last, shortest));
    _mm512_store_si512(c.at[3] + i, last);

    // Quarters beside each other, as unpacking leaves them, put back in order.
    const __m512i low = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11),
                  high = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    const auto store = [&](std::uint32_t* pairs, __m512i u, __m512i v) PIXMILL_AVX512_CODE {
        const __m512i p = _mm512_unpacklo_epi16(u, v), q = _mm512_unpackhi_epi16(u, v);
        _mm512_store_si512(pairs + i, _mm512_permutex2var_epi64(p, low, q));
        _mm512_store_si512(pairs + i + 16, _mm512_permutex2var_epi64(p, high, q));
    };
    store(c.weights[0], _mm512_sub_epi16(_mm512_set1_epi16(2048), most), _mm512_sub_epi16(most, between));
    store(c.weights[1], _mm512_sub_epi16(between, least), least);
}

/// Pairs of the lower halves of lanes.
PIXMILL_AVX512_KERNEL __m512i lows512(__m512i p, __m512i q)
{
    return _mm512_mask_blend_epi16(0xaaaaaaaau, p, _mm512_slli_epi32(q, 16));
}

/// Pairs of the upper halves.
PIXMILL_AVX512_KERNEL __m512i highs512(__m512i p, __m512i q)
{
    return _mm512_mask_blend_epi16(0xaaaaaaaau, _mm512_srli_epi32(p, 16), q);
}

/// mixColors of sixteen.
PIXMILL_AVX512_KERNEL void mixed512(const ColorPicks512& c, int i, __m512i& dr, __m512i& db)
{
    const __m512i w01 = _mm512_load_si512(c.weights[0] + i), w23 = _mm512_load_si512(c.weights[1] + i);
    const __m512i p0 = _mm512_load_si512(c.picked[0] + i), p1 = _mm512_load_si512(c.picked[1] + i);
    const __m512i p2 = _mm512_load_si512(c.picked[2] + i), p3 = _mm512_load_si512(c.picked[3] + i);
    const auto sum = [&](__m512i first, __m512i second) PIXMILL_AVX512_CODE {
        const __m512i both = _mm512_add_epi32(_mm512_madd_epi16(first, w01), _mm512_madd_epi16(second, w23));
        return _mm512_srai_epi32(_mm512_add_epi32(both, _mm512_set1_epi32(1024)), 11);
    };
    dr = sum(lows512(p0, p1), lows512(p2, p3));
    db = sum(highs512(p0, p1), highs512(p2, p3));
}

/// colorRow of at most kColorChunk colours; `pick(at, picked, n)` looks up a table's entries.
template <class Pick>
PIXMILL_AVX512_CODE int colorChunk512(bool mapped, const ushort* oldY, const ushort* newY, const ushort* inDr,
                                      const ushort* inDb, ushort* dr, ushort* db, int n, const Pick& pick)
{
    ColorPicks512 c;
    const __m512i evens = _mm512_set1_epi32(0xffff);
    int i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m512i low = _mm512_and_si512(_mm512_loadu_si512(newY + 2 * i), evens);
        const __m512i high = _mm512_and_si512(_mm512_loadu_si512(newY + 2 * i + 32), evens);
        const __m512 first = ratio512(widened512(oldY + i), low), second = ratio512(widened512(oldY + i + 16), high);
        const __m512i red = narrowed512(grown512(inDr + i, first), grown512(inDr + i + 16, second));
        const __m512i blue = narrowed512(grown512(inDb + i, first), grown512(inDb + i + 16, second));
        if (mapped) {
            corners512(narrowed512(low, high), red, blue, c, i);
        } else {
            _mm512_storeu_si512(dr + i, red);
            _mm512_storeu_si512(db + i, blue);
        }
    }
    if (!mapped)
        return i;
    for (int k = 0; k < 4; ++k)
        pick(c.at[k], c.picked[k], i);
    for (int x = 0; x < i; x += 32) {
        __m512i red[2], blue[2];
        mixed512(c, x, red[0], blue[0]);
        mixed512(c, x + 16, red[1], blue[1]);
        _mm512_storeu_si512(dr + x, engine::centred512(narrowed512(red[0], red[1])));
        _mm512_storeu_si512(db + x, engine::centred512(narrowed512(blue[0], blue[1])));
    }
    return i;
}

} // namespace pixmill::develop
