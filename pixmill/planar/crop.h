#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::planar {

/// `TPImage::MatRoi` of a region in the plane's own coordinates, into a plane that keeps its buffer where it fits.
///
/// @param call     names the caller where the region is refused.
/// @param out      not overlapping `in`.
/// @param scratch  working memory of the caller's, kept between calls; used where smoothing interpolates.
void cropInto(const cv::Mat& in, cv::Rect region, int scale, bool smooth, cv::Mat& out, cv::Mat& scratch,
              const char* call);

/// What the region covers of `in`, cut at its far edges; shares its pixels. Refuses a region that begins outside.
cv::Mat regionOf(const cv::Mat& in, cv::Rect region, int scale, const char* call);

} // namespace pixmill::planar
