#pragma once

#include <pixmill/multiscale/detail/remap_differences.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/pyramid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// A row of coefficients: of each pixel's K, given by what they differ by from the plain ones, the two between whose
/// references the pixel lies, interpolated.
///
/// Pixels are taken in pairs of an even column and an odd one, a block at a time. Their places between the references
/// come first, then what lies there is picked, and the arithmetic on it comes last: so only the picking is not done in
/// lanes.
namespace pixmill::multiscale {

using namespace rows;

constexpr int kPairs = 64; ///< Of a block, which the nearest cache holds with all that is made of it.

/// Something of the pixels of a block, even and odd columns apart.
template <class T>
struct alignas(64) Pairs {
    T even[kPairs], odd[kPairs];
};

/// Two neighbouring samples as one number.
template <class T>
using Two = std::conditional_t<sizeof(T) == 2, std::uint32_t, std::uint64_t>;

template <class T>
inline Two<T> twoAt(const T* samples)
{
    Two<T> two;
    std::memcpy(&two, samples, sizeof two);
    return two;
}

// Shifts keep the samples in lanes of 32 bits, where conversions would pack them to 16 and back.

inline int lowOf(std::uint32_t two)
{
    return int(two << 16) >> 16;
}

inline int highOf(std::uint32_t two)
{
    return int(two) >> 16;
}

inline int lowOf(std::uint64_t two)
{
    return int(two);
}

inline int highOf(std::uint64_t two)
{
    return int(two >> 32);
}

/// Two samples of 16 bits as two of Sum's.
template <class Sum>
inline Two<Sum> widened(std::uint32_t two)
{
    const Sum samples[2] = {Sum(lowOf(two)), Sum(highOf(two))};
    return twoAt(samples);
}

/// The enlarging step's sums of K differences each, of a block's columns and one on both sides. Differences have at
/// most an eighth of the range of a Sum.
template <int K, class Sum>
struct alignas(64) EnlargingSums {
    Sum sums[(kPairs + 2) * K];

    const Sum* column(int i) const { return sums + (i + 1) * K; }
};

/// What is picked: of every pixel its own differences, and sums of the next level's columns around it.
template <class Sum>
struct alignas(64) PickedPairs {
    Pairs<Two<Sum>> differences;
    Two<Sum> before[kPairs], at[kPairs], after[kPairs]; ///< Even columns.
    Two<Sum> left[kPairs], right[kPairs];               ///< Odd ones.
};

// Picking is kept out of line, so that it stays the plain loop at every processor level: gathers are slower.

template <class Sum>
__attribute__((noinline)) void pickDifferences(const short* differences, const Pairs<int>& places,
                                               Pairs<Two<Sum>>& picked, int n)
{
    for (int i = 0; i < n; ++i) {
        picked.even[i] = widened<Sum>(twoAt(differences + places.even[i]));
        picked.odd[i] = widened<Sum>(twoAt(differences + places.odd[i]));
    }
}

template <class Sum>
__attribute__((noinline)) void pickBetween(const Two<Sum>* between, const Pairs<int>& places, Pairs<Two<Sum>>& picked,
                                           int n)
{
    for (int i = 0; i < n; ++i) {
        picked.even[i] = between[places.even[i]];
        picked.odd[i] = between[places.odd[i]];
    }
}

template <int K, class Sum>
__attribute__((noinline)) void pickSums(const EnlargingSums<K, Sum>& sums, const Pairs<int>& low,
                                        PickedPairs<Sum>& picked, int n)
{
    for (int i = 0; i < n; ++i) {
        const Sum *const even = sums.column(i) + low.even[i], *const odd = sums.column(i) + low.odd[i];
        picked.before[i] = twoAt(even - K);
        picked.at[i] = twoAt(even);
        picked.after[i] = twoAt(even + K);
        picked.left[i] = twoAt(odd);
        picked.right[i] = twoAt(odd + K);
    }
}

/// Weighs three rows one below the other, 1 6 1, or 0 4 4 for an odd row.
template <class T, class Sum>
inline void weighThree(const T* const rows[3], bool odd, Sum* __restrict sums, int n)
{
    const T *a = rows[0], *b = rows[1], *c = rows[2];
    if (odd)
        for (int i = 0; i < n; ++i)
            sums[i] = Sum(4 * (b[i] + c[i]));
    else
        for (int i = 0; i < n; ++i)
            sums[i] = Sum((a[i] + c[i]) + 6 * b[i]);
}

/// What a row of coefficients is made of.
struct CoefficientRow {
    const ushort* pixels;     ///< The level's plain ones, which lie between references.
    const ushort* base;       ///< What differences are added to: the same, or 32768 everywhere.
    const short* differences; ///< K of every pixel; null at level 0, where pixels alone tell them.
    int width;
    ushort* out;

    std::array<const short*, 3> aboveDifferences; ///< The next level's rows that enlarge to this one, a column before
                                                  ///< the first and one behind the last included. Null: none.
    std::array<const ushort*, 3> aboveBase;
    bool odd;
};

/// Walks the blocks of one row, or of the two that the same rows enlarge to.
template <int K, class Sum>
class CoefficientBlocks {
public:
    /// Reference k of the K is k * step, and invStep 1 / step. `between` holds for every value from a reference on what
    /// is added to it for that one and the next.
    CoefficientBlocks(int step, float invStep, const Two<Sum>* between)
        : m_step(step), m_invStep(invStep), m_between(between)
    {
    }

    void run(const CoefficientRow* rows, int count)
    {
        const int pairs = (rows->width + 1) / 2;
        for (int first = 0; first < pairs; first += kPairs)
            for (int k = 0; k < count; ++k)
                runBlock(rows[k], first, std::min(kPairs, pairs - first));
    }

private:
    void runBlock(const CoefficientRow& row, int first, int n)
    {
        enlarge(row, first, n);
        const ushort *pixels = row.pixels + 2 * first, *base = row.base + 2 * first;
        ushort* out = row.out + 2 * first;
        const int count = row.width - 2 * first;
        if (count < 2 * n) { // the last pair is half one
            pixels = std::copy_n(pixels, count, m_lastPixels) - count;
            base = std::copy_n(base, count, m_lastBase) - count;
            out = m_lastOut;
        }
        locate(pixels, n);
        pickSums<K>(m_sums, m_low, m_picked, n);
        pickOwn(row, pixels, first, n);
        blend(pixels, base, out, n);
        if (count < 2 * n)
            std::copy_n(m_lastOut, count, row.out + 2 * first);
    }

    void enlarge(const CoefficientRow& row, int first, int n)
    {
        if (!row.aboveDifferences[0]) {
            std::fill_n(m_sums.sums, (n + 2) * K, Sum(0));
            std::fill_n(m_baseSums, n + 2, 8 * 32767); // enlarged it is the bias
            return;
        }
        const short* differences[3];
        const ushort* base[3];
        for (int i = 0; i < 3; ++i) {
            differences[i] = row.aboveDifferences[i] + std::ptrdiff_t(first - 1) * K;
            base[i] = row.aboveBase[i] + first - 1;
        }
        weighThree(differences, row.odd, m_sums.sums, (n + 2) * K);
        weighThree(base, row.odd, m_baseSums, n + 2);
        if (first + n == (row.width + 1) / 2) {
            std::memcpy(m_sums.sums + (n + 1) * K, m_sums.column(n - 1), sizeof(Sum) * K);
            m_baseSums[n + 1] = m_baseSums[n];
        }
    }

    void locate(const ushort* pixels, int n)
    {
        const float invStep = m_invStep;
        const auto lower = [=](std::uint32_t pixel) { return limit(int(float(int(pixel)) * invStep), 0, K - 2); };
        for (int i = 0; i < n; ++i) {
            const std::uint32_t pair = twoAt(pixels + 2 * i);
            m_low.even[i] = lower(pair & 65535);
            m_low.odd[i] = lower(pair >> 16);
        }
    }

    void pickOwn(const CoefficientRow& row, const ushort* pixels, int first, int n)
    {
        if (row.differences) {
            for (int i = 0; i < n; ++i) {
                m_places.even[i] = 2 * i * K + m_low.even[i];
                m_places.odd[i] = (2 * i + 1) * K + m_low.odd[i];
            }
            pickDifferences<Sum>(row.differences + std::ptrdiff_t(2 * first) * K, m_places, m_picked.differences, n);
            return;
        }
        const int step = m_step;
        for (int i = 0; i < n; ++i) {
            const std::uint32_t pair = twoAt(pixels + 2 * i);
            m_places.even[i] = int(pair & 65535) - m_low.even[i] * step;
            m_places.odd[i] = int(pair >> 16) - m_low.odd[i] * step;
        }
        pickBetween<Sum>(m_between, m_places, m_picked.differences, n);
    }

    /// A pixel between two references: values less the enlarged next level's, biased by 32767, and interpolated.
    static std::uint32_t between(int pixel, int base, int low, float invStep, const int differences[2],
                                 int enlargedBase, const int enlarged[2])
    {
        const float fraction = float(pixel) * invStep - float(low);
        const auto detail = [&](int k) {
            const int value = limit(base + differences[k], 0, 65535);
            return float(limit(value + 32767 - ((enlargedBase + enlarged[k]) >> 6), 0, 65535));
        };
        return std::uint32_t(int(detail(1) * fraction + detail(0) * (1.0f - fraction)));
    }

    void blend(const ushort* pixels, const ushort* base, ushort* out, int n)
    {
        const float invStep = m_invStep;
        const int* const sums = m_baseSums + 1;
        const auto even = [&](int i) {
            const Two<Sum> a = m_picked.before[i], b = m_picked.at[i], c = m_picked.after[i];
            const Two<Sum> own = m_picked.differences.even[i];
            const int differences[2] = {lowOf(own), highOf(own)};
            const int enlarged[2] = {lowOf(a) + lowOf(c) + 6 * lowOf(b), highOf(a) + highOf(c) + 6 * highOf(b)};
            return between(int(twoAt(pixels + 2 * i) & 65535), int(twoAt(base + 2 * i) & 65535), m_low.even[i], invStep,
                           differences, sums[i - 1] + sums[i + 1] + 6 * sums[i] + 32, enlarged);
        };
        const auto odd = [&](int i) {
            const Two<Sum> a = m_picked.left[i], b = m_picked.right[i];
            const Two<Sum> own = m_picked.differences.odd[i];
            const int differences[2] = {lowOf(own), highOf(own)};
            const int enlarged[2] = {4 * (lowOf(a) + lowOf(b)), 4 * (highOf(a) + highOf(b))};
            return between(int(twoAt(pixels + 2 * i) >> 16), int(twoAt(base + 2 * i) >> 16), m_low.odd[i], invStep,
                           differences, 4 * (sums[i] + sums[i + 1]) + 32, enlarged);
        };
        PIXMILL_SAME_SAMPLE_ALIASING
        for (int i = 0; i < n; ++i) {
            const std::uint32_t pair = (even(i) & 65535) | odd(i) << 16;
            std::memcpy(out + 2 * i, &pair, sizeof pair);
        }
    }

    const int m_step;
    const float m_invStep;
    const Two<Sum>* m_between;
    EnlargingSums<K, Sum> m_sums;
    PickedPairs<Sum> m_picked;
    Pairs<int> m_low, m_places;
    int m_baseSums[kPairs + 2];
    ushort m_lastPixels[2 * kPairs] = {}, m_lastBase[2 * kPairs] = {}, m_lastOut[2 * kPairs];
};

} // namespace pixmill::multiscale
