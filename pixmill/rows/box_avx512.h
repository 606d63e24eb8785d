#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <cstring>
#include <type_traits>

/// Box means of whole samples for processors with AVX-512. Column sums of even and odd places stand apart, so that
/// samples are widened and means narrowed without shuffles, and bytes have column sums of 16 bits.
namespace pixmill::rows {

#if PIXMILL_X86

constexpr int kBoxAhead = 2048; ///< Bytes of a row that are fetched ahead of those that are read or written.

/// v[i] becomes v[0] + ... + v[i].
PIXMILL_AVX512_KERNEL __m512i prefixSums512(__m512i v)
{
    // Inside each 128 bits; then the sum of those before, and of the two before these.
    const __m512i one = _mm512_setr_epi32(0, 0, 0, 0, 3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11);
    const __m512i two = _mm512_setr_epi32(0, 0, 0, 0, 0, 0, 0, 0, 3, 3, 3, 3, 7, 7, 7, 7);
    v = _mm512_add_epi32(v, _mm512_bslli_epi128(v, 4));
    v = _mm512_add_epi32(v, _mm512_bslli_epi128(v, 8));
    v = _mm512_mask_add_epi32(v, 0xfff0, v, _mm512_permutexvar_epi32(one, v));
    return _mm512_mask_add_epi32(v, 0xff00, v, _mm512_permutexvar_epi32(two, v));
}

PIXMILL_AVX512_KERNEL __m512i lastEverywhere512(__m512i v)
{
    return _mm512_permutexvar_epi32(_mm512_set1_epi32(15), v);
}

/// The whole multiplier and shift that divide sums of fewer than 2^31 exactly: T. Granlund, P. L. Montgomery, "Division
/// by Invariant Integers using Multiplication", 1994.
struct ExactQuotient {
    explicit ExactQuotient(unsigned count)
    {
        while ((2u << shift) < count)
            ++shift;
        factor = unsigned(((1ull << (32 + shift)) + count - 1) / count);
    }
    unsigned factor;
    int shift = 0; ///< The quotient is the upper half of the product, less so many bits.
};

/// The upper halves of the sixteen products.
PIXMILL_AVX512_KERNEL __m512i upperProducts512(__m512i v, __m512i factor)
{
    const __m512i even = _mm512_mul_epu32(v, factor), odd = _mm512_mul_epu32(_mm512_srli_epi64(v, 32), factor);
    return _mm512_mask_mov_epi32(_mm512_srli_epi64(even, 32), 0xaaaa, odd);
}

/// What slides a window along: the columns that it takes in and leaves from an even place of the row of means on, and
/// those from the odd one.
template <class Sum>
struct BoxSteps {
    const Sum *evenIn, *evenOut, *oddIn, *oddOut;
};

/// Means of n windows, of which the first has `sum`; returns the sum of the one behind them if n is a multiple of 64.
PIXMILL_AVX512_KERNEL unsigned boxMeans512(const BoxSteps<unsigned>& steps, unsigned sum, unsigned count, ushort* out,
                                           int n)
{
    const ExactQuotient quotient(count);
    const __m512i factor = _mm512_set1_epi32(int(quotient.factor));
    const __m512i shift = _mm512_set1_epi32(quotient.shift), unshift = _mm512_set1_epi32(16 - quotient.shift);
    __m512i before = _mm512_set1_epi32(int(sum + count / 2));
    for (int x = 0; x < n; x += 32) {
        const int i = x / 2;
        const __m512i even =
            _mm512_sub_epi32(_mm512_loadu_si512(steps.evenIn + i), _mm512_loadu_si512(steps.evenOut + i));
        const __m512i odd = _mm512_sub_epi32(_mm512_loadu_si512(steps.oddIn + i), _mm512_loadu_si512(steps.oddOut + i));
        const __m512i lead = prefixSums512(_mm512_add_epi32(even, odd));
        const __m512i second = _mm512_sub_epi32(_mm512_add_epi32(before, lead), odd);
        const __m512i first = _mm512_sub_epi32(second, even);
        before = _mm512_add_epi32(before, lastEverywhere512(lead));
        const __m512i low = _mm512_srlv_epi32(upperProducts512(first, factor), shift);
        const __m512i high = _mm512_sllv_epi32(upperProducts512(second, factor), unshift);
        const __m512i means = _mm512_mask_mov_epi16(low, 0xaaaaaaaa, high);
        __builtin_prefetch(out + x + kBoxAhead / 2);
        if (x + 32 <= n)
            _mm512_storeu_si512(out + x, means);
        else
            _mm512_mask_storeu_epi16(out + x, (1u << (n - x)) - 1, means);
    }
    return unsigned(_mm_cvtsi128_si32(_mm512_castsi512_si128(before))) - count / 2;
}

/// Rounds in single precision, as meansRow does for bytes and counts to 8191. The mean is in the low byte.
PIXMILL_AVX512_KERNEL __m512i byteMeans512(__m512i sums, __m512 reciprocal)
{
    const __m512 mean = _mm512_mul_ps(_mm512_cvtepi32_ps(sums), reciprocal);
    return _mm512_castps_si512(_mm512_add_ps(mean, _mm512_set1_ps(kToInteger)));
}

/// The same for bytes.
PIXMILL_AVX512_KERNEL unsigned boxMeans512(const BoxSteps<ushort>& steps, unsigned sum, unsigned count, uchar* out,
                                           int n)
{
    const __m512 reciprocal = _mm512_set1_ps(1.0f / float(count));
    const __m512i ones = _mm512_set1_epi16(1);
    __m512i before = _mm512_set1_epi32(int(sum));
    for (int x = 0; x < n; x += 64) {
        const int i = x / 2;
        const __m512i even =
            _mm512_sub_epi16(_mm512_loadu_si512(steps.evenIn + i), _mm512_loadu_si512(steps.evenOut + i));
        const __m512i odd = _mm512_sub_epi16(_mm512_loadu_si512(steps.oddIn + i), _mm512_loadu_si512(steps.oddOut + i));
        const __m512i lead =
            prefixSums512(_mm512_add_epi32(_mm512_madd_epi16(even, ones), _mm512_madd_epi16(odd, ones)));
        __m512i sums[4]; // of the places 0, 1, 2 and 3 of every four
        sums[3] = _mm512_sub_epi32(_mm512_add_epi32(before, lead), _mm512_srai_epi32(odd, 16));
        sums[2] = _mm512_sub_epi32(sums[3], _mm512_srai_epi32(even, 16));
        sums[1] = _mm512_sub_epi32(sums[2], _mm512_srai_epi32(_mm512_slli_epi32(odd, 16), 16));
        sums[0] = _mm512_sub_epi32(sums[1], _mm512_srai_epi32(_mm512_slli_epi32(even, 16), 16));
        before = _mm512_add_epi32(before, lastEverywhere512(lead));
        for (int k = 0; k < 4; ++k)
            sums[k] = byteMeans512(sums[k], reciprocal);
        const __m512i lowByte = _mm512_set1_epi32(0x00ff00ff);
        const __m512i low = _mm512_ternarylogic_epi32(lowByte, sums[0], _mm512_slli_epi32(sums[1], 8), 0xca);
        const __m512i high = _mm512_ternarylogic_epi32(lowByte, sums[2], _mm512_slli_epi32(sums[3], 8), 0xca);
        const __m512i means = _mm512_mask_mov_epi16(low, 0xaaaaaaaa, _mm512_slli_epi32(high, 16));
        __builtin_prefetch(out + x + kBoxAhead);
        if (x + 64 <= n)
            _mm512_storeu_si512(out + x, means);
        else
            _mm512_mask_storeu_epi8(out + x, (1ull << (n - x)) - 1, means);
    }
    return unsigned(_mm_cvtsi128_si32(_mm512_castsi512_si128(before)));
}

/// Adds n samples of `in`, and less those of `out` with kOut, to columns from an even place on.
template <bool kOut>
PIXMILL_AVX512_KERNEL void slideColumns512(unsigned* even, unsigned* odd, const ushort* in, const ushort* out, int n)
{
    const __m512i lower = _mm512_set1_epi32(65535);
    for (int x = 0; x < n; x += 32) {
        const __mmask32 there = x + 32 <= n ? ~0u : (1u << (n - x)) - 1;
        __builtin_prefetch(in + x + kBoxAhead / 2);
        __m512i p = _mm512_maskz_loadu_epi16(there, in + x), first = _mm512_and_si512(p, lower);
        __m512i second = _mm512_srli_epi32(p, 16);
        if (kOut) {
            p = _mm512_maskz_loadu_epi16(there, out + x);
            first = _mm512_sub_epi32(first, _mm512_and_si512(p, lower));
            second = _mm512_sub_epi32(second, _mm512_srli_epi32(p, 16));
        }
        _mm512_storeu_si512(even + x / 2, _mm512_add_epi32(_mm512_loadu_si512(even + x / 2), first));
        _mm512_storeu_si512(odd + x / 2, _mm512_add_epi32(_mm512_loadu_si512(odd + x / 2), second));
    }
}

template <bool kOut>
PIXMILL_AVX512_KERNEL void slideColumns512(ushort* even, ushort* odd, const uchar* in, const uchar* out, int n)
{
    const __m512i lower = _mm512_set1_epi16(255);
    for (int x = 0; x < n; x += 64) {
        const __mmask64 there = x + 64 <= n ? ~0ull : (1ull << (n - x)) - 1;
        __builtin_prefetch(in + x + kBoxAhead);
        __m512i p = _mm512_maskz_loadu_epi8(there, in + x), first = _mm512_and_si512(p, lower);
        __m512i second = _mm512_srli_epi16(p, 8);
        if (kOut) {
            p = _mm512_maskz_loadu_epi8(there, out + x);
            first = _mm512_sub_epi16(first, _mm512_and_si512(p, lower));
            second = _mm512_sub_epi16(second, _mm512_srli_epi16(p, 8));
        }
        _mm512_storeu_si512(even + x / 2, _mm512_add_epi16(_mm512_loadu_si512(even + x / 2), first));
        _mm512_storeu_si512(odd + x / 2, _mm512_add_epi16(_mm512_loadu_si512(odd + x / 2), second));
    }
}

/// Whether the kernels take a mask: an odd count has no ties.
template <class T>
inline bool takesBox512(cv::Size mask)
{
    const long long count = (long long)mask.width * mask.height;
    if (!takesAvx512() || count == 1 || count % 2 == 0)
        return false;
    return sizeof(T) == 1 ? mask.height <= 128 && count <= 8191 : count <= 32767;
}

/// The columns of a row of windows, for boxRows.
template <class T>
class BoxColumns512 {
public:
    using Sum = std::conditional_t<sizeof(T) == 1, ushort, unsigned>;

    /// Both halves begin on a cache line, with room for a vector past their ends: less than kBoxPiece sums in all
    /// beside the columns.
    BoxColumns512(void* scratch, int held, int margin, cv::Size mask) : m_mask(mask)
    {
        const int before = (margin / 2 + 64) / 64 * 64, half = (before + (held + margin) / 2 + 144) / 64 * 64;
        m_even = static_cast<Sum*>(scratch) + before;
        m_odd = m_even + half;
        std::fill_n(m_even - before, 2 * half, Sum(0));
    }

    Sum& at(int place) { return from(place)[0]; }

    void add(const T* in, int n) { slideColumns512<false>(m_even, m_odd, in, in, n); }

    void slide(const T* in, const T* out, int first, int n)
    {
        slideColumns512<true>(m_even + first / 2, m_odd + first / 2, in + first, out + first, n);
    }

    unsigned means(int place, unsigned sum, T* out, int n)
    {
        const int in = place + m_mask.width;
        const BoxSteps<Sum> steps{from(in), from(place), from(in + 1), from(place + 1)};
        return boxMeans512(steps, sum, unsigned(m_mask.area()), out, n);
    }

private:
    Sum* from(int place) { return (place % 2 != 0 ? m_odd : m_even) + (place >> 1); }

    cv::Size m_mask;
    Sum *m_even, *m_odd;
};

#endif // PIXMILL_X86

} // namespace pixmill::rows
