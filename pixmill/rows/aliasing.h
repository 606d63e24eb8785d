#pragma once

#include <pixmill/rows/plane.h>

namespace pixmill::rows {

/// Whether every pixel of `a` stands where the same pixel of `b` does.
inline bool isSamePlane(const cv::Mat& a, const cv::Mat& b)
{
    return a.data == b.data && a.elemSize() == b.elemSize() && a.size() == b.size() &&
           (a.step == b.step || a.rows == 1);
}

/// Whether a pixel-by-pixel operation may write `out` while it reads `in`.
inline bool isDisjointOrSame(const cv::Mat& in, const cv::Mat& out)
{
    return !overlap(in, out) || isSamePlane(in, out);
}

} // namespace pixmill::rows
