#include <pixmill/curves/TLutThreshold.h>

#include <pixmill/curves/detail/table_smoothing.h>
#include <pixmill/curves/threshold_tables.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cstdlib>

using namespace pixmill::rows;
using namespace pixmill::curves;

namespace {

constexpr float kTwoThirds = 0.666666687f;

/// What the controls make of the straight line.
struct Cut {
    float slope;
    int halfWidth; ///< Above 0 a gap, below 0 a dead zone, in entries.
    float sigma;   ///< Of the smoothing; none at 1 or below.
};

template <class Lut>
Cut cutOf(const Lut& lut, float k, float t, int middle)
{
    Cut cut;
    cut.slope = lineSlope(lut.m_kLow, lut.m_kHigh, k);
    const float width = float(lut.m_thresholdRange) * t;
    // Beyond the table's half the cut would leave it.
    const float most = float(middle - 1);
    cut.halfWidth = int(limit(cut.slope > 1 ? width / cut.slope : width, -most, most));
    cut.sigma = float(std::abs(cut.halfWidth)) * lut.m_thresholdSmooth;
    return cut;
}

Cut cutOf(const TLut8U& lut, const ThresholdControls& c)
{
    const float k = c.kBase + c.kShift * (c.kShift >= 0 ? 1 - c.kBase : 1 + c.kBase);
    const float t = c.tBase + c.tShift * (c.tShift >= 0 ? 1 - c.tBase : 1 + c.tBase);
    return cutOf(lut, k, t, 128);
}

float damped(float threshold)
{
    return float(double(threshold) * 0.4);
}

Cut cutOf(const TLut16U& lut, const ThresholdControls& c)
{
    const float k = shifted16(c.kBase, c.kShift);
    const float base = c.tBase < 0 ? damped(c.tBase) : c.tBase;
    const float t = c.tShift >= 0 ? base + (c.tShift * kTwoThirds) * (1.5f - base)
                                  : base + (damped(c.tShift) * kTwoThirds) * (1.5f + base);
    return cutOf(lut, k, t, 32768);
}

void ramp(uchar* table, int entries, float offset, float slope)
{
    ippiImageRamp_8u_C1R(table, entries, {entries, 1}, offset, slope, ippAxsHorizontal);
}

void ramp(ushort* table, int entries, float offset, float slope)
{
    ippiImageRamp_16u_C1R(table, entries * 2, {entries, 1}, offset, slope, ippAxsHorizontal);
}

/// Draws the line and cuts it; true if the cut is to be smoothed.
template <class T>
bool drawCut(T* table, int entries, const Cut& cut)
{
    const int middle = entries / 2;
    ramp(table, entries, (1 - cut.slope) * float(middle), cut.slope);
    const int r = std::abs(cut.halfWidth);
    if (cut.halfWidth > 0) {
        std::fill_n(table + middle, r, T(table[middle + r]));
        std::fill_n(table + middle - r, r, T(table[middle - r]));
    } else if (cut.halfWidth < 0) {
        std::fill_n(table + middle - r, 2 * r + 1, T(middle));
    } else {
        return false;
    }
    return !(cut.sigma <= 1);
}

template <class T>
void setupTable(T* table, int entries, const Cut& cut, const char* call)
{
    checkPointer(table, call, "m_lut_p");
    if (drawCut(table, entries, cut))
        smoothTables<1, T>({table}, entries, {cut.sigma});
}

} // namespace

TLut8U::TLut8U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth) : TLut1D(CV_8U, CV_8U)
{
    setKRange(kLow, kHigh, thresholdRange, thresholdSmooth);
}

void TLut8U::setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
{
    m_kLow = kLow;
    m_kHigh = kHigh;
    m_thresholdRange = thresholdRange;
    m_thresholdSmooth = thresholdSmooth;
}

void TLut8U::setupLinearThreshold(float kShift, float tShift, float kBase, float tBase)
{
    setupTable(static_cast<uchar*>(m_lut_p), 256, cutOf(*this, {kShift, tShift, kBase, tBase}),
               "TLut8U::setupLinearThreshold");
}

TLut16U::TLut16U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
    : TLut1D(CV_16U, CV_16U), m_adjustCurve{}
{
    setKRange(kLow, kHigh, thresholdRange, thresholdSmooth);
}

void TLut16U::setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
{
    m_kLow = kLow;
    m_kHigh = kHigh;
    m_thresholdRange = thresholdRange;
    m_thresholdSmooth = thresholdSmooth;
}

void TLut16U::setupLinearThreshold(float kShift, float tShift, float kBase, float tBase)
{
    setupTable(static_cast<ushort*>(m_lut_p), 65536, cutOf(*this, {kShift, tShift, kBase, tBase}),
               "TLut16U::setupLinearThreshold");
}

void pixmill::curves::setupLinearThresholds(TLut16U* const* luts, const ThresholdControls* controls, int count)
{
    constexpr int entries = 65536, lanes = 4;
    ushort* t[lanes];
    float s[lanes];
    int waiting = 0;
    for (int i = 0; i < count; ++i) {
        auto* table = static_cast<ushort*>(luts[i]->m_lut_p);
        checkPointer(table, "TLut16U::setupLinearThreshold", "m_lut_p");
        const Cut cut = cutOf(*luts[i], controls[i]);
        if (drawCut(table, entries, cut)) {
            t[waiting] = table;
            s[waiting++] = cut.sigma;
        }
        if (waiting < lanes && i < count - 1)
            continue;
        switch (waiting) {
        case 4:
            smoothTables<4>(t, entries, s);
            break;
        case 3:
            smoothTables<3, ushort>({t[0], t[1], t[2]}, entries, {s[0], s[1], s[2]});
            break;
        case 2:
            smoothTables<2, ushort>({t[0], t[1]}, entries, {s[0], s[1]});
            break;
        case 1:
            smoothTables<1, ushort>({t[0]}, entries, {s[0]});
            break;
        }
        waiting = 0;
    }
}
