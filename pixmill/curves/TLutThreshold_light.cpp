#include <pixmill/curves/TLutThreshold.h>

#include <pixmill/curves/threshold_tables.h>
#include <pixmill/curves/tone_curve.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>

using namespace pixmill::rows;
using namespace pixmill::curves;

void TLut16U::setupLightAdjust(float offset, float slopeControl, float shadows, float highlights)
{
    constexpr int entries = 65536;

    const float x[5] = {0, 0.25f, 0.5f, 0.75f, 1};
    const float y[5] = {0, (shadows * 0.349999994f + 0.5f) * 0.5f, 0.5f, 1 - (0.5f - highlights * 0.349999994f) * 0.5f,
                        1};
    sampleToneCurve(x, y, m_adjustCurve);

    auto* table = static_cast<ushort*>(m_lut_p);
    checkPointer(table, "TLut16U::setupLightAdjust", "m_lut_p");
    const float slope = lineSlope(m_kLow, m_kHigh, slopeControl);
    ippiImageRamp_16u_C1R(table, entries * 2, {entries, 1}, offset * 13106.7998f + (1 - slope) * 32768, slope,
                          ippAxsHorizontal);
    for (int i = 0; i < entries; ++i) {
        const float p = float(table[i]) * (63.0f / 65535); // a place on the curve's 64
        const int j = int(p), next = std::min(j + 1, kToneSamples - 1);
        const float v = (float(j + 1) - p) * m_adjustCurve[j] + (p - float(j)) * m_adjustCurve[next];
        table[i] = toPixel16(v * 65535);
    }
}
