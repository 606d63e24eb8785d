#pragma once

#include <pixmill/curves/detail/threshold_tables.h>
#include <pixmill/multiscale/detail/recursive_gaussian.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace pixmill::bench {

/// `TLut16U::setupLinearThreshold` by one loop a step, one sweep after the other.
inline void plainThreshold(TLut16U& lut, const detail::ThresholdControls& c)
{
    const float k = c.kBase + 0.666666687f * c.kShift * (c.kShift >= 0 ? 1.5f - c.kBase : 1.5f + c.kBase);
    const float base = c.tBase < 0 ? c.tBase * 0.4f : c.tBase;
    const float t = c.tShift >= 0 ? base + c.tShift * 0.666666687f * (1.5f - base)
                                  : base + c.tShift * 0.4f * 0.666666687f * (1.5f + base);
    const float slope = detail::lineSlope(lut.m_kLow, lut.m_kHigh, k), width = float(lut.m_thresholdRange) * t;
    const int half = std::clamp(int(slope > 1 ? width / slope : width), -32767, 32767), r = std::abs(half);
    auto* table = static_cast<ushort*>(lut.m_lut_p);
    for (int i = 0; i < 65536; ++i)
        table[i] = cv::saturate_cast<ushort>((1 - slope) * 32768 + slope * float(i));
    for (int i = -r; i < r; ++i)
        table[32768 + i] = half < 0 ? ushort(32768) : table[i < 0 ? 32768 - r : 32768 + r];
    if (float(r) * lut.m_thresholdSmooth <= 1)
        return;
    const auto gauss = detail::RecursiveGaussian::make<double>(float(r) * lut.m_thresholdSmooth, 2);
    std::vector<float> line(table, table + 65536);
    for (int pair = 0; pair < 2; ++pair) {
        line[0] *= gauss.boundary;
        for (int i = 1; i < 65536; ++i)
            line[i] += gauss.nu * line[i - 1];
        line[65535] *= gauss.boundary;
        for (int i = 65534; i >= 0; --i)
            line[i] += gauss.nu * line[i + 1];
    }
    for (int i = 0; i < 65536; ++i)
        table[i] = cv::saturate_cast<ushort>(line[i] * gauss.post);
}

} // namespace pixmill::bench
