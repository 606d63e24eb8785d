#pragma once

#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/filters/detail/domain_steps.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core/mat.hpp>

#include <vector>

namespace pixmill::filters {

using namespace rows;

/// Float pictures of one size, filtered in place with shared weights exp(step * k).
///
/// Rows are walked sixteen side by side, in tiles from the top; columns sixteen side by side, in strips from the left.
/// Both walks go forth and back over weights and samples that stay in the second cache, so the weights of a pass are
/// made once, and no picture is transposed.
class DomainRecursion {
public:
    explicit DomainRecursion(const std::vector<cv::Mat>& pictures);

    int tiles() const { return (m_size.height + kLanes - 1) / kLanes; }

    /// Both passes along the rows of the tiles first..end-1, read from `from`: the pictures, or others like them.
    void rows(const std::vector<cv::Mat>& from, const DomainSteps& steps, int first, int end, float k);

    /// Both passes along all rows, with steps that stand in a plane.
    void rows(const cv::Mat& steps, float k);

    /// Both passes down and up the columns.
    void columns(const DomainSteps& steps, float k);

private:
    template <class StepsOf>
    void eachTile(const std::vector<cv::Mat>& from, int first, int end, float k, const StepsOf& stepsOf);

    std::vector<cv::Mat> m_pictures;
    cv::Size m_size;
    int m_channels; ///< of the picture that has most
    TeamScratch<float> m_scratch;
};

} // namespace pixmill::filters
