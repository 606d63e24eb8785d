#pragma once

#include <pixmill/core/detail/aligned.h>
#include <pixmill/filters/detail/domain_steps.h>

#include <opencv2/core/mat.hpp>

#include <vector>

namespace pixmill::detail {

/// Float pictures of one size, filtered in place with shared weights exp(step * k).
///
/// Rows are walked sixteen side by side, in tiles from the top; columns row by row, all columns side by side. So no
/// picture is transposed, and a band of rows goes from one direction to the other while it is in the cache.
class DomainRecursion {
public:
    explicit DomainRecursion(const std::vector<cv::Mat>& pictures);

    int tiles() const { return (m_size.height + 15) / 16; }

    /// Both passes along the rows of the tiles first..end-1, read from `from`: the pictures, or others like them.
    void rows(const std::vector<cv::Mat>& from, const DomainSteps& steps, int first, int end, float k);

    /// The same with steps that stand in a plane.
    void rows(const std::vector<cv::Mat>& from, const cv::Mat& steps, int first, int end, float k);

    /// The forward pass down the columns through the rows first..end-1, after the rows above.
    void columnsDown(const DomainSteps& steps, int first, int end, float k);

    /// The backward pass up the columns through the rows end-1..first, after the rows below.
    void columnsUp(const DomainSteps& steps, int first, int end, float k);

private:
    struct Share;

    template <class StepsOf>
    void eachTile(const std::vector<cv::Mat>& from, int first, int end, float k, const StepsOf& stepsOf);
    template <class Body>
    void eachColumns(const Body& body);

    std::vector<cv::Mat> m_pictures;
    cv::Size m_size;
    int m_channels; ///< of the picture that has most
    std::size_t m_shareSize;
    AlignedArray<float> m_shares; ///< scratch, one share a thread
};

} // namespace pixmill::detail
