#pragma once

#include <pixmill/core/detail/packed_pixels.h>
#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/ydrdb.h>

#include <cstddef>

/// YCM to packed pixels at row level 2, where the compiler's code spends more on shuffles than on pixels: the same
/// values as the plain rows, 32 pixels in 16-bit lanes at a time.
///
/// Lanes hold pixels in the order that the last step, which interleaves the channels, puts straight.
namespace pixmill::core {

using namespace rows;

constexpr int kBlock512 = 64; ///< Pixels at a time.

#if PIXMILL_X86

/// out[x] = sum of weights * (rows - 128) + 64 over four rows of n columns; up to 63 more are written. Exact in 16
/// bits, and 64 is the half that rounds the next sum, as the weights add up to 128.
PIXMILL_AVX512_KERNEL void sumRows512(const uchar* const rows[4], const short w[4], int n, short* out)
{
    const auto pair = [](int a, int b) PIXMILL_AVX512_CODE { return short((a & 255) | b * 256); };
    const __m512i upper = _mm512_set1_epi16(pair(w[0], w[1])), lower = _mm512_set1_epi16(pair(w[2], w[3]));
    const __m512i centre = _mm512_set1_epi16(128 * 128 - 64);
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11),
                  second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    for (int x = 0; x < n; x += 64) {
        __m512i a, b, c, d;
        if (n - x >= 64) {
            const auto load = [&](int k) PIXMILL_AVX512_CODE { return _mm512_loadu_si512(rows[k] + x); };
            a = load(0), b = load(1), c = load(2), d = load(3);
        } else {
            const __mmask64 columns = (__mmask64(1) << (n - x)) - 1;
            const auto load = [&](int k) PIXMILL_AVX512_CODE { return _mm512_maskz_loadu_epi8(columns, rows[k] + x); };
            a = load(0), b = load(1), c = load(2), d = load(3);
        }
        const auto sum = [&](__m512i ab, __m512i cd) PIXMILL_AVX512_CODE {
            return _mm512_add_epi16(_mm512_sub_epi16(_mm512_maddubs_epi16(ab, upper), centre),
                                    _mm512_maddubs_epi16(cd, lower));
        };
        const __m512i low = sum(_mm512_unpacklo_epi8(a, b), _mm512_unpacklo_epi8(c, d));
        const __m512i high = sum(_mm512_unpackhi_epi8(a, b), _mm512_unpackhi_epi8(c, d));
        _mm512_storeu_si512(out + x, _mm512_permutex2var_epi64(low, first, high));
        _mm512_storeu_si512(out + x + 32, _mm512_permutex2var_epi64(low, second, high));
    }
}

/// Where lane pair i of 32 pixels in lane order lies in the row, for channels of 16 bits and of 8.
alignas(64) constexpr int kPairs16[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
alignas(64) constexpr int kPairs8[16] = {0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15};

/// Enlarged samples less 128 of 64 pixels, in lane order; `sums` are those of the rows from two columns before.
struct Enlarged512 {
    __m512i pixels[2];
};

class EnlargingKernel512 {
public:
    PIXMILL_AVX512_KERNEL EnlargingKernel512(const short (&w)[2][4], const int pairs[16])
        : m_even{weights(w[0][0], w[0][1]), weights(w[0][2], w[0][3])}, m_odd{weights(w[1][0], w[1][1]),
                                                                              weights(w[1][2], w[1][3])}
    {
        // Of two vectors of alternate pairs, those of even and those of odd number.
        const __m512i i = _mm512_load_si512(pairs), one = _mm512_set1_epi32(1);
        const __m512i half = _mm512_srli_epi32(i, 1), from = _mm512_slli_epi32(_mm512_and_si512(i, one), 4);
        m_first = _mm512_or_si512(half, from);
        m_second = _mm512_add_epi32(m_first, _mm512_set1_epi32(8));
    }

    PIXMILL_AVX512_KERNEL Enlarged512 operator()(const short* sums) const
    {
        __m512i s[5];
        for (int k = 0; k < 5; ++k)
            s[k] = _mm512_loadu_si512(sums + k);
        const __m512i even = pair(blend(s[0], s[2], m_even), blend(s[1], s[3], m_odd));
        const __m512i odd = pair(blend(s[1], s[3], m_even), blend(s[2], s[4], m_odd));
        return {{limited(_mm512_permutex2var_epi32(even, m_first, odd)),
                 limited(_mm512_permutex2var_epi32(even, m_second, odd))}};
    }

private:
    PIXMILL_AVX512_KERNEL static __m512i weights(short a, short b)
    {
        return _mm512_set1_epi32((a & 65535) | int(b) * 65536);
    }

    PIXMILL_AVX512_KERNEL static __m512i blend(__m512i a, __m512i b, const __m512i* w)
    {
        return _mm512_add_epi32(_mm512_madd_epi16(a, w[0]), _mm512_madd_epi16(b, w[1]));
    }

    /// Both over 2^14, the second in the upper half.
    PIXMILL_AVX512_KERNEL static __m512i pair(__m512i a, __m512i b)
    {
        return _mm512_mask_blend_epi16(0xaaaaaaaa, _mm512_srai_epi32(a, 14), _mm512_slli_epi32(b, 2));
    }

    PIXMILL_AVX512_KERNEL static __m512i limited(__m512i v)
    {
        return _mm512_max_epi16(_mm512_min_epi16(v, _mm512_set1_epi16(127)), _mm512_set1_epi16(-128));
    }

    __m512i m_even[2], m_odd[2], m_first, m_second;
};

/// 32 pixels in lane order, 16 bits a channel; of the mask 256 times what it has above 128.
struct Channels512 {
    __m512i r, g, b, mask;
};

/// 256 times the mask, less `step` where it is above `limit`.
PIXMILL_AVX512_KERNEL __m512i alpha512(__m512i mask, int limit, int step)
{
    const __mmask32 above = _mm512_cmpgt_epi16_mask(mask, _mm512_set1_epi16(short((limit - 128) * 256)));
    const __m512i less = _mm512_mask_sub_epi16(mask, above, mask, _mm512_set1_epi16(short(step)));
    return _mm512_xor_si512(less, _mm512_set1_epi16(short(0x8000)));
}

/// Green of half the lanes, unclamped, from luma and from 65536 times the differences.
PIXMILL_AVX512_KERNEL __m512i green512(__m512i y, __m512i red, __m512i blue)
{
    const auto colour = [y](__m512i d) PIXMILL_AVX512_CODE {
        return _mm512_cvtepi32_ps(_mm512_add_epi32(_mm512_srai_epi32(d, 7), y));
    };
    const __m512 r = _mm512_mul_ps(_mm512_set1_ps(kRedShare), colour(red));
    const __m512 b = _mm512_mul_ps(_mm512_set1_ps(kBlueShare), colour(blue));
    const __m512 share = _mm512_sub_ps(_mm512_sub_ps(_mm512_cvtepi32_ps(y), r), b);
    return _mm512_cvtps_epi32(_mm512_mul_ps(share, _mm512_set1_ps(kGreenGainYcm)));
}

/// Pixels from luma and enlarged samples, each less 128.
PIXMILL_AVX512_KERNEL Channels512 pixels512(__m512i y, __m512i red, __m512i blue, __m512i mask)
{
    const __m512i zero = _mm512_setzero_si512(), top = _mm512_set1_epi16(short(0x8000));
    // y + 512 d, limited: half of it twice, each sum limited to what 16 signed bits hold.
    const __m512i centred = _mm512_xor_si512(y, top);
    const auto colour = [&](__m512i d) PIXMILL_AVX512_CODE {
        const __m512i half = _mm512_slli_epi16(d, 8);
        return _mm512_xor_si512(_mm512_adds_epi16(_mm512_adds_epi16(centred, half), half), top);
    };
    const __m512i low =
        green512(_mm512_unpacklo_epi16(y, zero), _mm512_unpacklo_epi16(zero, red), _mm512_unpacklo_epi16(zero, blue));
    const __m512i high =
        green512(_mm512_unpackhi_epi16(y, zero), _mm512_unpackhi_epi16(zero, red), _mm512_unpackhi_epi16(zero, blue));
    return {colour(red), _mm512_packus_epi32(low, high), colour(blue), _mm512_slli_epi16(mask, 8)};
}

/// Writes vectors one after the other, past the caches or not; only an aligned row may go past them.
template <bool kStream>
struct Writer512 {
    __m512i* to;

    PIXMILL_AVX512_KERNEL void operator()(__m512i v)
    {
        if (kStream)
            _mm512_stream_si512(to++, v);
        else
            _mm512_storeu_si512(to++, v);
    }
};

template <class Writer>
PIXMILL_AVX512_KERNEL void store512(const Channels512& p, Rgba16, Writer& write)
{
    const __m512i alpha = alpha512(p.mask, 166, 1);
    const __m512i rgLow = _mm512_unpacklo_epi16(p.r, p.g), rgHigh = _mm512_unpackhi_epi16(p.r, p.g);
    const __m512i baLow = _mm512_unpacklo_epi16(p.b, alpha), baHigh = _mm512_unpackhi_epi16(p.b, alpha);
    write(_mm512_unpacklo_epi32(rgLow, baLow));
    write(_mm512_unpackhi_epi32(rgLow, baLow));
    write(_mm512_unpacklo_epi32(rgHigh, baHigh));
    write(_mm512_unpackhi_epi32(rgHigh, baHigh));
}

template <class Writer>
PIXMILL_AVX512_KERNEL void store512(const Channels512& p, Rgba8, Writer& write)
{
    const __m512i zero = _mm512_setzero_si512(), half = _mm512_set1_epi16(128), high = _mm512_set1_epi16(short(0xff00));
    // Over 257 in the high byte: v - round(v / 256) + 128.
    const auto over257 = [&](__m512i v) PIXMILL_AVX512_CODE {
        return _mm512_add_epi16(_mm512_sub_epi16(v, _mm512_avg_epu16(_mm512_srli_epi16(v, 7), zero)), half);
    };
    const __m512i rg = _mm512_or_si512(_mm512_srli_epi16(over257(p.r), 8), _mm512_and_si512(over257(p.g), high));
    // 257 goes into alpha as often as 256, but for half a step from 129 on.
    const __m512i ba = _mm512_or_si512(_mm512_srli_epi16(over257(p.b), 8), alpha512(p.mask, 128, 256));
    write(_mm512_unpacklo_epi16(rg, ba));
    write(_mm512_unpackhi_epi16(rg, ba));
}

template <class Writer>
PIXMILL_AVX512_KERNEL void store512(const Channels512& p, Bgra8, Writer& write)
{
    store512({p.b, p.g, p.r, p.mask}, Rgba8(), write);
}

/// n pixels of a row, whole blocks. `sums` are those of red, blue and mask, from two columns before on; `w` the weights
/// of even and of odd columns.
template <class Out, bool kStream>
__attribute__((noinline, flatten)) PIXMILL_AVX512_KERNEL void packRow512(const ushort* y, const short* const sums[3],
                                                                         const short (&w)[2][4], AnyWord* out, int n)
{
    const int* const pairs = Out::kWords == 2 ? kPairs16 : kPairs8;
    const EnlargingKernel512 enlarge(w, pairs);
    const __m512i order = _mm512_load_si512(pairs);
    Writer512<kStream> write{reinterpret_cast<__m512i*>(out)};
    for (int x = 0; x < n; x += kBlock512) {
        const Enlarged512 red = enlarge(sums[0] + x / 2), blue = enlarge(sums[1] + x / 2),
                          mask = enlarge(sums[2] + x / 2);
        for (int k = 0; k < 2; ++k) {
            const __m512i luma = _mm512_permutexvar_epi32(order, _mm512_loadu_si512(y + x + 32 * k));
            store512(pixels512(luma, red.pixels[k], blue.pixels[k], mask.pixels[k]), Out(), write);
        }
    }
}

#else

constexpr auto sumRows512 = kNoKernel;
template <class, bool>
constexpr auto packRow512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::core
