#pragma once

#include <pixmill/rows/plane.h>

#include <climits>
#include <cstdint>
#include <cstring>

/// What the guided filter asks of the planes it reads and writes.
namespace pixmill::filters {

using namespace rows;

/// Whether every one of `size` floats can be read from the rows of `plane`, whatever its type.
inline bool holdsFloats(const cv::Mat& plane, cv::Size size)
{
    return size.empty() || (plane.data && plane.dims <= 2 && plane.rows >= size.height &&
                            plane.cols * plane.elemSize() >= size.width * sizeof(float));
}

inline void checkHoldsFloats(const cv::Mat& plane, cv::Size size, const char* call, const char* argument)
{
    PIXMILL_CHECK(holdsFloats(plane, size), call, argument, describe(plane),
                  ("a float of every one of " + describe(size) + " samples").c_str());
}

/// The samples of `plane`, which holds them, as floats. Shared with it, and valid as long as it is, unless they do not
/// stand where floats may: then a copy.
inline cv::Mat asFloats(const cv::Mat& plane, cv::Size size)
{
    if (size.empty())
        return cv::Mat(size, CV_32FC1);
    const bool aligned =
        reinterpret_cast<std::uintptr_t>(plane.data) % alignof(float) == 0 && plane.step[0] % sizeof(float) == 0;
    if (aligned)
        return {size, CV_32FC1, plane.data, plane.step[0]};
    cv::Mat floats(size, CV_32FC1);
    for (int y = 0; y < size.height; ++y)
        std::memcpy(floats.ptr(y), plane.ptr(y), std::size_t(size.width) * sizeof(float));
    return floats;
}

/// The radius must be one, and the picture with its margins have sides that an int holds.
inline void checkRadius(int r, cv::Size size, const char* call)
{
    const bool fits = r >= 0 && r <= (INT_MAX - 1) / 8 && INT_MAX - 8 * r > size.width && INT_MAX - 8 * r > size.height;
    PIXMILL_CHECK(fits, call, "r", r, "0 or more, and a picture whose sides and 8 r an int holds");
}

} // namespace pixmill::filters
