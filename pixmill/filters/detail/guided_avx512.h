#pragma once

#include <pixmill/filters/detail/guided_columns.h>
#include <pixmill/rows/avx512.h>

#include <algorithm>

/// Column sums, windows and means in one pass of a row, for processors with AVX-512: a compiler narrows and widens
/// eight values in three steps instead of one, and stores what here stays in registers.
namespace pixmill::filters {

using namespace rows;

#if PIXMILL_X86

/// Eight values from place `by` on of two vectors side by side.
template <int by>
PIXMILL_AVX512_STEP __m512d shifted(__m512d v, __m512d next)
{
    return _mm512_castsi512_pd(_mm512_alignr_epi64(_mm512_castpd_si512(next), _mm512_castpd_si512(v), by));
}

/// The mean of a sum, as ExactMean says. Where a product with the reciprocal does not do, it lies at most 3 units of a
/// double away from the quotient, which is computed only where both may lie on different sides of the middle of two
/// floats.
struct Mean512 {
    __m512d count, reciprocal;
    bool product;

    PIXMILL_AVX512_STEP Mean512(const ExactMean& mean, ExactMean::Form form)
        : count(_mm512_set1_pd(mean.count())), reciprocal(_mm512_set1_pd(mean.reciprocal())),
          product(form == ExactMean::Form::kProduct)
    {
    }

    PIXMILL_AVX512_STEP __m256 operator()(__m512d sum) const
    {
        const __m512d mean = _mm512_mul_pd(sum, reciprocal);
        if (!product && nearTie(mean))
            return _mm512_cvtpd_ps(_mm512_div_pd(sum, count));
        return _mm512_cvtpd_ps(mean);
    }

private:
    /// Whether one of the doubles is within 4 units of the middle of two floats.
    PIXMILL_AVX512_STEP static bool nearTie(__m512d v)
    {
        constexpr long long kHalfway = 1 << 28, kUnits = 4;
        const __m512i from = _mm512_add_epi64(_mm512_castpd_si512(v), _mm512_set1_epi64(kUnits - kHalfway));
        return _mm512_testn_epi64_mask(from, _mm512_set1_epi64(2 * (kHalfway - kUnits))) != 0;
    }
};

/// Rows of eight sums, of which the last ones are kept: `mask` + 1 of them, or all.
struct Eights512 {
    double* rows;
    unsigned mask;

    PIXMILL_AVX512_STEP double* row(unsigned i) const { return rows + 8 * std::size_t(i & mask); }
};

/// Sums of 8 * eights + kRest columns, of columns that arrive by eight. kEights tells how many eights; with kMany they
/// are more than two, and `kept` holds more than `eights` of them.
template <int kRest, int kEights>
class Windows512 {
public:
    static constexpr int kMany = 3;

    PIXMILL_AVX512_STEP Windows512(Eights512 kept, int eights) : m_kept(kept), m_count(unsigned(eights)), m_taken(0)
    {
        const __m512d zero = _mm512_setzero_pd();
        m_v[0] = m_v[1] = m_two = m_four = m_eight = m_sum = zero;
        if (kEights == kMany)
            std::fill_n(kept.rows, 8 * eights, 0.0);
    }

    /// Takes eight more columns, and gives the eight windows that begin kDelay + eights times as many columns before.
    PIXMILL_AVX512_STEP __m512d push(__m512d v)
    {
        const __m512d two = _mm512_add_pd(m_v[0], shifted<1>(m_v[0], v));
        const __m512d four = _mm512_add_pd(m_two, shifted<2>(m_two, two));
        __m512d sum = rest(two, four);
        if (kEights > 0) {
            const __m512d eight = _mm512_add_pd(m_four, shifted<4>(m_four, four));
            sum = _mm512_add_pd(sum, eights(eight));
            m_eight = eight;
        }
        m_v[1] = m_v[0];
        m_v[0] = v;
        m_two = two;
        m_four = four;
        return sum;
    }

    static constexpr int kDelay = 2;

private:
    /// The windows' last kRest columns.
    PIXMILL_AVX512_STEP __m512d rest(__m512d two, __m512d four) const
    {
        switch (kRest) {
        case 1:
            return m_v[1];
        case 3:
            return _mm512_add_pd(m_two, shifted<2>(m_v[1], m_v[0]));
        case 5:
            return _mm512_add_pd(four, shifted<4>(m_v[1], m_v[0]));
        default:
            return _mm512_add_pd(_mm512_add_pd(four, shifted<4>(m_two, two)), shifted<6>(m_v[1], m_v[0]));
        }
    }

    /// Their columns before those.
    PIXMILL_AVX512_STEP __m512d eights(__m512d eight)
    {
        if (kEights == 1)
            return eight;
        if (kEights == 2)
            return _mm512_add_pd(m_eight, eight);
        _mm512_store_pd(m_kept.row(m_taken + m_count), eight);
        m_sum = _mm512_add_pd(m_sum, _mm512_sub_pd(eight, _mm512_load_pd(m_kept.row(m_taken++))));
        return m_sum;
    }

    __m512d m_v[2], m_two, m_four, m_eight, m_sum;
    Eights512 m_kept;
    unsigned m_count, m_taken;
};

/// Eight samples of a moment, fewer under a mask.
template <bool kProduct>
PIXMILL_AVX512_STEP __m512d samples512(MomentRow row, int x, __mmask8 mask)
{
    __m256 v = _mm256_maskz_loadu_ps(mask, row.a + x);
    if (kProduct)
        v = _mm256_mul_ps(v, _mm256_maskz_loadu_ps(mask, row.b + x));
    return _mm512_cvtps_pd(v);
}

template <bool kProduct>
PIXMILL_AVX512_STEP __m512d slide512(const SlideRow& row, int x, __mmask8 mask = 0xff)
{
    const __m512d change = _mm512_sub_pd(samples512<kProduct>(row.in, x, mask), samples512<kProduct>(row.out, x, mask));
    const __m512d sums = _mm512_add_pd(_mm512_load_pd(row.sums + x), change);
    _mm512_store_pd(row.sums + x, sums);
    return sums;
}

/// slideMeans of windows whose side is 8 * eights + kRest.
template <int kRest, int kEights, bool kProduct>
PIXMILL_AVX512_KERNEL void slideMeans512(SlideRow row, Mean512 mean)
{
    using Windows = Windows512<kRest, kEights>;
    const int eights = row.side / 8, delay = 8 * (Windows::kDelay + eights), columns = row.n + row.side - 1;
    Windows windows({row.scratch, ~0u}, eights);
    int x = 0;
    for (; x < delay && x + 8 <= columns; x += 8)
        windows.push(slide512<kProduct>(row, x));
    const float* ahead = row.ahead.from;
    for (; x + 8 <= columns; x += 8, ahead += row.ahead.step / 2) {
        _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);
        _mm256_storeu_ps(row.means + (x - delay), mean(windows.push(slide512<kProduct>(row, x))));
    }
    for (; x < columns || x - delay < row.n; x += 8) {
        const int left = std::min(std::max(columns - x, 0), 8);
        const __m512d sums = left ? slide512<kProduct>(row, x, __mmask8((1 << left) - 1)) : _mm512_setzero_pd();
        const __m512d last = windows.push(sums);
        if (x >= delay && x - delay < row.n)
            _mm256_storeu_ps(row.means + (x - delay), mean(last));
    }
}

template <int kRest, bool kProduct>
PIXMILL_AVX512_KERNEL void slideMeans512(const SlideRow& row, Mean512 mean)
{
    switch (row.side / 8) {
    case 0:
        return slideMeans512<kRest, 0, kProduct>(row, mean);
    case 1:
        return slideMeans512<kRest, 1, kProduct>(row, mean);
    case 2:
        if (kRest == 1)
            return slideMeans512<kRest, 2, kProduct>(row, mean);
        [[fallthrough]];
    default:
        return slideMeans512<kRest, 3, kProduct>(row, mean);
    }
}

template <bool kProduct>
PIXMILL_AVX512_KERNEL void slideMeans512(const SlideRow& row, Mean512 mean)
{
    switch (row.side % 8) {
    case 1:
        return slideMeans512<1, kProduct>(row, mean);
    case 3:
        return slideMeans512<3, kProduct>(row, mean);
    case 5:
        return slideMeans512<5, kProduct>(row, mean);
    default:
        return slideMeans512<7, kProduct>(row, mean);
    }
}

/// slideMeans.
PIXMILL_AVX512_KERNEL void slideMeans512(const SlideRow& row, const ExactMean& mean, ExactMean::Form form)
{
    const Mean512 wide(mean, form);
    row.in.b ? slideMeans512<true>(row, wide) : slideMeans512<false>(row, wide);
}

#else

constexpr auto slideMeans512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::filters
