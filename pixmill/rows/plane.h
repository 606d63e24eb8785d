#pragma once

#include <pixmill/rows/check.h>
#include <pixmill/rows/largepages.h>

#include <opencv2/core/mat.hpp>

namespace pixmill::rows {

/// Whether `m` is a picture of this size and type with pixels of its own.
inline bool fits(const cv::Mat& m, cv::Size size, int type)
{
    return m.data && m.dims <= 2 && m.size() == size && m.type() == type;
}

/// Refuses what is no plane of pixels: of three dimensions, or empty.
inline void checkPixels(const cv::Mat& plane, const char* call, const char* argument)
{
    checkPlane(plane, call, argument);
    PIXMILL_CHECK(!plane.empty(), call, argument, describe(plane), "a plane with pixels");
}

/// Gives `out` this size and type; a plane that already fits keeps its buffer.
inline void ensure(cv::Mat& out, cv::Size size, int type)
{
    if (!fits(out, size, type))
        out.create(size, type);
}

/// The same for planes that may be large: for a new one large pages are asked, whose first touch costs a quarter.
inline void ensureLarge(cv::Mat& out, cv::Size size, int type)
{
    if (fits(out, size, type))
        return;
    out.create(size, type);
    preferLargePages(out.data, out.total() * out.elemSize());
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

/// Whether sample for sample both are the same memory, as far as both reach.
inline bool isSameStart(const cv::Mat& a, const cv::Mat& b)
{
    return a.data == b.data && a.dims <= 2 && b.dims <= 2 && (a.rows <= 1 || b.rows <= 1 || a.step[0] == b.step[0]);
}

/// `in` as it is now: a copy where writing `out` would change it.
inline cv::Mat unshared(const cv::Mat& in, const cv::Mat& out)
{
    return overlap(in, out) ? in.clone() : in;
}

/// The same for a sample-by-sample step, which may write over its own input.
inline cv::Mat unsharedOrSame(const cv::Mat& in, const cv::Mat& out)
{
    return isSameStart(in, out) ? in : unshared(in, out);
}

} // namespace pixmill::rows
