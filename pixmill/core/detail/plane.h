#pragma once

#include <opencv2/core/mat.hpp>

namespace pixmill::detail {

/// Whether `m` is a picture of this size and type with pixels of its own.
inline bool fits(const cv::Mat& m, cv::Size size, int type)
{
    return m.data && m.dims <= 2 && m.size() == size && m.type() == type;
}

/// Gives `out` this size and type; a plane that already fits keeps its buffer.
inline void ensure(cv::Mat& out, cv::Size size, int type)
{
    if (!fits(out, size, type))
        out.create(size, type);
}

/// Whether `plane` has a pixel wherever a picture of this size has one.
inline bool covers(const cv::Mat& plane, cv::Size size)
{
    return size.empty() || (plane.dims <= 2 && plane.cols >= size.width && plane.rows >= size.height);
}

/// The same, and is of this type; of an empty size none is asked.
inline bool covers(const cv::Mat& plane, cv::Size size, int type)
{
    return size.empty() || (plane.type() == type && covers(plane, size));
}

/// Lets go of pixels that others hold too, so that what is written next goes into memory of its own.
inline void leaveShared(cv::Mat& m)
{
    if (m.u && CV_XADD(&m.u->refcount, 0) > 1)
        m.release();
}

/// Half of n, rounded up: the size of chroma and mask planes.
inline int halfSize(int n)
{
    return n / 2 + (n % 2 != 0);
}

inline cv::Size halfSize(cv::Size size)
{
    return {halfSize(size.width), halfSize(size.height)};
}

/// Whether the planes' pixels share memory, so that an output may not be written while the input is still to be read.
inline bool overlap(const cv::Mat& a, const cv::Mat& b)
{
    return a.data && b.data && a.datastart < b.dataend && b.datastart < a.dataend;
}

} // namespace pixmill::detail
