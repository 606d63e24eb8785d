#pragma once

#include <pixmill/filters/detail/guided_avx512.h>
#include <pixmill/filters/detail/guided_edges.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

/// Column sums, windows and means of all moments in one pass of a row, for processors with AVX-512: the samples are
/// read and widened once, and what is made of the means takes them from registers.
namespace pixmill::filters {

using namespace rows;

#if PIXMILL_X86

/// The first `count` of eight values.
PIXMILL_AVX512_STEP void store512(float* to, __m256 v, int count)
{
    if (count < 8)
        _mm256_mask_storeu_ps(to, __mmask8((1 << count) - 1), v);
    else
        _mm256_storeu_ps(to, v);
}

/// The samples of eight columns of planes, in the rows that enter and leave.
template <int kPlanes>
struct Eight512 {
    __m256 in[kPlanes], out[kPlanes];

    template <std::size_t... p>
    PIXMILL_AVX512_STEP Eight512(const float* const (&enters)[kPlanes], const float* const (&leaves)[kPlanes], int x,
                                 std::index_sequence<p...>)
        : in{_mm256_loadu_ps(enters[p] + x)...}, out{_mm256_loadu_ps(leaves[p] + x)...}
    {
    }

    /// What a moment's column sums change by.
    template <int i, int k>
    PIXMILL_AVX512_STEP __m512d change() const
    {
        if constexpr (k < 0)
            return _mm512_sub_pd(_mm512_cvtps_pd(in[i]), _mm512_cvtps_pd(out[i]));
        else
            return _mm512_sub_pd(_mm512_cvtps_pd(_mm256_mul_ps(in[i], in[k])),
                                 _mm512_cvtps_pd(_mm256_mul_ps(out[i], out[k])));
    }
};

constexpr unsigned kEightsKept = 16; ///< More than windows of kWidestTogether columns have.

/// The windows of the table's moments, side by side. Where kWaits, they take columns' sums when the next ones are
/// formed.
template <class Samples, class Windows, bool kWaits, const auto& kTable, class Moments>
class Lanes512;

template <class Samples, class Windows, bool kWaits, const auto& kTable, std::size_t... m>
class Lanes512<Samples, Windows, kWaits, kTable, std::index_sequence<m...>> {
public:
    static constexpr int kMoments = sizeof...(m);

    template <class Row>
    PIXMILL_AVX512_STEP Lanes512(const Row& row, const ExactMean& mean, double* eights)
        : m_windows{Windows({eights + 8 * kEightsKept * m, kEightsKept - 1}, row.side / 8)...},
          m_before{((void)m, _mm512_setzero_pd())...}, m_sums(row.sums),
          m_stride(row.stride), m_mean{Mean512(mean, row.form[m])...}
    {
    }

    PIXMILL_AVX512_STEP void push(const Samples& samples, int x, __m256 (&means)[kMoments])
    {
        ((means[m] = push<m>(samples, m_sums + std::ptrdiff_t(m_stride) * m + x)), ...);
    }

private:
    template <std::size_t moment>
    PIXMILL_AVX512_STEP __m256 push(const Samples& samples, double* at)
    {
        const __m512d change = samples.template change<kTable[moment].i, kTable[moment].k>();
        const __m512d sums = _mm512_add_pd(_mm512_load_pd(at), change);
        _mm512_store_pd(at, sums);
        const __m512d before = kWaits ? m_before[moment] : sums;
        m_before[moment] = sums;
        return m_mean[moment](m_windows[moment].push(before));
    }

    Windows m_windows[kMoments];
    __m512d m_before[kMoments];
    double* m_sums;
    int m_stride;
    Mean512 m_mean[kMoments];
};

template <int kPlanes>
PIXMILL_AVX512_STEP void fetch512(const float* const (&ahead)[kPlanes], int x)
{
    for (int p = 0; p < kPlanes; ++p)
        _mm_prefetch(reinterpret_cast<const char*>(ahead[p] + x), _MM_HINT_T0);
}

/// Columns whose samples stand side by side are read where they are, those at the ends from copies.
template <class Windows, const auto& kTable, int kPlanes, class Finish>
PIXMILL_AVX512_KERNEL void slideTogether512(const SlideRows<kPlanes, int(std::size(kTable))>& row,
                                            const ExactMean& mean, const Finish& finish)
{
    constexpr auto kEach = std::make_index_sequence<kPlanes>();
    constexpr bool kWaits = Finish::kWaits;
    const int delay = 8 * (Windows::kDelay + kWaits + row.side / 8), end = row.n + delay;
    alignas(64) double eights[8 * kEightsKept * std::size(kTable)];
    const RowEdges<kPlanes> in(row.in, delay, end), out(row.out, delay, end);
    using Moments = std::make_index_sequence<std::size(kTable)>;
    Lanes512<Eight512<kPlanes>, Windows, kWaits, kTable, Moments> lanes(row, mean, eights);
    struct Means {
        __m256 of[std::size(kTable)];
    } means, before;
    int x = 0;
    for (; x < end; x += 8) {
        const bool head = x < delay;
        if (head || x >= in.m_tail) {
            const int at = head ? x : x - in.m_tail;
            lanes.push({head ? in.m_left : in.m_right, head ? out.m_left : out.m_right, at, kEach}, x, means.of);
        } else {
            fetch512(row.ahead, x);
            lanes.push({in.m_middle, out.m_middle, x, kEach}, x, means.of);
        }
        if constexpr (kWaits) {
            if (x > delay)
                finish.put512(before.of, x - delay - 8, 8);
            before = means;
        } else if (!head) {
            finish.put512(means.of, x - delay, std::min(end - x, 8));
        }
    }
    if constexpr (kWaits)
        finish.put512(before.of, x - delay - 8, end - x + 8);
}

/// The same for windows of more than two eights.
template <const auto& kTable, int kPlanes, class Finish>
PIXMILL_AVX512_KERNEL void slideMany512(const SlideRows<kPlanes, int(std::size(kTable))>& row, const ExactMean& mean,
                                        const Finish& finish)
{
    switch (row.side % 8) {
    case 1:
        return slideTogether512<Windows512<1, 3>, kTable>(row, mean, finish);
    case 3:
        return slideTogether512<Windows512<3, 3>, kTable>(row, mean, finish);
    case 5:
        return slideTogether512<Windows512<5, 3>, kTable>(row, mean, finish);
    default:
        return slideTogether512<Windows512<7, 3>, kTable>(row, mean, finish);
    }
}

/// All moments' column sums move on by a row, and `finish` takes their means, eight of each at a time.
template <const auto& kTable, int kPlanes, class Finish>
PIXMILL_AVX512_KERNEL void slideTogether512(const SlideRows<kPlanes, int(std::size(kTable))>& row,
                                            const ExactMean& mean, const Finish& finish)
{
    if (row.side > 17)
        return slideMany512<kTable>(row, mean, finish);
    switch (row.side) {
    case 3:
        return slideTogether512<Windows512<3, 0>, kTable>(row, mean, finish);
    case 5:
        return slideTogether512<Windows512<5, 0>, kTable>(row, mean, finish);
    case 7:
        return slideTogether512<Windows512<7, 0>, kTable>(row, mean, finish);
    case 9:
        return slideTogether512<Windows512<1, 1>, kTable>(row, mean, finish);
    case 11:
        return slideTogether512<Windows512<3, 1>, kTable>(row, mean, finish);
    case 13:
        return slideTogether512<Windows512<5, 1>, kTable>(row, mean, finish);
    case 15:
        return slideTogether512<Windows512<7, 1>, kTable>(row, mean, finish);
    default:
        return slideTogether512<Windows512<1, 2>, kTable>(row, mean, finish);
    }
}

#else

template <const auto& kTable, class Row, class Finish>
void slideTogether512(const Row&, const ExactMean&, const Finish&)
{
}

#endif // PIXMILL_X86

} // namespace pixmill::filters
