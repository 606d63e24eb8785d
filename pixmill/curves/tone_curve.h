#pragma once

namespace pixmill::curves {

constexpr int kToneSamples = 64;

/// Samples the not-a-knot spline through five knots at i / 63: 0 below the first knot, 1 above the last, limited to
/// 0..1 between.
void sampleToneCurve(const float (&x)[5], const float (&y)[5], float (&curve)[kToneSamples]);

} // namespace pixmill::curves
