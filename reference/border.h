#pragma once

#include <opencv2/core.hpp>

#include <vector>

/// Margins filled from the pixels next to them: out(y, x) of a margin = the nearest row or column inside.
///
/// Edge replication as in R. Gonzalez, R. Woods, "Digital Image Processing", 2018. A margin as wide as the
/// plane has no source and stays.
namespace pixmill::reference {

struct Margins {
    int left, top, right, bottom;
};

/// `rows` rows of the lower margin are filled; `rowsFirst` tells whether rows come before columns.
template <class T>
cv::Mat extended(cv::Mat m, Margins by, int rows, bool rowsFirst)
{
    const auto columns = [&] {
        for (int y = 0; y < m.rows; ++y)
            for (int i = 0; by.left < m.cols && i < by.left; ++i)
                m.at<T>(y, i) = m.at<T>(y, by.left);
        for (int y = 0; y < m.rows; ++y)
            for (int i = 0; by.right < m.cols && i < by.right; ++i)
                m.at<T>(y, m.cols - by.right + i) = m.at<T>(y, m.cols - by.right - 1);
    };
    if (!rowsFirst)
        columns();
    for (int i = 0; by.top < m.rows && i < by.top; ++i)
        for (int x = 0; x < m.cols; ++x)
            m.at<T>(i, x) = m.at<T>(by.top, x);
    for (int i = 0; by.bottom > 0 && by.bottom < m.rows && i < rows; ++i)
        for (int x = 0; x < m.cols; ++x)
            m.at<T>(m.rows - by.bottom + i, x) = m.at<T>(m.rows - by.bottom - 1, x);
    if (rowsFirst)
        columns();
    return m;
}

/// The form of three interleaved bytes: a side takes `margin` times the first byte of its pixel, then the other two,
/// which run over what lies next.
inline cv::Mat extended3C(const cv::Mat& image, const Margins& by)
{
    cv::Mat bytes = image.clone().reshape(1);
    for (int i = 0; i < by.top && by.top < bytes.rows; ++i)
        bytes.row(by.top).copyTo(bytes.row(i));
    for (int i = 0; i < by.bottom && by.bottom < bytes.rows; ++i)
        bytes.row(bytes.rows - by.bottom - 1).copyTo(bytes.row(bytes.rows - by.bottom + i));
    const auto pattern = [&](int margin, int from, int to) {
        for (int y = 0; y < bytes.rows && margin > 0 && margin < image.cols; ++y) {
            const std::vector<unsigned char> pixel(bytes.ptr(y) + 3 * from, bytes.ptr(y) + 3 * from + 3);
            for (int i = 0; i < margin + 2; ++i)
                bytes.at<unsigned char>(y, 3 * to + i) = pixel[std::max(0, i - margin + 1)];
        }
    };
    pattern(by.left, by.left, 0);
    pattern(by.right, image.cols - by.right - 1, image.cols - by.right);
    return bytes.reshape(3);
}

} // namespace pixmill::reference
