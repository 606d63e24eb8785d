#pragma once

#include <pixmill/curves/TLutThreshold.h>

namespace pixmill::curves {

/// Slope of the line for a control of -1..1: from `kLow` through 1 to `kHigh`.
inline float lineSlope(float kLow, float kHigh, float k)
{
    return k >= 0 ? (kHigh - 1) * k + 1 : (1 - kLow) * k + 1;
}

/// The arguments of one `TLut16U::setupLinearThreshold`.
struct ThresholdControls {
    float kShift;
    float tShift;
    float kBase;
    float tBase;
};

/// Rebuilds `count` different tables: `luts[i]->setupLinearThreshold(controls[i]...)` for each, to the bit, in about
/// the time of one, since up to four lines are smoothed side by side.
void setupLinearThresholds(TLut16U* const* luts, const ThresholdControls* controls, int count);

} // namespace pixmill::curves
