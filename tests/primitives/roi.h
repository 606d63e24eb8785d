#pragma once

#include <pixmill/primitives/types.h>
#include <support/planes.h>

#include <cmath>

/// Planes as the primitives take them.
namespace pixmill::test {

inline IppiSize roiOf(const cv::Mat& m)
{
    return {m.cols, m.rows};
}

inline int stepOf(const cv::Mat& m)
{
    return int(m.step);
}

/// One past the greatest sample that random planes of a type shall hold.
inline double topOf(int type)
{
    return CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536;
}

/// A view of a larger plane, `margin` samples away from its edges; the larger plane is what neighbours are read from.
inline cv::Mat innerOf(const cv::Mat& m, int margin)
{
    return m(cv::Rect(margin, margin, m.cols - 2 * margin, m.rows - 2 * margin));
}

/// Where each pixel of a fresh result comes from: out(y, x) = f(y, x).
template <class T, class F>
cv::Mat planeOf(cv::Size size, int type, const F& f)
{
    cv::Mat m(size, type);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            m.at<T>(y, x) = T(f(y, x));
    return m;
}

/// To nearest, ties to even, saturated; from the mathematical library, not from the library under test.
inline double rounded(double v, double top)
{
    if (!(v > 0))
        return 0;
    return v >= top ? top : std::nearbyint(v);
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
