#pragma once

#include <pixmill/core/detail/aligned.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>

namespace pixmill::detail {

/// How many gaps between neighbouring columns the domain transform looks at. The last one that exists is left out,
/// unless it is the only one.
inline int gapColumns(int columns)
{
    return columns < 2 ? 0 : columns == 2 ? 1 : columns - 2;
}

/// The double rounded to float. It stays a call: where g++ 12 pairs up two of double -> float -> double, it drops the
/// rounding.
__attribute__((noinline)) inline float narrow(double v)
{
    return float(v);
}

/// The domain steps of a guide, 1 + ratio * |gradient|: across in lane form, sixteen rows a tile, down row by row.
///
/// Rows and tiles are padded with steps of 1, to lengths that leave the exponential no odd end.
class DomainSteps {
public:
    /// Room for the steps of a picture of this size; `lastRow` tells whether the last row's gradients across count.
    DomainSteps(cv::Size size, float ratio, bool lastRow);

    /// Fills the tiles first..end-1 and their rows from `count` guide planes that add up.
    void fill(const cv::Mat* guides, int count, int first, int end);

    cv::Size size() const { return m_size; }
    const float* across(int tile) const { return m_across.data() + tile * m_tileStep; }
    const float* down(int y) const { return m_down.data() + y * m_rowStep; }

private:
    cv::Size m_size;
    float m_ratio;
    bool m_lastRow;
    std::size_t m_tileStep, m_rowStep;
    AlignedArray<float> m_across, m_down;
};

} // namespace pixmill::detail
