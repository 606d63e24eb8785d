#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::detail {

/// `TPImage::MatRoi` of a region in the plane's own coordinates, into a plane that keeps its buffer where it fits.
///
/// @param out      not overlapping `in`.
/// @param scratch  working memory of the caller's, kept between calls; used where smoothing interpolates.
void cropInto(const cv::Mat& in, cv::Rect region, int scale, bool smooth, cv::Mat& out, cv::Mat& scratch);

} // namespace pixmill::detail
