#pragma once

#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <vector>

/// How the pixels of a walk's planes are moved between pictures, blocks and strips.
namespace pixmill::resample {

using namespace rows;

/// How much of a block lies in the picture.
inline int validPart(int origin, int block, int size)
{
    return int(limit(std::min<long>(block, long(size) - origin), 0L, long(INT_MAX)));
}

/// Calls body(plane, row) for every row of every plane.
template <class Body>
void forEachPlaneRow(std::size_t planes, int rows, int width, const Body& body)
{
    if (rows > 0)
        forEachIndex(int(planes) * rows, long(planes) * rows * width,
                     [&](int i) { body(std::size_t(i / rows), i % rows); });
}

/// A rectangle of pixels to move, cut to what both pictures hold.
struct Move {
    cv::Point from, to;
    cv::Size size;

    Move(const cv::Mat& source, cv::Point first, const cv::Mat& target, cv::Point place, int width, int height)
        : from(first), to(place), size(std::min({width, source.cols - first.x, target.cols - place.x}),
                                       std::min({height, source.rows - first.y, target.rows - place.y}))
    {
        const bool inside = first.x >= 0 && first.y >= 0 && place.x >= 0 && place.y >= 0;
        if (!inside || source.elemSize() != target.elemSize() || size.width < 1)
            size = {};
    }
};

inline void copyRows(const std::vector<cv::Mat>& source, std::vector<cv::Mat>& target, const Move& m)
{
    forEachPlaneRow(std::min(source.size(), target.size()), m.size.height, m.size.width, [&](std::size_t k, int y) {
        std::memcpy(target[k].ptr(m.to.y + y, m.to.x), source[k].ptr(m.from.y + y, m.from.x),
                    std::size_t(m.size.width) * source[k].elemSize());
    });
}

/// The planes that lie one over the other in a walk are all of one size and type.
inline void checkAlike(const char* call, const char* argument, const std::vector<cv::Mat>& planes)
{
    for (const cv::Mat& plane : planes) {
        checkPlane(plane, call, argument);
        PIXMILL_CHECK(plane.size() == planes[0].size() && plane.type() == planes[0].type(), call, argument,
                      describe(plane), "planes of one size and type");
    }
}

} // namespace pixmill::resample
