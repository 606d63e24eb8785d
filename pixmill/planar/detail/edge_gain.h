#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::detail {

/// How much a filter raised the local gradients of a plane, CV_8UC1 of its size, 256 / 6 for a gain of 1, smoothed.
///
/// gain = (sum of before' * after' + e) / (sum of before'^2 + e) over 5 x 5 Gaussian windows, with the forward
/// differences along rows and along columns and e = epsilon * 65535. Planes of one channel, of one size.
cv::Mat edgeGain(const cv::Mat& before, const cv::Mat& after, float epsilon);

} // namespace pixmill::detail
