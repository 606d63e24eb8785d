#pragma once

/// The one place where the develop library reaches into the core's private headers: row loops, rounding, planes,
/// look-ups, the exponential, hand kernels, and the engine's row kernels.
#include <pixmill/engine/zone_rows.h>
#include <pixmill/rows/avx512.h>
#include <pixmill/rows/exponential.h>
#include <pixmill/rows/lanes.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <cstdint>
#include <cstring>

namespace pixmill::develop {

using rows::clamp16;
using rows::clamp8;
using rows::ensure;
using rows::ensureLarge;
using rows::exponential;
using rows::forEachIndex;
using rows::forEachRow;
using rows::halfSize;
using rows::limit;
using rows::nearPixel16;
using rows::roundToInt;
using rows::toPixel16;
using rows::uchar;
using rows::ushort;

constexpr int kCentre = 32768; ///< No colour, and no detail.
constexpr float kFull = 65535.0f;

} // namespace pixmill::develop
