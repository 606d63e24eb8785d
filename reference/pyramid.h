#pragma once

#include <opencv2/imgproc.hpp>

/// The steps of a Gaussian pyramid: reducing by 1 4 6 4 1 over 16 along both axes and taking every second pixel;
/// enlarging by putting zeros in between and the same weights over 8. Edges are mirrored without repeating the edge
/// pixel.
///
/// P. Burt, E. Adelson, "The Laplacian Pyramid as a Compact Image Code", 1983. By calls of OpenCV, kept from the last
/// row that its vector code gets wrong where a result has 2 * rows - 1 rows.
namespace pixmill::reference {

inline cv::Mat pyramidDown(const cv::Mat& in, cv::Size size = {})
{
    cv::Mat out;
    cv::pyrDown(in, out, size, cv::BORDER_REFLECT_101);
    return out;
}

inline cv::Mat pyramidUp(const cv::Mat& in, cv::Size size)
{
    cv::Mat out;
    const int rows = size.height == 2 * in.rows - 1 ? 2 * in.rows : size.height;
    cv::pyrUp(in, out, {size.width, rows}, cv::BORDER_REFLECT_101);
    return out.rowRange(0, size.height);
}

} // namespace pixmill::reference
