#pragma once

#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

/// What the remapping adds to every pixel value for each of K references, in a table that the second cache holds.
namespace pixmill::multiscale {

using namespace rows;

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
        : m_step(step), m_most((kValues - 1) / step), m_row(m_most + K),
          m_entries(std::size_t(m_row) * step + std::size_t(kValues) * K)
    {
        const auto [lowest, highest] = std::minmax_element(remap, remap + kValues);
        const int down = twice(*lowest), up = twice(*highest);
        m_biased = down < -kBias || up >= kBias;
        m_low = m_biased ? kValues : std::max(-down, 0);
        m_high = kValues - 1 - std::max(up, 0);
        drawShared(remap);
        forEachIndex(kValues, long(kValues) * K, [&](int v) {
            if (!shared(v))
                drawOwn(remap, v);
        });
    }

    /// What reference k makes of v.
    static ushort remapped(const ushort* remap, int v, int k, int step)
    {
        return clamp16(v + difference(remap, v - k * step));
    }

    const short* entries() const { return m_entries.data(); }

    /// What the entries of a pixel are added to.
    int base(ushort v) const { return m_biased ? kBias : v; }
    bool biased() const { return m_biased; }

    /// Where the K entries of each pixel of a row begin.
    void locateRow(const ushort* __restrict g, int* __restrict at, int n) const
    {
        const int step = m_step, most = m_most, row = m_row, own = m_row * m_step, low = m_low, high = m_high;
        const float invStep = 1.0f / float(step);
        for (int x = 0; x < n; ++x) {
            const int v = g[x], quotient = int((float(v) + 0.5f) * invStep);
            const int together = (v - quotient * step) * row + most - quotient, apart = own + v * K;
            at[x] = v >= low && v <= high ? together : apart;
        }
    }

private:
    static constexpr int kValues = 65536, kBias = 32768;

    static int twice(ushort half) { return 2 * half - 65536; }

    static int difference(const ushort* remap, int from)
    {
        return twice(remap[toPixel16(float(from) * 0.5f + 32768.0f)]);
    }

    bool shared(int v) const { return v >= m_low && v <= m_high; }

    void drawShared(const ushort* remap)
    {
        for (int r = 0; r < m_step; ++r)
            for (int i = 0; i < m_row; ++i)
                m_entries[std::size_t(r) * m_row + i] = short(difference(remap, (m_most - i) * m_step + r));
    }

    void drawOwn(const ushort* remap, int v)
    {
        short* const own = m_entries.data() + std::ptrdiff_t(m_row) * m_step + std::ptrdiff_t(v) * K;
        for (int k = 0; k < K; ++k)
            own[k] = short(remapped(remap, v, k, m_step) - base(ushort(v)));
    }

    int m_step, m_most; ///< What lies between references, and how often it goes into a pixel value at the most.
    int m_row;          ///< Entries of a remainder, the largest quotient first.
    int m_low, m_high;  ///< Values that no reference clamps; none if biased.
    bool m_biased;      ///< Whether some difference has more than 16 bits.
    AlignedArray<short> m_entries;
};

} // namespace pixmill::multiscale
