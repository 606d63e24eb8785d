#pragma once

#include <reference/gaussian_iir.h>

#include <cstdlib>

/// The tables of a detail level: a line of slope k through the middle, with a gap (t > 0) or a dead zone (t < 0) cut
/// into it and smoothed.
///
///     slope = 1 + (kHigh - 1) k, or 1 + (1 - kLow) k below 0      r = range * t (over the slope, where above 1)
///     table[i] = middle + slope (i - middle);  r > 0: the r entries beside the middle take table[middle -+ r];
///     r < 0: they take the middle;  then the recursive Gaussian of sigma |r| * smooth, where above 1
///
/// Shrinkage of detail: D. Donoho, I. Johnstone, "Ideal Spatial Adaptation by Wavelet Shrinkage", 1994.
namespace pixmill::reference {

struct ThresholdRanges {
    float kLow, kHigh;
    int range;
    float smooth;
};

/// Controls -1..1: a base, and a shift towards its end.
struct ThresholdShift {
    float kShift, tShift, kBase, tBase;
};

/// Slope and threshold control of a table whose last entry is `top`. At 16 bits shifts reach two thirds of 1.5 and
/// thresholds below 0 count 0.4.
inline void thresholdControls(int top, const ThresholdShift& c, float& k, float& t)
{
    if (top == 255) {
        k = c.kShift >= 0 ? c.kBase + c.kShift * (1 - c.kBase) : c.kBase + c.kShift * (1 + c.kBase);
        t = c.tShift >= 0 ? c.tBase + c.tShift * (1 - c.tBase) : c.tBase + c.tShift * (1 + c.tBase);
        return;
    }
    const float gain = 0.666666687f;
    const float kMoved = gain * c.kShift;
    k = c.kShift >= 0 ? c.kBase + kMoved * (1.5f - c.kBase) : c.kBase + kMoved * (1.5f + c.kBase);
    float tBase = c.tBase;
    if (tBase < 0)
        tBase = float(double(tBase) * 0.4);
    if (c.tShift >= 0) {
        const float moved = c.tShift * gain;
        t = tBase + moved * (1.5f - tBase);
    } else {
        const float s = float(double(c.tShift) * 0.4), moved = s * gain;
        t = tBase + moved * (1.5f + tBase);
    }
}

/// `top` is 255 or 65535.
inline std::vector<int> thresholdTable(int top, const ThresholdRanges& ranges, const ThresholdShift& c)
{
    const int entries = top + 1, M = entries / 2;
    float k, t;
    thresholdControls(top, c, k, t);
    const float slope = k >= 0 ? (ranges.kHigh - 1) * k + 1 : (1 - ranges.kLow) * k + 1;
    const float w = float(ranges.range) * t;
    const double wide = std::trunc(slope > 1 ? w / slope : w);
    const int r = int(std::max(-double(M - 1), std::min(double(M - 1), wide)));

    std::vector<int> table(entries);
    const float offset = (1 - slope) * float(M);
    for (int i = 0; i < entries; ++i)
        table[i] = rounded(double(offset) + double(slope) * i, top);
    if (r > 0) {
        std::fill_n(&table[M], r, int(table[M + r]));
        std::fill_n(&table[M - r], r, int(table[M - r]));
    } else if (r < 0) {
        std::fill(&table[M + r], &table[M - r] + 1, M);
    }
    const float sigma = float(std::abs(r)) * ranges.smooth;
    if (sigma <= 1)
        return table;
    std::vector<float> b(table.begin(), table.end());
    gaussianLine<double>(b, sigma, 2);
    for (int i = 0; i < entries; ++i)
        table[i] = rounded(b[i], top);
    return table;
}

} // namespace pixmill::reference
