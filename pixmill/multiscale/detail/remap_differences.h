#pragma once

#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// What the remapping adds to every pixel value for each of K references, in a table that the second cache holds.
namespace pixmill::multiscale {

using namespace rows;

/// Of 65536 half differences around 32768.
inline int twice(ushort half)
{
    return 2 * half - 65536;
}

/// What the remapping adds to a value `from` above its reference, before it is clamped.
inline int difference(const ushort* remap, int from)
{
    return twice(remap[toPixel16(float(from) * 0.5f + 32768.0f)]);
}

/// Where the entries of a pixel value begin.
struct EntryPlaces {
    int step, most; ///< What lies between references, and how often it goes into a pixel value at the most.
    int row;        ///< Entries of a remainder, the largest quotient first.
    int low, high;  ///< Values that no reference clamps; none if biased.
    int references;

    int operator()(int v) const
    {
        const int quotient = int((float(v) + 0.5f) * (1.0f / float(step)));
        const int together = (v - quotient * step) * row + most - quotient, apart = row * step + v * references;
        return v >= low && v <= high ? together : apart;
    }
};

/// Reference k makes v + d(v - k step) of a pixel value, clamped. What K references add to it stands side by side where
/// d is kept by the remainder of its argument by the step: a quarter of a megabyte, where K values of every pixel value
/// take up to three. The few values that a reference clamps have K entries of their own behind.
///
/// Differences that need more than 16 bits are those of very wide curves. Then every value has its own entries, and
/// they are the remapped values less 32768.
template <int K>
class RemapDifferences {
public:
    /// `remap` has 65536 half differences around 32768.
    RemapDifferences(const ushort* remap, int step)
        : m_places{step, (kValues - 1) / step, (kValues - 1) / step + K, 0, 0, K},
          m_entries(std::size_t(m_places.row) * step + std::size_t(kValues) * K + kBehind)
    {
        const auto [lowest, highest] = std::minmax_element(remap, remap + kValues);
        const int down = twice(*lowest), up = twice(*highest);
        m_biased = down < -kBias || up >= kBias;
        m_largest = m_biased ? kBias : std::max(-down, up);
        m_places.low = m_biased ? kValues : std::max(-down, 0);
        m_places.high = kValues - 1 - std::max(up, 0);
        drawShared(remap);
        std::fill_n(m_entries.end() - kBehind, kBehind, short(0));
        forEachIndex(kValues, long(kValues) * K, [&](int v) {
            if (!shared(v))
                drawOwn(remap, v);
        });
    }

    /// Where an entry begins, sixteen more can be read; thirty-two if K is more than sixteen.
    const short* entries() const { return m_entries.data(); }
    const EntryPlaces& places() const { return m_places; }

    /// Whether the entries are added to 32768, not to the pixel value.
    bool biased() const { return m_biased; }

    /// No entry is further from 0.
    int largest() const { return m_largest; }

private:
    static constexpr int kValues = 65536, kBias = 32768, kBehind = 16;

    bool shared(int v) const { return v >= m_places.low && v <= m_places.high; }

    void drawShared(const ushort* remap)
    {
        const auto [step, most, row] = std::array{m_places.step, m_places.most, m_places.row};
        for (int r = 0; r < step; ++r)
            for (int i = 0; i < row; ++i)
                m_entries[std::size_t(r) * row + i] = short(difference(remap, (most - i) * step + r));
    }

    void drawOwn(const ushort* remap, int v)
    {
        short* const own = m_entries.data() + m_places(v);
        for (int k = 0; k < K; ++k)
            own[k] = short(clamp16(v + difference(remap, v - k * m_places.step)) - (m_biased ? kBias : v));
    }

    EntryPlaces m_places;
    int m_largest = 0;
    bool m_biased = false;
    AlignedArray<short> m_entries;
};

} // namespace pixmill::multiscale
