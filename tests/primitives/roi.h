#pragma once

#include <pixmill/primitives/types.h>
#include <reference/planes.h>
#include <support/planes.h>

/// Planes as the primitives take them.
namespace pixmill::test {

using reference::planeOf;
using reference::rounded;

inline IppiSize roiOf(const cv::Mat& m)
{
    return {m.cols, m.rows};
}

inline int stepOf(const cv::Mat& m)
{
    return int(m.step);
}

/// A view of a larger plane, `margin` samples away from its edges; the larger plane is what neighbours are read from.
inline cv::Mat innerOf(const cv::Mat& m, int margin)
{
    return m(cv::Rect(margin, margin, m.cols - 2 * margin, m.rows - 2 * margin));
}

/// Whether nothing but the view `inner` of `whole` changed since `before` was cloned from `whole`.
inline testing::AssertionResult onlyInnerChanged(const cv::Mat& before, const cv::Mat& whole, int margin)
{
    cv::Mat now = whole.clone();
    innerOf(before, margin).copyTo(innerOf(now, margin));
    return cv::norm(now, before, cv::NORM_INF) == 0
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "a sample outside the region was written";
}

} // namespace pixmill::test
