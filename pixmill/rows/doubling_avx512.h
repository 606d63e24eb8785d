#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/doubling.h>

#include <algorithm>

/// Rows of 16-bit planes doubled cubically for processors with AVX-512, in registers.
namespace pixmill::rows {

/// Whether the kernels take rows of `cols` pixels doubled from `n`: of sixteen or more, and as many as belong to them.
inline bool takesDoubled512(int n, int cols)
{
    return takesAvx512() && n >= 16 && (cols == 2 * n || cols == 2 * n - 1);
}

#if PIXMILL_X86

/// Sixteen pixels as ints.
PIXMILL_AVX512_KERNEL __m512i ints512(const ushort* p)
{
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}

/// cubicHalfway from b + c and a + d.
PIXMILL_AVX512_KERNEL __m512i halfway512(__m512i inner, __m512i outer)
{
    return _mm512_sub_epi32(_mm512_add_epi32(_mm512_slli_epi32(inner, 3), inner), outer);
}

/// sum / 2^bits, halves up.
template <int bits>
PIXMILL_AVX512_KERNEL __m512i shifted512(__m512i sum)
{
    return _mm512_srai_epi32(_mm512_add_epi32(sum, _mm512_set1_epi32(1 << bits >> 1)), bits);
}

/// What an even row is doubled from: the row rows[1] itself.
struct OwnRow512 {
    static constexpr int kBits = 0;
    const ushort* const* rows;

    PIXMILL_AVX512_KERNEL __m512i at(int i) const { return ints512(rows[1] + i); }
};

/// What an odd row is doubled from: 16 times the values halfway from rows[1] to rows[2].
struct HalfwayRow512 {
    static constexpr int kBits = 4;
    const ushort* const* rows;

    PIXMILL_AVX512_KERNEL __m512i at(int i) const
    {
        return halfway512(_mm512_add_epi32(ints512(rows[1] + i), ints512(rows[2] + i)),
                          _mm512_add_epi32(ints512(rows[0] + i), ints512(rows[3] + i)));
    }
};

/// Goes along a doubled row, 32 source pixels a step. Beyond its end the last of its n pixels goes on.
template <class Row>
class Doubled512 {
public:
    PIXMILL_AVX512_CODE Doubled512(Row row, int n) : m_row(row), m_n(n), m_at(row.at(0))
    {
        m_before = _mm512_broadcastd_epi32(_mm512_castsi512_si128(m_at));
    }

    /// The 64 pixels of the doubled row from source pixel i on, the next of the walk. `kInner` where 48 are left.
    template <bool kInner>
    PIXMILL_AVX512_CODE void next(int i, __m512i out[2])
    {
        // The packed vectors hold four pixels of one half and four of the other by turns.
        alignas(64) static constexpr ushort kLow[32] = {0,  32, 1,  33, 2,  34, 3,  35, 8,  40, 9,  41, 10, 42, 11, 43,
                                                        16, 48, 17, 49, 18, 50, 19, 51, 24, 56, 25, 57, 26, 58, 27, 59};
        const __m512i low = _mm512_load_si512(kLow), high = _mm512_add_epi16(low, _mm512_set1_epi16(4));
        const __m512i v = kInner ? m_row.at(i + 16) : limited(i + 16);
        const __m512i after = kInner ? m_row.at(i + 32) : limited(i + 32);
        const __m512i even = _mm512_packus_epi32(shifted512<Row::kBits>(m_at), shifted512<Row::kBits>(v));
        const __m512i odd = _mm512_packus_epi32(between(m_before, m_at, v), between(m_at, v, after));
        out[0] = _mm512_permutex2var_epi16(even, low, odd);
        out[1] = _mm512_permutex2var_epi16(even, high, odd);
        m_before = v;
        m_at = after;
    }

private:
    PIXMILL_AVX512_CODE __m512i limited(int i) const
    {
        const __m512i lanes = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        const int first = std::min(i, m_n - 16);
        const __m512i from = _mm512_add_epi32(lanes, _mm512_set1_epi32(i - first));
        return _mm512_permutexvar_epi32(_mm512_min_epi32(from, _mm512_set1_epi32(15)), m_row.at(first));
    }

    /// The pixels right of each of v's.
    PIXMILL_AVX512_CODE static __m512i between(__m512i before, __m512i v, __m512i after)
    {
        const __m512i inner = _mm512_add_epi32(v, _mm512_alignr_epi32(after, v, 1));
        const __m512i outer = _mm512_add_epi32(_mm512_alignr_epi32(v, before, 15), _mm512_alignr_epi32(after, v, 2));
        return shifted512<Row::kBits + 4>(halfway512(inner, outer));
    }

    Row m_row;
    int m_n;
    __m512i m_before, m_at;
};

#endif // PIXMILL_X86

} // namespace pixmill::rows
