#pragma once

#include <opencv2/core/mat.hpp>

#include <climits>

/// What the guided filter asks of the planes it reads and writes.
namespace pixmill::detail {

/// Whether every one of `size` floats can be read from the rows of `plane`, whatever its type.
inline bool holdsFloats(const cv::Mat& plane, cv::Size size)
{
    return size.empty() || (plane.data && plane.dims <= 2 && plane.rows >= size.height &&
                            plane.cols * plane.elemSize() >= size.width * sizeof(float));
}

/// The samples of `plane` as floats, sharing them: valid as long as the plane is.
inline cv::Mat asFloats(const cv::Mat& plane, cv::Size size)
{
    CV_Assert(holdsFloats(plane, size));
    return {size, CV_32FC1, plane.data, size.empty() ? std::size_t(cv::Mat::AUTO_STEP) : plane.step[0]};
}

/// Whether the radius is one, and the picture with its margins has sides that an int holds.
inline bool isRadius(int r, cv::Size size)
{
    return r >= 0 && r <= (INT_MAX - 1) / 8 && INT_MAX - 8 * r > size.width && INT_MAX - 8 * r > size.height;
}

} // namespace pixmill::detail
