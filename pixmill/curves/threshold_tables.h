#pragma once

#include <pixmill/curves/TLutThreshold.h>

namespace pixmill::curves {

/// Slope of the line for a control of -1..1: from `kLow` through 1 to `kHigh`.
inline float lineSlope(float kLow, float kHigh, float k)
{
    return k >= 0 ? (kHigh - 1) * k + 1 : (1 - kLow) * k + 1;
}

/// A slope control of `TLut16U` moved from its base towards 1.5 or -1.5 by two thirds of a shift.
inline float shifted16(float base, float shift)
{
    return base + (0.666666687f * shift) * (shift >= 0 ? 1.5f - base : 1.5f + base);
}

/// The arguments of one `TLut16U::setupLinearThreshold`.
struct ThresholdControls {
    float kShift;
    float tShift;
    float kBase;
    float tBase;
};

/// Rebuilds `count` different tables: `luts[i]->setupLinearThreshold(controls[i]...)` for each, to the bit. Up to four
/// lines are smoothed side by side, in about the time of one, and the team shares such groups.
void setupLinearThresholds(TLut16U* const* luts, const ThresholdControls* controls, int count);

} // namespace pixmill::curves
