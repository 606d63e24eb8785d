#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/tables.h>

#include <algorithm>

/// Toning for processors with AVX-512, 32 samples at a time: where all lie on the straight part of the curves it is
/// computed, which takes a third of the look-ups' time.
///
/// Samples are unpacked within quarters of a vector, weights in pairs alike, so that packing puts them back in order.
/// A row's last 32 overlap those before, so `out` is never an input; a shorter row is left to the plain form.
namespace pixmill::develop {

#if PIXMILL_X86

/// What toning takes from luma, the same for every level.
struct Zones512 {
    __m512i luma;
    __m512i low, high;               ///< Pairs of weights: midtones, and the zone beside them.
    __mmask16 brightLow, brightHigh; ///< Where that zone is the highlights.
    __mmask32 dark;                  ///< Where it is the shadows, and counts.

    PIXMILL_AVX512_CODE explicit Zones512(const ushort* Y) : luma(_mm512_loadu_si512(Y))
    {
        const __m512i ramp = _mm512_set1_epi16(85), i = _mm512_srli_epi16(luma, 8);
        const __m512i inward = _mm512_min_epu16(i, _mm512_sub_epi16(_mm512_set1_epi16(255), i));
        const __m512i outward =
            _mm512_or_si512(_mm512_subs_epu16(ramp, i), _mm512_subs_epu16(i, _mm512_set1_epi16(170)));
        const __m512i midtone = engine::zoneRamp512(_mm512_min_epu16(inward, ramp));
        const __m512i beside = engine::zoneRamp512(outward);
        low = _mm512_unpacklo_epi16(midtone, beside);
        high = _mm512_unpackhi_epi16(midtone, beside);
        const __m512i bright =
            _mm512_movm_epi16(_mm512_cmpge_epu16_mask(luma, _mm512_set1_epi16(short(engine::kHighlightsFrom))));
        brightLow = _mm512_movepi32_mask(_mm512_unpacklo_epi16(bright, bright));
        brightHigh = _mm512_movepi32_mask(_mm512_unpackhi_epi16(bright, bright));
        dark = _mm512_cmplt_epu16_mask(i, ramp);
    }
};

/// One level's table and lines, spread over vectors.
struct Level512 {
    const std::uint32_t* pairs;
    __m512 shadows, midtones, highlights; ///< Slopes, of samples times 65536.
    __m512i reach, darkReach;

    PIXMILL_AVX512_CODE explicit Level512(const DetailTable& table)
        : pairs(table.pairs()), shadows(_mm512_set1_ps(table.lines().shadows / 65536)),
          midtones(_mm512_set1_ps(table.lines().midtones / 65536)),
          highlights(_mm512_set1_ps(table.lines().highlights / 65536)),
          reach(_mm512_set1_epi16(short(table.lines().reach))),
          darkReach(_mm512_set1_epi16(short(table.lines().darkReach)))
    {
    }

    /// Pairs of centred entries of samples in the upper halves of lanes.
    PIXMILL_AVX512_CODE __m512i onLines(__m512i samples, __mmask16 bright) const
    {
        const __m512 f = _mm512_cvtepi32_ps(samples);
        const __m512i midtone = _mm512_cvtps_epi32(_mm512_mul_ps(f, midtones));
        const __m512 slope = _mm512_mask_mov_ps(shadows, bright, highlights);
        const __m512i beside = _mm512_cvtps_epi32(_mm512_mul_ps(f, slope));
        return _mm512_mask_blend_epi16(0xaaaaaaaau, midtone, _mm512_slli_epi32(beside, 16));
    }

    /// The same, looked up.
    PIXMILL_AVX512_CODE __m512i lookedUp(__m512i samples, __mmask16 bright) const
    {
        const __m512i at = _mm512_srli_epi32(_mm512_xor_si512(samples, _mm512_set1_epi32(int(0x80000000u))), 16);
        const __m512i index = _mm512_mask_add_epi32(at, bright, at, _mm512_set1_epi32(65536));
        return engine::centred512(_mm512_i32gather_epi32(index, pairs, 4));
    }

    /// toneRow's samples, centred.
    PIXMILL_AVX512_CODE __m512i toned(const Zones512& zones, const ushort* in) const
    {
        const __m512i samples = engine::centred512(_mm512_loadu_si512(in)), zero = _mm512_setzero_si512();
        const __m512i low = _mm512_unpacklo_epi16(zero, samples), high = _mm512_unpackhi_epi16(zero, samples);
        const __m512i limit = _mm512_mask_mov_epi16(reach, zones.dark, darkReach);
        __m512i pairsLow, pairsHigh;
        if (_mm512_cmpge_epu16_mask(_mm512_abs_epi16(samples), limit) == 0) {
            pairsLow = onLines(low, zones.brightLow);
            pairsHigh = onLines(high, zones.brightHigh);
        } else {
            pairsLow = lookedUp(low, zones.brightLow);
            pairsHigh = lookedUp(high, zones.brightHigh);
        }
        return _mm512_packs_epi32(engine::dividedBy256(_mm512_madd_epi16(pairsLow, zones.low)),
                                  engine::dividedBy256(_mm512_madd_epi16(pairsHigh, zones.high)));
    }
};

/// engine::addEdgesRow of levels of which those told are toned in passing, and kept where `keep` has a row for them.
template <bool first, bool second, bool third>
PIXMILL_AVX512_CODE int sumToned512(const ushort* Y, const DetailTable* tables, const ushort* const* in,
                                    ushort* const* keep, ushort* out, int n)
{
    const Level512 levels[3] = {Level512(tables[0]), Level512(tables[1]), Level512(tables[2])};
    const __m512i twice = _mm512_set1_epi16(2), twiceAndOnce = _mm512_set1_epi32(0x10002);
    if (n < 32)
        return 0;
    for (int from = 0; from < n; from += 32) {
        const int x = std::min(from, n - 32);
        const Zones512 zones(Y + x);
        const auto plain = [&](int i) PIXMILL_AVX512_CODE { return engine::centred512(_mm512_loadu_si512(in[i] + x)); };
        const auto toned = [&](int i) PIXMILL_AVX512_CODE {
            const __m512i samples = levels[i].toned(zones, in[i] + x);
            if (keep[i])
                _mm512_storeu_si512(keep[i] + x, engine::centred512(samples));
            return samples;
        };
        const __m512i a = first ? toned(0) : plain(0), b = second ? toned(1) : plain(1),
                      c = third ? toned(2) : plain(2);
        const __m512i y = engine::centred512(zones.luma);
        const __m512i low = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(a, b), twice),
                                             _mm512_madd_epi16(_mm512_unpacklo_epi16(c, y), twiceAndOnce));
        const __m512i high = _mm512_add_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(a, b), twice),
                                              _mm512_madd_epi16(_mm512_unpackhi_epi16(c, y), twiceAndOnce));
        _mm512_storeu_si512(out + x, engine::centred512(_mm512_packs_epi32(low, high)));
    }
    return n;
}

#else

template <bool, bool, bool>
constexpr auto sumToned512 = rows::kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::develop
