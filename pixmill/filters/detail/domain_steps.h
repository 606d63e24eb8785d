#pragma once

#include <pixmill/filters/detail/domain_gaps.h>
#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace pixmill::filters {

using namespace rows;

/// The double rounded to float. It stays a call: where g++ 12 pairs up two of double -> float -> double, it drops the
/// rounding.
__attribute__((noinline)) inline float roundedToFloat(double v)
{
    return float(v);
}

/// n rounded up to whole vectors of lanes.
inline std::size_t wholeLanes(int n)
{
    return std::size_t(n + kLanes - 1) / kLanes * kLanes;
}

/// Room for the domain steps of pictures that follow each other; it grows to that of the largest.
struct DomainRoom {
    AlignedArray<float> across, down;
};

/// The domain steps of a guide, 1 + ratio * |gradient|, in lane form: across sixteen rows a tile, down sixteen columns
/// a strip. Tiles and strips are padded with steps of 1 to whole vectors.
class DomainSteps {
public:
    static constexpr int kColumns = 256; ///< At most so many are filled at once: they stay in the first cache.

    /// The steps of guides of one size, whose gradients add up, in `room` as long as both live. `lastRow` tells whether
    /// the last row's gradients across count; `overwritten`, that a tile of the guides may change once it is filled.
    DomainSteps(const std::vector<cv::Mat>& guides, float ratio, bool lastRow, bool overwritten, DomainRoom& room);

    /// Part of a loop's body: fills n columns of a tile from x on, a multiple of kLanes, and as many rows of the
    /// strips.
    void fill(int tile, int x, int n);

    /// Whether no step is below 1; some may be infinite or not a number.
    bool rise() const { return m_ratio >= 0.0f; }

    const float* across(int tile) const { return m_across + tile * m_tileStep; }
    const float* down(int strip) const { return m_down + strip * m_stripStep; }

private:
    const float* below(std::size_t guide, int y) const;

    std::vector<cv::Mat> m_guides, m_below; ///< what is overwritten has the row below each tile kept here
    cv::Size m_size;
    float m_ratio;
    bool m_lastRow;
    std::size_t m_tileStep, m_stripStep;
    float *m_across, *m_down;
};

inline const float* DomainSteps::below(std::size_t guide, int y) const
{
    const bool kept = !m_below.empty() && (y + 1) % kLanes == 0;
    return kept ? m_below[guide].ptr<float>(y / kLanes) : m_guides[guide].ptr<float>(y + 1);
}

inline void DomainSteps::fill(int tile, int x, int n)
{
    const int height = m_size.height, seen = limit(gapColumns(m_size.width) - x, 0, n);
    alignas(64) float across[kLanes][kColumns], down[kColumns];
    const float* rows[kLanes];
    n = int(wholeLanes(n));
    for (int r = 0; r < kLanes; ++r) {
        const int y = tile * kLanes + r;
        rows[r] = across[r];
        std::fill_n(across[r], n, 0.0f);
        std::fill_n(down, n, 0.0f);
        for (std::size_t i = 0; i < m_guides.size() && y < height; ++i) {
            const int channels = m_guides[i].channels();
            const float* from = m_guides[i].ptr<float>(y) + x * channels;
            for (int j = 0; j < n * channels; j += kLanes)
                __builtin_prefetch(from + n * channels + j);
            if (y < height - 1 || m_lastRow)
                addGaps(from, from + channels, seen, channels, across[r]);
            if (y < height - 1)
                addGaps(from, below(i, y) + x * channels, seen, channels, down);
        }
        sumsToSteps(m_ratio, n, across[r]);
        sumsToSteps(m_ratio, n, down);
        for (int i = 0; i < n; i += kLanes)
            std::copy_n(down + i, kLanes, m_down + (x + i) / kLanes * m_stripStep + std::size_t(y) * kLanes);
    }
    toLanes(rows, 0, n, m_across + tile * m_tileStep + std::size_t(x) * kLanes);
}

} // namespace pixmill::filters
