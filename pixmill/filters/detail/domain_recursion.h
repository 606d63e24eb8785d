#pragma once

#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/filters/detail/domain_steps.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core/mat.hpp>

#include <vector>

namespace pixmill::filters {

using namespace rows;
struct Feedback;

/// Float pictures of one size, filtered in place with shared weights exp(step * k).
///
/// Rows are walked sixteen side by side, in tiles from the top; columns sixteen side by side, in strips from the left.
/// Both walks go forth and back over weights and samples that stay in the second cache, so the weights of a pass are
/// made once, and no picture is transposed.
class DomainRecursion {
public:
    explicit DomainRecursion(const std::vector<cv::Mat>& pictures);

    /// Both passes along the rows of others like the pictures, or of themselves, with steps that are filled on the way.
    void firstRows(const std::vector<cv::Mat>& from, DomainSteps& steps, float k);

    /// Both passes along the rows.
    void rows(const DomainSteps& steps, float k);

    /// The same with steps that stand in a plane.
    void rows(const cv::Mat& steps, float k);

    /// Both passes down and up the columns.
    void columns(const DomainSteps& steps, float k);

private:
    template <class StepsOf>
    void eachTile(const std::vector<cv::Mat>& from, const Feedback& feedback, const StepsOf& stepsOf);

    std::vector<cv::Mat> m_pictures;
    cv::Size m_size;
    int m_channels; ///< of the picture that has most
    TeamScratch<float> m_scratch;
};

} // namespace pixmill::filters
