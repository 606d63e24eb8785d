#pragma once

#include <reference/box_mean.h>
#include <reference/resize.h>

/// A view of a plane: a region, reduced by a whole factor, of the plane itself or of its 3 x 3 means.
///
///     out = reduced(region), or reduced(mean3x3(region)), the region's own edges repeated
///
/// The box filter before decimation as in R. Gonzalez, R. Woods, "Digital Image Processing", 2018.
namespace pixmill::reference {

/// `region` in pixels of the result, from its corner in the plane on; cut at the plane's far edges.
template <class T>
cv::Mat viewOf(const cv::Mat& plane, const cv::Rect& region, int scale, bool smooth)
{
    const int right = std::min(region.x + region.width * scale, plane.cols);
    const int bottom = std::min(region.y + region.height * scale, plane.rows);
    const cv::Mat part = plane(cv::Range(region.y, bottom), cv::Range(region.x, right));
    const cv::Mat source = smooth ? boxMeansAround<T>(part, 1, cv::BORDER_REPLICATE) : part.clone();
    return scale == 1 ? source : reduced<T>(source, region.size(), scale, kCubic);
}

} // namespace pixmill::reference
