#pragma once

#include <pixmill/rows/memory.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>

namespace pixmill::filters {

using namespace rows;

/// The double rounded to float. It stays a call: where g++ 12 pairs up two of double -> float -> double, it drops the
/// rounding.
__attribute__((noinline)) inline float roundedToFloat(double v)
{
    return float(v);
}

/// The domain steps of a guide, 1 + ratio * |gradient|, in lane form: across sixteen rows a tile, down sixteen columns
/// a strip. Tiles and strips are padded with steps of 1 to whole vectors.
class DomainSteps {
public:
    /// Room for the steps of a picture of this size; `lastRow` tells whether the last row's gradients across count.
    DomainSteps(cv::Size size, float ratio, bool lastRow);

    /// Fills the tiles first..end-1, and as many rows of the strips, from `count` guide planes that add up.
    void fill(const cv::Mat* guides, int count, int first, int end);

    const float* across(int tile) const { return m_across.data() + tile * m_tileStep; }
    const float* down(int strip) const { return m_down.data() + strip * m_stripStep; }

private:
    cv::Size m_size;
    float m_ratio;
    bool m_lastRow;
    std::size_t m_tileStep, m_stripStep;
    AlignedArray<float> m_across, m_down;
};

} // namespace pixmill::filters
