#pragma once

#include <pixmill/rows/avx512.h>

#include <cstddef>
#include <type_traits>

/// The reducing steps of `reduce_differences.h` for sums of 16 bits: all K in one vector, and pairs of sums weighed and
/// added to 32 bits in one step.
namespace pixmill::multiscale {

using namespace rows;

/// Sums that are kept of a column: two for each of K differences, in whole vectors.
template <int K>
constexpr int kSumsOf = K > 16 ? 64 : 32;

#if PIXMILL_X86

/// Sixteen differences.
struct Differences16 {
    using V = __m256i;
    PIXMILL_AVX512_STEP static V load(const void* from) { return _mm256_loadu_si256(static_cast<const V*>(from)); }
    PIXMILL_AVX512_STEP static void store(void* to, V v) { _mm256_storeu_si256(static_cast<V*>(to), v); }
    PIXMILL_AVX512_STEP static V add(V a, V b) { return _mm256_add_epi16(a, b); }
    PIXMILL_AVX512_STEP static V addSums(V a, V b) { return _mm256_add_epi32(a, b); }
    PIXMILL_AVX512_STEP static V lowPairs(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
    PIXMILL_AVX512_STEP static V highPairs(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
    PIXMILL_AVX512_STEP static V weigh(V pairs, V weights) { return _mm256_madd_epi16(pairs, weights); }
    PIXMILL_AVX512_STEP static V fourfold(V v) { return _mm256_slli_epi32(v, 2); }
    PIXMILL_AVX512_STEP static V everywhere(int v) { return _mm256_set1_epi32(v); }
    PIXMILL_AVX512_STEP static V together(V low, V high)
    {
        return _mm256_packs_epi32(_mm256_srai_epi32(low, 8), _mm256_srai_epi32(high, 8));
    }
};

/// Thirty-two.
struct Differences32 {
    using V = __m512i;
    PIXMILL_AVX512_STEP static V load(const void* from) { return _mm512_loadu_si512(from); }
    PIXMILL_AVX512_STEP static void store(void* to, V v) { _mm512_storeu_si512(to, v); }
    PIXMILL_AVX512_STEP static V add(V a, V b) { return _mm512_add_epi16(a, b); }
    PIXMILL_AVX512_STEP static V addSums(V a, V b) { return _mm512_add_epi32(a, b); }
    PIXMILL_AVX512_STEP static V lowPairs(V a, V b) { return _mm512_unpacklo_epi16(a, b); }
    PIXMILL_AVX512_STEP static V highPairs(V a, V b) { return _mm512_unpackhi_epi16(a, b); }
    PIXMILL_AVX512_STEP static V weigh(V pairs, V weights) { return _mm512_madd_epi16(pairs, weights); }
    PIXMILL_AVX512_STEP static V fourfold(V v) { return _mm512_slli_epi32(v, 2); }
    PIXMILL_AVX512_STEP static V everywhere(int v) { return _mm512_set1_epi32(v); }
    PIXMILL_AVX512_STEP static V together(V low, V high)
    {
        return _mm512_packs_epi32(_mm512_srai_epi32(low, 8), _mm512_srai_epi32(high, 8));
    }
};

/// Columns of a row weighed 1 4 6 4 1 around every second one, as outer + 4 * inner.
template <class D>
struct ColumnTapsAvx512 {
    using V = typename D::V;
    V even, odd, evens;

    PIXMILL_AVX512_STEP void start(const short* entries, const int* at)
    {
        even = D::load(entries + at[0]);
        odd = D::load(entries + at[-1]);
        evens = D::add(D::load(entries + at[-2]), even);
    }

    PIXMILL_AVX512_STEP void advance(const short* entries, const int* at, V& outer, V& inner)
    {
        const V nextOdd = D::load(entries + at[1]), nextEven = D::load(entries + at[2]), next = D::add(even, nextEven);
        outer = D::add(evens, next);
        inner = D::add(D::add(odd, even), nextOdd);
        even = nextEven;
        odd = nextOdd;
        evens = next;
    }
};

template <int K>
PIXMILL_AVX512_KERNEL void reduceRemappedPairAvx512(const short* entries, const int* upper, const int* lower, int* sums,
                                                    const int* fractions, short* out, int n)
{
    using D = std::conditional_t<(K > 16), Differences32, Differences16>;
    using V = typename D::V;
    constexpr int kVector = kSumsOf<K> / 4;
    const V lowerRow = D::everywhere(4 << 16 | 1), upperRow = D::everywhere(16 << 16 | 4),
            lowerRowFivefold = D::everywhere(20 << 16 | 5);
    ColumnTapsAvx512<D> above, below;
    above.start(entries, upper);
    below.start(entries, lower);
    for (int x = 0; x < n; ++x) {
        V outer[2], inner[2];
        above.advance(entries, upper + 2 * x, outer[0], inner[0]);
        below.advance(entries, lower + 2 * x, outer[1], inner[1]);
        const V fraction = D::everywhere(fractions[x]);
        const auto half = [&](V a, V b, int* open) PIXMILL_AVX512_CODE {
            int* const last = open + 2 * kVector;
            const V row = D::weigh(b, lowerRow), both = D::addSums(row, D::weigh(a, upperRow));
            const V sum = D::addSums(D::addSums(D::load(open), both), fraction);
            D::store(open, D::addSums(D::addSums(D::load(last), both), D::weigh(b, lowerRowFivefold)));
            D::store(last, row);
            return sum;
        };
        int* const open = sums + std::ptrdiff_t(x) * kSumsOf<K>;
        const V low = half(D::lowPairs(outer[0], inner[0]), D::lowPairs(outer[1], inner[1]), open);
        const V high = half(D::highPairs(outer[0], inner[0]), D::highPairs(outer[1], inner[1]), open + kVector);
        D::store(out + std::ptrdiff_t(x) * K, D::together(low, high));
    }
}

/// The sums of five rows' columns, weighed 1 4 6 4 1: of the lower and the upper half of each eight differences.
template <class D>
struct ColumnSumsAvx512 {
    using V = typename D::V;
    V low, high;

    PIXMILL_AVX512_STEP static ColumnSumsAvx512 of(const short* const rows[5], std::ptrdiff_t at)
    {
        const V middle = D::load(rows[2] + at);
        const V outer = D::add(D::add(D::load(rows[0] + at), D::load(rows[4] + at)), D::add(middle, middle));
        const V inner = D::add(D::add(D::load(rows[1] + at), D::load(rows[3] + at)), middle);
        const V weights = D::everywhere(4 << 16 | 1);
        return {D::weigh(D::lowPairs(outer, inner), weights), D::weigh(D::highPairs(outer, inner), weights)};
    }

    PIXMILL_AVX512_STEP ColumnSumsAvx512 plus(ColumnSumsAvx512 other) const
    {
        return {D::addSums(low, other.low), D::addSums(high, other.high)};
    }

    PIXMILL_AVX512_STEP ColumnSumsAvx512 fourfold() const { return {D::fourfold(low), D::fourfold(high)}; }
};

template <int K>
PIXMILL_AVX512_KERNEL void reduceDifferencesAvx512(const short* const rows[5], const int* fractions, short* out, int n)
{
    using D = std::conditional_t<(K > 16), Differences32, Differences16>;
    using Sums = ColumnSumsAvx512<D>;
    Sums odd = Sums::of(rows, -K), even = Sums::of(rows, 0), evens = Sums::of(rows, -2 * K).plus(even);
    for (int x = 0; x < n; ++x) {
        const std::ptrdiff_t at = std::ptrdiff_t(2 * x + 1) * K;
        const Sums nextOdd = Sums::of(rows, at), nextEven = Sums::of(rows, at + K), next = even.plus(nextEven);
        const typename D::V fraction = D::everywhere(fractions[x]);
        const Sums sums = evens.plus(next).plus(odd.plus(even).plus(nextOdd).fourfold()).plus({fraction, fraction});
        D::store(out + std::ptrdiff_t(x) * K, D::together(sums.low, sums.high));
        odd = nextOdd;
        even = nextEven;
        evens = next;
    }
}

#else

template <int K>
constexpr auto reduceRemappedPairAvx512 = kNoKernel;
template <int K>
constexpr auto reduceDifferencesAvx512 = kNoKernel;

#endif

} // namespace pixmill::multiscale
