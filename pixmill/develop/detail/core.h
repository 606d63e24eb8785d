#pragma once

/// The one place where the develop library reaches into the core's private headers: row loops, rounding, planes,
/// look-ups, and the engine's row kernels.
#include <pixmill/core/detail/largepages.h>
#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/curves/detail/look_up.h>
#include <pixmill/engine/detail/zone_rows.h>

#include <cstdint>
#include <cstring>

namespace pixmill::develop {

using detail::clamp16;
using detail::clamp8;
using detail::ensure;
using detail::forEachIndex;
using detail::forEachRow;
using detail::halfSize;
using detail::limit;
using detail::nearPixel16;
using detail::roundToInt;
using detail::toPixel16;
using detail::uchar;
using detail::ushort;

constexpr int kCentre = 32768; ///< No colour, and no detail.
constexpr float kFull = 65535.0f;

/// A new plane, whose first touch costs a quarter where it is large, and whose rows need fewer page look-ups.
inline void createLarge(cv::Mat& plane, cv::Size size, int type)
{
    plane.create(size, type);
    detail::preferLargePages(plane.data, plane.total() * plane.elemSize());
}

} // namespace pixmill::develop
