#pragma once

#include <reference/planes.h>
#include <reference/spline.h>

/// A tone curve: a not-a-knot spline through five points, read at 64 places of 0..1, limited to 0..1, and 0 and 1
/// beyond its end points.
///
/// Splines: see spline.h. A curve over a line: out = 65535 curve(line(i) / 65535), read linearly between the places.
namespace pixmill::reference {

inline std::vector<float> toneCurve(const float (&x)[5], const float (&y)[5])
{
    const Spline spline = Spline({x, x + 5}, {y, y + 5}).notAKnot();
    std::vector<float> curve(64);
    for (int i = 0; i < 64; ++i) {
        const float t = float(i) * 0.0158730168f;
        float value = spline.value(t);
        if (t < x[0])
            value = 0;
        if (t > x[4])
            value = 1;
        curve[i] = value < 0 ? 0 : value > 1 ? 1 : value;
    }
    return curve;
}

/// A 16-bit table: `curve` over the line of slope 1 + (kHigh - 1) control, or 1 + (1 - kLow) control below 0, through
/// the middle, moved by a fifth of the range times `offset`.
inline std::vector<int> curveOverLine(const float* curve, float kLow, float kHigh, float offset, float control)
{
    const float slope = control >= 0 ? (kHigh - 1) * control + 1 : (1 - kLow) * control + 1;
    const float fifth = 13106.7998f; // the float next to 65534 / 5
    const float moved = offset * fifth, tilt = (1 - slope) * 32768, start = moved + tilt;
    std::vector<int> table;
    for (int i = 0; i < 65536; ++i) {
        const float line = float(rounded(double(start) + double(slope) * i, 65535));
        const float p = line * 0.000961318379f;
        const int j = int(p);
        const float first = (float(j + 1) - p) * curve[j];
        const float second = (p - float(j)) * curve[std::min(j + 1, 63)];
        table.push_back(rounded((first + second) * 65535.0f, 65535));
    }
    return table;
}

} // namespace pixmill::reference
