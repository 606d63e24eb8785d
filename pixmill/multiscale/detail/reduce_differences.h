#pragma once

#include <pixmill/multiscale/detail/reduce_differences_avx512.h>
#include <pixmill/rows/rows.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

/// The pyramid's reducing step on what K remapped pictures differ by from the plain one.
///
/// A remapped pixel is the plain one and a difference, so a pixel of the next level is the plain sum and the
/// differences' sum together, less the plain pixel there: (differences' sum + fraction) >> 8, where the fraction is
/// what the plain sum, 128 to round it included, has below 256. Differences of usual curves are small enough for sums
/// of 16 bits, two of which make a weighing 1 4 6 4 1: outer + 4 * inner, as in (a + 2 c + e) + 4 (b + c + d). Wider
/// ones take 32.
namespace pixmill::multiscale {

using namespace rows;

/// Vectors of eight, which the compiler splits where the processor has only four.
template <class T>
struct EightOf {
    typedef T Type __attribute__((vector_size(8 * sizeof(T))));
};

template <class T>
using Eight = typename EightOf<T>::Type;

template <class T>
inline void loadEight(const T* from, Eight<T>& v)
{
    std::memcpy(&v, from, sizeof v);
}

template <class T>
inline void storeEight(T* to, const Eight<T>& v)
{
    std::memcpy(to, &v, sizeof v);
}

/// How many eights cover K differences. The last one of K = 10 reaches into what follows, which is written after.
template <int K>
constexpr int kEights = (K + 7) / 8;

/// Weighs columns 1 4 6 4 1 around every second one, from left to right: only two are new each time.
template <class Sum>
class ColumnTaps {
public:
    void start(const Eight<Sum>& evenBefore, const Eight<Sum>& oddBefore, const Eight<Sum>& even)
    {
        m_even = even;
        m_odd = oddBefore;
        m_evens = evenBefore + even;
    }

    /// With the next two columns; the result is outer + 4 * inner.
    void advance(const Eight<Sum>& odd, const Eight<Sum>& even, Eight<Sum>& outer, Eight<Sum>& inner)
    {
        const Eight<Sum> evens = m_even + even;
        outer = m_evens + evens;
        inner = m_odd + m_even + odd;
        m_even = even;
        m_odd = odd;
        m_evens = evens;
    }

private:
    Eight<Sum> m_even, m_odd, m_evens; ///< The latest even and odd column, and the latest two even ones' sum.
};

/// Eight of the K differences at level 0, two rows at a time. What rows before leave is kept for every column: the sum
/// that the next two rows complete, and the last row's own.
template <class Sum>
class RemappedPairTaps {
public:
    void start(const short* const upper[3], const short* const lower[3])
    {
        startRow(m_upper, upper);
        startRow(m_lower, lower);
    }

    /// Each row's odd column and the even one after it.
    void advance(const short* const upper[2], const short* const lower[2], int* open, int* last, int fraction,
                 short* out)
    {
        Eight<Sum> upperOuter, upperInner, lowerOuter, lowerInner;
        advanceRow(m_upper, upper, upperOuter, upperInner);
        advanceRow(m_lower, lower, lowerOuter, lowerInner);
        const auto outer = __builtin_convertvector(lowerOuter, Eight<int>);
        const auto middle = __builtin_convertvector(upperOuter + lowerInner, Eight<int>);
        const auto far = __builtin_convertvector(upperInner, Eight<int>);
        const auto both = outer + (middle << 2) + (far << 4); // 4 times the upper row and the lower
        const auto lowerSum = outer + (__builtin_convertvector(lowerInner, Eight<int>) << 2);
        Eight<int> before, lastBefore;
        loadEight(open, before);
        loadEight(last, lastBefore);
        storeEight(out, __builtin_convertvector((before + both + fraction) >> 8, Eight<short>));
        storeEight(open, lastBefore + both + lowerSum + (lowerSum << 2));
        storeEight(last, lowerSum);
    }

private:
    static void load(const short* from, Eight<Sum>& v)
    {
        Eight<short> entries;
        loadEight(from, entries);
        v = __builtin_convertvector(entries, Eight<Sum>);
    }

    static void startRow(ColumnTaps<Sum>& taps, const short* const columns[3])
    {
        Eight<Sum> v[3];
        for (int i = 0; i < 3; ++i)
            load(columns[i], v[i]);
        taps.start(v[0], v[1], v[2]);
    }

    static void advanceRow(ColumnTaps<Sum>& taps, const short* const columns[2], Eight<Sum>& outer, Eight<Sum>& inner)
    {
        Eight<Sum> odd, even;
        load(columns[0], odd);
        load(columns[1], even);
        taps.advance(odd, even, outer, inner);
    }

    ColumnTaps<Sum> m_upper, m_lower;
};

/// One row of level 1 from two rows of level 0, of whose pixels the K entries begin at upper[x] and lower[x]; two
/// mirrored columns stand on both sides. `sums` are what rows before left, kSumsOf<K> each.
template <int K, class Sum>
inline void reduceRemappedPair(const short* entries, const int* upper, const int* lower, int* sums,
                               const int* fractions, short* out, int n)
{
    if constexpr (std::is_same_v<Sum, short>)
        if (takesAvx512()) {
            reduceRemappedPairAvx512<K>(entries, upper, lower, sums, fractions, out, n);
            return;
        }
    RemappedPairTaps<Sum> taps[kEights<K>];
    for (int e = 0; e < kEights<K>; ++e) {
        const short* const all = entries + 8 * e;
        const short *const a[3] = {all + upper[-2], all + upper[-1], all + upper[0]}, *const b[3] = {all + lower[-2],
                                                                                                     all + lower[-1],
                                                                                                     all + lower[0]};
        taps[e].start(a, b);
    }
    for (int x = 0; x < n; ++x)
        for (int e = 0; e < kEights<K>; ++e) {
            const short* const all = entries + 8 * e;
            const short *const a[2] = {all + upper[2 * x + 1], all + upper[2 * x + 2]}, *const b[2] = {
                                                                                            all + lower[2 * x + 1],
                                                                                            all + lower[2 * x + 2]};
            int* const open = sums + std::ptrdiff_t(x) * kSumsOf<K> + 8 * e;
            taps[e].advance(a, b, open, open + kSumsOf<K> / 2, fractions[x], out + std::ptrdiff_t(x) * K + 8 * e);
        }
}

/// One row of a higher level from five rows of the level below. Two mirrored columns stand on both sides of each.
template <int K, class Sum>
inline void reduceDifferences(const short* const rows[5], const int* fractions, short* out, int n)
{
    if constexpr (std::is_same_v<Sum, short>)
        if (takesAvx512()) {
            reduceDifferencesAvx512<K>(rows, fractions, out, n);
            return;
        }
    const auto column = [&](std::ptrdiff_t at, Eight<int>& sum) {
        Eight<Sum> v[5];
        for (int i = 0; i < 5; ++i) {
            Eight<short> row;
            loadEight(rows[i] + at, row);
            v[i] = __builtin_convertvector(row, Eight<Sum>);
        }
        const Eight<Sum> outer = v[0] + v[2] + v[2] + v[4], inner = v[1] + v[2] + v[3];
        sum = __builtin_convertvector(outer, Eight<int>) + (__builtin_convertvector(inner, Eight<int>) << 2);
    };
    ColumnTaps<int> taps[kEights<K>];
    for (int e = 0; e < kEights<K>; ++e) {
        Eight<int> v[3];
        for (int i = 0; i < 3; ++i)
            column((i - 2) * K + 8 * e, v[i]);
        taps[e].start(v[0], v[1], v[2]);
    }
    for (int x = 0; x < n; ++x)
        for (int e = 0; e < kEights<K>; ++e) {
            const std::ptrdiff_t at = std::ptrdiff_t(2 * x + 1) * K + 8 * e;
            Eight<int> odd, even, outer, inner;
            column(at, odd);
            column(at + K, even);
            taps[e].advance(odd, even, outer, inner);
            storeEight(out + std::ptrdiff_t(x) * K + 8 * e,
                       __builtin_convertvector((outer + (inner << 2) + fractions[x]) >> 8, Eight<short>));
        }
}

} // namespace pixmill::multiscale
