#pragma once

#include <pixmill/filters/detail/window_pads.h>
#include <pixmill/rows/memory.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>

namespace pixmill::filters {

using namespace rows;

/// Domain coordinates of a guide: running sums of the steps 1 + ratio * |gradient| along every row and every column.
/// Each line is padded.
class DomainCoordinates {
public:
    /// @param guide  Any number of channels of floats, not empty.
    DomainCoordinates(const cv::Mat& guide, float ratio);

    const float* across(int y) const { return m_across.data() + y * m_acrossStep + kPadBefore; }
    const float* down(int x) const { return m_down.data() + x * m_downStep + kPadBefore; }

    /// Whether all lines' coordinates are finite and rise by 7/8 or more from each to the next: steps are 1 or more,
    /// and sums below 2^20 round by 1/16 at the most.
    bool apart() const { return m_apart; }

private:
    void fillAcross(const cv::Mat& guide, float ratio);
    void fillDown(const cv::Mat& guide, float ratio);

    bool m_apart;
    std::size_t m_acrossStep, m_downStep;
    AlignedArray<float> m_across, m_down;
};

} // namespace pixmill::filters
