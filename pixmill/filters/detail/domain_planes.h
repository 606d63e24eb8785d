#pragma once

#include <pixmill/rows/plane.h>

/// What the domain transform asks of the planes it is given.
namespace pixmill::filters {

using namespace rows;

/// Floats in any number of channels, or nothing.
inline void checkFloats(const cv::Mat& plane, const char* call, const char* argument = "in")
{
    PIXMILL_CHECK((plane.dims <= 2 && plane.depth() == CV_32F) || plane.empty(), call, argument, describe(plane),
                  "floats in rows and columns");
}

} // namespace pixmill::filters
